// The simulated runtime as an application meets it: found, loaded and unloaded by the OpenVR
// client, used only through the OpenVR interfaces. This program does not link the runtime; the
// control interface that plays the world is reached in the library the client loaded.
#include <gtest/gtest.h>
#include <png.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "gl_test_context.h"
#include "loaded_runtime.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_paths.h"
#include "stnvr/vr_client.h"

namespace {

class SimClientTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Only the client may bring the runtime in.
        ASSERT_FALSE(LoadedRuntime::IsLoaded(simvr::RuntimeLibraryPath()));
        home = simvr::MakeTempDirectory("simvr-client-");
        ASSERT_FALSE(home.empty());
        std::string error;
        ASSERT_TRUE(simvr::InstallVrPathFile(home, &error)) << error;
    }
    void TearDown() override {
        loaded.reset();
        vr::VR_Shutdown();
        simvr::ClearEnvironment();
        std::system(("rm -rf '" + home + "'").c_str());
    }
    vr::IVRSystem* Init() {
        vr::EVRInitError error = vr::VRInitError_Unknown;
        vr::IVRSystem* system = vr::VR_Init(&error, vr::VRApplication_Scene);
        EXPECT_EQ(error, vr::VRInitError_None);
        return system;
    }
    template <typename T>
    T* Get(const char* version) {
        vr::EVRInitError error = vr::VRInitError_Unknown;
        T* result = static_cast<T*>(vr::VR_GetGenericInterface(version, &error));
        EXPECT_EQ(error, vr::VRInitError_None) << version;
        return result;
    }
    static std::string Property(vr::IVRSystem* system, vr::TrackedDeviceIndex_t device,
                                vr::ETrackedDeviceProperty prop) {
        const uint32_t size =
            system->GetStringTrackedDeviceProperty(device, prop, nullptr, 0, nullptr);
        std::vector<char> buffer(size + 1, '\0');
        system->GetStringTrackedDeviceProperty(device, prop, buffer.data(), size, nullptr);
        return buffer.data();
    }
    static bool RuntimeLoaded() { return LoadedRuntime::IsLoaded(simvr::RuntimeLibraryPath()); }

    // The runtime the client has loaded; the handle is kept until ReleaseRuntime or the end.
    LoadedRuntime& Runtime() {
        if (loaded == nullptr || !loaded->Ok()) {
            loaded = std::make_unique<LoadedRuntime>(simvr::RuntimeLibraryPath());
        }
        return *loaded;
    }
    // Leaves the client the only one holding the runtime.
    void ReleaseRuntime() { loaded.reset(); }

    std::vector<simvr_call> Calls() {
        std::vector<simvr_call> calls(SIMVR(Runtime(), simvr_get_call_count)());
        for (uint32_t i = 0; i < calls.size(); ++i) {
            EXPECT_TRUE(SIMVR(Runtime(), simvr_get_call)(i, &calls[i]));
        }
        return calls;
    }

    std::string home;
    std::unique_ptr<LoadedRuntime> loaded;
};

TEST_F(SimClientTest, LoadedThroughThePathRegistryAndTheEnvironment) {
    // The presence probe loads the runtime to ask, and unloads it again.
    EXPECT_TRUE(vr::VR_IsHmdPresent());
    EXPECT_FALSE(RuntimeLoaded());

    vr::IVRSystem* system = Init();
    ASSERT_NE(system, nullptr);
    EXPECT_TRUE(RuntimeLoaded());
    EXPECT_NE(Get<vr::IVRCompositor>("IVRCompositor_021"), nullptr);
    EXPECT_NE(Get<vr::IVRRenderModels>("IVRRenderModels_005"), nullptr);
    EXPECT_NE(Get<vr::IVRSettings>("IVRSettings_002"), nullptr);
    EXPECT_NE(Get<vr::IVRChaperone>("IVRChaperone_003"), nullptr);
    EXPECT_EQ(Property(system, 0, vr::Prop_TrackingSystemName_String), "lighthouse");
    EXPECT_EQ(SIMVR(Runtime(), simvr_is_initialized)(), 1);
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_init_count)(), 1);
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_application_type)(), vr::VRApplication_Scene);
    // Asked of the loaded runtime, an error's text is OpenVR's.
    EXPECT_STREQ(vr::VR_GetVRInitErrorAsEnglishDescription(vr::VRInitError_Driver_HmdInUse),
                 "HMD already in use by another application (205)");

    // With the runtime loaded, presence is asked of it in place.
    SIMVR(Runtime(), simvr_set_hmd_present)(0);
    EXPECT_FALSE(vr::VR_IsHmdPresent());
    ASSERT_TRUE(SIMVR(Runtime(), simvr_set_profile)(SIMVR_PROFILE_RIFT));
    EXPECT_EQ(Property(system, 0, vr::Prop_TrackingSystemName_String), "oculus");
    EXPECT_EQ(Property(system, 2, vr::Prop_RenderModelName_String), "oculus_cv1_controller_right");
    ReleaseRuntime();
    vr::VR_Shutdown();
    EXPECT_FALSE(RuntimeLoaded()) << "VR_Shutdown unloads the runtime";

    // The environment route: no registry file to read, all three variables set.
    simvr::ClearEnvironment();
    setenv("XDG_CONFIG_HOME", (home + "/elsewhere").c_str(), 1);
    vr::EVRInitError error = vr::VRInitError_None;
    EXPECT_EQ(vr::VR_Init(&error, vr::VRApplication_Scene), nullptr);
    EXPECT_EQ(error, vr::VRInitError_Init_PathRegistryNotFound);
    EXPECT_STREQ(vr::VR_GetVRInitErrorAsEnglishDescription(error),
                 "Installation path could not be located (110)");
    EXPECT_FALSE(RuntimeLoaded());
    std::string reason;
    ASSERT_TRUE(simvr::UseEnvironment(home + "/env", &reason)) << reason;
    system = Init();
    ASSERT_NE(system, nullptr);

    // A new load starts from a new state: what the last connection changed is gone.
    EXPECT_EQ(Property(system, 0, vr::Prop_TrackingSystemName_String), "lighthouse");
    EXPECT_TRUE(vr::VR_IsHmdPresent());
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_init_count)(), 1);

    // Initialising again on a runtime that withdrew IVRSystem_017 fails with 105, and the
    // client gives the runtime back.
    ASSERT_TRUE(SIMVR(Runtime(), simvr_set_interface_enabled)("IVRSystem_017", 0));
    ReleaseRuntime();
    EXPECT_EQ(vr::VR_Init(&error, vr::VRApplication_Scene), nullptr);
    EXPECT_EQ(error, vr::VRInitError_Init_InterfaceNotFound);
    EXPECT_FALSE(RuntimeLoaded());
}

