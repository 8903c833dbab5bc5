// The host's listener for one controller (IControllerManager::SetListener). Every call comes on
// the render thread, only while the controller has a hand, and none after the stop; while the
// headset is idle presses still come, poses and ray questions do not. A call must not throw
// (that ends the render thread) and must not stop the library. Poses are the controller's
// pointer in tracking space: the runtime's pose with the family's grip offset applied, so that a
// ray along the pose's -Z leaves the controller where the user points.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <vector>

#include "StereonTypes.h"

namespace STN {

class IControllerManager;

class IControllerListener {
public:
    // A release; `button` is one of the kControllerButton values, `pose` the one the runtime
    // sent with the event.
    virtual void OnButtonUp(const boost::shared_ptr<IControllerManager>& controller,
                            std::uint32_t button, const Matrix4& pose) = 0;
    // A press, as above. True when the host took the press up: haptic pulses through the
    // controller feedback then go to this controller. The feedback learns of it when this call
    // has returned, so a pulse sent from inside the call still goes to the controller of the
    // press before.
    virtual bool OnButtonDown(const boost::shared_ptr<IControllerManager>& controller,
                              std::uint32_t button, const Matrix4& pose) = 0;
    // Once a pass of the render loop; with `poseValid` false the pose is the last valid one.
    virtual void OnPoseUpdate(const boost::shared_ptr<IControllerManager>& controller,
                              bool poseValid, const Matrix4& pose) = 0;
    // Asked once an eye: where to draw this controller's pointer rays. Each matrix is a complete
    // model-view-projection for `viewProjection`'s eye; the ray runs 20 units along its -Z.
    // Return none to draw none. Asked while the eye is drawn, which waits for the answer: answer
    // at once.
    virtual std::vector<Matrix4> GetPointerMatrices(
        const boost::shared_ptr<IControllerManager>& controller, const Matrix4& viewProjection) = 0;

protected:
    ~IControllerListener() = default;
};

}  // namespace STN
