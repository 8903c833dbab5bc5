// The simulated runtime driven directly through its factory, as the client drives it, with the
// control interface setting it up and reading its records.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"
#include "stnvr/vr_interfaces.h"

extern "C" void* VRClientCoreFactory(const char* pInterfaceName, int* pReturnCode);

namespace {

class SimRuntimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The runtime reads and writes its settings under the config path: one of the test's own.
        work = simvr::MakeTempDirectory("simvr-runtime-");
        ASSERT_FALSE(work.empty());
        std::string error;
        ASSERT_TRUE(simvr::UseEnvironment(work, &error)) << error;
        simvr_reset();
        int code = -1;
        core = static_cast<vr::IVRClientCore*>(VRClientCoreFactory("IVRClientCore_003", &code));
        ASSERT_NE(core, nullptr);
        ASSERT_EQ(code, vr::VRInitError_None);
    }
    void TearDown() override {
        if (core != nullptr) {
            core->Cleanup();
        }
        simvr::ClearEnvironment();
        if (!work.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(work, ignored);
        }
    }
    // Init as a scene application and fetch the interfaces.
    void Connect() {
        ASSERT_EQ(core->Init(vr::VRApplication_Scene, nullptr), vr::VRInitError_None);
        vr::EVRInitError error = vr::VRInitError_Unknown;
        system = static_cast<vr::IVRSystem*>(core->GetGenericInterface("IVRSystem_017", &error));
        compositor =
            static_cast<vr::IVRCompositor*>(core->GetGenericInterface("IVRCompositor_021", &error));
        models = static_cast<vr::IVRRenderModels*>(
            core->GetGenericInterface("IVRRenderModels_005", &error));
        settings =
            static_cast<vr::IVRSettings*>(core->GetGenericInterface("IVRSettings_002", &error));
        chaperone =
            static_cast<vr::IVRChaperone*>(core->GetGenericInterface("IVRChaperone_003", &error));
        ASSERT_TRUE(system && compositor && models && settings && chaperone);
    }
    std::string StringProperty(vr::TrackedDeviceIndex_t device, vr::ETrackedDeviceProperty prop) {
        char buffer[512] = {};
        system->GetStringTrackedDeviceProperty(device, prop, buffer, sizeof(buffer), nullptr);
        return buffer;
    }
    std::vector<simvr_call> Calls(int kind) {
        std::vector<simvr_call> result;
        for (uint32_t i = 0; i < simvr_get_call_count(); ++i) {
            simvr_call call;
            if (simvr_get_call(i, &call) && call.kind == kind) {
                result.push_back(call);
            }
        }
        return result;
    }

    std::string work;
    vr::IVRClientCore* core = nullptr;
    vr::IVRSystem* system = nullptr;
    vr::IVRCompositor* compositor = nullptr;
    vr::IVRRenderModels* models = nullptr;
    vr::IVRSettings* settings = nullptr;
    vr::IVRChaperone* chaperone = nullptr;
};

TEST_F(SimRuntimeTest, FactoryAndInitAnswerAsTheClientExpects) {
    int code = 0;
    EXPECT_EQ(VRClientCoreFactory("IVRClientCore_002", &code), nullptr);
    EXPECT_NE(code, vr::VRInitError_None);
    EXPECT_EQ(VRClientCoreFactory(nullptr, nullptr), nullptr);

    vr::EVRInitError error = vr::VRInitError_None;
    EXPECT_EQ(core->GetGenericInterface("IVRSystem_017", &error), nullptr);
    EXPECT_EQ(error, vr::VRInitError_Init_NotInitialized);

    EXPECT_EQ(core->Init(vr::EVRApplicationType(42), nullptr),
              vr::VRInitError_Init_InvalidApplicationType);
    simvr_set_hmd_present(0);
    EXPECT_FALSE(core->BIsHmdPresent());
    EXPECT_EQ(core->Init(vr::VRApplication_Scene, nullptr), vr::VRInitError_Init_HmdNotFound);
    simvr_set_hmd_present(1);
    simvr_set_init_error(vr::VRInitError_Init_AnotherAppLaunching);
    EXPECT_EQ(core->Init(vr::VRApplication_Scene, nullptr),
              vr::VRInitError_Init_AnotherAppLaunching);
    EXPECT_FALSE(simvr_is_initialized());
    simvr_set_init_error(0);

    Connect();
    EXPECT_TRUE(simvr_is_initialized());
    EXPECT_EQ(simvr_get_application_type(), vr::VRApplication_Scene);
    EXPECT_EQ(core->IsInterfaceVersionValid("IVRSystem_017"), vr::VRInitError_None);
    EXPECT_NE(core->IsInterfaceVersionValid("IVRSystem_016"), vr::VRInitError_None);
    EXPECT_NE(core->IsInterfaceVersionValid(nullptr), vr::VRInitError_None);
    EXPECT_EQ(core->GetGenericInterface("IVRSystem_016", &error), nullptr);
    EXPECT_EQ(error, vr::VRInitError_Init_InterfaceNotFound);

    // A runtime without a version: refused by both the check and the fetch.
    ASSERT_TRUE(simvr_set_interface_enabled("IVRSystem_017", 0));
    EXPECT_EQ(core->IsInterfaceVersionValid("IVRSystem_017"),
              vr::VRInitError_Init_InterfaceNotFound);
    EXPECT_EQ(core->GetGenericInterface("IVRSystem_017", &error), nullptr);
    EXPECT_FALSE(simvr_set_interface_enabled("IVRNothing_001", 0));

    EXPECT_STREQ(core->GetIDForVRInitError(vr::VRInitError_Init_HmdNotFound),
                 "VRInitError_Init_HmdNotFound");

    core->Cleanup();
    EXPECT_FALSE(simvr_is_initialized());
    EXPECT_EQ(simvr_get_init_count(), 1);
    EXPECT_EQ(simvr_get_cleanup_count(), 1);
}

