// Turns the runtime's controller input into what the host wants: a list of controllers with a
// known hand, three logical buttons, and poses moved by the family's grip offset so the pointer
// leaves the controller where the user aims. One subclass per headset family supplies its rules.
//
// The scene feeds it on the render thread with every press and release and once a frame for
// each controller device. The list only grows until the next Bind; an entry is replaced by a
// blank controller when its device falls silent, so indices never move.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <mutex>
#include <vector>

#include "StereonTypes.h"
#include "stnvr/vr_types.h"

namespace vr {
class IVRSystem;
}

namespace STN {

class ControllerManager;
class IControllerAddedCallback;
class OpenVRManager;

class IEventInterpreter {
public:
    IEventInterpreter() = default;
    virtual ~IEventInterpreter();

    // Forgets every controller; must come before the first event.
    virtual void Bind(const boost::shared_ptr<OpenVRManager>& manager);
    virtual void HandleButtonEvent(const vr::VREvent_t& event, const Matrix4& pose,
                                   const vr::VRControllerState_t& state);
    virtual void UpdateController(std::uint32_t deviceIndex, bool poseValid, const Matrix4& pose,
                                  const vr::VRControllerState_t& state);

    // Any thread. Empty past the end of the list.
    boost::shared_ptr<ControllerManager> GetController(std::uint32_t listIndex) const;
    // Any thread. Told of each controller as it first appears, under the runtime's lock.
    void SetControllerAddedCallback(const boost::shared_ptr<IControllerAddedCallback>& callback);

    IEventInterpreter(const IEventInterpreter&) = delete;
    IEventInterpreter& operator=(const IEventInterpreter&) = delete;

protected:
    virtual std::uint32_t TranslateButton(
        const vr::VREvent_t& event, const vr::VRControllerState_t& state,
        const boost::shared_ptr<ControllerManager>& controller) = 0;
    // The list index of the device's controller, added with its family's set-up when new; 0
    // with the list unchanged while the runtime is not connected. Holds the runtime's lock.
    std::uint32_t FindOrAddController(std::uint32_t deviceIndex);
    // The family's steps for a controller seen for the first time: type, axes, validity and
    // hand. The device index is set.
    virtual void SetUpNewController(vr::IVRSystem* system, ControllerManager& controller) = 0;
    // The family's second look at a known controller, on each event and update.
    virtual void RevisitController(vr::IVRSystem* system, ControllerManager& controller);
    // `pose` times the grip offset of `hand`; `pose` itself for no hand or where the family set no
    // offsets. The caller holds the controller already: no second look in the list.
    Matrix4 ApplyGripOffset(std::uint32_t hand, const Matrix4& pose) const;
    // Clears out controllers that fell silent; true when one was.
    virtual bool RecoverControllers();

    // Pieces the families build their rules from.
    // Reads the five axis types of the device; the last axis of a type wins.
    void ScanAxes(vr::IVRSystem* system, ControllerManager& controller, bool withJoystick) const;
    // Which hands the listed controllers have, counting only valid ones when asked. When both
    // are taken and RecoverControllers frees one, looks once more.
    void NoteHands(bool validOnly, bool& right, bool& left);
    // The hands of two controllers known by their runtime role; 15 for any other role.
    static std::uint32_t HandOfRole(vr::ETrackedControllerRole role);
    // Where the family's pointer sits on each hand's grip (see GripOffset). Set before any event.
    void SetGripOffsets(const Matrix4& left, const Matrix4& right);
    // Where the thumb rests on a trackpad, and the button a press means there.
    enum PadRegion { kPadNone, kPadLower, kPadUpper };
    static std::uint32_t PadButton(std::uint32_t button, PadRegion region);
    // Offset of a pointer: turned 40 degrees down about x, then moved by (x, y, z).
    static Matrix4 GripOffset(float x, float y, float z);
    // Replaces every controller that got fewer than 100 updates since the last recovery by a
    // blank one, and starts all counts afresh; true when one was replaced.
    bool ReplaceSilentControllers();
    // Lets go of controllers that RecoverControllers replaced; never under the runtime's lock,
    // since a controller's destructor waits for its pulses, which take that lock.
    void ReleaseRetired();

    boost::shared_ptr<OpenVRManager> openVR;
    // The list is read by host threads: every read or change of it takes listMutex.
    std::vector<boost::shared_ptr<ControllerManager>> controllers;
    mutable std::mutex listMutex;
    boost::shared_ptr<IControllerAddedCallback> controllerAdded;
    std::vector<boost::shared_ptr<ControllerManager>> retired;
    bool hasGripOffsets = false;
    Matrix4 leftGripOffset = Matrix4::Identity();
    Matrix4 rightGripOffset = Matrix4::Identity();
};

// 1 Vive, 2 Windows Mixed Reality, 3 Rift (the headset classification's families); empty for
// any other value.
boost::shared_ptr<IEventInterpreter> CreateEventInterpreter(std::uint32_t family);

}  // namespace STN
