// The kind of headset in use and the host's listener for headset events
// (IStereonService::GetHMDManager). Every call may come from any thread. A manager belongs to one
// run: after the stop it still takes every call, but its listener is never called again, and the
// next run hands out a manager of its own.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>

#include "IHMDListener.h"

namespace STN {

// Headset kinds, from the runtime's tracking system name ("oculus", "lighthouse",
// "holographic"; any other is unknown).
enum : std::int32_t {
    kHMDTypeRift = 0,
    kHMDTypeVive = 1,
    kHMDTypeWindowsMixedReality = 2,
    kHMDTypeUnknown = 3,  // treated as a Rift
};

class IHMDManager {
public:
    // The kind Init found, or what SetHMDType last set.
    virtual std::int32_t GetHMDType() = 0;
    // Replaces the listener; an empty pointer removes it. The render thread holds its own
    // reference during a call, so a listener replaced meanwhile lives until that call returns,
    // and is then released on the render thread.
    virtual void SetHMDListener(boost::shared_ptr<IHMDListener> listener) = 0;
    // Changes only what GetHMDType and IStereonService::GetHMDType answer; the drawing and the
    // controllers keep the kind found at Init.
    virtual void SetHMDType(std::int32_t type) = 0;
    // The listener last set; empty when none is.
    virtual boost::shared_ptr<IHMDListener> GetHMDListener() = 0;

protected:
    // Not deleted through this interface: the vtable holds the operations alone.
    ~IHMDManager() = default;
};

}  // namespace STN