TEST_F(SimRuntimeTest, InitErrorTextsAreOpenVrsOwn) {
    // OpenVR's English texts are not derived from the names: the irregular ones, and those the
    // library's tests read.
    const struct {
        int value;
        const char* text;
    } texts[] = {
        {0, "No Error (0)"},
        {1, "Unknown error (1)"},
        {102, "vrclient Shared Lib Not Found (102)"},
        {108, "Hmd Not Found (108)"},
        {110, "Installation path could not be located (110)"},
        {205, "HMD already in use by another application (205)"},
        {211, "Hmd DriverId is our of bounds (211)"},
        {210, "Unknown error (210)"},  // a hole in the enumeration
        {-7, "Unknown error (-7)"},
    };
    for (const auto& t : texts) {
        EXPECT_STREQ(core->GetEnglishStringForHmdError(vr::EVRInitError(t.value)), t.text);
    }

    // Every value with a name has a text of its own that ends with the value, and the two
    // tables agree on which values exist.
    int named = 0;
    for (int value = -1; value <= 2100; ++value) {
        SCOPED_TRACE(value);
        const std::string symbol = core->GetIDForVRInitError(vr::EVRInitError(value));
        const std::string text = core->GetEnglishStringForHmdError(vr::EVRInitError(value));
        const std::string unknown = "Unknown error (" + std::to_string(value) + ")";
        if (symbol == unknown) {
            EXPECT_EQ(text, unknown);
            continue;
        }
        ++named;
        EXPECT_EQ(symbol.rfind("VRInitError_", 0), 0u) << symbol;
        const std::string suffix = " (" + std::to_string(value) + ")";
        ASSERT_GT(text.size(), suffix.size());
        EXPECT_EQ(text.substr(text.size() - suffix.size()), suffix) << text;
        EXPECT_TRUE(value == vr::VRInitError_Unknown || text != unknown) << symbol;
    }
    EXPECT_EQ(named, 84);
}

TEST_F(SimRuntimeTest, ProfilesNameTheirHeadsetAndControllers) {
    Connect();
    struct Expected {
        int profile;
        const char* system;
        const char* left;
        const char* right;
    };
    for (const Expected& e :
         {Expected{SIMVR_PROFILE_VIVE, "lighthouse", "vr_controller_vive_1_5",
                   "vr_controller_vive_1_5"},
          Expected{SIMVR_PROFILE_RIFT, "oculus", "oculus_cv1_controller_left",
                   "oculus_cv1_controller_right"},
          Expected{SIMVR_PROFILE_UNKNOWN, "simvr", "simvr_controller", "simvr_controller"}}) {
        ASSERT_TRUE(simvr_set_profile(e.profile));
        EXPECT_EQ(StringProperty(0, vr::Prop_TrackingSystemName_String), e.system);
        EXPECT_EQ(StringProperty(1, vr::Prop_RenderModelName_String), e.left);
        EXPECT_EQ(StringProperty(2, vr::Prop_RenderModelName_String), e.right);
        EXPECT_EQ(system->GetTrackedDeviceClass(0), vr::TrackedDeviceClass_HMD);
        EXPECT_EQ(system->GetControllerRoleForTrackedDeviceIndex(1),
                  vr::TrackedControllerRole_LeftHand);
        EXPECT_EQ(
            system->GetTrackedDeviceIndexForControllerRole(vr::TrackedControllerRole_RightHand),
            2u);
    }

    // Windows Mixed Reality names its controllers by file path, left "_1", right "_2", each a
    // model the runtime knows (an unknown one would fail at once instead of loading).
    ASSERT_TRUE(simvr_set_profile(SIMVR_PROFILE_WINDOWS_MR));
    EXPECT_EQ(StringProperty(0, vr::Prop_TrackingSystemName_String), "holographic");
    const std::string left = StringProperty(1, vr::Prop_RenderModelName_String);
    const std::string right = StringProperty(2, vr::Prop_RenderModelName_String);
    for (const std::string& path : {left, right}) {
        EXPECT_NE(path.find("Microsoft\\Windows\\OpenVR\\controller"), std::string::npos) << path;
        vr::RenderModel_t* model = nullptr;
        EXPECT_EQ(models->LoadRenderModel_Async(path.c_str(), &model),
                  vr::VRRenderModelError_Loading)
            << path;
    }
    EXPECT_NE(left.find("_1\\controller.obj"), std::string::npos);
    EXPECT_NE(right.find("_2\\controller.obj"), std::string::npos);
    EXPECT_EQ(right.find("_1\\controller.obj"), std::string::npos);

    // Axis layouts the event interpreters scan for.
    int32_t types[5];
    for (int axis = 0; axis < 5; ++axis) {
        types[axis] = system->GetInt32TrackedDeviceProperty(
            1, vr::ETrackedDeviceProperty(vr::Prop_Axis0Type_Int32 + axis), nullptr);
    }
    EXPECT_EQ(types[0], vr::k_eControllerAxis_Joystick);
    EXPECT_EQ(types[1], vr::k_eControllerAxis_Trigger);
    EXPECT_EQ(types[2], vr::k_eControllerAxis_TrackPad);

    // Only the Vive brings base stations, which are not controllers.
    ASSERT_TRUE(simvr_set_profile(SIMVR_PROFILE_VIVE));
    vr::TrackedDeviceIndex_t indices[16];
    EXPECT_EQ(system->GetSortedTrackedDeviceIndicesOfClass(vr::TrackedDeviceClass_Controller,
                                                           indices, 16, 0),
              2u);
    EXPECT_EQ(indices[0], 1u);  // the left hand is further left
    EXPECT_EQ(system->GetSortedTrackedDeviceIndicesOfClass(vr::TrackedDeviceClass_TrackingReference,
                                                           nullptr, 0, 0),
              2u);
    EXPECT_FALSE(simvr_set_profile(7));
}