TEST_F(SimClientTest, ResetKeepsTheOpenConnection) {
    vr::IVRSystem* system = Init();
    ASSERT_NE(system, nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    ASSERT_TRUE(SIMVR(Runtime(), simvr_set_profile)(SIMVR_PROFILE_WINDOWS_MR));

    SIMVR(Runtime(), simvr_reset)();
    EXPECT_EQ(Property(system, 0, vr::Prop_TrackingSystemName_String), "lighthouse");
    EXPECT_EQ(SIMVR(Runtime(), simvr_is_initialized)(), 1);
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_application_type)(), vr::VRApplication_Scene);
    // The scene application still has its compositor.
    EXPECT_TRUE(compositor->CanRenderScene());
    EXPECT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
    const vr::Texture_t texture{reinterpret_cast<void*>(uintptr_t(1)), vr::TextureType_OpenGL,
                                vr::ColorSpace_Gamma};
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, &texture, nullptr, vr::Submit_Default),
              vr::VRCompositorError_None);
    compositor->PostPresentHandoff();

    // And ends it as usual. The handle keeps the library here to be asked afterwards.
    vr::VR_Shutdown();
    EXPECT_EQ(SIMVR(Runtime(), simvr_is_initialized)(), 0);
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_cleanup_count)(), 1);
    EXPECT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0),
              vr::VRCompositorError_RequestFailed);
}

