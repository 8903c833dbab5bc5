// The simulated headset: one process-wide state behind the five interfaces and the control
// interface. Everything in it is guarded by `mutex`.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "simvr/simvr_control.h"
#include "stnvr/vr_types.h"

namespace simvr {

struct PropertyValue {
    enum Type { Bool, Float, Int32, Uint64, String, Matrix34 };
    Type type = String;
    bool b = false;
    float f = 0.0f;
    int32_t i = 0;
    uint64_t u = 0;
    std::string s;
    vr::HmdMatrix34_t m{};
};

struct Device {
    bool present = false;  // the slot holds a device
    bool connected = false;
    vr::ETrackedDeviceClass deviceClass = vr::TrackedDeviceClass_Invalid;
    vr::ETrackedControllerRole role = vr::TrackedControllerRole_Invalid;
    int activity = 1;  // EDeviceActivityLevel
    vr::HmdMatrix34_t pose{};
    bool poseValid = true;
    vr::VRControllerState_t state{};
    std::map<int32_t, PropertyValue> props;
};

struct QueuedEvent {
    vr::VREvent_t event{};
    vr::TrackedDevicePose_t pose{};
};

struct EyeImage {
    uint32_t width = 0;
    uint32_t height = 0;
    uint64_t frame = 0;
    std::vector<uint8_t> rgba;  // bottom row first
};

struct Setting {
    int type = SIMVR_VALUE_NONE;
    bool b = false;
    int32_t i = 0;
    float f = 0.0f;
    std::string s;
};

// Sections of keys, as IVRSettings addresses them.
using SettingsSections = std::map<std::string, std::map<std::string, Setting>>;
// The same for values the settings file held that IVRSettings has no getter for (lists,
// objects, null, integers past 32 bits): JSON text, written back as it came.
using UnreadSettings = std::map<std::string, std::map<std::string, std::string>>;

struct HeadScript {
    float yaw = 0, pitch = 0, roll = 0;
    float position[3] = {0, 0, 0};
    float yawRate = 0;          // degrees per second of simulated time
    bool explicitPose = false;  // simvr_set_device_pose(0, ...) overrides the script
};

class State {
public:
    static State& Get();

    std::mutex mutex;
    std::condition_variable waitCondition;

    // Set by the control interface.
    int profile = SIMVR_PROFILE_VIVE;
    bool hmdPresent = true;
    int initError = 0;
    std::set<std::string> disabledInterfaces;
    uint32_t targetWidth = 64, targetHeight = 64;
    float refreshRate = 90.0f;
    float fovLeft = 50, fovRight = 50, fovUp = 50, fovDown = 50;  // left eye, degrees
    float ipd = 0.064f;
    bool paced = false;
    bool waitBlocked = false;
    bool submitBlocked = false;
    uint64_t waitGeneration = 0;  // bumped by reset to free blocked waiters
    int waiters = 0;              // threads inside WaitGetPoses or a blocked Submit
    int blockedSubmits = 0;       // of those, the ones in Submit
    HeadScript head;
    bool readback = false;
    int modelLoadPolls = 2;
    std::map<std::string, int> modelErrors;
    std::map<int32_t, int> textureErrors;

    // Connection.
    bool initialized = false;
    uint64_t connection = 0;  // bumped by every Init and Cleanup
    int initCount = 0;
    int cleanupCount = 0;
    int applicationType = -1;
    std::chrono::steady_clock::time_point initTime = std::chrono::steady_clock::now();
    uint64_t frameIndex = 0;
    std::chrono::steady_clock::time_point lastVsync = std::chrono::steady_clock::now();
    vr::ETrackingUniverseOrigin trackingSpace = vr::TrackingUniverseStanding;
    std::array<bool, 2> submittedThisFrame{{false, false}};
    uint32_t presentedFrames = 0;
    std::array<vr::TrackedDevicePose_t, vr::k_unMaxTrackedDeviceCount> lastPoses{};

