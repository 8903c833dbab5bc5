// Remembers the kind of headset and holds the host's listener. Owned by the Scene.
#pragma once

#include <atomic>
#include <mutex>

#include "IHMDManager.h"

namespace STN {

class HMDManager final : public IHMDManager {
public:
    std::int32_t GetHMDType() override { return hmdType; }
    // The host sets the listener on its own thread while the render thread calls it.
    void SetHMDListener(boost::shared_ptr<IHMDListener> newListener) override {
        std::lock_guard<std::mutex> lock(listenerMutex);
        listener.swap(newListener);
        // The old listener is released here, outside the render thread's call.
    }
    void SetHMDType(std::int32_t type) override { hmdType = type; }
    // A copy, so that the render thread keeps the listener alive while it calls it.
    boost::shared_ptr<IHMDListener> GetHMDListener() override {
        std::lock_guard<std::mutex> lock(listenerMutex);
        return listener;
    }

private:
    std::mutex listenerMutex;
    boost::shared_ptr<IHMDListener> listener;
    std::atomic<std::int32_t> hmdType{kHMDTypeUnknown};
};

}  // namespace STN