TEST_F(SimClientTest, ShutdownEndsAWaitForPosesThatNeverReturns) {
    ASSERT_NE(Init(), nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    // Held through the shutdown: the waiter is still in runtime code when Cleanup starts.
    LoadedRuntime& runtime = Runtime();
    SIMVR(runtime, simvr_set_wait_blocked)(1);
    const uint64_t frame = SIMVR(runtime, simvr_get_frame_index)();

    std::atomic<int> result{-1};
    vr::TrackedDevicePose_t pose{};
    std::thread waiter([&] { result = compositor->WaitGetPoses(&pose, 1, nullptr, 0); });
    while (SIMVR(runtime, simvr_get_waiting_count)() == 0) {
        std::this_thread::yield();
    }
    vr::VR_Shutdown();
    // Cleanup returned only after the waiter had left the runtime.
    const int stillWaiting = SIMVR(runtime, simvr_get_waiting_count)();
    EXPECT_EQ(stillWaiting, 0);
    if (stillWaiting != 0) {
        SIMVR(runtime, simvr_set_wait_blocked)(0);  // so that a failure ends here, not in a hang
    }
    waiter.join();
    EXPECT_EQ(result, vr::VRCompositorError_RequestFailed) << "the connection is gone";
    EXPECT_FALSE(pose.bPoseIsValid);
    EXPECT_EQ(SIMVR(runtime, simvr_get_frame_index)(), frame);
    const std::vector<simvr_call> calls = Calls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(calls[calls.size() - 2].kind, SIMVR_CALL_CLEANUP);
    EXPECT_EQ(calls.back().kind, SIMVR_CALL_WAIT_GET_POSES);
    EXPECT_EQ(calls.back().result, vr::VRCompositorError_RequestFailed);

    ReleaseRuntime();
    EXPECT_FALSE(RuntimeLoaded());
}

TEST_F(SimClientTest, PosesAndEventsThroughTheClient) {
    vr::IVRSystem* system = Init();
    ASSERT_NE(system, nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);

    SIMVR(Runtime(), simvr_set_head_pose)(30.0f, 0, 0, 0, 1.5f, 0);
    vr::TrackedDevicePose_t poses[vr::k_unMaxTrackedDeviceCount];
    ASSERT_EQ(compositor->WaitGetPoses(poses, vr::k_unMaxTrackedDeviceCount, nullptr, 0),
              vr::VRCompositorError_None);
    ASSERT_TRUE(poses[0].bPoseIsValid);
    EXPECT_NEAR(poses[0].mDeviceToAbsoluteTracking.m[0][2], 0.5f, 1e-5f);  // sin 30
    EXPECT_NEAR(poses[0].mDeviceToAbsoluteTracking.m[1][3], 1.5f, 1e-6f);
    EXPECT_EQ(system->GetTrackedDeviceClass(1), vr::TrackedDeviceClass_Controller);

    // Paced: each wait ends at a later vsync.
    const auto frameIndex = SIMVR(Runtime(), simvr_get_frame_index);
    ASSERT_TRUE(SIMVR(Runtime(), simvr_set_refresh_rate)(240.0f));
    SIMVR(Runtime(), simvr_set_paced)(1);
    uint64_t frame = frameIndex();
    for (int i = 0; i < 3; ++i) {
        compositor->WaitGetPoses(poses, vr::k_unMaxTrackedDeviceCount, nullptr, 0);
        EXPECT_GT(frameIndex(), frame);
        frame = frameIndex();
    }

    ASSERT_TRUE(SIMVR(Runtime(), simvr_push_button_event)(vr::VREvent_ButtonPress, 1,
                                                          vr::k_EButton_Grip, nullptr));
    ASSERT_TRUE(SIMVR(Runtime(), simvr_push_quit)());
    vr::VREvent_t event;
    vr::TrackedDevicePose_t pose;
    ASSERT_TRUE(system->PollNextEventWithPose(compositor->GetTrackingSpace(), &event, sizeof(event),
                                              &pose));
    EXPECT_EQ(event.eventType, uint32_t(vr::VREvent_ButtonPress));
    EXPECT_EQ(event.data.controller.button, uint32_t(vr::k_EButton_Grip));
    EXPECT_TRUE(pose.bPoseIsValid);
    ASSERT_TRUE(
        system->PollNextEventWithPose(vr::TrackingUniverseStanding, &event, sizeof(event), &pose));
    EXPECT_EQ(event.eventType, uint32_t(vr::VREvent_Quit));
    EXPECT_FALSE(system->PollNextEvent(&event, sizeof(event)));
}

TEST_F(SimClientTest, RenderModelsSettingsAndFeedbackThroughTheClient) {
    ASSERT_NE(Init(), nullptr);
    auto* models = Get<vr::IVRRenderModels>("IVRRenderModels_005");
    auto* settings = Get<vr::IVRSettings>("IVRSettings_002");
    auto* chaperone = Get<vr::IVRChaperone>("IVRChaperone_003");
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_TRUE(models && settings && chaperone && compositor);

    SIMVR(Runtime(), simvr_set_model_load_polls)(1);
    SIMVR(Runtime(), simvr_set_model_error)
    ("oculus_cv1_controller_right", vr::VRRenderModelError_InvalidModel);
    vr::RenderModel_t* model = nullptr;
    EXPECT_EQ(models->LoadRenderModel_Async("lh_basestation_vive", &model),
              vr::VRRenderModelError_Loading);
    ASSERT_EQ(models->LoadRenderModel_Async("lh_basestation_vive", &model),
              vr::VRRenderModelError_None);
    EXPECT_GT(model->unTriangleCount, 0u);
    models->FreeRenderModel(model);
    models->LoadRenderModel_Async("oculus_cv1_controller_right", &model);
    EXPECT_EQ(models->LoadRenderModel_Async("oculus_cv1_controller_right", &model),
              vr::VRRenderModelError_InvalidModel);

    settings->Sync(false, nullptr);
    settings->SetBool("userinterface", "StatusAlwaysOnTop", false, nullptr);
    settings->Sync(false, nullptr);
    chaperone->ForceBoundsVisible(false);
    compositor->FadeToColor(1.0f, 0, 0, 0, 1.0f, false);
    Get<vr::IVRSystem>("IVRSystem_017")->TriggerHapticPulse(2, 0, 500);

    std::vector<int> kinds;
    for (const simvr_call& call : Calls()) {
        if (call.kind != SIMVR_CALL_INIT) {
            kinds.push_back(call.kind);
        }
    }
    const std::vector<int> expected = {SIMVR_CALL_SETTINGS_SYNC, SIMVR_CALL_SETTINGS_SET,
                                       SIMVR_CALL_SETTINGS_SYNC, SIMVR_CALL_CHAPERONE,
                                       SIMVR_CALL_FADE_TO_COLOR, SIMVR_CALL_HAPTIC_PULSE};
    EXPECT_EQ(kinds, expected);
    float rgba[4];
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_fade_color)(rgba));
    EXPECT_FLOAT_EQ(rgba[3], 1.0f);
}

TEST_F(SimClientTest, WindowsMixedRealityControllerModelsLoadByTheirFileNames) {
    vr::IVRSystem* system = Init();
    ASSERT_NE(system, nullptr);
    auto* models = Get<vr::IVRRenderModels>("IVRRenderModels_005");
    ASSERT_NE(models, nullptr);
    ASSERT_TRUE(SIMVR(Runtime(), simvr_set_profile)(SIMVR_PROFILE_WINDOWS_MR));
    const int loadingPolls = 3;
    SIMVR(Runtime(), simvr_set_model_load_polls)(loadingPolls);

    for (vr::TrackedDeviceIndex_t device : {1u, 2u}) {
        // The Windows Mixed Reality driver names each controller by the OBJ file it unpacked.
        const std::string name = Property(system, device, vr::Prop_RenderModelName_String);
        SCOPED_TRACE(name);
        EXPECT_NE(name.find("Microsoft\\Windows\\OpenVR\\controller"), std::string::npos);
        EXPECT_NE(name.find(device == 1 ? "_1\\controller.obj" : "_2\\controller.obj"),
                  std::string::npos);

        vr::RenderModel_t* model = nullptr;
        vr::EVRRenderModelError error = vr::VRRenderModelError_Loading;
        int polls = 0;
        for (; polls <= loadingPolls + 1; ++polls) {
            error = models->LoadRenderModel_Async(name.c_str(), &model);
            if (error != vr::VRRenderModelError_Loading) {
                break;
            }
        }
        ASSERT_EQ(error, vr::VRRenderModelError_None);
        EXPECT_EQ(polls, loadingPolls);
        ASSERT_NE(model, nullptr);
        ASSERT_GT(model->unTriangleCount, 0u);
        for (uint32_t i = 0; i < model->unTriangleCount * 3; ++i) {
            ASSERT_LT(model->rIndexData[i], model->unVertexCount);
        }

        vr::RenderModel_TextureMap_t* texture = nullptr;
        for (polls = 0; polls <= loadingPolls + 1; ++polls) {
            error = models->LoadTexture_Async(model->diffuseTextureId, &texture);
            if (error != vr::VRRenderModelError_Loading) {
                break;
            }
        }
        ASSERT_EQ(error, vr::VRRenderModelError_None);
        ASSERT_NE(texture, nullptr);
        EXPECT_GT(texture->unWidth, 0);
        EXPECT_GT(texture->unHeight, 0);
        models->FreeTexture(texture);
        models->FreeRenderModel(model);
    }
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_live_model_count)(), 0);
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_live_texture_count)(), 0);
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_invalid_free_count)(), 0);
}

