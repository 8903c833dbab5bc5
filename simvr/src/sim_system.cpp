#include <algorithm>
#include <cmath>
#include <cstring>

#include "names.h"
#include "runtime_state.h"
#include "sim_interfaces.h"

namespace simvr {

namespace {

using Lock = std::lock_guard<std::mutex>;

float Tan(float degrees) {
    return std::tan(degrees * 3.14159265358979f / 180.0f);
}

// Tangents of the half-angles of an eye, in the runtime's raw convention: the value called
// "top" is the lower edge (negative) and "bottom" the upper one, which is what the documented
// composition below expects to build a y-up projection.
void RawTangents(const State& s, vr::EVREye eye, float* left, float* right, float* top,
                 float* bottom) {
    const bool leftEye = eye != vr::Eye_Right;
    *left = -Tan(leftEye ? s.fovLeft : s.fovRight);
    *right = Tan(leftEye ? s.fovRight : s.fovLeft);
    *top = -Tan(s.fovDown);
    *bottom = Tan(s.fovUp);
}

const PropertyValue* FindProperty(const State& s, vr::TrackedDeviceIndex_t device, int32_t prop,
                                  PropertyValue::Type type, vr::ETrackedPropertyError* error) {
    vr::ETrackedPropertyError result = vr::TrackedProp_Success;
    const PropertyValue* value = nullptr;
    if (device >= s.devices.size() || !s.devices[device].present) {
        result = vr::TrackedProp_InvalidDevice;
    } else {
        auto found = s.devices[device].props.find(prop);
        if (found == s.devices[device].props.end()) {
            result = vr::TrackedProp_UnknownProperty;
        } else if (found->second.type != type) {
            result = vr::TrackedProp_WrongDataType;
        } else {
            value = &found->second;
        }
    }
    if (error != nullptr) {
        *error = result;
    }
    return value;
}

bool PopEvent(State& s, vr::VREvent_t* event, uint32_t size, vr::TrackedDevicePose_t* pose) {
    // A size that is not this platform's record means a caller built against other
    // declarations: writing into it would corrupt its memory.
    if (event == nullptr || size != sizeof(vr::VREvent_t) || s.events.empty()) {
        return false;
    }
    const QueuedEvent& queued = s.events.front();
    *event = queued.event;
    if (pose != nullptr) {
        *pose = queued.pose;
    }
    s.events.pop_front();
    return true;
}

bool ReadControllerState(State& s, vr::TrackedDeviceIndex_t device, vr::VRControllerState_t* out,
                         uint32_t size) {
    if (out == nullptr || size != sizeof(vr::VRControllerState_t) || !s.IsController(device) ||
        !s.devices[device].connected) {
        if (out != nullptr && size == sizeof(vr::VRControllerState_t)) {
            std::memset(out, 0, sizeof(*out));
        }
        return false;
    }
    *out = s.devices[device].state;
    return true;
}

}  // namespace

void SimSystem::GetRecommendedRenderTargetSize(uint32_t* pnWidth, uint32_t* pnHeight) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (pnWidth != nullptr) {
        *pnWidth = s.targetWidth;
    }
    if (pnHeight != nullptr) {
        *pnHeight = s.targetHeight;
    }
}

vr::HmdMatrix44_t SimSystem::GetProjectionMatrix(vr::EVREye eEye, float fNearZ, float fFarZ) {
    State& s = State::Get();
    float left, right, top, bottom;
    {
        Lock lock(s.mutex);
        RawTangents(s, eEye, &left, &right, &top, &bottom);
    }
    // Right-handed, looking down -Z, depth mapped to [0, 1] as the runtime's matrices are.
    vr::HmdMatrix44_t p{};
    const float idx = 1.0f / (right - left);
    const float idy = 1.0f / (bottom - top);
    const float depth = fFarZ - fNearZ;
    const float idz = depth != 0.0f ? 1.0f / depth : 0.0f;
    p.m[0][0] = 2.0f * idx;
    p.m[0][2] = (right + left) * idx;
    p.m[1][1] = 2.0f * idy;
    p.m[1][2] = (bottom + top) * idy;
    p.m[2][2] = -fFarZ * idz;
    p.m[2][3] = -fFarZ * fNearZ * idz;
    p.m[3][2] = -1.0f;
    return p;
}

