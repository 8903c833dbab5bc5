// The control interface: what tests and tools use to set the simulated headset up and to see
// what the application did with it.
#include <png.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "runtime_state.h"
#include "stnvr/vr_interfaces.h"

namespace simvr {
bool IsKnownInterface(const char* version);
}

using simvr::State;

namespace {

using Lock = std::lock_guard<std::mutex>;

bool ValidDevice(const State& s, uint32_t device) {
    return device < s.devices.size() && s.devices[device].present;
}

bool ValidController(const State& s, uint32_t device) {
    return s.IsController(device);
}

vr::HmdMatrix34_t FromFloats(const float m[12]) {
    vr::HmdMatrix34_t r{};
    std::memcpy(r.m, m, sizeof(r.m));
    return r;
}

void BumpPacket(simvr::Device& d) {
    ++d.state.unPacketNum;
}

bool WritePng(const char* path, const simvr::EyeImage& image) {
    FILE* file = std::fopen(path, "wb");
    if (file == nullptr) {
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    bool ok = false;
    if (info != nullptr && setjmp(png_jmpbuf(png)) == 0) {
        png_init_io(png, file);
        png_set_IHDR(png, info, image.width, image.height, 8, PNG_COLOR_TYPE_RGBA,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        // OpenGL keeps the bottom row first; a picture file starts at the top.
        for (uint32_t row = 0; row < image.height; ++row) {
            const uint8_t* line = &image.rgba[size_t(image.height - 1 - row) * image.width * 4];
            png_write_row(png, const_cast<png_bytep>(line));
        }
        png_write_end(png, info);
        ok = true;
    }
    png_destroy_write_struct(png != nullptr ? &png : nullptr, info != nullptr ? &info : nullptr);
    return std::fclose(file) == 0 && ok;
}

}  // namespace

extern "C" {

SIMVR_API void simvr_reset(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.Reset();
}

SIMVR_API int simvr_set_profile(int profile) {
    if (profile < SIMVR_PROFILE_VIVE || profile > SIMVR_PROFILE_UNKNOWN) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    s.ApplyProfile(profile);
    return 1;
}

SIMVR_API int simvr_get_profile(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.profile;
}

SIMVR_API void simvr_set_hmd_present(int present) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.hmdPresent = present != 0;
}

SIMVR_API void simvr_set_init_error(int error) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.initError = error;
}

SIMVR_API int simvr_set_interface_enabled(const char* version, int enabled) {
    if (!simvr::IsKnownInterface(version)) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (enabled != 0) {
        s.disabledInterfaces.erase(version);
    } else {
        s.disabledInterfaces.insert(version);
    }
    return 1;
}

SIMVR_API int simvr_is_initialized(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.initialized ? 1 : 0;
}

SIMVR_API int simvr_get_init_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.initCount;
}

SIMVR_API int simvr_get_cleanup_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.cleanupCount;
}

SIMVR_API int simvr_get_application_type(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.applicationType;
}

SIMVR_API void simvr_set_render_target_size(uint32_t width, uint32_t height) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.targetWidth = width;
    s.targetHeight = height;
}

SIMVR_API int simvr_set_refresh_rate(float hz) {
    // Bounded so that the paced wait's period stays a whole, representable number of clock
    // ticks: a zero period would divide by zero there.
    if (!(hz >= 1.0f && hz <= 1000.0f)) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    s.refreshRate = hz;
    s.SetFloatProperty(0, vr::Prop_DisplayFrequency_Float, hz);
    return 1;
}

SIMVR_API int simvr_set_fov(float left_deg, float right_deg, float up_deg, float down_deg) {
    for (float a : {left_deg, right_deg, up_deg, down_deg}) {
        if (!(a > 0.0f && a < 89.0f)) {
            return 0;
        }
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    s.fovLeft = left_deg;
    s.fovRight = right_deg;
    s.fovUp = up_deg;
    s.fovDown = down_deg;
    return 1;
}

SIMVR_API int simvr_set_ipd(float metres) {
    if (!(metres >= 0.0f) || !std::isfinite(metres)) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    s.ipd = metres;
    s.SetFloatProperty(0, vr::Prop_UserIpdMeters_Float, metres);
    return 1;
}

SIMVR_API void simvr_set_paced(int paced) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.paced = paced != 0;
}

SIMVR_API void simvr_set_wait_blocked(int blocked) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.waitBlocked = blocked != 0;
    s.waitCondition.notify_all();
}

SIMVR_API void simvr_set_submit_blocked(int blocked) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.submitBlocked = blocked != 0;
    s.waitCondition.notify_all();
}