// The settings file of a config directory as JSON; null when it is missing or no JSON.
nlohmann::json SettingsFile(const std::string& configDirectory) {
    std::ifstream file(configDirectory + "/steamvr.vrsettings");
    if (!file) {
        return nullptr;
    }
    return nlohmann::json::parse(file, nullptr, /*allow_exceptions=*/false);
}

TEST_F(SimClientTest, SyncWritesTheSettingsWhereTheConfigPathSays) {
    std::string reason;
    ASSERT_TRUE(simvr::UseEnvironment(home + "/env", &reason)) << reason;
    const std::string config = home + "/env/config";
    ASSERT_NE(Init(), nullptr);
    auto* settings = Get<vr::IVRSettings>("IVRSettings_002");
    ASSERT_NE(settings, nullptr);

    vr::EVRSettingsError error = vr::VRSettingsError_IPCFailed;
    EXPECT_FALSE(settings->Sync(false, &error)) << "nothing to write yet";
    EXPECT_EQ(error, vr::VRSettingsError_None);
    EXPECT_TRUE(SettingsFile(config).is_null());

    settings->SetBool("collisionBounds", "CollisionBoundsPlaySpaceOn", false, nullptr);
    settings->SetInt32("collisionBounds", "CollisionBoundsColorGammaA", 0, nullptr);
    settings->SetFloat("steamvr", "renderTargetMultiplier", 1.4f, nullptr);
    settings->SetString("steamvr", "mirrorViewGeometry", "0 0 1080 600", nullptr);
    EXPECT_TRUE(settings->Sync(false, &error));
    EXPECT_EQ(error, vr::VRSettingsError_None);
    const nlohmann::json written = SettingsFile(config);
    const nlohmann::json expected = {
        {"collisionBounds",
         {{"CollisionBoundsPlaySpaceOn", false}, {"CollisionBoundsColorGammaA", 0}}},
        {"steamvr", {{"renderTargetMultiplier", 1.4}, {"mirrorViewGeometry", "0 0 1080 600"}}}};
    EXPECT_EQ(written, expected) << written.dump(1);
    EXPECT_TRUE(written["collisionBounds"]["CollisionBoundsColorGammaA"].is_number_integer());
    EXPECT_TRUE(written["steamvr"]["renderTargetMultiplier"].is_number_float());
    EXPECT_TRUE(SettingsFile(home + "/simvr/config").is_null())
        << "VR_CONFIG_PATH wins over the path registry's directory";

    // Written, the store is clean; forced, Sync writes all the same.
    EXPECT_FALSE(settings->Sync(false, &error));
    EXPECT_TRUE(settings->Sync(true, &error));
    EXPECT_EQ(error, vr::VRSettingsError_None);

    // Without its directory the change cannot be written, Sync says so, and it stays to write.
    settings->RemoveKeyInSection("steamvr", "mirrorViewGeometry", nullptr);
    std::filesystem::remove_all(config);
    EXPECT_FALSE(settings->Sync(false, &error));
    EXPECT_EQ(error, vr::VRSettingsError_WriteFailed);
    ASSERT_TRUE(std::filesystem::create_directories(config));
    EXPECT_TRUE(settings->Sync(false, &error));
    const nlohmann::json rewritten = SettingsFile(config);
    EXPECT_FALSE(rewritten["steamvr"].contains("mirrorViewGeometry")) << rewritten.dump(1);
    EXPECT_EQ(rewritten["steamvr"]["renderTargetMultiplier"], 1.4);
}

