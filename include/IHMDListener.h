// The host's listener for headset events. Called on the render thread.
#pragma once

#include "StereonTypes.h"

namespace STN {

class IHMDListener {
public:
    // The head pose in tracking space, each frame in which the pose is valid.
    virtual void OnHMDPose(const Matrix4& hmdPose) = 0;
    // The runtime asked the application to quit.
    virtual void OnRuntimeQuit() = 0;

protected:
    // Not deleted through this interface: the vtable holds the operations alone.
    ~IHMDListener() = default;
};

}  // namespace STN