void SimSystem::GetProjectionRaw(vr::EVREye eEye, float* pfLeft, float* pfRight, float* pfTop,
                                 float* pfBottom) {
    State& s = State::Get();
    float left, right, top, bottom;
    {
        Lock lock(s.mutex);
        RawTangents(s, eEye, &left, &right, &top, &bottom);
    }
    if (pfLeft != nullptr) {
        *pfLeft = left;
    }
    if (pfRight != nullptr) {
        *pfRight = right;
    }
    if (pfTop != nullptr) {
        *pfTop = top;
    }
    if (pfBottom != nullptr) {
        *pfBottom = bottom;
    }
}

bool SimSystem::ComputeDistortion(vr::EVREye eEye, float fU, float fV,
                                  vr::DistortionCoordinates_t* pDistortionCoordinates) {
    // The simulated lens has no distortion.
    if (pDistortionCoordinates == nullptr) {
        return false;
    }
    for (float* channel : {pDistortionCoordinates->rfRed, pDistortionCoordinates->rfGreen,
                           pDistortionCoordinates->rfBlue}) {
        channel[0] = fU;
        channel[1] = fV;
    }
    return true;
}

vr::HmdMatrix34_t SimSystem::GetEyeToHeadTransform(vr::EVREye eEye) {
    State& s = State::Get();
    Lock lock(s.mutex);
    vr::HmdMatrix34_t m = Identity34();
    m.m[0][3] = (eEye == vr::Eye_Right ? 0.5f : -0.5f) * s.ipd;
    return m;
}

bool SimSystem::GetTimeSinceLastVsync(float* pfSecondsSinceLastVsync, uint64_t* pulFrameCounter) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (pfSecondsSinceLastVsync != nullptr) {
        const auto elapsed = std::chrono::steady_clock::now() - s.lastVsync;
        *pfSecondsSinceLastVsync = s.paced ? std::chrono::duration<float>(elapsed).count() : 0.0f;
    }
    if (pulFrameCounter != nullptr) {
        *pulFrameCounter = s.frameIndex;
    }
    return true;
}

int32_t SimSystem::GetD3D9AdapterIndex() {
    return -1;
}

void SimSystem::GetDXGIOutputInfo(int32_t* pnAdapterIndex) {
    if (pnAdapterIndex != nullptr) {
        *pnAdapterIndex = -1;
    }
}

void SimSystem::GetOutputDevice(uint64_t* pnDevice, vr::ETextureType textureType,
                                VkInstance_T* pInstance) {
    if (pnDevice != nullptr) {
        *pnDevice = 0;
    }
}

bool SimSystem::IsDisplayOnDesktop() {
    return false;
}

bool SimSystem::SetDisplayVisibility(bool bIsVisibleOnDesktop) {
    return false;
}