TEST_F(SimClientTest, ALaterConnectionReadsTheSyncedSettings) {
    std::string reason;
    ASSERT_TRUE(simvr::UseEnvironment(home + "/env", &reason)) << reason;
    const std::string config = home + "/env/config";
    const std::string path = config + "/steamvr.vrsettings";
    // As a user or another runtime left it, with a value that no getter hands out.
    std::ofstream(path) << R"({ "steamvr": { "enableHomeApp": false, "background": [1, 2, 3] },
                               "dashboard": { "arcadeMode": true } })";

    ASSERT_NE(Init(), nullptr);
    auto* settings = Get<vr::IVRSettings>("IVRSettings_002");
    ASSERT_NE(settings, nullptr);
    vr::EVRSettingsError error = vr::VRSettingsError_IPCFailed;
    EXPECT_FALSE(settings->GetBool("steamvr", "enableHomeApp", &error));
    EXPECT_EQ(error, vr::VRSettingsError_None);
    EXPECT_TRUE(settings->GetBool("dashboard", "arcadeMode", &error));
    settings->SetInt32("steamvr", "supersampleScale", 2, nullptr);
    settings->SetFloat("steamvr", "renderTargetMultiplier", 0.1f, nullptr);
    ASSERT_TRUE(settings->Sync(false, &error));
    settings->SetInt32("steamvr", "neverSynced", 5, nullptr);
    ReleaseRuntime();
    vr::VR_Shutdown();
    ASSERT_FALSE(RuntimeLoaded());

    // Loaded afresh, the runtime knows what was synced, and only that.
    ASSERT_NE(Init(), nullptr);
    settings = Get<vr::IVRSettings>("IVRSettings_002");
    ASSERT_NE(settings, nullptr);
    EXPECT_EQ(settings->GetInt32("steamvr", "supersampleScale", &error), 2);
    EXPECT_EQ(error, vr::VRSettingsError_None);
    EXPECT_EQ(settings->GetFloat("steamvr", "renderTargetMultiplier", &error), 0.1f);
    EXPECT_TRUE(settings->GetBool("dashboard", "arcadeMode", &error));
    settings->GetInt32("steamvr", "neverSynced", &error);
    EXPECT_EQ(error, vr::VRSettingsError_UnsetSettingHasNoDefault);
    EXPECT_EQ(SettingsFile(config)["steamvr"]["background"], nlohmann::json({1, 2, 3}))
        << "the value without a getter was written back as it came";
    ReleaseRuntime();
    vr::VR_Shutdown();

    // A file that is no settings object is not overwritten: Sync says it could not parse it.
    const std::string broken = "{ \"steamvr\": { \"enableHomeApp\": fal";
    std::ofstream(path, std::ios::trunc) << broken;
    ASSERT_NE(Init(), nullptr);
    settings = Get<vr::IVRSettings>("IVRSettings_002");
    ASSERT_NE(settings, nullptr);
    settings->SetBool("steamvr", "enableHomeApp", true, nullptr);
    EXPECT_FALSE(settings->Sync(true, &error));
    EXPECT_EQ(error, vr::VRSettingsError_JsonParseFailed);
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), broken);
}

// Reads a PNG back into RGBA rows, top row first.
bool ReadPng(const std::string& path, uint32_t* width, uint32_t* height,
             std::vector<uint8_t>* rgba) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        return false;
    }
    image.format = PNG_FORMAT_RGBA;
    rgba->resize(PNG_IMAGE_SIZE(image));
    *width = image.width;
    *height = image.height;
    return png_image_finish_read(&image, nullptr, rgba->data(), 0, nullptr) != 0;
}

// With a GL context of its own current, as an application that submits textures has.
class SimClientGlTest : public SimClientTest {
protected:
    void SetUp() override {
        SimClientTest::SetUp();
        ASSERT_TRUE(context.Ok()) << context.Error();
        context.MakeCurrent();
        ASSERT_TRUE(context.IsCurrent()) << context.Error();
    }

    stereon::test::GlTestContext context;
};

TEST_F(SimClientGlTest, SubmittedEyeTexturesAreReadBackAndWrittenAsPng) {
    // Left eye: lower half red, upper half blue; right eye all green.
    const int w = 8, h = 6;
    std::vector<uint8_t> left(w * h * 4), right(w * h * 4);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            uint8_t* p = &left[size_t(y * w + x) * 4];
            p[0] = y < h / 2 ? 255 : 0;
            p[1] = 0;
            p[2] = y < h / 2 ? 0 : 255;
            p[3] = 255;
            uint8_t* q = &right[size_t(y * w + x) * 4];
            q[0] = 0;
            q[1] = 200;
            q[2] = 0;
            q[3] = 255;
        }
    }
    const GLuint leftTexture = stereon::test::MakeTextureRGBA8(w, h, left);
    const GLuint rightTexture = stereon::test::MakeTextureRGBA8(w, h, right);
    ASSERT_NE(leftTexture, 0u);
    ASSERT_NE(rightTexture, 0u);
    glBindTexture(GL_TEXTURE_2D, rightTexture);

    ASSERT_NE(Init(), nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    SIMVR(Runtime(), simvr_set_readback)(1);
    compositor->WaitGetPoses(nullptr, 0, nullptr, 0);
    vr::Texture_t l{reinterpret_cast<void*>(uintptr_t(leftTexture)), vr::TextureType_OpenGL,
                    vr::ColorSpace_Gamma};
    vr::Texture_t r{reinterpret_cast<void*>(uintptr_t(rightTexture)), vr::TextureType_OpenGL,
                    vr::ColorSpace_Gamma};
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, &l, nullptr, vr::Submit_Default),
              vr::VRCompositorError_None);
    EXPECT_EQ(compositor->Submit(vr::Eye_Right, &r, nullptr, vr::Submit_Default),
              vr::VRCompositorError_None);
    compositor->PostPresentHandoff();

    // The read-back left the caller's binding alone.
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(GLuint(bound), rightTexture);

    uint32_t iw = 0, ih = 0;
    uint64_t frame = 0;
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, &iw, &ih, &frame));
    EXPECT_EQ(iw, uint32_t(w));
    EXPECT_EQ(ih, uint32_t(h));
    EXPECT_EQ(frame, SIMVR(Runtime(), simvr_get_frame_index)());
    uint8_t pixel[4];
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(0, 3, 0, pixel));
    EXPECT_EQ(pixel[0], 255);  // bottom row red
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(0, 3, h - 1, pixel));
    EXPECT_EQ(pixel[2], 255);  // top row blue
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(1, 0, 0, pixel));
    EXPECT_EQ(pixel[1], 200);
    EXPECT_FALSE(SIMVR(Runtime(), simvr_get_eye_pixel)(1, w, 0, pixel));
    std::vector<uint8_t> copy(w * h * 4);
    EXPECT_EQ(SIMVR(Runtime(), simvr_copy_eye_image)(0, copy.data(), uint32_t(copy.size())),
              copy.size());
    EXPECT_EQ(copy, left);
    EXPECT_EQ(SIMVR(Runtime(), simvr_copy_eye_image)(0, copy.data(), 4), 0u);

    const std::string path = home + "/left.png";
    ASSERT_TRUE(SIMVR(Runtime(), simvr_write_eye_png)(0, path.c_str()));
    std::vector<uint8_t> png;
    ASSERT_TRUE(ReadPng(path, &iw, &ih, &png));
    EXPECT_EQ(iw, uint32_t(w));
    EXPECT_EQ(ih, uint32_t(h));
    EXPECT_EQ(png[0], 0);  // top row first in the file: blue
    EXPECT_EQ(png[2], 255);
    EXPECT_EQ(png[size_t((h - 1) * w) * 4], 255);  // bottom row red
    EXPECT_FALSE(SIMVR(Runtime(), simvr_write_eye_png)(0, (home + "/missing/dir/x.png").c_str()));
    EXPECT_FALSE(SIMVR(Runtime(), simvr_write_eye_png)(5, path.c_str()));

    glDeleteTextures(1, &leftTexture);
    glDeleteTextures(1, &rightTexture);
}