SIMVR_API int simvr_get_blocked_submit_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.blockedSubmits;
}

SIMVR_API int simvr_get_waiting_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.waiters;
}

SIMVR_API uint64_t simvr_get_frame_index(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.frameIndex;
}

SIMVR_API void simvr_set_head_pose(float yaw, float pitch, float roll, float x, float y, float z) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.head.yaw = yaw;
    s.head.pitch = pitch;
    s.head.roll = roll;
    s.head.position[0] = x;
    s.head.position[1] = y;
    s.head.position[2] = z;
    s.head.explicitPose = false;
}

SIMVR_API void simvr_set_head_yaw_rate(float degrees_per_second) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.head.yawRate = std::isfinite(degrees_per_second) ? degrees_per_second : 0.0f;
    s.head.explicitPose = false;
}

SIMVR_API int simvr_set_device_pose(uint32_t device, const float matrix34[12]) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (matrix34 == nullptr || !ValidDevice(s, device)) {
        return 0;
    }
    s.devices[device].pose = FromFloats(matrix34);
    if (device == 0) {
        s.head.explicitPose = true;
    }
    return 1;
}

SIMVR_API int simvr_set_device_pose_ypr(uint32_t device, float yaw, float pitch, float roll,
                                        float x, float y, float z) {
    const vr::HmdMatrix34_t m = simvr::PoseFromYawPitchRoll(yaw, pitch, roll, x, y, z);
    return simvr_set_device_pose(device, &m.m[0][0]);
}

SIMVR_API int simvr_set_device_pose_valid(uint32_t device, int valid) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidDevice(s, device)) {
        return 0;
    }
    s.devices[device].poseValid = valid != 0;
    return 1;
}

SIMVR_API int simvr_get_device_pose(uint32_t device, float matrix34[12]) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (matrix34 == nullptr || !ValidDevice(s, device)) {
        return 0;
    }
    const vr::HmdMatrix34_t m = s.DevicePose(device);
    std::memcpy(matrix34, m.m, sizeof(m.m));
    return 1;
}

SIMVR_API int simvr_set_device_connected(uint32_t device, int connected) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidDevice(s, device)) {
        return 0;
    }
    s.devices[device].connected = connected != 0;
    return 1;
}

SIMVR_API int simvr_add_controller(int role) {
    if (role < vr::TrackedControllerRole_Invalid || role > vr::TrackedControllerRole_RightHand) {
        return -1;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.AddController(vr::ETrackedControllerRole(role));
}

SIMVR_API int simvr_set_controller_role(uint32_t device, int role) {
    if (role < vr::TrackedControllerRole_Invalid || role > vr::TrackedControllerRole_RightHand) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidController(s, device)) {
        return 0;
    }
    s.devices[device].role = vr::ETrackedControllerRole(role);
    return 1;
}

SIMVR_API int simvr_set_controller_buttons(uint32_t device, uint64_t pressed, uint64_t touched) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidController(s, device)) {
        return 0;
    }
    s.devices[device].state.ulButtonPressed = pressed;
    s.devices[device].state.ulButtonTouched = touched;
    BumpPacket(s.devices[device]);
    return 1;
}

SIMVR_API int simvr_set_controller_axis(uint32_t device, uint32_t axis, float x, float y) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidController(s, device) || axis >= vr::k_unControllerStateAxisCount) {
        return 0;
    }
    s.devices[device].state.rAxis[axis].x = x;
    s.devices[device].state.rAxis[axis].y = y;
    BumpPacket(s.devices[device]);
    return 1;
}

SIMVR_API uint32_t simvr_get_controller_packet(uint32_t device) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return ValidController(s, device) ? s.devices[device].state.unPacketNum : 0;
}

SIMVR_API int simvr_set_activity_level(uint32_t device, int level) {
    if (level < vr::k_EDeviceActivityLevel_Unknown || level > vr::k_EDeviceActivityLevel_Standby) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidDevice(s, device)) {
        return 0;
    }
    s.devices[device].activity = level;
    return 1;
}

SIMVR_API int simvr_set_property_string(uint32_t device, int prop, const char* value) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (value == nullptr || !ValidDevice(s, device)) {
        return 0;
    }
    s.SetStringProperty(device, vr::ETrackedDeviceProperty(prop), value);
    return 1;
}

SIMVR_API int simvr_set_property_int32(uint32_t device, int prop, int32_t value) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidDevice(s, device)) {
        return 0;
    }
    s.SetInt32Property(device, vr::ETrackedDeviceProperty(prop), value);
    return 1;
}

