#include "EventInterpreterRift.h"

#include "ControllerManager.h"
#include "stnvr/vr_interfaces.h"

namespace STN {

void EventInterpreterRift::Bind(const boost::shared_ptr<OpenVRManager>& manager) {
    IEventInterpreter::Bind(manager);
    // Not a mirror image: the right controller's pointer sits a little further in.
    SetGripOffsets(GripOffset(0.006f, -0.025f, 0.031f), GripOffset(-0.00665f, -0.025f, 0.031f));
}

std::uint32_t EventInterpreterRift::TranslateButton(const vr::VREvent_t& event,
                                                    const vr::VRControllerState_t&,
                                                    const boost::shared_ptr<ControllerManager>&) {
    switch (event.data.controller.button) {
        case vr::k_EButton_SteamVR_Trigger:
            return kControllerButtonTrigger;
        case vr::k_EButton_A:
            return kControllerButtonPrimary;
        case vr::k_EButton_ApplicationMenu:
            return kControllerButtonSecondary;
        default:
            return kControllerButtonNone;
    }
}

void EventInterpreterRift::SetUpNewController(vr::IVRSystem* system,
                                              ControllerManager& controller) {
    ScanAxes(system, controller, true);
    controller.SetControllerType(kControllerFamilyRift);
    controller.valid = true;
    RevisitController(system, controller);
}

void EventInterpreterRift::RevisitController(vr::IVRSystem* system, ControllerManager& controller) {
    // Until the runtime knows the role, ask again at every event.
    if (controller.GetHand() == kHandUnassigned) {
        controller.SetHand(HandOfRole(
            system->GetControllerRoleForTrackedDeviceIndex(controller.deviceIndex.load())));
    }
}

}  // namespace STN
