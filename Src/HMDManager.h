// Remembers the kind of headset and holds the host's listener. Owned by the Scene.
#pragma once

#include "IHMDManager.h"

namespace STN {

class HMDManager final : public IHMDManager {
public:
    std::int32_t GetHMDType() override { return hmdType; }
    void SetHMDListener(boost::shared_ptr<IHMDListener> newListener) override {
        listener = newListener;
    }
    void SetHMDType(std::int32_t type) override { hmdType = type; }
    // A copy, so that the render thread keeps the listener alive while it calls it.
    boost::shared_ptr<IHMDListener> GetHMDListener() override { return listener; }

private:
    boost::shared_ptr<IHMDListener> listener;
    std::int32_t hmdType = kHMDTypeUnknown;
};

}  // namespace STN