SIMVR_API int simvr_set_property_float(uint32_t device, int prop, float value) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidDevice(s, device)) {
        return 0;
    }
    s.SetFloatProperty(device, vr::ETrackedDeviceProperty(prop), value);
    return 1;
}

SIMVR_API int simvr_set_property_bool(uint32_t device, int prop, int value) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidDevice(s, device)) {
        return 0;
    }
    s.SetBoolProperty(device, vr::ETrackedDeviceProperty(prop), value != 0);
    return 1;
}

SIMVR_API int simvr_set_property_uint64(uint32_t device, int prop, uint64_t value) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidDevice(s, device)) {
        return 0;
    }
    s.SetUint64Property(device, vr::ETrackedDeviceProperty(prop), value);
    return 1;
}

SIMVR_API int simvr_set_property_matrix34(uint32_t device, int prop, const float value[12]) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (value == nullptr || !ValidDevice(s, device)) {
        return 0;
    }
    s.SetMatrix34Property(device, vr::ETrackedDeviceProperty(prop), FromFloats(value));
    return 1;
}

SIMVR_API int simvr_remove_property(uint32_t device, int prop) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidDevice(s, device)) {
        return 0;
    }
    return s.devices[device].props.erase(prop) != 0 ? 1 : 0;
}

SIMVR_API int simvr_push_event(uint32_t type, uint32_t device, const void* data, uint32_t size) {
    if (size > sizeof(vr::VREvent_Data_t) || (data == nullptr && size != 0)) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    simvr::QueuedEvent queued;
    queued.event.eventType = type;
    queued.event.trackedDeviceIndex = device;
    if (data != nullptr) {
        std::memcpy(&queued.event.data, data, size);
    }
    queued.pose = s.TrackedPose(device);
    s.events.push_back(queued);
    return 1;
}

SIMVR_API int simvr_push_button_event(uint32_t type, uint32_t device, uint32_t button,
                                      const float pose34[12]) {
    if (type < vr::VREvent_ButtonPress || type > vr::VREvent_ButtonUntouch ||
        button >= vr::k_EButton_Max) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!ValidController(s, device)) {
        return 0;
    }
    simvr::Device& d = s.devices[device];
    const uint64_t bit = 1ull << button;
    switch (type) {
        case vr::VREvent_ButtonPress:
            d.state.ulButtonPressed |= bit;
            d.state.ulButtonTouched |= bit;
            break;
        case vr::VREvent_ButtonUnpress:
            d.state.ulButtonPressed &= ~bit;
            break;
        case vr::VREvent_ButtonTouch:
            d.state.ulButtonTouched |= bit;
            break;
        default:
            d.state.ulButtonTouched &= ~bit;
            break;
    }
    BumpPacket(d);
    simvr::QueuedEvent queued;
    queued.event.eventType = type;
    queued.event.trackedDeviceIndex = device;
    queued.event.data.controller.button = button;
    queued.pose = s.TrackedPose(device);
    if (pose34 != nullptr) {
        queued.pose.mDeviceToAbsoluteTracking = FromFloats(pose34);
    }
    s.events.push_back(queued);
    return 1;
}

SIMVR_API int simvr_push_quit(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    simvr::QueuedEvent queued;
    queued.event.eventType = vr::VREvent_Quit;
    queued.event.trackedDeviceIndex = vr::k_unTrackedDeviceIndex_Hmd;
    queued.event.data.process.pid = uint32_t(getpid());
    queued.event.data.process.bForced = false;
    queued.pose = s.TrackedPose(vr::k_unTrackedDeviceIndex_Hmd);
    s.events.push_back(queued);
    return 1;
}

SIMVR_API int simvr_get_pending_event_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return int(s.events.size());
}

SIMVR_API void simvr_set_model_load_polls(int polls) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.modelLoadPolls = polls < 0 ? 0 : polls;
}

SIMVR_API int simvr_set_model_error(const char* name, int error) {
    if (name == nullptr) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (error == 0) {
        s.modelErrors.erase(name);
    } else {
        s.modelErrors[name] = error;
    }
    return 1;
}

SIMVR_API int simvr_set_texture_error(int32_t texture_id, int error) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (error == 0) {
        s.textureErrors.erase(texture_id);
    } else {
        s.textureErrors[texture_id] = error;
    }
    return 1;
}

SIMVR_API int simvr_get_live_model_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return int(s.liveModels.size());
}

SIMVR_API int simvr_get_live_texture_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return int(s.liveTextures.size());
}

SIMVR_API int simvr_get_invalid_free_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.invalidFrees;
}

