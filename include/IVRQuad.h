// What the library adds to the host's quad: the lock of its front image and what the panel reads
// at each draw.
#pragma once

#include <cstdint>

#include "hostcore/threads.h"
#include "hostvirtualui/vr/VRQuad.h"

namespace STN {

class IVRQuad : public hostvirtualui::vr::VRQuad {
public:
    virtual hostcore::threads::RecursiveMutex& GetLock() = 0;
    // Set visible by the host and with an opacity above 0.
    virtual bool IsVisible() = 0;
    virtual float GetOpacity() = 0;
    virtual bool IsClosing() = 0;
    // The panel size the host last gave to Update.
    virtual std::uint32_t GetWidth() = 0;
    virtual std::uint32_t GetHeight() = 0;
    virtual void Shutdown() = 0;
};

}  // namespace STN