TEST_F(SimClientGlTest, AnImageThatCannotBeReadLeavesTheEyeWithoutOne) {
    const int size = 4;
    std::vector<uint8_t> red(size * size * 4, 0);
    for (size_t i = 0; i < red.size(); i += 4) {
        red[i] = 255;
        red[i + 3] = 255;
    }
    const GLuint good = stereon::test::MakeTextureRGBA8(size, size, red);
    ASSERT_NE(good, 0u);
    // What a renderer submits when it forgets to resolve its multisample target.
    GLuint multisample = 0;
    glGenTextures(1, &multisample);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, multisample);
    glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, 4, GL_RGBA8, size, size, GL_TRUE);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, 0);
    // Images with no colour to read as RGBA8: their reads would be GL errors.
    GLuint integer = 0, depth = 0;
    glGenTextures(1, &integer);
    glBindTexture(GL_TEXTURE_2D, integer);
    glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8UI, size, size);
    glBindTexture(GL_TEXTURE_2D, 0);
    glGenRenderbuffers(1, &depth);
    glBindRenderbuffer(GL_RENDERBUFFER, depth);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, size, size);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    ASSERT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    ASSERT_NE(Init(), nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    SIMVR(Runtime(), simvr_set_readback)(1);
    const auto submitLeft = [&](GLuint name, vr::EVRSubmitFlags flags) {
        EXPECT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
        const vr::Texture_t texture{reinterpret_cast<void*>(uintptr_t(name)),
                                    vr::TextureType_OpenGL, vr::ColorSpace_Gamma};
        // The compositor takes the texture either way; only the read-back can fail.
        EXPECT_EQ(compositor->Submit(vr::Eye_Left, &texture, nullptr, flags),
                  vr::VRCompositorError_None);
        return Calls().back();
    };
    const auto expectNoImage = [&] {
        uint8_t pixel[4];
        EXPECT_FALSE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, nullptr, nullptr, nullptr));
        EXPECT_FALSE(SIMVR(Runtime(), simvr_get_eye_pixel)(0, 0, 0, pixel));
        EXPECT_FALSE(SIMVR(Runtime(), simvr_write_eye_png)(0, (home + "/left.png").c_str()));
    };

    const struct {
        const char* what;
        GLuint name;
        vr::EVRSubmitFlags flags;
    } cases[] = {{"multisample texture", multisample, vr::Submit_Default},
                 {"name of no texture", good + 1000, vr::Submit_Default},
                 {"texture flagged as a renderbuffer", good, vr::Submit_GlRenderBuffer},
                 {"integer texture", integer, vr::Submit_Default},
                 {"depth renderbuffer", depth, vr::Submit_GlRenderBuffer}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        // A good image first, so that there is one to lose.
        EXPECT_EQ(submitLeft(good, vr::Submit_Default).int_value, SIMVR_READBACK_DONE);
        uint8_t pixel[4] = {};
        ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(0, 1, 1, pixel));
        EXPECT_EQ(pixel[0], 255);

        const simvr_call call = submitLeft(c.name, c.flags);
        EXPECT_EQ(call.kind, SIMVR_CALL_SUBMIT);
        EXPECT_EQ(call.int_value, SIMVR_READBACK_FAILED);
        EXPECT_STRNE(call.text, "");
        expectNoImage();
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)) << "the failed read left an error behind";
    }

    // No context current on the submitting thread: nothing to read with.
    EXPECT_EQ(submitLeft(good, vr::Submit_Default).int_value, SIMVR_READBACK_DONE);
    context.ReleaseCurrent();
    const simvr_call call = submitLeft(good, vr::Submit_Default);
    EXPECT_EQ(call.int_value, SIMVR_READBACK_FAILED);
    EXPECT_NE(std::string(call.text).find("context"), std::string::npos) << call.text;
    expectNoImage();

    // The next readable image is there again.
    context.MakeCurrent();
    EXPECT_EQ(submitLeft(good, vr::Submit_Default).int_value, SIMVR_READBACK_DONE);
    EXPECT_TRUE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, nullptr, nullptr, nullptr));
    glDeleteTextures(1, &good);
    glDeleteTextures(1, &multisample);
    glDeleteTextures(1, &integer);
    glDeleteRenderbuffers(1, &depth);
}

