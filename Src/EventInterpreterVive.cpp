#include "EventInterpreterVive.h"

#include "ControllerManager.h"
#include "OpenVRManager.h"

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

std::uint32_t EventInterpreterVive::FindOrAddController(std::uint32_t deviceIndex) {
    if (!openVR) {
        return 0;
    }
    OpenVRManager::ScopedLock lock(*openVR);
    vr::IVRSystem* system = openVR->GetSystem();
    if (system == nullptr) {
        return 0;
    }
    const std::int64_t found = FindController(deviceIndex);
    if (found >= 0) {
        return static_cast<std::uint32_t>(found);
    }
    boost::shared_ptr<ControllerManager> controller(new ControllerManager());
    controller->SetDeviceIndex(deviceIndex);
    controller->SetControllerType(kControllerFamilyVive);
    ScanAxes(system, *controller, false);
    controller->valid =
        controller->trackpadAxis.load() < 100 && controller->triggerAxis.load() < 100;
    if (controller->valid) {
        bool right = false;
        bool left = false;
        NoteHands(false, right, left);
        controller->SetHand(!right ? kHandRight : !left ? kHandLeft : kHandUnassigned);
    }
    return AddController(controller);
}

bool EventInterpreterVive::RecoverControllers() {
    return ReplaceSilentControllers();
}

}  // namespace STN
