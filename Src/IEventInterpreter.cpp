#include "IEventInterpreter.h"

#include "ControllerFeedback.h"
#include "ControllerManager.h"
#include "EventInterpreterRift.h"
#include "EventInterpreterVive.h"
#include "EventInterpreterWinMR.h"
#include "IControllerListener.h"
#include "OpenVRManager.h"
#include "stnvr/vr_interfaces.h"

namespace STN {

namespace {

// Device indices above this are not controllers of ours: their events and updates are dropped.
const std::uint32_t kMaxDeviceIndex = 100;
// A controller that got fewer updates than this since the last recovery counts as silent.
const std::uint32_t kSilentUpdates = 100;
const std::uint32_t kMaxUpdateCount = 1000000;

}  // namespace

IEventInterpreter::~IEventInterpreter() = default;

void IEventInterpreter::Bind(const boost::shared_ptr<OpenVRManager>& manager) {
    openVR = manager;
    std::vector<boost::shared_ptr<ControllerManager>> old;
    {
        std::lock_guard<std::mutex> guard(listMutex);
        old.swap(controllers);
    }
}

void IEventInterpreter::HandleButtonEvent(const vr::VREvent_t& event, const Matrix4& pose,
                                          const vr::VRControllerState_t& state) {
    const bool press = event.eventType == vr::VREvent_ButtonPress;
    if (event.trackedDeviceIndex > kMaxDeviceIndex ||
        (!press && event.eventType != vr::VREvent_ButtonUnpress)) {
        return;
    }
    const std::uint32_t listIndex = FindOrAddController(event.trackedDeviceIndex);
    ReleaseRetired();
    const boost::shared_ptr<ControllerManager> controller = GetController(listIndex);
    if (!controller || !controller->valid || controller->GetHand() == kHandUnassigned) {
        return;
    }
    const Matrix4 gripPose = ApplyGripOffset(controller->GetHand(), pose);
    const boost::shared_ptr<IControllerListener> listener = controller->GetListener();
    if (!listener) {
        return;
    }
    const std::uint32_t button = TranslateButton(event, state, controller);
    const boost::shared_ptr<IControllerManager> host = controller;
    if (press) {
        if (listener->OnButtonDown(host, button, gripPose)) {
            GetControllerFeedback()->SetActiveDevice(event.trackedDeviceIndex);
        }
    } else {
        listener->OnButtonUp(host, button, gripPose);
    }
}

void IEventInterpreter::UpdateController(std::uint32_t deviceIndex, bool poseValid,
                                         const Matrix4& pose, const vr::VRControllerState_t&) {
    if (deviceIndex > kMaxDeviceIndex) {
        return;
    }
    const std::uint32_t listIndex = FindOrAddController(deviceIndex);
    ReleaseRetired();
    const boost::shared_ptr<ControllerManager> controller = GetController(listIndex);
    if (!controller) {
        return;
    }
    if (controller->updateCount < kMaxUpdateCount) {
        ++controller->updateCount;
    }
    if (!controller->valid) {
        return;
    }
    if (controller->GetHand() != kHandUnassigned) {
        const Matrix4 gripPose = ApplyGripOffset(controller->GetHand(), pose);
        if (const boost::shared_ptr<IControllerListener> listener = controller->GetListener()) {
            listener->OnPoseUpdate(controller, poseValid, gripPose);
        }
    } else if (controller->updateCount > kSilentUpdates) {
        RecoverControllers();
        ReleaseRetired();
    }
}

boost::shared_ptr<ControllerManager> IEventInterpreter::GetController(
    std::uint32_t listIndex) const {
    std::lock_guard<std::mutex> guard(listMutex);
    return listIndex < controllers.size() ? controllers[listIndex]
                                          : boost::shared_ptr<ControllerManager>();
}

void IEventInterpreter::SetControllerAddedCallback(
    const boost::shared_ptr<IControllerAddedCallback>& callback) {
    std::lock_guard<std::mutex> guard(listMutex);
    controllerAdded = callback;
}

void IEventInterpreter::RevisitController(vr::IVRSystem*, ControllerManager&) {}

void IEventInterpreter::SetGripOffsets(const Matrix4& left, const Matrix4& right) {
    leftGripOffset = left;
    rightGripOffset = right;
    hasGripOffsets = true;
}

bool IEventInterpreter::RecoverControllers() {
    return false;
}

std::uint32_t IEventInterpreter::FindOrAddController(std::uint32_t deviceIndex) {
    if (!openVR) {
        return 0;
    }
    OpenVRManager::ScopedLock lock(*openVR);
    vr::IVRSystem* system = openVR->GetSystem();
    if (system == nullptr) {
        return 0;
    }
    for (std::size_t i = 0; i < controllers.size(); ++i) {
        if (controllers[i]->deviceIndex.load() == deviceIndex) {
            RevisitController(system, *controllers[i]);
            return static_cast<std::uint32_t>(i);
        }
    }
    boost::shared_ptr<ControllerManager> controller(new ControllerManager());
    controller->SetDeviceIndex(deviceIndex);
    SetUpNewController(system, *controller);

    // The host hears of the controller before the list has it.
    boost::shared_ptr<IControllerAddedCallback> callback;
    {
        std::lock_guard<std::mutex> guard(listMutex);
        callback = controllerAdded;
    }
    if (callback) {
        callback->OnControllerAdded(controller);
    }
    std::lock_guard<std::mutex> guard(listMutex);
    controllers.push_back(controller);
    return static_cast<std::uint32_t>(controllers.size() - 1);
}

void IEventInterpreter::ScanAxes(vr::IVRSystem* system, ControllerManager& controller,
                                 bool withJoystick) const {
    const std::uint32_t device = controller.deviceIndex.load();
    for (std::uint32_t i = 0; i < 5; ++i) {
        const std::int32_t type = system->GetInt32TrackedDeviceProperty(
            device, static_cast<vr::ETrackedDeviceProperty>(vr::Prop_Axis0Type_Int32 + i), nullptr);
        if (type == vr::k_eControllerAxis_TrackPad) {
            controller.trackpadAxis.store(i);
        } else if (type == vr::k_eControllerAxis_Trigger) {
            controller.triggerAxis.store(i);
        } else if (type == vr::k_eControllerAxis_Joystick && withJoystick) {
            controller.joystickAxis.store(i);
        }
    }
}

void IEventInterpreter::NoteHands(bool validOnly, bool& right, bool& left) {
    for (int pass = 0; pass < 2; ++pass) {
        right = false;
        left = false;
        for (const boost::shared_ptr<ControllerManager>& controller : controllers) {
            if (validOnly && !controller->valid) {
                continue;
            }
            right = right || controller->GetHand() == kHandRight;
            left = left || controller->GetHand() == kHandLeft;
        }
        if (!(right && left) || pass == 1 || !RecoverControllers()) {
            return;
        }
    }
}

std::uint32_t IEventInterpreter::HandOfRole(vr::ETrackedControllerRole role) {
    if (role == vr::TrackedControllerRole_RightHand) {
        return kHandRight;
    }
    if (role == vr::TrackedControllerRole_LeftHand) {
        return kHandLeft;
    }
    return kHandUnassigned;
}

Matrix4 IEventInterpreter::ApplyGripOffset(std::uint32_t hand, const Matrix4& pose) const {
    if (!hasGripOffsets) {
        return pose;
    }
    if (hand == kHandLeft) {
        return pose * leftGripOffset;
    }
    if (hand == kHandRight) {
        return pose * rightGripOffset;
    }
    return pose;
}

std::uint32_t IEventInterpreter::PadButton(std::uint32_t button, PadRegion region) {
    if (button == vr::k_EButton_SteamVR_Trigger) {
        return kControllerButtonTrigger;
    }
    if (button != vr::k_EButton_SteamVR_Touchpad) {
        return kControllerButtonNone;
    }
    return region == kPadLower   ? kControllerButtonPrimary
           : region == kPadUpper ? kControllerButtonSecondary
                                 : kControllerButtonNone;
}

Matrix4 IEventInterpreter::GripOffset(float x, float y, float z) {
    Matrix4 offset = Matrix4::Identity();
    offset.Rotate(-40.0f, 1.0f, 0.0f, 0.0f);
    offset.Translate(x, y, z);
    return offset;
}

bool IEventInterpreter::ReplaceSilentControllers() {
    bool replaced = false;
    for (boost::shared_ptr<ControllerManager>& controller : controllers) {
        if (controller->updateCount < kSilentUpdates) {
            boost::shared_ptr<ControllerManager> blank(new ControllerManager());
            {
                std::lock_guard<std::mutex> guard(listMutex);
                controller.swap(blank);
            }
            retired.push_back(blank);
            replaced = true;
        }
        controller->updateCount = 0;
    }
    return replaced;
}

void IEventInterpreter::ReleaseRetired() {
    retired.clear();
}

boost::shared_ptr<IEventInterpreter> CreateEventInterpreter(std::uint32_t family) {
    switch (family) {
        case 1:
            return boost::shared_ptr<IEventInterpreter>(new EventInterpreterVive());
        case 2:
            return boost::shared_ptr<IEventInterpreter>(new EventInterpreterWinMR());
        case 3:
            return boost::shared_ptr<IEventInterpreter>(new EventInterpreterRift());
        default:
            return boost::shared_ptr<IEventInterpreter>();
    }
}

}  // namespace STN