void SimSystem::GetDeviceToAbsoluteTrackingPose(vr::ETrackingUniverseOrigin eOrigin,
                                                float fPredictedSecondsToPhotonsFromNow,
                                                vr::TrackedDevicePose_t* pTrackedDevicePoseArray,
                                                uint32_t unTrackedDevicePoseArrayCount) {
    if (pTrackedDevicePoseArray == nullptr) {
        return;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    const uint32_t count =
        std::min<uint32_t>(unTrackedDevicePoseArrayCount, vr::k_unMaxTrackedDeviceCount);
    for (uint32_t i = 0; i < count; ++i) {
        pTrackedDevicePoseArray[i] = s.TrackedPose(i);
    }
    for (uint32_t i = count; i < unTrackedDevicePoseArrayCount; ++i) {
        pTrackedDevicePoseArray[i] = vr::TrackedDevicePose_t{};
    }
}

void SimSystem::ResetSeatedZeroPose() {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (simvr_call* call = s.Record(SIMVR_CALL_OTHER)) {
        CopyField(call->text, sizeof(call->text), "ResetSeatedZeroPose");
    }
}

// The simulated universes coincide: seated, standing and raw share one origin.
vr::HmdMatrix34_t SimSystem::GetSeatedZeroPoseToStandingAbsoluteTrackingPose() {
    return Identity34();
}

vr::HmdMatrix34_t SimSystem::GetRawZeroPoseToStandingAbsoluteTrackingPose() {
    return Identity34();
}

uint32_t SimSystem::GetSortedTrackedDeviceIndicesOfClass(
    vr::ETrackedDeviceClass eTrackedDeviceClass,
    vr::TrackedDeviceIndex_t* punTrackedDeviceIndexArray, uint32_t unTrackedDeviceIndexArrayCount,
    vr::TrackedDeviceIndex_t unRelativeToTrackedDeviceIndex) {
    State& s = State::Get();
    Lock lock(s.mutex);
    struct Entry {
        vr::TrackedDeviceIndex_t index;
        float across;
    };
    std::vector<Entry> found;
    const vr::HmdMatrix34_t reference = unRelativeToTrackedDeviceIndex < s.devices.size()
                                            ? s.DevicePose(unRelativeToTrackedDeviceIndex)
                                            : Identity34();
    for (uint32_t i = 0; i < s.devices.size(); ++i) {
        const Device& d = s.devices[i];
        if (!d.present || !d.connected || d.deviceClass != eTrackedDeviceClass ||
            i == unRelativeToTrackedDeviceIndex) {
            continue;
        }
        // Left to right as seen from the reference device: its +X axis.
        const vr::HmdMatrix34_t pose = s.DevicePose(i);
        float across = 0;
        for (int k = 0; k < 3; ++k) {
            across += (pose.m[k][3] - reference.m[k][3]) * reference.m[k][0];
        }
        found.push_back({i, across});
    }
    if (unRelativeToTrackedDeviceIndex < s.devices.size()) {
        std::stable_sort(found.begin(), found.end(),
                         [](const Entry& a, const Entry& b) { return a.across < b.across; });
    }
    if (punTrackedDeviceIndexArray != nullptr) {
        for (uint32_t i = 0; i < found.size() && i < unTrackedDeviceIndexArrayCount; ++i) {
            punTrackedDeviceIndexArray[i] = found[i].index;
        }
    }
    return uint32_t(found.size());
}

vr::EDeviceActivityLevel SimSystem::GetTrackedDeviceActivityLevel(
    vr::TrackedDeviceIndex_t unDeviceId) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (unDeviceId >= s.devices.size() || !s.devices[unDeviceId].present) {
        return vr::k_EDeviceActivityLevel_Unknown;
    }
    return vr::EDeviceActivityLevel(s.devices[unDeviceId].activity);
}

void SimSystem::ApplyTransform(vr::TrackedDevicePose_t* pOutputPose,
                               const vr::TrackedDevicePose_t* pTrackedDevicePose,
                               const vr::HmdMatrix34_t* pTransform) {
    if (pOutputPose == nullptr || pTrackedDevicePose == nullptr || pTransform == nullptr) {
        return;
    }
    vr::TrackedDevicePose_t result = *pTrackedDevicePose;
    result.mDeviceToAbsoluteTracking =
        Multiply34(*pTransform, pTrackedDevicePose->mDeviceToAbsoluteTracking);
    for (int row = 0; row < 3; ++row) {
        float v = 0, w = 0;
        for (int k = 0; k < 3; ++k) {
            v += pTransform->m[row][k] * pTrackedDevicePose->vVelocity.v[k];
            w += pTransform->m[row][k] * pTrackedDevicePose->vAngularVelocity.v[k];
        }
        result.vVelocity.v[row] = v;
        result.vAngularVelocity.v[row] = w;
    }
    *pOutputPose = result;
}