TEST_F(SimRuntimeTest, PropertiesFollowTheStringAndErrorProtocol) {
    Connect();
    vr::ETrackedPropertyError error = vr::TrackedProp_Success;
    const auto name = [&](vr::TrackedDeviceIndex_t device, char* buffer, uint32_t size) {
        return system->GetStringTrackedDeviceProperty(device, vr::Prop_TrackingSystemName_String,
                                                      buffer, size, &error);
    };
    // Asking with no buffer, or too small a one, gives the size with the terminator.
    EXPECT_EQ(name(0, nullptr, 0), 11u);
    EXPECT_EQ(error, vr::TrackedProp_BufferTooSmall);
    char small[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(name(0, small, sizeof(small)), 11u);
    EXPECT_EQ(small[0], '\0');
    char exact[11];
    EXPECT_EQ(name(0, exact, sizeof(exact)), 11u);
    EXPECT_EQ(error, vr::TrackedProp_Success);
    EXPECT_STREQ(exact, "lighthouse");
    EXPECT_EQ(name(99, exact, sizeof(exact)), 0u);
    EXPECT_EQ(error, vr::TrackedProp_InvalidDevice);
    system->GetFloatTrackedDeviceProperty(0, vr::Prop_TrackingSystemName_String, &error);
    EXPECT_EQ(error, vr::TrackedProp_WrongDataType);
    system->GetBoolTrackedDeviceProperty(0, vr::Prop_HasCamera_Bool, &error);
    EXPECT_EQ(error, vr::TrackedProp_UnknownProperty);

    ASSERT_TRUE(simvr_set_refresh_rate(120.0f));
    EXPECT_FLOAT_EQ(
        system->GetFloatTrackedDeviceProperty(0, vr::Prop_DisplayFrequency_Float, nullptr), 120.0f);
    ASSERT_TRUE(simvr_set_property_string(0, vr::Prop_TrackingSystemName_String, "Lighthouse"));
    EXPECT_EQ(StringProperty(0, vr::Prop_TrackingSystemName_String), "Lighthouse");
    EXPECT_FALSE(simvr_set_refresh_rate(0.0f));
    EXPECT_FALSE(simvr_set_refresh_rate(1e12f));  // a period shorter than the clock can count
    EXPECT_FALSE(simvr_set_property_int32(40, vr::Prop_DeviceClass_Int32, 1));
}

TEST_F(SimRuntimeTest, MatrixPropertiesAnswerIdentityWhereThereIsNoMatrix) {
    Connect();
    // Whole matrices compared as their twelve floats.
    const auto expectMatrix = [](const vr::HmdMatrix34_t& m, const float(&expected)[12]) {
        EXPECT_EQ(std::vector<float>(&m.m[0][0], &m.m[0][0] + 12),
                  std::vector<float>(expected, expected + 12));
    };
    const float identity[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
    const float cameraToHead[12] = {0, -1, 0, 0.01f, 1, 0, 0, -0.02f, 0, 0, 1, -0.08f};
    ASSERT_TRUE(
        simvr_set_property_matrix34(0, vr::Prop_CameraToHeadTransform_Matrix34, cameraToHead));
    EXPECT_FALSE(simvr_set_property_matrix34(0, vr::Prop_CameraToHeadTransform_Matrix34, nullptr));

    vr::ETrackedPropertyError error = vr::TrackedProp_UnknownProperty;
    expectMatrix(system->GetMatrix34TrackedDeviceProperty(
                     0, vr::Prop_CameraToHeadTransform_Matrix34, &error),
                 cameraToHead);
    EXPECT_EQ(error, vr::TrackedProp_Success);

    const struct {
        const char* what;
        vr::TrackedDeviceIndex_t device;
        vr::ETrackedDeviceProperty prop;
        vr::ETrackedPropertyError error;
    } cases[] = {
        {"a string property", 0, vr::Prop_TrackingSystemName_String, vr::TrackedProp_WrongDataType},
        {"an index past the last device", vr::k_unMaxTrackedDeviceCount,
         vr::Prop_CameraToHeadTransform_Matrix34, vr::TrackedProp_InvalidDevice},
        {"an empty device slot", 9, vr::Prop_CameraToHeadTransform_Matrix34,
         vr::TrackedProp_InvalidDevice},
        {"a matrix the device does not have", 0, vr::Prop_StatusDisplayTransform_Matrix34,
         vr::TrackedProp_UnknownProperty},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        error = vr::TrackedProp_Success;
        expectMatrix(system->GetMatrix34TrackedDeviceProperty(c.device, c.prop, &error), identity);
        EXPECT_EQ(error, c.error);
        // The error out-parameter is optional.
        expectMatrix(system->GetMatrix34TrackedDeviceProperty(c.device, c.prop, nullptr), identity);
    }
}

TEST_F(SimRuntimeTest, ProjectionAndEyesComeFromFieldOfViewAndIpd) {
    Connect();
    ASSERT_TRUE(simvr_set_fov(55.0f, 45.0f, 50.0f, 40.0f));
    ASSERT_TRUE(simvr_set_ipd(0.07f));
    const float nearZ = 0.1f, farZ = 30.0f;
    for (vr::EVREye eye : {vr::Eye_Left, vr::Eye_Right}) {
        float l, r, t, b;
        system->GetProjectionRaw(eye, &l, &r, &t, &b);
        const vr::HmdMatrix44_t p = system->GetProjectionMatrix(eye, nearZ, farZ);
        // A direction at the outer horizontal edge and at the upper edge of the view.
        const float outer = std::tan((eye == vr::Eye_Left ? 55.0f : 45.0f) * float(M_PI) / 180);
        const float up = std::tan(50.0f * float(M_PI) / 180);
        auto ndc = [&](float x, float y, float z, int row) {
            const float clip = p.m[row][0] * x + p.m[row][1] * y + p.m[row][2] * z + p.m[row][3];
            const float w = p.m[3][0] * x + p.m[3][1] * y + p.m[3][2] * z + p.m[3][3];
            return clip / w;
        };
        EXPECT_NEAR(ndc(-outer, 0, -1, 0), -1.0f, 1e-4f);
        EXPECT_NEAR(ndc(0, up, -1, 1), 1.0f, 1e-4f);
        EXPECT_NEAR(ndc(0, 0, -nearZ, 2), 0.0f, 1e-4f);
        EXPECT_NEAR(ndc(0, 0, -farZ, 2), 1.0f, 1e-4f);
        // The raw tangents compose into the same matrix.
        EXPECT_NEAR(p.m[0][0], 2.0f / (r - l), 1e-5f);
        EXPECT_NEAR(p.m[1][2], (b + t) / (b - t), 1e-5f);
        EXPECT_LT(t, 0.0f);
        EXPECT_GT(b, 0.0f);

        const vr::HmdMatrix34_t eyeToHead = system->GetEyeToHeadTransform(eye);
        EXPECT_FLOAT_EQ(eyeToHead.m[0][3], eye == vr::Eye_Left ? -0.035f : 0.035f);
        EXPECT_FLOAT_EQ(eyeToHead.m[0][0], 1.0f);
    }
    uint32_t w = 0, h = 0;
    simvr_set_render_target_size(32, 24);
    system->GetRecommendedRenderTargetSize(&w, &h);
    EXPECT_EQ(w, 32u);
    EXPECT_EQ(h, 24u);
    EXPECT_FALSE(simvr_set_fov(0.0f, 45.0f, 45.0f, 45.0f));
}

TEST_F(SimRuntimeTest, WaitGetPosesFollowsTheScriptedHead) {
    Connect();
    simvr_set_head_pose(30.0f, 0, 0, 0.0f, 1.6f, 0.0f);
    simvr_set_head_yaw_rate(90.0f);  // a quarter turn per simulated second
    ASSERT_TRUE(simvr_set_refresh_rate(10.0f));
    vr::TrackedDevicePose_t poses[vr::k_unMaxTrackedDeviceCount];
    for (int frame = 1; frame <= 10; ++frame) {
        ASSERT_EQ(compositor->WaitGetPoses(poses, vr::k_unMaxTrackedDeviceCount, nullptr, 0),
                  vr::VRCompositorError_None);
    }
    EXPECT_EQ(simvr_get_frame_index(), 10u);
    ASSERT_TRUE(poses[0].bPoseIsValid);
    // After one simulated second the head has turned 90 degrees further left than its yaw of
    // 30: 120 degrees from -Z.
    const vr::HmdMatrix34_t& head = poses[0].mDeviceToAbsoluteTracking;
    EXPECT_NEAR(head.m[0][2], std::sqrt(3.0f) / 2, 1e-4f);
    EXPECT_NEAR(head.m[2][2], -0.5f, 1e-4f);
    EXPECT_NEAR(head.m[1][3], 1.6f, 1e-6f);
    EXPECT_NEAR(poses[0].vAngularVelocity.v[1], float(M_PI) / 2, 1e-4f);

    EXPECT_TRUE(poses[1].bPoseIsValid);
    EXPECT_LT(poses[1].mDeviceToAbsoluteTracking.m[0][3], 0.0f);  // left hand on the left
    EXPECT_FALSE(poses[5].bDeviceIsConnected);

    ASSERT_TRUE(simvr_set_device_pose_valid(2, 0));
    ASSERT_TRUE(simvr_set_device_connected(1, 0));
    compositor->WaitGetPoses(poses, vr::k_unMaxTrackedDeviceCount, nullptr, 0);
    EXPECT_FALSE(poses[2].bPoseIsValid);
    EXPECT_TRUE(poses[2].bDeviceIsConnected);
    EXPECT_FALSE(poses[1].bDeviceIsConnected);
    EXPECT_FALSE(system->IsTrackedDeviceConnected(1));

    vr::TrackedDevicePose_t last;
    ASSERT_EQ(compositor->GetLastPoseForTrackedDeviceIndex(0, &last, nullptr),
              vr::VRCompositorError_None);
    EXPECT_EQ(std::memcmp(&last, &poses[0], sizeof(last)), 0);
    EXPECT_EQ(compositor->GetLastPoseForTrackedDeviceIndex(16, &last, nullptr),
              vr::VRCompositorError_IndexOutOfRange);
}

TEST_F(SimRuntimeTest, FrameTimingsFillOnlyTheFramesThatExist) {
    Connect();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
    }
    vr::Compositor_FrameTiming timings[8] = {};
    timings[0].m_nSize = sizeof(vr::Compositor_FrameTiming);
    // Three frames so far (0, 1, 2): oldest first, newest last, however many were asked for.
    ASSERT_EQ(compositor->GetFrameTimings(timings, 8), 3u);
    EXPECT_EQ(timings[0].m_nFrameIndex, 0u);
    EXPECT_EQ(timings[2].m_nFrameIndex, 2u);
    EXPECT_EQ(timings[3].m_nSize, 0u) << "entries past the history stay untouched";
    ASSERT_EQ(compositor->GetFrameTimings(timings, 2), 2u);
    EXPECT_EQ(timings[0].m_nFrameIndex, 1u);
    EXPECT_EQ(timings[1].m_nFrameIndex, 2u);
    timings[0].m_nSize = 1;  // a caller built against other declarations
    EXPECT_EQ(compositor->GetFrameTimings(timings, 2), 0u);
}

TEST_F(SimRuntimeTest, PacedAndBlockedWaitsStillAdvanceFrames) {
    Connect();
    ASSERT_TRUE(simvr_set_refresh_rate(500.0f));
    simvr_set_paced(1);
    uint64_t previous = simvr_get_frame_index();
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
        const uint64_t frame = simvr_get_frame_index();
        EXPECT_GT(frame, previous);
        previous = frame;
    }
    float sinceVsync = -1.0f;
    uint64_t counter = 0;
    EXPECT_TRUE(system->GetTimeSinceLastVsync(&sinceVsync, &counter));
    EXPECT_EQ(counter, previous);
    EXPECT_GE(sinceVsync, 0.0f);

    // A compositor that stops returning holds the caller until it is released.
    simvr_set_paced(0);
    simvr_set_wait_blocked(1);
    const uint64_t before = simvr_get_frame_index();
    std::thread waiter([&] { compositor->WaitGetPoses(nullptr, 0, nullptr, 0); });
    while (simvr_get_waiting_count() == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(simvr_get_frame_index(), before);
    simvr_set_wait_blocked(0);
    waiter.join();
    EXPECT_EQ(simvr_get_frame_index(), before + 1);

    // Only a scene application gets frames.
    core->Cleanup();
    ASSERT_EQ(core->Init(vr::VRApplication_Overlay, nullptr), vr::VRInitError_None);
    EXPECT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0),
              vr::VRCompositorError_IsNotSceneApplication);
}

