#include "EventInterpreterVive.h"

#include "ControllerManager.h"
#include "stnvr/vr_interfaces.h"

namespace STN {

std::uint32_t EventInterpreterVive::TranslateButton(
    const vr::VREvent_t& event, const vr::VRControllerState_t& state,
    const boost::shared_ptr<ControllerManager>& controller) {
    // The thumb's half of the pad; none when it rests exactly at the centre, which is how the
    // wand reports a thumb off the pad.
    PadRegion region = kPadNone;
    const std::uint32_t axis = controller->trackpadAxis.load();
    if (axis < vr::k_unControllerStateAxisCount) {
        const vr::VRControllerAxis_t& pad = state.rAxis[axis];
        if (pad.x != 0.0f || pad.y != 0.0f) {
            region = pad.y > 0.05f ? kPadUpper : kPadLower;
        }
    }
    return PadButton(event.data.controller.button, region);
}

void EventInterpreterVive::SetUpNewController(vr::IVRSystem* system,
                                              ControllerManager& controller) {
    controller.SetControllerType(kControllerFamilyVive);
    ScanAxes(system, controller, false);
    controller.valid = controller.trackpadAxis.load() < 100 && controller.triggerAxis.load() < 100;
    if (controller.valid) {
        // By order of appearance: the first free hand, right before left.
        bool right = false;
        bool left = false;
        NoteHands(false, right, left);
        controller.SetHand(!right ? kHandRight : !left ? kHandLeft : kHandUnassigned);
    }
}

bool EventInterpreterVive::RecoverControllers() {
    return ReplaceSilentControllers();
}

}  // namespace STN