vr::TrackedDeviceIndex_t SimSystem::GetTrackedDeviceIndexForControllerRole(
    vr::ETrackedControllerRole unDeviceType) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (unDeviceType == vr::TrackedControllerRole_Invalid) {
        return vr::k_unTrackedDeviceIndexInvalid;
    }
    for (uint32_t i = 0; i < s.devices.size(); ++i) {
        if (s.IsController(i) && s.devices[i].connected && s.devices[i].role == unDeviceType) {
            return i;
        }
    }
    return vr::k_unTrackedDeviceIndexInvalid;
}

vr::ETrackedControllerRole SimSystem::GetControllerRoleForTrackedDeviceIndex(
    vr::TrackedDeviceIndex_t unDeviceIndex) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.IsController(unDeviceIndex) ? s.devices[unDeviceIndex].role
                                         : vr::TrackedControllerRole_Invalid;
}

vr::ETrackedDeviceClass SimSystem::GetTrackedDeviceClass(vr::TrackedDeviceIndex_t unDeviceIndex) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (unDeviceIndex >= s.devices.size() || !s.devices[unDeviceIndex].present) {
        return vr::TrackedDeviceClass_Invalid;
    }
    return s.devices[unDeviceIndex].deviceClass;
}

bool SimSystem::IsTrackedDeviceConnected(vr::TrackedDeviceIndex_t unDeviceIndex) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return unDeviceIndex < s.devices.size() && s.devices[unDeviceIndex].present &&
           s.devices[unDeviceIndex].connected;
}

bool SimSystem::GetBoolTrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                             vr::ETrackedDeviceProperty prop,
                                             vr::ETrackedPropertyError* pError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const PropertyValue* v = FindProperty(s, unDeviceIndex, prop, PropertyValue::Bool, pError);
    return v != nullptr && v->b;
}

float SimSystem::GetFloatTrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                               vr::ETrackedDeviceProperty prop,
                                               vr::ETrackedPropertyError* pError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const PropertyValue* v = FindProperty(s, unDeviceIndex, prop, PropertyValue::Float, pError);
    return v != nullptr ? v->f : 0.0f;
}

int32_t SimSystem::GetInt32TrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                                 vr::ETrackedDeviceProperty prop,
                                                 vr::ETrackedPropertyError* pError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const PropertyValue* v = FindProperty(s, unDeviceIndex, prop, PropertyValue::Int32, pError);
    return v != nullptr ? v->i : 0;
}

uint64_t SimSystem::GetUint64TrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                                   vr::ETrackedDeviceProperty prop,
                                                   vr::ETrackedPropertyError* pError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const PropertyValue* v = FindProperty(s, unDeviceIndex, prop, PropertyValue::Uint64, pError);
    return v != nullptr ? v->u : 0;
}

vr::HmdMatrix34_t SimSystem::GetMatrix34TrackedDeviceProperty(
    vr::TrackedDeviceIndex_t unDeviceIndex, vr::ETrackedDeviceProperty prop,
    vr::ETrackedPropertyError* pError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const PropertyValue* v = FindProperty(s, unDeviceIndex, prop, PropertyValue::Matrix34, pError);
    // Where there is no matrix to give, OpenVR answers identity rather than zeros.
    return v != nullptr ? v->m : Identity34();
}

uint32_t SimSystem::GetStringTrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                                   vr::ETrackedDeviceProperty prop, char* pchValue,
                                                   uint32_t unBufferSize,
                                                   vr::ETrackedPropertyError* pError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    vr::ETrackedPropertyError error = vr::TrackedProp_Success;
    const PropertyValue* v = FindProperty(s, unDeviceIndex, prop, PropertyValue::String, &error);
    uint32_t result = 0;
    if (v != nullptr) {
        result = CopyString(v->s, pchValue, unBufferSize);
        if (pchValue == nullptr || unBufferSize < result) {
            error = vr::TrackedProp_BufferTooSmall;
        }
    } else if (pchValue != nullptr && unBufferSize > 0) {
        pchValue[0] = '\0';
    }
    if (pError != nullptr) {
        *pError = error;
    }
    return result;
}

const char* SimSystem::GetPropErrorNameFromEnum(vr::ETrackedPropertyError error) {
    return PropertyErrorName(error);
}

