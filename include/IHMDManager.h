// The kind of headset in use and the host's listener for headset events. The listener may be
// set on any host thread while the render thread calls it; the render thread holds its own
// reference during a call, so a listener replaced meanwhile lives until that call returns.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>

#include "IHMDListener.h"

namespace STN {

// Headset kinds, from the runtime's tracking system name.
enum : std::int32_t {
    kHMDTypeRift = 0,
    kHMDTypeVive = 1,
    kHMDTypeWindowsMixedReality = 2,
    kHMDTypeUnknown = 3,  // treated as a Rift
};

class IHMDManager {
public:
    virtual std::int32_t GetHMDType() = 0;
    virtual void SetHMDListener(boost::shared_ptr<IHMDListener> listener) = 0;
    virtual void SetHMDType(std::int32_t type) = 0;
    virtual boost::shared_ptr<IHMDListener> GetHMDListener() = 0;

protected:
    // Not deleted through this interface: the vtable holds the operations alone.
    ~IHMDManager() = default;
};

}  // namespace STN
