// The host's listener for headset events (IHMDManager::SetHMDListener). Called on the render
// thread; a call must not throw (that ends the render thread) and must not stop the library.
#pragma once

#include "StereonTypes.h"

namespace STN {

class IHMDListener {
public:
    // The head pose in the runtime's tracking space, not turned by the view orientation: once a
    // pass of the render loop while the pose is valid and the headset is not idle, before the
    // pose callback.
    virtual void OnHMDPose(const Matrix4& hmdPose) = 0;
    // The runtime asked the application to quit; told once. The library has already ended its
    // connection. It stays initialised, takes frames and shows nothing until the host stops it,
    // which it must do from another thread.
    virtual void OnRuntimeQuit() = 0;

protected:
    // Not deleted through this interface: the vtable holds the operations alone.
    ~IHMDListener() = default;
};

}  // namespace STN