bool SimSystem::PollNextEvent(vr::VREvent_t* pEvent, uint32_t uncbVREvent) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return PopEvent(s, pEvent, uncbVREvent, nullptr);
}

bool SimSystem::PollNextEventWithPose(vr::ETrackingUniverseOrigin eOrigin, vr::VREvent_t* pEvent,
                                      uint32_t uncbVREvent,
                                      vr::TrackedDevicePose_t* pTrackedDevicePose) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return PopEvent(s, pEvent, uncbVREvent, pTrackedDevicePose);
}

const char* SimSystem::GetEventTypeNameFromEnum(vr::EVREventType eType) {
    return EventTypeName(eType);
}

vr::HiddenAreaMesh_t SimSystem::GetHiddenAreaMesh(vr::EVREye eEye, vr::EHiddenAreaMeshType type) {
    // The simulated display shows all of its pixels.
    return vr::HiddenAreaMesh_t{nullptr, 0};
}

bool SimSystem::GetControllerState(vr::TrackedDeviceIndex_t unControllerDeviceIndex,
                                   vr::VRControllerState_t* pControllerState,
                                   uint32_t unControllerStateSize) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return ReadControllerState(s, unControllerDeviceIndex, pControllerState, unControllerStateSize);
}

bool SimSystem::GetControllerStateWithPose(vr::ETrackingUniverseOrigin eOrigin,
                                           vr::TrackedDeviceIndex_t unControllerDeviceIndex,
                                           vr::VRControllerState_t* pControllerState,
                                           uint32_t unControllerStateSize,
                                           vr::TrackedDevicePose_t* pTrackedDevicePose) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const bool ok =
        ReadControllerState(s, unControllerDeviceIndex, pControllerState, unControllerStateSize);
    if (ok && pTrackedDevicePose != nullptr) {
        *pTrackedDevicePose = s.TrackedPose(unControllerDeviceIndex);
    }
    return ok;
}

void SimSystem::TriggerHapticPulse(vr::TrackedDeviceIndex_t unControllerDeviceIndex,
                                   uint32_t unAxisId, unsigned short usDurationMicroSec) {
    State& s = State::Get();
    Lock lock(s.mutex);
    // Recorded whatever the device: a pulse to a controller that has gone is the runtime's to
    // ignore, and tests want to see that it was sent.
    if (simvr_call* call = s.Record(SIMVR_CALL_HAPTIC_PULSE)) {
        call->device = unControllerDeviceIndex;
        call->axis = unAxisId;
        call->int_value = usDurationMicroSec;
    }
}

const char* SimSystem::GetButtonIdNameFromEnum(vr::EVRButtonId eButtonId) {
    return ButtonName(eButtonId);
}

const char* SimSystem::GetControllerAxisTypeNameFromEnum(vr::EVRControllerAxisType eAxisType) {
    return AxisTypeName(eAxisType);
}

bool SimSystem::CaptureInputFocus() {
    return true;
}

void SimSystem::ReleaseInputFocus() {}

bool SimSystem::IsInputFocusCapturedByAnotherProcess() {
    return false;
}

uint32_t SimSystem::DriverDebugRequest(vr::TrackedDeviceIndex_t unDeviceIndex,
                                       const char* pchRequest, char* pchResponseBuffer,
                                       uint32_t unResponseBufferSize) {
    // No driver answers debug requests here.
    return CopyString("", pchResponseBuffer, unResponseBufferSize);
}

vr::EVRFirmwareError SimSystem::PerformFirmwareUpdate(vr::TrackedDeviceIndex_t unDeviceIndex) {
    return vr::VRFirmwareError_None;
}

void SimSystem::AcknowledgeQuit_Exiting() {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.Record(SIMVR_CALL_ACKNOWLEDGE_QUIT_EXITING);
}

void SimSystem::AcknowledgeQuit_UserPrompt() {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.Record(SIMVR_CALL_ACKNOWLEDGE_QUIT_USER_PROMPT);
}

}  // namespace simvr
