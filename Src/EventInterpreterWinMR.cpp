#include "EventInterpreterWinMR.h"

#include "ControllerManager.h"
#include "hostcore/debug.h"
#include "stnvr/vr_interfaces.h"

namespace STN {

namespace {

const std::uint32_t kMaxRoleAttempts = 1000;

}  // namespace

EventInterpreterWinMR::EventInterpreterWinMR() {
    SetGripOffsets(GripOffset(0.006f, -0.01f, 0.042f), GripOffset(-0.006f, -0.01f, 0.042f));
}

std::uint32_t EventInterpreterWinMR::TranslateButton(
    const vr::VREvent_t& event, const vr::VRControllerState_t& state,
    const boost::shared_ptr<ControllerManager>& controller) {
    // Unlike the Vive, a press with the thumb at the pad's centre counts: it is the lower half.
    PadRegion region = kPadNone;
    const std::uint32_t axis = controller->trackpadAxis.load();
    if (axis < vr::k_unControllerStateAxisCount) {
        region = state.rAxis[axis].y > 0.05f ? kPadUpper : kPadLower;
    }
    return PadButton(event.data.controller.button, region);
}

void EventInterpreterWinMR::SetUpNewController(vr::IVRSystem* system,
                                               ControllerManager& controller) {
    controller.SetControllerType(kControllerFamilyWindowsMR);
    ScanAxes(system, controller, true);
    controller.valid = controller.trackpadAxis.load() < 5 && controller.triggerAxis.load() < 5 &&
                       controller.joystickAxis.load() < 5;
    DetectRole(system, controller);
}

void EventInterpreterWinMR::RevisitController(vr::IVRSystem* system,
                                              ControllerManager& controller) {
    if (controller.GetHand() == kHandUnassigned && controller.valid) {
        DetectRole(system, controller);
    }
}

void EventInterpreterWinMR::DetectRole(vr::IVRSystem* system, ControllerManager& controller) {
    if (!controller.valid) {
        controller.SetHand(kHandUnassigned);
        return;
    }
    if (controller.roleAttempts >= kMaxRoleAttempts) {
        return;
    }
    vr::ETrackedControllerRole role =
        system->GetControllerRoleForTrackedDeviceIndex(controller.deviceIndex.load());
    if (role != vr::TrackedControllerRole_LeftHand && role != vr::TrackedControllerRole_RightHand) {
        ++controller.roleAttempts;
        if (controller.roleAttempts == kMaxRoleAttempts) {
            static hostcore::debug::TraceSite site("STN", 5);
            site.Write("Couldn't detect WinMR controller role, assigning anyway.");
            // Takes the side already taken, not the free one: with only a right hand listed the
            // newcomer is a right hand too, and with none it is the right hand.
            bool right = false;
            bool left = false;
            NoteHands(true, right, left);
            if (!left) {
                role = vr::TrackedControllerRole_RightHand;
            } else if (!right) {
                role = vr::TrackedControllerRole_LeftHand;
            }
        }
    }
    controller.SetHand(HandOfRole(role));
}

bool EventInterpreterWinMR::RecoverControllers() {
    return ReplaceSilentControllers();
}

}  // namespace STN