TEST_F(SimRuntimeTest, InjectedEventsComeOutInOrderWithTheirData) {
    Connect();
    const float pose[12] = {1, 0, 0, 0.5f, 0, 1, 0, 0.25f, 0, 0, 1, -1};
    const uint32_t packet = simvr_get_controller_packet(2);
    ASSERT_TRUE(
        simvr_push_button_event(vr::VREvent_ButtonPress, 2, vr::k_EButton_SteamVR_Trigger, pose));
    ASSERT_TRUE(simvr_push_button_event(vr::VREvent_ButtonUnpress, 1, vr::k_EButton_A, nullptr));
    ASSERT_TRUE(simvr_push_quit());
    EXPECT_FALSE(simvr_push_button_event(vr::VREvent_Quit, 1, 1, nullptr));
    EXPECT_FALSE(simvr_push_button_event(vr::VREvent_ButtonPress, 0, 1, nullptr));
    EXPECT_EQ(simvr_get_pending_event_count(), 3);

    // The press is in the controller's state when the application reads it after the event.
    vr::VRControllerState_t state{};
    ASSERT_TRUE(system->GetControllerState(2, &state, sizeof(state)));
    EXPECT_NE(state.ulButtonPressed & vr::ButtonMaskFromId(vr::k_EButton_SteamVR_Trigger), 0u);
    EXPECT_NE(state.unPacketNum, packet);
    EXPECT_FALSE(system->GetControllerState(2, &state, 64));  // the Windows size
    EXPECT_FALSE(system->GetControllerState(0, &state, sizeof(state)));

    vr::VREvent_t event{};
    vr::TrackedDevicePose_t eventPose{};
    EXPECT_FALSE(
        system->PollNextEventWithPose(vr::TrackingUniverseStanding, &event, 40, &eventPose));
    ASSERT_TRUE(system->PollNextEventWithPose(vr::TrackingUniverseStanding, &event, sizeof(event),
                                              &eventPose));
    EXPECT_EQ(event.eventType, uint32_t(vr::VREvent_ButtonPress));
    EXPECT_EQ(event.trackedDeviceIndex, 2u);
    EXPECT_EQ(event.data.controller.button, uint32_t(vr::k_EButton_SteamVR_Trigger));
    EXPECT_FLOAT_EQ(eventPose.mDeviceToAbsoluteTracking.m[0][3], 0.5f);
    EXPECT_FLOAT_EQ(eventPose.mDeviceToAbsoluteTracking.m[2][3], -1.0f);
    EXPECT_TRUE(eventPose.bPoseIsValid);

    ASSERT_TRUE(system->PollNextEventWithPose(vr::TrackingUniverseStanding, &event, sizeof(event),
                                              &eventPose));
    EXPECT_EQ(event.eventType, uint32_t(vr::VREvent_ButtonUnpress));
    EXPECT_EQ(event.trackedDeviceIndex, 1u);
    EXPECT_EQ(event.data.controller.button, uint32_t(vr::k_EButton_A));
    EXPECT_LT(eventPose.mDeviceToAbsoluteTracking.m[0][3], 0.0f);  // the left hand's own pose

    ASSERT_TRUE(system->PollNextEvent(&event, sizeof(event)));
    EXPECT_EQ(event.eventType, uint32_t(vr::VREvent_Quit));
    EXPECT_FALSE(system->PollNextEvent(&event, sizeof(event)));
    EXPECT_FALSE(system->PollNextEvent(nullptr, sizeof(event)));

    system->AcknowledgeQuit_Exiting();
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_ACKNOWLEDGE_QUIT_EXITING), 1u);

    // Events do not outlive the connection they were meant for.
    simvr_push_quit();
    core->Cleanup();
    EXPECT_EQ(simvr_get_pending_event_count(), 0);
}