TEST_F(SimClientGlTest, RenderbuffersAreReadBackWhenSubmittedAsSuch) {
    GLuint renderbuffer = 0, framebuffer = 0;
    glGenRenderbuffers(1, &renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, 5, 3);
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
    ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
    glClearColor(1.0f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);

    ASSERT_NE(Init(), nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    SIMVR(Runtime(), simvr_set_readback)(1);
    vr::Texture_t eye{reinterpret_cast<void*>(uintptr_t(renderbuffer)), vr::TextureType_OpenGL,
                      vr::ColorSpace_Gamma};
    EXPECT_EQ(compositor->Submit(vr::Eye_Right, &eye, nullptr, vr::Submit_GlRenderBuffer),
              vr::VRCompositorError_None);

    GLint read = 0, draw = 0;
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read);
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &draw);
    EXPECT_EQ(GLuint(read), framebuffer);
    EXPECT_EQ(GLuint(draw), framebuffer);
    uint32_t w = 0, h = 0;
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_image_info)(1, &w, &h, nullptr));
    EXPECT_EQ(w, 5u);
    EXPECT_EQ(h, 3u);
    uint8_t pixel[4];
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(1, 4, 2, pixel));
    EXPECT_EQ(pixel[0], 255);
    EXPECT_EQ(pixel[1], 255);
    EXPECT_EQ(pixel[2], 0);

    // Only the eye that was submitted has an image.
    EXPECT_FALSE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, nullptr, nullptr, nullptr));
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(1, &renderbuffer);
}

// What a renderer with multisampling submits: a 4-sample renderbuffer, left half red and right
// half blue, with the application's own scissor box still on.
class SimClientMultisampleTest : public SimClientGlTest {
protected:
    void SetUp() override {
        SimClientGlTest::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        GLint maxSamples = 0;
        glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
        if (maxSamples < 4) {
            GTEST_SKIP() << "the driver offers " << maxSamples << " samples, not 4";
        }
        glGenRenderbuffers(1, &renderbuffer);
        glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
        glRenderbufferStorageMultisample(GL_RENDERBUFFER, 4, GL_RGBA8, kWidth, kHeight);
        glGenFramebuffers(1, &framebuffer);
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER,
                                  renderbuffer);
        ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
        GLint samples = 0;
        glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_SAMPLES, &samples);
        ASSERT_GE(samples, 4);
        glEnable(GL_SCISSOR_TEST);
        glScissor(0, 0, kWidth / 2, kHeight);
        glClearColor(1.0f, 0.0f, 0.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        glScissor(kWidth / 2, 0, kWidth / 2, kHeight);
        glClearColor(0.0f, 0.0f, 1.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        glScissor(1, 1, 1, 1);
        ASSERT_EQ(glGetError(), GLenum(GL_NO_ERROR));
    }
    void TearDown() override {
        glDisable(GL_SCISSOR_TEST);
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glDeleteFramebuffers(1, &framebuffer);
        glDeleteRenderbuffers(1, &renderbuffer);
        SimClientGlTest::TearDown();
    }

    static constexpr int kWidth = 8, kHeight = 4;
    GLuint renderbuffer = 0, framebuffer = 0;
};

TEST_F(SimClientMultisampleTest, RenderbuffersAreResolvedAsACompositorWould) {
    ASSERT_NE(Init(), nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    SIMVR(Runtime(), simvr_set_readback)(1);
    const vr::Texture_t eye{reinterpret_cast<void*>(uintptr_t(renderbuffer)),
                            vr::TextureType_OpenGL, vr::ColorSpace_Gamma};
    ASSERT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, &eye, nullptr, vr::Submit_GlRenderBuffer),
              vr::VRCompositorError_None);
    const simvr_call call = Calls().back();
    EXPECT_EQ(call.int_value, SIMVR_READBACK_DONE) << call.text;

    uint32_t w = 0, h = 0;
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, &w, &h, nullptr));
    EXPECT_EQ(w, uint32_t(kWidth));
    EXPECT_EQ(h, uint32_t(kHeight));
    for (uint32_t y = 0; y < h; ++y) {
        for (uint32_t x = 0; x < w; ++x) {
            uint8_t pixel[4] = {};
            ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(0, x, y, pixel));
            const bool left = x < uint32_t(kWidth / 2);
            EXPECT_EQ(pixel[0], left ? 255 : 0) << x << "," << y;
            EXPECT_EQ(pixel[2], left ? 0 : 255) << x << "," << y;
            EXPECT_EQ(pixel[3], 255) << x << "," << y;
        }
    }

    // The caller's context is as it was: scissor, bindings, and no error.
    EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));
    GLint box[4] = {};
    glGetIntegerv(GL_SCISSOR_BOX, box);
    EXPECT_EQ(box[0], 1);
    EXPECT_EQ(box[2], 1);
    GLint read = 0, draw = 0, bound = 0;
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read);
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &draw);
    glGetIntegerv(GL_RENDERBUFFER_BINDING, &bound);
    EXPECT_EQ(GLuint(read), framebuffer);
    EXPECT_EQ(GLuint(draw), framebuffer);
    EXPECT_EQ(GLuint(bound), renderbuffer);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    // Bounds cut the resolved image like any other: the right half is all blue.
    const vr::VRTextureBounds_t rightHalf{0.5f, 0.0f, 1.0f, 1.0f};
    EXPECT_EQ(compositor->Submit(vr::Eye_Right, &eye, &rightHalf, vr::Submit_GlRenderBuffer),
              vr::VRCompositorError_None);
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_image_info)(1, &w, &h, nullptr));
    EXPECT_EQ(w, uint32_t(kWidth / 2));
    EXPECT_EQ(h, uint32_t(kHeight));
    uint8_t pixel[4] = {};
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(1, 0, 0, pixel));
    EXPECT_EQ(pixel[0], 0);
    EXPECT_EQ(pixel[2], 255);
}