SIMVR_API int simvr_get_model_load_calls(const char* name) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (name != nullptr) {
        auto found = s.modelLoadCalls.find(name);
        return found == s.modelLoadCalls.end() ? 0 : found->second;
    }
    int total = 0;
    for (const auto& entry : s.modelLoadCalls) {
        total += entry.second;
    }
    return total;
}

SIMVR_API void simvr_set_readback(int enabled) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.readback = enabled != 0;
}

SIMVR_API int simvr_get_eye_image_info(uint32_t eye, uint32_t* width, uint32_t* height,
                                       uint64_t* frame) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (eye > 1 || s.eyes[eye].rgba.empty()) {
        return 0;
    }
    if (width != nullptr) {
        *width = s.eyes[eye].width;
    }
    if (height != nullptr) {
        *height = s.eyes[eye].height;
    }
    if (frame != nullptr) {
        *frame = s.eyes[eye].frame;
    }
    return 1;
}

SIMVR_API uint32_t simvr_copy_eye_image(uint32_t eye, void* buffer, uint32_t size) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (eye > 1 || buffer == nullptr || s.eyes[eye].rgba.empty() ||
        size < s.eyes[eye].rgba.size()) {
        return 0;
    }
    std::memcpy(buffer, s.eyes[eye].rgba.data(), s.eyes[eye].rgba.size());
    return uint32_t(s.eyes[eye].rgba.size());
}

SIMVR_API int simvr_get_eye_pixel(uint32_t eye, uint32_t x, uint32_t y, uint8_t rgba[4]) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (eye > 1 || rgba == nullptr || s.eyes[eye].rgba.empty() || x >= s.eyes[eye].width ||
        y >= s.eyes[eye].height) {
        return 0;
    }
    std::memcpy(rgba, &s.eyes[eye].rgba[(size_t(y) * s.eyes[eye].width + x) * 4], 4);
    return 1;
}

SIMVR_API int simvr_write_eye_png(uint32_t eye, const char* path) {
    if (eye > 1 || path == nullptr) {
        return 0;
    }
    simvr::EyeImage image;
    {
        State& s = State::Get();
        Lock lock(s.mutex);
        if (s.eyes[eye].rgba.empty()) {
            return 0;
        }
        image = s.eyes[eye];
    }
    return WritePng(path, image) ? 1 : 0;
}

SIMVR_API void simvr_set_call_log_capacity(uint32_t capacity) {
    State& s = State::Get();
    Lock lock(s.mutex);
    // Bounded so that the one reservation stays a reasonable size (about 400 MiB at most).
    s.callCapacity = capacity < (1u << 20) ? capacity : (1u << 20);
    if (s.calls.size() > s.callCapacity) {
        s.calls.resize(s.callCapacity);
    }
}

SIMVR_API void simvr_clear_calls(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.calls.clear();
    s.callCounts = {};
}

SIMVR_API uint32_t simvr_get_call_count(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return uint32_t(s.calls.size());
}

SIMVR_API int simvr_get_call(uint32_t index, simvr_call* call) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (call == nullptr || index >= s.calls.size()) {
        return 0;
    }
    *call = s.calls[index];
    return 1;
}

SIMVR_API uint64_t simvr_count_calls(int kind) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return kind > 0 && kind < SIMVR_CALL_KIND_COUNT ? s.callCounts[size_t(kind)] : 0;
}

SIMVR_API int simvr_get_setting(const char* section, const char* key, simvr_setting* value) {
    if (section == nullptr || key == nullptr) {
        return 0;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    auto sectionIt = s.settings.find(section);
    if (sectionIt == s.settings.end()) {
        return 0;
    }
    auto keyIt = sectionIt->second.find(key);
    if (keyIt == sectionIt->second.end()) {
        return 0;
    }
    if (value != nullptr) {
        std::memset(value, 0, sizeof(*value));
        value->type = keyIt->second.type;
        value->bool_value = keyIt->second.b ? 1 : 0;
        value->int_value = keyIt->second.i;
        value->float_value = keyIt->second.f;
        simvr::CopyField(value->string_value, sizeof(value->string_value), keyIt->second.s.c_str());
    }
    return 1;
}

SIMVR_API int simvr_get_bounds_forced_visible(void) {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.boundsForced ? 1 : 0;
}

SIMVR_API int simvr_get_fade_color(float rgba[4]) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!s.fadeMade || rgba == nullptr) {
        return 0;
    }
    rgba[0] = s.fadeColor.r;
    rgba[1] = s.fadeColor.g;
    rgba[2] = s.fadeColor.b;
    rgba[3] = s.fadeColor.a;
    return 1;
}

}  // extern "C"