TEST_F(SimRuntimeTest, SubmitsAreValidatedAndRecordedInOrder) {
    Connect();
    vr::Texture_t texture{reinterpret_cast<void*>(uintptr_t(7)), vr::TextureType_OpenGL,
                          vr::ColorSpace_Gamma};
    const vr::VRTextureBounds_t bounds{0.0f, 1.0f, 1.0f, 0.0f};
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, &texture, nullptr, vr::Submit_Default),
              vr::VRCompositorError_None);
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, &texture, nullptr, vr::Submit_Default),
              vr::VRCompositorError_AlreadySubmitted);
    EXPECT_EQ(compositor->Submit(vr::Eye_Right, &texture, &bounds, vr::Submit_GlRenderBuffer),
              vr::VRCompositorError_None);
    compositor->PostPresentHandoff();
    EXPECT_EQ(compositor->Submit(vr::EVREye(2), &texture, nullptr, vr::Submit_Default),
              vr::VRCompositorError_IndexOutOfRange);
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, nullptr, nullptr, vr::Submit_Default),
              vr::VRCompositorError_InvalidTexture);
    vr::Texture_t directx{reinterpret_cast<void*>(uintptr_t(7)), vr::TextureType_DirectX,
                          vr::ColorSpace_Auto};
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, &directx, nullptr, vr::Submit_Default),
              vr::VRCompositorError_InvalidTexture);
    compositor->WaitGetPoses(nullptr, 0, nullptr, 0);
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, &texture, nullptr, vr::Submit_Default),
              vr::VRCompositorError_None);

    std::vector<int> kinds;
    for (uint32_t i = 0; i < simvr_get_call_count(); ++i) {
        simvr_call call;
        ASSERT_TRUE(simvr_get_call(i, &call));
        EXPECT_EQ(call.sequence, uint64_t(i));
        if (call.kind != SIMVR_CALL_INIT) {
            kinds.push_back(call.kind);
        }
    }
    const std::vector<int> expected = {
        SIMVR_CALL_SUBMIT, SIMVR_CALL_SUBMIT, SIMVR_CALL_SUBMIT, SIMVR_CALL_POST_PRESENT_HANDOFF,
        SIMVR_CALL_SUBMIT, SIMVR_CALL_SUBMIT, SIMVR_CALL_SUBMIT, SIMVR_CALL_WAIT_GET_POSES,
        SIMVR_CALL_SUBMIT};
    EXPECT_EQ(kinds, expected);
    const std::vector<simvr_call> submits = Calls(SIMVR_CALL_SUBMIT);
    ASSERT_EQ(submits.size(), 7u);
    EXPECT_EQ(submits[0].eye, 0u);
    EXPECT_EQ(submits[0].handle, 7u);
    EXPECT_EQ(submits[0].texture_type, vr::TextureType_OpenGL);
    EXPECT_EQ(submits[0].color_space, vr::ColorSpace_Gamma);
    EXPECT_EQ(submits[0].has_bounds, 0);
    EXPECT_EQ(submits[1].result, vr::VRCompositorError_AlreadySubmitted);
    EXPECT_EQ(submits[2].eye, 1u);
    EXPECT_EQ(submits[2].flags, uint32_t(vr::Submit_GlRenderBuffer));
    EXPECT_EQ(submits[2].has_bounds, 1);
    EXPECT_FLOAT_EQ(submits[2].bounds[1], 1.0f);
    EXPECT_EQ(submits[4].texture_type, -1);
    EXPECT_EQ(submits[0].frame, 0u);
    EXPECT_EQ(submits[6].frame, 1u);

    // A short log still counts everything.
    simvr_clear_calls();
    simvr_set_call_log_capacity(1);
    compositor->PostPresentHandoff();
    compositor->PostPresentHandoff();
    EXPECT_EQ(simvr_get_call_count(), 1u);
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_POST_PRESENT_HANDOFF), 2u);
}

