// The headset runtime stereon-play plays into: an installed OpenVR runtime, or the simulated one
// that this project builds, which it drives through its control interface (loaded at run time,
// so that nothing of it is in the process when a real runtime is used).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Options.h"
#include "simvr/simvr_control.h"

namespace stnplay {

// An eye image, top row first, R, G, B, A.
struct EyeImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> rgba;
};

class HeadsetRuntime {
public:
    ~HeadsetRuntime();

    // Picks and prepares the runtime the options ask for. Null, with the message and the exit
    // code, when there is none.
    static std::unique_ptr<HeadsetRuntime> Choose(const Options& options, std::string& error,
                                                  int& exitCode);

    bool Simulated() const { return library != nullptr; }
    const std::string& Description() const { return description; }

    // The simulated runtime only; defined results (false, 0, empty) otherwise.
    bool WriteEyePng(std::uint32_t eye, const std::string& path) const;
    EyeImage CopyEye(std::uint32_t eye) const;
    std::uint32_t CallCount() const;
    bool GetCall(std::uint32_t index, simvr_call& call) const;
    std::uint64_t CountCalls(int kind) const;
    // Empties the call log; the calls' sequence numbers go on counting.
    void ClearCalls() const;
    // The simulated headset's controllers, by device index; false with a real runtime or for a
    // device the simulated one does not have. Yaw turns left and pitch looks up, in degrees.
    bool SetDeviceConnected(std::uint32_t device, bool connected) const;
    bool SetDevicePose(std::uint32_t device, float yaw, float pitch, float x, float y,
                       float z) const;
    bool SetControllerAxis(std::uint32_t device, std::uint32_t axis, float x, float y) const;
    // A press or release of an EVRButtonId; the controller's state follows at once, the library
    // hears it when it next polls its events.
    bool PushButton(std::uint32_t device, std::uint32_t button, bool press) const;

private:
    HeadsetRuntime() = default;
    bool Load(const std::string& root, std::string& error);
    void Configure(const Options& options);

    void* library = nullptr;
    std::string description;
    std::string workDir;  // the simulated runtime's config and log directories

    decltype(&simvr_reset) reset = nullptr;
    decltype(&simvr_set_profile) setProfile = nullptr;
    decltype(&simvr_set_render_target_size) setTargetSize = nullptr;
    decltype(&simvr_set_paced) setPaced = nullptr;
    decltype(&simvr_set_head_pose) setHeadPose = nullptr;
    decltype(&simvr_set_head_yaw_rate) setHeadYawRate = nullptr;
    decltype(&simvr_set_readback) setReadback = nullptr;
    decltype(&simvr_get_eye_image_info) eyeImageInfo = nullptr;
    decltype(&simvr_copy_eye_image) copyEyeImage = nullptr;
    decltype(&simvr_write_eye_png) writeEyePng = nullptr;
    decltype(&simvr_set_call_log_capacity) setCallLogCapacity = nullptr;
    decltype(&simvr_get_call_count) callCount = nullptr;
    decltype(&simvr_get_call) getCall = nullptr;
    decltype(&simvr_count_calls) countCalls = nullptr;
    decltype(&simvr_clear_calls) clearCalls = nullptr;
    decltype(&simvr_set_device_connected) setDeviceConnected = nullptr;
    decltype(&simvr_set_device_pose_ypr) setDevicePose = nullptr;
    decltype(&simvr_set_controller_axis) setControllerAxis = nullptr;
    decltype(&simvr_push_button_event) pushButtonEvent = nullptr;
};

}  // namespace stnplay
