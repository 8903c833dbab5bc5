#include "runtime_state.h"

#include <cmath>
#include <cstring>

#include "model_library.h"
#include "settings_file.h"

namespace simvr {

namespace {

constexpr float kPi = 3.14159265358979f;

float Radians(float degrees) {
    return degrees * kPi / 180.0f;
}

struct ProfileInfo {
    const char* trackingSystem;
    const char* manufacturer;
    const char* hmdModel;
    const char* controllerModelLeft;
    const char* controllerModelRight;
    const char* renderModelLeft;
    const char* renderModelRight;
    // Axis types 0..4 of its controllers.
    int32_t axes[5];
};

const ProfileInfo& Profile(int profile) {
    static const ProfileInfo kVive{
        "lighthouse",
        "HTC",
        "Vive MV",
        "Vive Controller MV",
        "Vive Controller MV",
        kViveControllerModel,
        kViveControllerModel,
        {vr::k_eControllerAxis_TrackPad, vr::k_eControllerAxis_Trigger, 0, 0, 0}};
    static const ProfileInfo kRift{"oculus",
                                   "Oculus",
                                   "Oculus Rift CV1",
                                   "Oculus Rift CV1 (Left Controller)",
                                   "Oculus Rift CV1 (Right Controller)",
                                   kRiftControllerLeftModel,
                                   kRiftControllerRightModel,
                                   {vr::k_eControllerAxis_Joystick, vr::k_eControllerAxis_Trigger,
                                    vr::k_eControllerAxis_Trigger, 0, 0}};
    static const ProfileInfo kWindowsMr{
        "holographic",
        "WindowsMR",
        "Windows Mixed Reality Headset",
        "WindowsMR: 0x045E/0x065B/0/1",
        "WindowsMR: 0x045E/0x065B/0/2",
        kWindowsMrControllerLeftModel,
        kWindowsMrControllerRightModel,
        {vr::k_eControllerAxis_Joystick, vr::k_eControllerAxis_Trigger,
         vr::k_eControllerAxis_TrackPad, 0, 0}};
    static const ProfileInfo kUnknown{
        "simvr",
        "Stereon",
        "Simulated Headset",
        "Simulated Controller",
        "Simulated Controller",
        kGenericControllerModel,
        kGenericControllerModel,
        {vr::k_eControllerAxis_TrackPad, vr::k_eControllerAxis_Trigger, 0, 0, 0}};
    switch (profile) {
        case SIMVR_PROFILE_RIFT:
            return kRift;
        case SIMVR_PROFILE_WINDOWS_MR:
            return kWindowsMr;
        case SIMVR_PROFILE_UNKNOWN:
            return kUnknown;
        default:
            return kVive;
    }
}

}  // namespace

State& State::Get() {
    // Destroyed with the library, so a program that unloads it leaks nothing.
    static State state;
    return state;
}

State::State() {
    Reset();
}

void State::Reset() {
    profile = SIMVR_PROFILE_VIVE;
    hmdPresent = true;
    initError = 0;
    disabledInterfaces.clear();
    targetWidth = 64;
    targetHeight = 64;
    refreshRate = 90.0f;
    fovLeft = fovRight = fovUp = fovDown = 50.0f;
    ipd = 0.064f;
    paced = false;
    waitBlocked = false;
    submitBlocked = false;
    ++waitGeneration;
    waitCondition.notify_all();
    head = HeadScript();
    readback = false;
    modelLoadPolls = 2;
    modelErrors.clear();
    textureErrors.clear();
    initCount = 0;
    cleanupCount = 0;
    // An open connection stays open, and still belongs to the application that made it.
    if (!initialized) {
        applicationType = -1;
    }
    frameIndex = 0;
    submittedThisFrame = {{false, false}};
    presentedFrames = 0;
    lastPoses = {};
    events.clear();
    fadeColor = {0, 0, 0, 0};
    fadeBackgroundColor = {0, 0, 0, 0};
    fadeMade = false;
    gridAlpha = 0.0f;
    mirrorVisible = false;
    explicitTiming = false;
    boundsForced = false;
    sceneColor = {0, 0, 0, 1};
    settings.clear();
    unreadSettings.clear();
    settingsDirty = false;
    eyes = {};
    modelPollsLeft.clear();
    texturePollsLeft.clear();
    modelLoadCalls.clear();
    invalidFrees = 0;
    // Models still held by a caller stay valid: they are freed through FreeRenderModel or when
    // the library goes.
    calls.clear();
    callCapacity = 16384;
    callSequence = 0;
    callCounts = {};
    ApplyProfile(SIMVR_PROFILE_VIVE);
}

void State::LoadSettings() {
    settingsFile = SettingsFilePath();
    SettingsSections typed;
    UnreadSettings unread;
    const SettingsFileRead read = ReadSettingsFile(settingsFile, &typed, &unread);
    settingsFileUnreadable = read == SettingsFileRead::Unreadable;
    const auto held = [this](const std::string& section, const std::string& key) {
        const auto inSettings = settings.find(section);
        const auto inUnread = unreadSettings.find(section);
        return (inSettings != settings.end() && inSettings->second.count(key) != 0) ||
               (inUnread != unreadSettings.end() && inUnread->second.count(key) != 0);
    };
    for (const auto& section : typed) {
        for (const auto& key : section.second) {
            if (!held(section.first, key.first)) {
                settings[section.first][key.first] = key.second;
            }
        }
    }
    for (const auto& section : unread) {
        for (const auto& key : section.second) {
            if (!held(section.first, key.first)) {
                unreadSettings[section.first][key.first] = key.second;
            }
        }
    }
}

void State::ApplyProfile(int newProfile) {
    profile = newProfile;
    const ProfileInfo& info = Profile(newProfile);
    devices = {};

    Device& hmd = devices[0];
    hmd.present = true;
    hmd.connected = true;
    hmd.deviceClass = vr::TrackedDeviceClass_HMD;
    SetStringProperty(0, vr::Prop_TrackingSystemName_String, info.trackingSystem);
    SetStringProperty(0, vr::Prop_ModelNumber_String, info.hmdModel);
    SetStringProperty(0, vr::Prop_SerialNumber_String, "SIMVR-HMD-0001");
    SetStringProperty(0, vr::Prop_RenderModelName_String, kHmdModel);
    SetStringProperty(0, vr::Prop_ManufacturerName_String, info.manufacturer);
    SetInt32Property(0, vr::Prop_DeviceClass_Int32, vr::TrackedDeviceClass_HMD);
    SetFloatProperty(0, vr::Prop_DisplayFrequency_Float, refreshRate);
    SetFloatProperty(0, vr::Prop_UserIpdMeters_Float, ipd);
    SetFloatProperty(0, vr::Prop_SecondsFromVsyncToPhotons_Float, 0.011f);
    SetBoolProperty(0, vr::Prop_ReportsTimeSinceVSync_Bool, true);
    SetBoolProperty(0, vr::Prop_IsOnDesktop_Bool, false);
    SetBoolProperty(0, vr::Prop_ContainsProximitySensor_Bool, true);
    SetUint64Property(0, vr::Prop_CurrentUniverseId_Uint64, 1);

    SetupController(SIMVR_DEVICE_LEFT_CONTROLLER, vr::TrackedControllerRole_LeftHand);
    SetupController(SIMVR_DEVICE_RIGHT_CONTROLLER, vr::TrackedControllerRole_RightHand);

    if (newProfile == SIMVR_PROFILE_VIVE) {
        for (uint32_t index : {3u, 4u}) {
            Device& station = devices[index];
            station.present = true;
            station.connected = true;
            station.deviceClass = vr::TrackedDeviceClass_TrackingReference;
            station.pose =
                PoseFromYawPitchRoll(index == 3 ? 45.0f : -135.0f, -30.0f, 0.0f,
                                     index == 3 ? -2.0f : 2.0f, 2.2f, index == 3 ? -2.0f : 2.0f);
            SetStringProperty(index, vr::Prop_TrackingSystemName_String, info.trackingSystem);
            SetStringProperty(index, vr::Prop_ModelNumber_String, "HTC V2-XD/XE");
            SetStringProperty(index, vr::Prop_SerialNumber_String,
                              index == 3 ? "LHB-SIM00003" : "LHB-SIM00004");
            SetStringProperty(index, vr::Prop_RenderModelName_String, kBaseStationModel);
            SetStringProperty(index, vr::Prop_ManufacturerName_String, info.manufacturer);
            SetInt32Property(index, vr::Prop_DeviceClass_Int32,
                             vr::TrackedDeviceClass_TrackingReference);
        }
    }
}

void State::SetupController(uint32_t index, vr::ETrackedControllerRole role) {
    const ProfileInfo& info = Profile(profile);
    Device& device = devices[index];
    device = Device();
    device.present = true;
    device.connected = true;
    device.deviceClass = vr::TrackedDeviceClass_Controller;
    device.role = role;
    const bool left = role == vr::TrackedControllerRole_LeftHand;
    device.pose = PoseFromYawPitchRoll(0.0f, 0.0f, 0.0f, left ? -0.2f : 0.2f, -0.3f, -0.4f);
    SetStringProperty(index, vr::Prop_TrackingSystemName_String, info.trackingSystem);
    SetStringProperty(index, vr::Prop_ModelNumber_String,
                      left ? info.controllerModelLeft : info.controllerModelRight);
    SetStringProperty(index, vr::Prop_SerialNumber_String, "SIMVR-CTRL-" + std::to_string(index));
    SetStringProperty(index, vr::Prop_RenderModelName_String,
                      left ? info.renderModelLeft : info.renderModelRight);
    SetStringProperty(index, vr::Prop_ManufacturerName_String, info.manufacturer);
    SetInt32Property(index, vr::Prop_DeviceClass_Int32, vr::TrackedDeviceClass_Controller);
    SetInt32Property(index, vr::Prop_ControllerRoleHint_Int32, role);
    SetBoolProperty(index, vr::Prop_DeviceIsWireless_Bool, true);
    SetBoolProperty(index, vr::Prop_DeviceProvidesBatteryStatus_Bool, true);
    SetFloatProperty(index, vr::Prop_DeviceBatteryPercentage_Float, 0.9f);
    uint64_t buttons = (1ull << vr::k_EButton_System) | (1ull << vr::k_EButton_ApplicationMenu) |
                       (1ull << vr::k_EButton_Grip) | (1ull << vr::k_EButton_Axis0) |
                       (1ull << vr::k_EButton_Axis1);
    if (profile == SIMVR_PROFILE_RIFT) {
        buttons |= 1ull << vr::k_EButton_A;
    }
    SetUint64Property(index, vr::Prop_SupportedButtons_Uint64, buttons);
    for (int axis = 0; axis < 5; ++axis) {
        SetInt32Property(index, vr::ETrackedDeviceProperty(vr::Prop_Axis0Type_Int32 + axis),
                         info.axes[axis]);
    }
}

int State::AddController(vr::ETrackedControllerRole role) {
    for (uint32_t index = 1; index < devices.size(); ++index) {
        if (!devices[index].present) {
            SetupController(index, role);
            return int(index);
        }
    }
    return -1;
}

bool State::IsController(uint32_t index) const {
    return index < devices.size() && devices[index].present &&
           devices[index].deviceClass == vr::TrackedDeviceClass_Controller;
}

vr::HmdMatrix34_t State::DevicePose(uint32_t index) const {
    if (index >= devices.size()) {
        return Identity34();
    }
    if (index == 0 && !head.explicitPose) {
        const float yaw = head.yaw + float(double(head.yawRate) * SimulatedSeconds());
        return PoseFromYawPitchRoll(yaw, head.pitch, head.roll, head.position[0], head.position[1],
                                    head.position[2]);
    }
    return devices[index].pose;
}

vr::TrackedDevicePose_t State::TrackedPose(uint32_t index) const {
    vr::TrackedDevicePose_t pose{};
    if (index >= devices.size() || !devices[index].present || !devices[index].connected) {
        pose.mDeviceToAbsoluteTracking = Identity34();
        pose.eTrackingResult = vr::TrackingResult_Uninitialized;
        return pose;
    }
    const Device& device = devices[index];
    pose.mDeviceToAbsoluteTracking = DevicePose(index);
    if (index == 0 && !head.explicitPose) {
        pose.vAngularVelocity.v[1] = Radians(head.yawRate);
    }
    pose.eTrackingResult =
        device.poseValid ? vr::TrackingResult_Running_OK : vr::TrackingResult_Running_OutOfRange;
    pose.bPoseIsValid = device.poseValid;
    pose.bDeviceIsConnected = true;
    return pose;
}

simvr_call* State::Record(int kind, int result) {
    if (kind > 0 && kind < SIMVR_CALL_KIND_COUNT) {
        ++callCounts[size_t(kind)];
    }
    const uint64_t sequence = callSequence++;
    if (calls.size() >= callCapacity) {
        return nullptr;
    }
    if (calls.capacity() < callCapacity) {
        calls.reserve(callCapacity);
    }
    calls.emplace_back();
    simvr_call* call = &calls.back();
    std::memset(call, 0, sizeof(*call));
    call->sequence = sequence;
    call->frame = frameIndex;
    call->kind = kind;
    call->result = result;
    call->texture_type = -1;
    return call;
}

void State::SetFloatProperty(uint32_t device, vr::ETrackedDeviceProperty prop, float value) {
    PropertyValue& v = devices[device].props[prop];
    v = PropertyValue();
    v.type = PropertyValue::Float;
    v.f = value;
}

void State::SetStringProperty(uint32_t device, vr::ETrackedDeviceProperty prop,
                              const std::string& value) {
    PropertyValue& v = devices[device].props[prop];
    v = PropertyValue();
    v.type = PropertyValue::String;
    v.s = value;
}

void State::SetInt32Property(uint32_t device, vr::ETrackedDeviceProperty prop, int32_t value) {
    PropertyValue& v = devices[device].props[prop];
    v = PropertyValue();
    v.type = PropertyValue::Int32;
    v.i = value;
}

void State::SetBoolProperty(uint32_t device, vr::ETrackedDeviceProperty prop, bool value) {
    PropertyValue& v = devices[device].props[prop];
    v = PropertyValue();
    v.type = PropertyValue::Bool;
    v.b = value;
}

void State::SetUint64Property(uint32_t device, vr::ETrackedDeviceProperty prop, uint64_t value) {
    PropertyValue& v = devices[device].props[prop];
    v = PropertyValue();
    v.type = PropertyValue::Uint64;
    v.u = value;
}

void State::SetMatrix34Property(uint32_t device, vr::ETrackedDeviceProperty prop,
                                const vr::HmdMatrix34_t& value) {
    PropertyValue& v = devices[device].props[prop];
    v = PropertyValue();
    v.type = PropertyValue::Matrix34;
    v.m = value;
}

uint32_t CopyString(const std::string& text, char* buffer, uint32_t size) {
    const uint32_t needed = uint32_t(text.size() + 1);
    if (buffer != nullptr && size >= needed) {
        std::memcpy(buffer, text.c_str(), needed);
    } else if (buffer != nullptr && size > 0) {
        buffer[0] = '\0';
    }
    return needed;
}

void CopyField(char* field, size_t fieldSize, const char* text) {
    if (text == nullptr) {
        field[0] = '\0';
        return;
    }
    std::strncpy(field, text, fieldSize - 1);
    field[fieldSize - 1] = '\0';
}

vr::HmdMatrix34_t Identity34() {
    vr::HmdMatrix34_t m{};
    m.m[0][0] = m.m[1][1] = m.m[2][2] = 1.0f;
    return m;
}

vr::HmdMatrix34_t Multiply34(const vr::HmdMatrix34_t& a, const vr::HmdMatrix34_t& b) {
    vr::HmdMatrix34_t r{};
    for (int row = 0; row < 3; ++row) {
        for (int col = 0; col < 4; ++col) {
            float sum = col == 3 ? a.m[row][3] : 0.0f;
            for (int k = 0; k < 3; ++k) {
                sum += a.m[row][k] * b.m[k][col];
            }
            r.m[row][col] = sum;
        }
    }
    return r;
}

vr::HmdMatrix34_t PoseFromYawPitchRoll(float yaw, float pitch, float roll, float x, float y,
                                       float z) {
    // R = Ry(yaw) * Rx(pitch) * Rz(roll), OpenVR's axes: +Y up, -Z forward.
    const float cy = std::cos(Radians(yaw)), sy = std::sin(Radians(yaw));
    const float cp = std::cos(Radians(pitch)), sp = std::sin(Radians(pitch));
    const float cr = std::cos(Radians(roll)), sr = std::sin(Radians(roll));
    vr::HmdMatrix34_t ry = Identity34(), rx = Identity34(), rz = Identity34();
    ry.m[0][0] = cy;
    ry.m[0][2] = sy;
    ry.m[2][0] = -sy;
    ry.m[2][2] = cy;
    rx.m[1][1] = cp;
    rx.m[1][2] = -sp;
    rx.m[2][1] = sp;
    rx.m[2][2] = cp;
    rz.m[0][0] = cr;
    rz.m[0][1] = -sr;
    rz.m[1][0] = sr;
    rz.m[1][1] = cr;
    vr::HmdMatrix34_t r = Multiply34(Multiply34(ry, rx), rz);
    r.m[0][3] = x;
    r.m[1][3] = y;
    r.m[2][3] = z;
    return r;
}

void State::HoldWhileBlocked(std::unique_lock<std::mutex>& lock, const bool& blocked,
                             uint64_t connection) {
    const uint64_t generation = waitGeneration;
    waitCondition.wait(lock, [&] {
        return !blocked || waitGeneration != generation || this->connection != connection;
    });
}

}  // namespace simvr