TEST_F(SimRuntimeTest, RenderModelsLoadAsynchronouslyWithRealGeometry) {
    Connect();
    simvr_set_model_load_polls(2);
    vr::RenderModel_t* model = nullptr;
    for (int poll = 0; poll < 2; ++poll) {
        EXPECT_EQ(models->LoadRenderModel_Async("vr_controller_vive_1_5", &model),
                  vr::VRRenderModelError_Loading);
    }
    EXPECT_EQ(model, nullptr);
    ASSERT_EQ(models->LoadRenderModel_Async("vr_controller_vive_1_5", &model),
              vr::VRRenderModelError_None);
    ASSERT_NE(model, nullptr);
    ASSERT_GE(model->diffuseTextureId, 0);

    vr::RenderModel_TextureMap_t* texture = nullptr;
    for (int poll = 0; poll < 2; ++poll) {
        EXPECT_EQ(models->LoadTexture_Async(model->diffuseTextureId, &texture),
                  vr::VRRenderModelError_Loading);
    }
    ASSERT_EQ(models->LoadTexture_Async(model->diffuseTextureId, &texture),
              vr::VRRenderModelError_None);
    ASSERT_NE(texture, nullptr);
    ASSERT_GT(texture->unWidth, 0);
    EXPECT_EQ(texture->rubTextureMapData[3], 255);
    vr::RenderModel_TextureMap_t* missing = texture;
    EXPECT_EQ(models->LoadTexture_Async(9999, &missing), vr::VRRenderModelError_InvalidTexture);
    EXPECT_EQ(missing, nullptr);
    EXPECT_EQ(simvr_get_live_model_count(), 1);
    EXPECT_EQ(simvr_get_live_texture_count(), 1);

    // Once loaded, a model comes at once; each answer is its own allocation to free.
    vr::RenderModel_t* again = nullptr;
    ASSERT_EQ(models->LoadRenderModel_Async("vr_controller_vive_1_5", &again),
              vr::VRRenderModelError_None);
    EXPECT_NE(again, model);
    models->FreeRenderModel(model);
    models->FreeRenderModel(again);
    models->FreeTexture(texture);
    models->FreeRenderModel(model);  // twice: counted, not a crash
    models->FreeRenderModel(nullptr);
    EXPECT_EQ(simvr_get_live_model_count(), 0);
    EXPECT_EQ(simvr_get_live_texture_count(), 0);
    EXPECT_EQ(simvr_get_invalid_free_count(), 1);

    // Failures: an injected one after the loading polls, an unknown name at once.
    simvr_set_model_error("oculus_cv1_controller_left", vr::VRRenderModelError_NoShapes);
    EXPECT_EQ(models->LoadRenderModel_Async("oculus_cv1_controller_left", &model),
              vr::VRRenderModelError_Loading);
    models->LoadRenderModel_Async("oculus_cv1_controller_left", &model);
    EXPECT_EQ(models->LoadRenderModel_Async("oculus_cv1_controller_left", &model),
              vr::VRRenderModelError_NoShapes);
    EXPECT_EQ(model, nullptr);
    EXPECT_EQ(models->LoadRenderModel_Async("no_such_model", &model),
              vr::VRRenderModelError_InvalidModel);
    EXPECT_EQ(models->LoadRenderModel_Async("/nonexistent/models/left/controller-left.obj", &model),
              vr::VRRenderModelError_InvalidModel);
    EXPECT_EQ(models->LoadRenderModel_Async(nullptr, &model), vr::VRRenderModelError_InvalidArg);
    EXPECT_EQ(simvr_get_model_load_calls("oculus_cv1_controller_left"), 3);

    // Every listed model, the Windows Mixed Reality controllers' files among them, has triangles
    // inside its vertices, unit normals and a texture that loads.
    simvr_set_model_error("oculus_cv1_controller_left", 0);
    simvr_set_model_load_polls(0);
    for (uint32_t listed = 0; listed < models->GetRenderModelCount(); ++listed) {
        char name[512] = {};
        ASSERT_GT(models->GetRenderModelName(listed, name, sizeof(name)), 0u);
        SCOPED_TRACE(name);
        ASSERT_EQ(models->LoadRenderModel_Async(name, &model), vr::VRRenderModelError_None);
        ASSERT_GT(model->unTriangleCount, 0u);
        for (uint32_t i = 0; i < model->unTriangleCount * 3; ++i) {
            ASSERT_LT(model->rIndexData[i], model->unVertexCount);
        }
        for (uint32_t i = 0; i < model->unVertexCount; ++i) {
            const float* n = model->rVertexData[i].vNormal.v;
            ASSERT_NEAR(n[0] * n[0] + n[1] * n[1] + n[2] * n[2], 1.0f, 1e-5f);
        }
        ASSERT_EQ(models->LoadTexture_Async(model->diffuseTextureId, &texture),
                  vr::VRRenderModelError_None);
        EXPECT_GT(texture->unWidth, 0);
        models->FreeTexture(texture);
        models->FreeRenderModel(model);
    }
    EXPECT_EQ(simvr_get_live_model_count(), 0);
}

