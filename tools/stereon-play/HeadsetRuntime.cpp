#include "HeadsetRuntime.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#include "stnvr/vr_client.h"

#ifndef STEREON_PLAY_SIMVR_LIBRARY
#define STEREON_PLAY_SIMVR_LIBRARY ""
#endif

namespace stnplay {

namespace {

bool IsDirectory(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The simulated runtime's root: bin/linux64/vrclient.so three levels under it.
std::string SimulatedRoot() {
    const char* overridden = std::getenv("STEREON_PLAY_SIMVR_ROOT");
    if (overridden != nullptr && *overridden != '\0') {
        return overridden;
    }
    std::string path = STEREON_PLAY_SIMVR_LIBRARY;
    for (int i = 0; i < 3 && !path.empty(); ++i) {
        const std::size_t slash = path.find_last_of('/');
        path = slash == std::string::npos ? std::string() : path.substr(0, slash);
    }
    return path;
}

int ProfileOf(const std::string& headset) {
    if (headset == "rift") {
        return SIMVR_PROFILE_RIFT;
    }
    if (headset == "wmr") {
        return SIMVR_PROFILE_WINDOWS_MR;
    }
    if (headset == "unknown") {
        return SIMVR_PROFILE_UNKNOWN;
    }
    return SIMVR_PROFILE_VIVE;
}

}  // namespace

HeadsetRuntime::~HeadsetRuntime() {
    if (library != nullptr) {
        dlclose(library);
    }
    if (!workDir.empty()) {
        std::system(("rm -rf '" + workDir + "'").c_str());
    }
}

std::unique_ptr<HeadsetRuntime> HeadsetRuntime::Choose(const Options& options, std::string& error,
                                                       int& exitCode) {
    std::unique_ptr<HeadsetRuntime> runtime(new HeadsetRuntime());
    const std::string simulatedRoot = SimulatedRoot();
    if (options.runtime != "simulated") {
        // The per-user registry (or VR_OVERRIDE) names the installed runtime.
        const char* installed = vr::VR_RuntimePath();
        const std::string path = installed != nullptr ? installed : "";
        if (vr::VR_IsRuntimeInstalled() && !path.empty() && IsDirectory(path) &&
            path != simulatedRoot) {
            runtime->description = "OpenVR runtime at " + path;
            return runtime;
        }
        if (options.runtime == "openvr") {
            error =
                "no OpenVR runtime is installed (no runtime in the OpenVR path registry or "
                "VR_OVERRIDE); use --runtime simulated to play into the simulated headset";
            exitCode = kExitNoRuntime;
            return nullptr;
        }
    }
    if (!runtime->Load(simulatedRoot, error)) {
        exitCode = kExitNoRuntime;
        return nullptr;
    }
    // Point the OpenVR client at the simulated runtime, with config and log directories of
    // our own, whatever the user's registry says.
    char pattern[] = "/tmp/stereon-play-XXXXXX";
    const char* tmp = mkdtemp(pattern);
    if (tmp == nullptr) {
        error = "cannot make a directory for the simulated runtime under /tmp";
        exitCode = kExitNoRuntime;
        return nullptr;
    }
    runtime->workDir = tmp;
    mkdir((runtime->workDir + "/config").c_str(), 0755);
    mkdir((runtime->workDir + "/log").c_str(), 0755);
    setenv("VR_OVERRIDE", simulatedRoot.c_str(), 1);
    setenv("VR_CONFIG_PATH", (runtime->workDir + "/config").c_str(), 1);
    setenv("VR_LOG_PATH", (runtime->workDir + "/log").c_str(), 1);
    runtime->Configure(options);
    runtime->description = "simulated " + options.headset + " headset";
    return runtime;
}

bool HeadsetRuntime::Load(const std::string& root, std::string& error) {
    const std::string path = root + "/bin/linux64/vrclient.so";
    library = root.empty() ? nullptr : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        error = "the simulated headset runtime is missing: cannot load " +
                (root.empty() ? std::string("vrclient.so") : path);
        return false;
    }
    bool complete = true;
    auto find = [&](auto& pointer, const char* name) {
        pointer =
            reinterpret_cast<std::remove_reference_t<decltype(pointer)>>(dlsym(library, name));
        complete = complete && pointer != nullptr;
    };
    find(reset, "simvr_reset");
    find(setProfile, "simvr_set_profile");
    find(setTargetSize, "simvr_set_render_target_size");
    find(setPaced, "simvr_set_paced");
    find(setHeadPose, "simvr_set_head_pose");
    find(setHeadYawRate, "simvr_set_head_yaw_rate");
    find(setReadback, "simvr_set_readback");
    find(eyeImageInfo, "simvr_get_eye_image_info");
    find(copyEyeImage, "simvr_copy_eye_image");
    find(writeEyePng, "simvr_write_eye_png");
    find(setCallLogCapacity, "simvr_set_call_log_capacity");
    find(callCount, "simvr_get_call_count");
    find(getCall, "simvr_get_call");
    find(countCalls, "simvr_count_calls");
    find(clearCalls, "simvr_clear_calls");
    find(setDeviceConnected, "simvr_set_device_connected");
    find(setDevicePose, "simvr_set_device_pose_ypr");
    find(setControllerAxis, "simvr_set_controller_axis");
    find(pushButtonEvent, "simvr_push_button_event");
    if (!complete) {
        error = path + " is not the simulated headset runtime (its control functions are missing)";
        dlclose(library);
        library = nullptr;
        return false;
    }
    return true;
}

void HeadsetRuntime::Configure(const Options& options) {
    reset();
    setProfile(ProfileOf(options.headset));
    setTargetSize(options.eyeWidth, options.eyeHeight);
    // Paced at the headset's refresh rate, as a real compositor is.
    setPaced(1);
    setReadback(1);
    // A seated viewer: the eyes 1.2 m above the floor, level with the middle of the screen that
    // flat footage is shown on. Spherical footage looks the same from any height.
    setHeadPose(0.0f, 0.0f, 0.0f, 0.0f, 1.2f, 0.0f);
    setHeadYawRate(options.head == "sweep" ? 30.0f : 0.0f);
    setCallLogCapacity(16384);
    // The profile comes with two controllers, which would stand in the pictures; they are
    // switched on only for a run that asks for them.
    setDeviceConnected(SIMVR_DEVICE_LEFT_CONTROLLER, 0);
    setDeviceConnected(SIMVR_DEVICE_RIGHT_CONTROLLER, 0);
}

bool HeadsetRuntime::WriteEyePng(std::uint32_t eye, const std::string& path) const {
    return library != nullptr && writeEyePng(eye, path.c_str()) == 1;
}

EyeImage HeadsetRuntime::CopyEye(std::uint32_t eye) const {
    EyeImage image;
    if (library == nullptr) {
        return image;
    }
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    if (eyeImageInfo(eye, &width, &height, nullptr) == 0 || width == 0 || height == 0) {
        return image;
    }
    std::vector<std::uint8_t> bottomUp(static_cast<std::size_t>(width) * height * 4);
    if (copyEyeImage(eye, bottomUp.data(), static_cast<std::uint32_t>(bottomUp.size())) == 0) {
        return image;
    }
    image.width = width;
    image.height = height;
    image.rgba.resize(bottomUp.size());
    const std::size_t row = static_cast<std::size_t>(width) * 4;
    for (std::uint32_t y = 0; y < height; ++y) {
        std::memcpy(&image.rgba[y * row], &bottomUp[(height - 1 - y) * row], row);
    }
    return image;
}

std::uint32_t HeadsetRuntime::CallCount() const {
    return library != nullptr ? callCount() : 0;
}

bool HeadsetRuntime::GetCall(std::uint32_t index, simvr_call& call) const {
    return library != nullptr && getCall(index, &call) == 1;
}

void HeadsetRuntime::ClearCalls() const {
    if (library != nullptr) {
        clearCalls();
    }
}

std::uint64_t HeadsetRuntime::CountCalls(int kind) const {
    return library != nullptr ? countCalls(kind) : 0;
}

bool HeadsetRuntime::SetDeviceConnected(std::uint32_t device, bool connected) const {
    return library != nullptr && setDeviceConnected(device, connected ? 1 : 0) == 1;
}

bool HeadsetRuntime::SetDevicePose(std::uint32_t device, float yaw, float pitch, float x, float y,
                                   float z) const {
    return library != nullptr && setDevicePose(device, yaw, pitch, 0.0f, x, y, z) == 1;
}

bool HeadsetRuntime::SetControllerAxis(std::uint32_t device, std::uint32_t axis, float x,
                                       float y) const {
    return library != nullptr && setControllerAxis(device, axis, x, y) == 1;
}

bool HeadsetRuntime::PushButton(std::uint32_t device, std::uint32_t button, bool press) const {
    const std::uint32_t type = press ? vr::VREvent_ButtonPress : vr::VREvent_ButtonUnpress;
    return library != nullptr && pushButtonEvent(type, device, button, nullptr) == 1;
}

}  // namespace stnplay
