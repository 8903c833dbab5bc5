#include "EventInterpreterRift.h"

#include "ControllerManager.h"
#include "OpenVRManager.h"

namespace STN {

void EventInterpreterRift::Bind(const boost::shared_ptr<OpenVRManager>& manager) {
    IEventInterpreter::Bind(manager);
    // Not a mirror image: the right controller's pointer sits a little further in.
    leftOffset = GripOffset(0.006f, -0.025f, 0.031f);
    rightOffset = GripOffset(-0.00665f, -0.025f, 0.031f);
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

std::uint32_t EventInterpreterRift::FindOrAddController(std::uint32_t deviceIndex) {
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
        ControllerManager& known = *controllers[static_cast<std::size_t>(found)];
        if (known.GetHand() == kHandUnassigned) {
            known.SetHand(HandOfRole(system->GetControllerRoleForTrackedDeviceIndex(deviceIndex)));
        }
        return static_cast<std::uint32_t>(found);
    }
    boost::shared_ptr<ControllerManager> controller(new ControllerManager());
    controller->SetDeviceIndex(deviceIndex);
    ScanAxes(system, *controller, true);
    controller->SetControllerType(kControllerFamilyRift);
    controller->valid = true;
    controller->SetHand(HandOfRole(system->GetControllerRoleForTrackedDeviceIndex(deviceIndex)));
    return AddController(controller);
}

Matrix4 EventInterpreterRift::ApplyGripOffset(std::uint32_t listIndex, const Matrix4& pose) {
    return OffsetByHand(listIndex, pose, leftOffset, rightOffset);
}

}  // namespace STN