TEST_F(SimRuntimeTest, ObjFilesNamedByPathAreLoaded) {
    Connect();
    simvr_set_model_load_polls(0);
    const std::string dir = simvr::MakeTempDirectory("simvr-obj-");
    ASSERT_FALSE(dir.empty());
    const std::string path = dir + "/controller-left.obj";
    {
        std::ofstream obj(path);
        obj << "# a quad\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
               "vn 0 0 1\nf 1/1/1 2/2/1 3/3/1 4/4/1\n";
    }
    vr::RenderModel_t* model = nullptr;
    ASSERT_EQ(models->LoadRenderModel_Async(path.c_str(), &model), vr::VRRenderModelError_None);
    EXPECT_EQ(model->unVertexCount, 4u);
    EXPECT_EQ(model->unTriangleCount, 2u);
    EXPECT_FLOAT_EQ(model->rVertexData[2].vPosition.v[1], 1.0f);
    EXPECT_FLOAT_EQ(model->rVertexData[2].rfTextureCoord[0], 1.0f);
    EXPECT_FLOAT_EQ(model->rVertexData[2].vNormal.v[2], 1.0f);
    models->FreeRenderModel(model);

    {
        std::ofstream empty(dir + "/empty.obj");
        empty << "v 0 0 0\n";
    }
    EXPECT_EQ(models->LoadRenderModel_Async((dir + "/empty.obj").c_str(), &model),
              vr::VRRenderModelError_NoShapes);
    std::filesystem::remove_all(dir);
}

TEST_F(SimRuntimeTest, ComponentsHaveNamesMasksAndMovingStates) {
    Connect();
    const char* vive = "vr_controller_vive_1_5";
    ASSERT_GE(models->GetComponentCount(vive), 7u);
    std::vector<std::string> names;
    for (uint32_t i = 0; i < models->GetComponentCount(vive); ++i) {
        char name[64];
        ASSERT_GT(models->GetComponentName(vive, i, name, sizeof(name)), 0u);
        names.push_back(name);
    }
    for (const char* wanted :
         {"body", "button", "lgrip", "rgrip", "sys_button", "trackpad", "trigger", "tip"}) {
        EXPECT_NE(std::find(names.begin(), names.end(), wanted), names.end()) << wanted;
    }
    EXPECT_EQ(models->GetComponentName(vive, 99, nullptr, 0), 0u);
    EXPECT_EQ(models->GetComponentButtonMask(vive, "trigger"),
              vr::ButtonMaskFromId(vr::k_EButton_SteamVR_Trigger));

    char sub[32768] = {};
    ASSERT_GT(models->GetComponentRenderModelName(vive, "trigger", sub, sizeof(sub)), 0u);
    vr::RenderModel_t* part = nullptr;
    simvr_set_model_load_polls(0);
    ASSERT_EQ(models->LoadRenderModel_Async(sub, &part), vr::VRRenderModelError_None);
    EXPECT_GT(part->unTriangleCount, 0u);
    models->FreeRenderModel(part);
    // "tip" has no geometry, and a whole model used as a component name is not one.
    EXPECT_EQ(models->GetComponentRenderModelName(vive, "tip", sub, sizeof(sub)), 0u);
    EXPECT_EQ(models->GetComponentRenderModelName("simvr_controller", "simvr_controller", sub,
                                                  sizeof(sub)),
              0u);

    // The trigger turns with its axis and reports the press.
    vr::VRControllerState_t state{};
    vr::RenderModel_ControllerMode_State_t mode{};
    vr::RenderModel_ComponentState_t rest{}, pulled{};
    ASSERT_TRUE(models->GetComponentState(vive, "trigger", &state, &mode, &rest));
    state.rAxis[1].x = 1.0f;
    state.ulButtonPressed = vr::ButtonMaskFromId(vr::k_EButton_SteamVR_Trigger);
    ASSERT_TRUE(models->GetComponentState(vive, "trigger", &state, &mode, &pulled));
    EXPECT_NE(std::memcmp(&rest.mTrackingToComponentRenderModel,
                          &pulled.mTrackingToComponentRenderModel, sizeof(vr::HmdMatrix34_t)),
              0);
    EXPECT_EQ(rest.uProperties & vr::VRComponentProperty_IsPressed, 0u);
    EXPECT_NE(pulled.uProperties & vr::VRComponentProperty_IsPressed, 0u);
    EXPECT_NE(pulled.uProperties & vr::VRComponentProperty_IsVisible, 0u);
    EXPECT_FALSE(models->GetComponentState(vive, "nothing", &state, &mode, &rest));
    EXPECT_TRUE(models->GetComponentState(vive, "body", nullptr, nullptr, &rest));

    EXPECT_EQ(models->GetRenderModelCount(), 8u);
    char listed[256];
    EXPECT_EQ(models->GetRenderModelName(100, listed, sizeof(listed)), 0u);
}