TEST_F(SimClientGlTest, TheEyeImageIsThePartTheBoundsSelect) {
    // Each texel says where it is: red = column, green = row from the bottom.
    const int w = 8, h = 6;
    std::vector<uint8_t> texels(w * h * 4);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            uint8_t* p = &texels[size_t(y * w + x) * 4];
            p[0] = uint8_t(x);
            p[1] = uint8_t(y);
            p[2] = 100;
            p[3] = 255;
        }
    }
    const GLuint texture = stereon::test::MakeTextureRGBA8(w, h, texels);
    ASSERT_NE(texture, 0u);
    ASSERT_NE(Init(), nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    SIMVR(Runtime(), simvr_set_readback)(1);
    const vr::Texture_t eye{reinterpret_cast<void*>(uintptr_t(texture)), vr::TextureType_OpenGL,
                            vr::ColorSpace_Gamma};

    const struct {
        const char* what;
        vr::VRTextureBounds_t bounds;
        int width, height;
        int x0, dx;  // texel column of image column i: x0 + dx * i
        int y0, dy;
    } cases[] = {
        {"everything", {0, 0, 1, 1}, 8, 6, 0, 1, 0, 1},
        {"left half", {0, 0, 0.5f, 1}, 4, 6, 0, 1, 0, 1},
        {"upper right quarter", {0.5f, 0.5f, 1, 1}, 4, 3, 4, 1, 3, 1},
        {"mirrored across", {1, 0, 0, 1}, 8, 6, 7, -1, 0, 1},
        {"middle, upside down", {0.25f, 1, 0.75f, 0}, 4, 6, 2, 1, 5, -1},
        {"past the edges: what is inside", {-1, -0.5f, 2, 0.5f}, 8, 3, 0, 1, 0, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
        ASSERT_EQ(compositor->Submit(vr::Eye_Left, &eye, &c.bounds, vr::Submit_Default),
                  vr::VRCompositorError_None);
        uint32_t iw = 0, ih = 0;
        ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, &iw, &ih, nullptr))
            << Calls().back().text;
        ASSERT_EQ(iw, uint32_t(c.width));
        ASSERT_EQ(ih, uint32_t(c.height));
        for (int y = 0; y < c.height; ++y) {
            for (int x = 0; x < c.width; ++x) {
                uint8_t pixel[4] = {};
                ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(0, x, y, pixel));
                EXPECT_EQ(pixel[0], c.x0 + c.dx * x) << "image pixel " << x << "," << y;
                EXPECT_EQ(pixel[1], c.y0 + c.dy * y) << "image pixel " << x << "," << y;
            }
        }
    }

    // Bounds that select nothing leave the eye without an image, though the submit is taken.
    ASSERT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
    const vr::VRTextureBounds_t line{0.5f, 0, 0.5f, 1};
    EXPECT_EQ(compositor->Submit(vr::Eye_Left, &eye, &line, vr::Submit_Default),
              vr::VRCompositorError_None);
    EXPECT_EQ(Calls().back().int_value, SIMVR_READBACK_FAILED);
    EXPECT_FALSE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, nullptr, nullptr, nullptr));
    glDeleteTextures(1, &texture);
}

TEST_F(SimClientGlTest, AnErrorTheApplicationLeftPendingOutlivesTheSubmit) {
    const int size = 4;
    const GLuint texture =
        stereon::test::MakeTextureRGBA8(size, size, std::vector<uint8_t>(size * size * 4, 200));
    ASSERT_NE(texture, 0u);
    GLuint renderbuffer = 0;
    glGenRenderbuffers(1, &renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, size, size);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    GLuint multisample = 0;
    glGenTextures(1, &multisample);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, multisample);
    glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, 4, GL_RGBA8, size, size, GL_TRUE);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, 0);
    ASSERT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    ASSERT_NE(Init(), nullptr);
    auto* compositor = Get<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    SIMVR(Runtime(), simvr_set_readback)(1);

    // Errors an application leaves behind by mistake, each raised just before a submit.
    const struct {
        const char* what;
        GLuint name;
        vr::EVRSubmitFlags flags;
        int readBack;
        GLenum error;
        std::function<void()> raise;
    } cases[] = {
        {"texture", texture, vr::Submit_Default, SIMVR_READBACK_DONE, GL_INVALID_ENUM,
         [] { glEnable(GL_NONE); }},
        {"renderbuffer", renderbuffer, vr::Submit_GlRenderBuffer, SIMVR_READBACK_DONE,
         GL_INVALID_VALUE, [] { glLineWidth(-1.0f); }},
        {"multisample texture that cannot be read", multisample, vr::Submit_Default,
         SIMVR_READBACK_FAILED, GL_INVALID_OPERATION,
         [multisample] { glBindTexture(GL_TEXTURE_2D, multisample); }},
        {"name of no texture", texture + 1000, vr::Submit_Default, SIMVR_READBACK_FAILED,
         GL_INVALID_ENUM, [] { glEnable(GL_NONE); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
        c.raise();
        const vr::Texture_t eye{reinterpret_cast<void*>(uintptr_t(c.name)), vr::TextureType_OpenGL,
                                vr::ColorSpace_Gamma};
        EXPECT_EQ(compositor->Submit(vr::Eye_Left, &eye, nullptr, c.flags),
                  vr::VRCompositorError_None);
        EXPECT_EQ(Calls().back().int_value, c.readBack) << Calls().back().text;
        uint32_t w = 0;
        EXPECT_EQ(SIMVR(Runtime(), simvr_get_eye_image_info)(0, &w, nullptr, nullptr),
                  c.readBack == SIMVR_READBACK_DONE ? 1 : 0);
        EXPECT_EQ(w, c.readBack == SIMVR_READBACK_DONE ? uint32_t(size) : 0u);
        EXPECT_EQ(glGetError(), c.error) << "the application's error is still there";
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)) << "and nothing else";
    }
    glDeleteTextures(1, &texture);
    glDeleteTextures(1, &multisample);
    glDeleteRenderbuffers(1, &renderbuffer);
}

}  // namespace