    std::array<Device, vr::k_unMaxTrackedDeviceCount> devices;
    std::deque<QueuedEvent> events;

    // Compositor odds and ends.
    vr::HmdColor_t fadeColor{0, 0, 0, 0};
    vr::HmdColor_t fadeBackgroundColor{0, 0, 0, 0};
    bool fadeMade = false;
    float gridAlpha = 0.0f;
    bool mirrorVisible = false;
    bool explicitTiming = false;
    bool boundsForced = false;
    vr::HmdColor_t sceneColor{0, 0, 0, 1};

    SettingsSections settings;
    UnreadSettings unreadSettings;
    // Where Sync writes the settings: found at Init, empty when no config directory is known.
    std::string settingsFile;
    // Settings changed since they were last written.
    bool settingsDirty = false;
    // The file is there but is no settings object: left alone rather than overwritten.
    bool settingsFileUnreadable = false;

    std::array<EyeImage, 2> eyes;

    // Render models: loads in flight and what was handed out.
    std::map<std::string, int> modelPollsLeft;
    std::map<int32_t, int> texturePollsLeft;
    std::map<std::string, int> modelLoadCalls;
    int invalidFrees = 0;
    std::map<const void*, std::shared_ptr<void>> liveModels;
    std::map<const void*, std::shared_ptr<void>> liveTextures;

    // Call log.
    std::vector<simvr_call> calls;
    uint32_t callCapacity = 16384;
    uint64_t callSequence = 0;
    std::array<uint64_t, SIMVR_CALL_KIND_COUNT> callCounts{};

    // --- Helpers; the caller holds `mutex`. ---
    void Reset();
    // Reads the settings file of the config directory into the store; a setting the store
    // already holds is newer than the file and stays.
    void LoadSettings();
    void ApplyProfile(int newProfile);
    int AddController(vr::ETrackedControllerRole role);
    double SimulatedSeconds() const { return double(frameIndex) / double(refreshRate); }
    vr::HmdMatrix34_t DevicePose(uint32_t index) const;
    vr::TrackedDevicePose_t TrackedPose(uint32_t index) const;
    bool IsController(uint32_t index) const;
    // Appends a record (when the log has room) and counts it; returns it for filling, or null.
    simvr_call* Record(int kind, int result = 0);
    // With `lock` on `mutex`: holds the caller while `blocked` is set, until it is cleared, a
    // reset frees blocked callers, or the connection `connection` has ended.
    void HoldWhileBlocked(std::unique_lock<std::mutex>& lock, const bool& blocked,
                          uint64_t connection);
    void SetFloatProperty(uint32_t device, vr::ETrackedDeviceProperty prop, float value);
    void SetStringProperty(uint32_t device, vr::ETrackedDeviceProperty prop, const std::string& v);
    void SetInt32Property(uint32_t device, vr::ETrackedDeviceProperty prop, int32_t value);
    void SetBoolProperty(uint32_t device, vr::ETrackedDeviceProperty prop, bool value);
    void SetUint64Property(uint32_t device, vr::ETrackedDeviceProperty prop, uint64_t value);
    void SetMatrix34Property(uint32_t device, vr::ETrackedDeviceProperty prop,
                             const vr::HmdMatrix34_t& value);

private:
    State();
    void SetupController(uint32_t index, vr::ETrackedControllerRole role);
};

// Copies `text` into a caller's buffer the way OpenVR's string getters do: returns the size
// needed including the terminator; writes only when it fits (else an empty string if there is
// room for one).
uint32_t CopyString(const std::string& text, char* buffer, uint32_t size);
void CopyField(char* field, size_t fieldSize, const char* text);

vr::HmdMatrix34_t Identity34();
vr::HmdMatrix34_t PoseFromYawPitchRoll(float yaw, float pitch, float roll, float x, float y,
                                       float z);
vr::HmdMatrix34_t Multiply34(const vr::HmdMatrix34_t& a, const vr::HmdMatrix34_t& b);

}  // namespace simvr