TEST_F(SimRuntimeTest, SettingsChaperoneFadesAndHapticsAreRecorded) {
    Connect();
    vr::EVRSettingsError error = vr::VRSettingsError_IPCFailed;
    settings->Sync(false, nullptr);
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_SETTINGS_SYNC), 1u);
    settings->SetBool("collisionBounds", "CollisionBoundsPlaySpaceOn", false, &error);
    EXPECT_EQ(error, vr::VRSettingsError_None);
    settings->SetInt32("collisionBounds", "CollisionBoundsColorGammaA", 0, nullptr);
    settings->SetString("steamvr", "name", "value", nullptr);
    settings->SetBool(nullptr, "key", true, &error);
    EXPECT_EQ(error, vr::VRSettingsError_WriteFailed);

    EXPECT_FALSE(settings->GetBool("collisionBounds", "CollisionBoundsPlaySpaceOn", &error));
    EXPECT_EQ(error, vr::VRSettingsError_None);
    settings->GetInt32("collisionBounds", "Unset", &error);
    EXPECT_EQ(error, vr::VRSettingsError_UnsetSettingHasNoDefault);
    char text[8];
    settings->GetString("steamvr", "name", text, sizeof(text), &error);
    EXPECT_STREQ(text, "value");

    simvr_setting stored;
    ASSERT_TRUE(simvr_get_setting("collisionBounds", "CollisionBoundsColorGammaA", &stored));
    EXPECT_EQ(stored.type, SIMVR_VALUE_INT32);
    EXPECT_EQ(stored.int_value, 0);
    const std::vector<simvr_call> writes = Calls(SIMVR_CALL_SETTINGS_SET);
    ASSERT_EQ(writes.size(), 3u);
    EXPECT_STREQ(writes[0].key, "CollisionBoundsPlaySpaceOn");
    EXPECT_EQ(writes[0].value_type, SIMVR_VALUE_BOOL);
    EXPECT_EQ(writes[0].int_value, 0);
    settings->RemoveKeyInSection("steamvr", "name", nullptr);
    EXPECT_FALSE(simvr_get_setting("steamvr", "name", nullptr));

    chaperone->ForceBoundsVisible(true);
    EXPECT_TRUE(chaperone->AreBoundsVisible());
    chaperone->ForceBoundsVisible(false);
    EXPECT_FALSE(simvr_get_bounds_forced_visible());
    const std::vector<simvr_call> chaperoneCalls = Calls(SIMVR_CALL_CHAPERONE);
    ASSERT_EQ(chaperoneCalls.size(), 2u);
    EXPECT_STREQ(chaperoneCalls[1].text, "ForceBoundsVisible");
    EXPECT_EQ(chaperoneCalls[1].int_value, 0);

    compositor->FadeToColor(0.5f, 0.1f, 0.2f, 0.3f, 1.0f, false);
    const vr::HmdColor_t fade = compositor->GetCurrentFadeColor(false);
    EXPECT_FLOAT_EQ(fade.g, 0.2f);
    float rgba[4] = {};
    ASSERT_TRUE(simvr_get_fade_color(rgba));
    EXPECT_FLOAT_EQ(rgba[1], 0.2f);
    const std::vector<simvr_call> fades = Calls(SIMVR_CALL_FADE_TO_COLOR);
    ASSERT_EQ(fades.size(), 1u);
    EXPECT_FLOAT_EQ(fades[0].values[0], 0.5f);
    EXPECT_FLOAT_EQ(fades[0].values[4], 1.0f);

    system->TriggerHapticPulse(4, 0, 4464);
    const std::vector<simvr_call> pulses = Calls(SIMVR_CALL_HAPTIC_PULSE);
    ASSERT_EQ(pulses.size(), 1u);
    EXPECT_EQ(pulses[0].device, 4u);
    EXPECT_EQ(pulses[0].axis, 0u);
    EXPECT_EQ(pulses[0].int_value, 4464);

    EXPECT_EQ(system->GetTrackedDeviceActivityLevel(0), vr::k_EDeviceActivityLevel_UserInteraction);
    ASSERT_TRUE(simvr_set_activity_level(0, vr::k_EDeviceActivityLevel_Standby));
    EXPECT_EQ(system->GetTrackedDeviceActivityLevel(0), vr::k_EDeviceActivityLevel_Standby);
    EXPECT_EQ(system->GetTrackedDeviceActivityLevel(77), vr::k_EDeviceActivityLevel_Unknown);
}

}  // namespace
