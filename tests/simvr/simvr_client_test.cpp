// The simulated runtime as an application meets it: found, loaded and unloaded by the OpenVR
// client, used only through the OpenVR interfaces. This program does not link the runtime; the
// control interface that plays the world is reached in the library the client loaded.
#include <gtest/gtest.h>
#include <png.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <utility>
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
    // Init, then the interface `version`; null, with the failure reported, when either fails.
    template <typename T>
    T* Connect(const char* version) {
        return Init() != nullptr ? Get<T>(version) : nullptr;
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
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_init_count)(), 1);

    // With the runtime loaded, presence is asked of it in place. Both changes are for the next
    // load to forget.
    SIMVR(Runtime(), simvr_set_hmd_present)(0);
    EXPECT_FALSE(vr::VR_IsHmdPresent());
    ASSERT_TRUE(SIMVR(Runtime(), simvr_set_profile)(SIMVR_PROFILE_RIFT));
    EXPECT_EQ(Property(system, 0, vr::Prop_TrackingSystemName_String), "oculus");
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

    // And ends it as usual. The handle keeps the library here to be asked afterwards.
    vr::VR_Shutdown();
    EXPECT_EQ(SIMVR(Runtime(), simvr_is_initialized)(), 0);
    EXPECT_EQ(SIMVR(Runtime(), simvr_get_cleanup_count)(), 1);
    EXPECT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0),
              vr::VRCompositorError_RequestFailed);
}

TEST_F(SimClientTest, ShutdownEndsAWaitForPosesThatNeverReturns) {
    auto* compositor = Connect<vr::IVRCompositor>("IVRCompositor_021");
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
    auto* settings = Connect<vr::IVRSettings>("IVRSettings_002");
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

    auto* settings = Connect<vr::IVRSettings>("IVRSettings_002");
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
    settings = Connect<vr::IVRSettings>("IVRSettings_002");
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
    settings = Connect<vr::IVRSettings>("IVRSettings_002");
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

// `count` opaque RGBA8 pixels of one colour.
std::vector<uint8_t> Pixels(size_t count, uint8_t r, uint8_t g, uint8_t b) {
    std::vector<uint8_t> rgba(count * 4, 255);
    for (size_t i = 0; i < rgba.size(); i += 4) {
        rgba[i] = r;
        rgba[i + 1] = g;
        rgba[i + 2] = b;
    }
    return rgba;
}

// A renderbuffer, multisampled when `samples` is not 0; nothing is left bound.
GLuint MakeRenderbuffer(GLenum format, int width, int height, int samples = 0) {
    GLuint name = 0;
    glGenRenderbuffers(1, &name);
    glBindRenderbuffer(GL_RENDERBUFFER, name);
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples, format, width, height);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    return name;
}

// A framebuffer drawing into `renderbuffer`, left bound for reading and drawing.
GLuint BindFramebufferOn(GLuint renderbuffer) {
    GLuint name = 0;
    glGenFramebuffers(1, &name);
    glBindFramebuffer(GL_FRAMEBUFFER, name);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
    return name;
}

// The framebuffers bound for reading and for drawing.
std::pair<GLuint, GLuint> BoundFramebuffers() {
    GLint read = 0, draw = 0;
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read);
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &draw);
    return {GLuint(read), GLuint(draw)};
}

// What a renderer submits when it forgets to resolve its multisample target.
GLuint MakeMultisampleTexture(int size) {
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, name);
    glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, 4, GL_RGBA8, size, size, GL_TRUE);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, 0);
    return name;
}

using ImageSize = std::pair<uint32_t, uint32_t>;

// With a GL context of its own current, as an application that submits textures has. The GL
// objects a test makes go with the context.
class SimClientGlTest : public SimClientTest {
protected:
    void SetUp() override {
        SimClientTest::SetUp();
        ASSERT_TRUE(context.Ok()) << context.Error();
        context.MakeCurrent();
        ASSERT_TRUE(context.IsCurrent()) << context.Error();
    }
    // Connects with the runtime reading submitted images back.
    void ConnectReadingBack() {
        compositor = Connect<vr::IVRCompositor>("IVRCompositor_021");
        ASSERT_NE(compositor, nullptr);
        SIMVR(Runtime(), simvr_set_readback)(1);
    }
    void NewFrame() {
        EXPECT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
    }
    // Submits GL object `name` for `eye` and returns the runtime's record of it. The compositor
    // takes the image either way; only the read-back can fail.
    simvr_call Submit(vr::EVREye eye, GLuint name, vr::EVRSubmitFlags flags = vr::Submit_Default,
                      const vr::VRTextureBounds_t* bounds = nullptr) {
        const vr::Texture_t texture{reinterpret_cast<void*>(uintptr_t(name)),
                                    vr::TextureType_OpenGL, vr::ColorSpace_Gamma};
        EXPECT_EQ(compositor->Submit(eye, &texture, bounds, flags), vr::VRCompositorError_None);
        return Calls().back();
    }
    // The size of the eye's image; 0 x 0 while it has none.
    ImageSize EyeSize(uint32_t eye) {
        uint32_t width = 0, height = 0;
        SIMVR(Runtime(), simvr_get_eye_image_info)(eye, &width, &height, nullptr);
        return {width, height};
    }
    // A pixel of the eye's image, y from the bottom row; zeros, and a failure, where there is none.
    std::array<uint8_t, 4> EyePixel(uint32_t eye, uint32_t x, uint32_t y) {
        std::array<uint8_t, 4> rgba{};
        EXPECT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(eye, x, y, rgba.data()))
            << "eye " << eye << " pixel " << x << "," << y;
        return rgba;
    }

    stereon::test::GlTestContext context;
    vr::IVRCompositor* compositor = nullptr;
};

TEST_F(SimClientGlTest, SubmittedEyeImagesAreReadBackAndWrittenAsPng) {
    // Left eye a texture: lower half red, upper half blue (GL keeps the bottom row first).
    const int w = 8, h = 6;
    std::vector<uint8_t> left = Pixels(w * h / 2, 255, 0, 0);
    const std::vector<uint8_t> blue = Pixels(w * h / 2, 0, 0, 255);
    left.insert(left.end(), blue.begin(), blue.end());
    const GLuint leftTexture = stereon::test::MakeTextureRGBA8(w, h, left);
    ASSERT_NE(leftTexture, 0u);
    glBindTexture(GL_TEXTURE_2D, leftTexture);
    // Right eye a yellow renderbuffer of another size, submitted as one.
    const GLuint renderbuffer = MakeRenderbuffer(GL_RGBA8, 5, 3);
    const GLuint framebuffer = BindFramebufferOn(renderbuffer);
    ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
    glClearColor(1.0f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);

    ASSERT_NO_FATAL_FAILURE(ConnectReadingBack());
    NewFrame();
    EXPECT_EQ(Submit(vr::Eye_Left, leftTexture).int_value, SIMVR_READBACK_DONE);
    EXPECT_EQ(Submit(vr::Eye_Right, renderbuffer, vr::Submit_GlRenderBuffer).int_value,
              SIMVR_READBACK_DONE);
    compositor->PostPresentHandoff();

    // The read-backs left the caller's bindings alone.
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(GLuint(bound), leftTexture);
    EXPECT_EQ(BoundFramebuffers(), std::make_pair(framebuffer, framebuffer));
    EXPECT_EQ(EyeSize(1), ImageSize(5, 3));
    EXPECT_EQ(EyePixel(1, 4, 2), (std::array<uint8_t, 4>{255, 255, 0, 255}));

    uint32_t iw = 0, ih = 0;
    uint64_t frame = 0;
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, &iw, &ih, &frame));
    EXPECT_EQ(ImageSize(iw, ih), ImageSize(w, h));
    EXPECT_EQ(frame, SIMVR(Runtime(), simvr_get_frame_index)());
    EXPECT_EQ(EyePixel(0, 3, 0)[0], 255);      // bottom row red
    EXPECT_EQ(EyePixel(0, 3, h - 1)[2], 255);  // top row blue
    uint8_t pixel[4];
    EXPECT_FALSE(SIMVR(Runtime(), simvr_get_eye_pixel)(1, 5, 0, pixel));
    std::vector<uint8_t> copy(w * h * 4);
    EXPECT_EQ(SIMVR(Runtime(), simvr_copy_eye_image)(0, copy.data(), uint32_t(copy.size())),
              copy.size());
    EXPECT_EQ(copy, left);
    EXPECT_EQ(SIMVR(Runtime(), simvr_copy_eye_image)(0, copy.data(), 4), 0u);

    const std::string path = home + "/left.png";
    ASSERT_TRUE(SIMVR(Runtime(), simvr_write_eye_png)(0, path.c_str()));
    std::vector<uint8_t> png;
    ASSERT_TRUE(ReadPng(path, &iw, &ih, &png));
    EXPECT_EQ(ImageSize(iw, ih), ImageSize(w, h));
    EXPECT_EQ(png[0], 0);  // top row first in the file: blue
    EXPECT_EQ(png[2], 255);
    EXPECT_EQ(png[size_t((h - 1) * w) * 4], 255);  // bottom row red
    EXPECT_FALSE(SIMVR(Runtime(), simvr_write_eye_png)(0, (home + "/missing/dir/x.png").c_str()));
    EXPECT_FALSE(SIMVR(Runtime(), simvr_write_eye_png)(5, path.c_str()));
}

TEST_F(SimClientGlTest, AnImageThatCannotBeReadLeavesTheEyeWithoutOne) {
    const int size = 4;
    const GLuint good = stereon::test::MakeTextureRGBA8(size, size, Pixels(size * size, 255, 0, 0));
    ASSERT_NE(good, 0u);
    const GLuint multisample = MakeMultisampleTexture(size);
    // Images with no colour to read as RGBA8: their reads would be GL errors.
    GLuint integer = 0;
    glGenTextures(1, &integer);
    glBindTexture(GL_TEXTURE_2D, integer);
    glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8UI, size, size);
    glBindTexture(GL_TEXTURE_2D, 0);
    const GLuint depth = MakeRenderbuffer(GL_DEPTH_COMPONENT24, size, size);
    ASSERT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    ASSERT_NO_FATAL_FAILURE(ConnectReadingBack());
    const auto submitLeft = [&](GLuint name, vr::EVRSubmitFlags flags) {
        NewFrame();
        return Submit(vr::Eye_Left, name, flags);
    };
    const auto expectNoImage = [&] {
        uint8_t pixel[4];
        EXPECT_EQ(EyeSize(0), ImageSize(0, 0));
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
        EXPECT_EQ(EyePixel(0, 1, 1)[0], 255);

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
    EXPECT_EQ(EyeSize(0), ImageSize(size, size));
}

// What a renderer with multisampling submits: a 4-sample renderbuffer, left half red and right
// half blue, with the application's own scissor box still on.
TEST_F(SimClientGlTest, MultisampledRenderbuffersAreResolvedAsACompositorWould) {
    GLint maxSamples = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    if (maxSamples < 4) {
        GTEST_SKIP() << "the driver offers " << maxSamples << " samples, not 4";
    }
    const int w = 8, h = 4;
    const GLuint renderbuffer = MakeRenderbuffer(GL_RGBA8, w, h, 4);
    const GLuint framebuffer = BindFramebufferOn(renderbuffer);
    ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), GLenum(GL_FRAMEBUFFER_COMPLETE));
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    GLint samples = 0;
    glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_SAMPLES, &samples);
    ASSERT_GE(samples, 4);
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, 0, w / 2, h);
    glClearColor(1.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glScissor(w / 2, 0, w / 2, h);
    glClearColor(0.0f, 0.0f, 1.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glScissor(1, 1, 1, 1);
    ASSERT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    ASSERT_NO_FATAL_FAILURE(ConnectReadingBack());
    NewFrame();
    const simvr_call call = Submit(vr::Eye_Left, renderbuffer, vr::Submit_GlRenderBuffer);
    EXPECT_EQ(call.int_value, SIMVR_READBACK_DONE) << call.text;
    ASSERT_EQ(EyeSize(0), ImageSize(w, h));
    for (uint32_t y = 0; y < uint32_t(h); ++y) {
        for (uint32_t x = 0; x < uint32_t(w); ++x) {
            const bool left = x < uint32_t(w / 2);
            EXPECT_EQ(EyePixel(0, x, y), (std::array<uint8_t, 4>{uint8_t(left ? 255 : 0), 0,
                                                                 uint8_t(left ? 0 : 255), 255}))
                << x << "," << y;
        }
    }

    // The caller's context is as it was: scissor, bindings, and no error.
    EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));
    GLint box[4] = {}, bound = 0;
    glGetIntegerv(GL_SCISSOR_BOX, box);
    EXPECT_EQ(box[0], 1);
    EXPECT_EQ(box[2], 1);
    EXPECT_EQ(BoundFramebuffers(), std::make_pair(framebuffer, framebuffer));
    glGetIntegerv(GL_RENDERBUFFER_BINDING, &bound);
    EXPECT_EQ(GLuint(bound), renderbuffer);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    // Bounds cut the resolved image like any other: the right half is all blue.
    const vr::VRTextureBounds_t rightHalf{0.5f, 0.0f, 1.0f, 1.0f};
    Submit(vr::Eye_Right, renderbuffer, vr::Submit_GlRenderBuffer, &rightHalf);
    ASSERT_EQ(EyeSize(1), ImageSize(w / 2, h));
    EXPECT_EQ(EyePixel(1, 0, 0), (std::array<uint8_t, 4>{0, 0, 255, 255}));
}

TEST_F(SimClientGlTest, TheEyeImageIsThePartTheBoundsSelect) {
    // Each texel says where it is: red = column, green = row from the bottom.
    const int w = 8, h = 6;
    std::vector<uint8_t> texels;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            texels.insert(texels.end(), {uint8_t(x), uint8_t(y), 100, 255});
        }
    }
    const GLuint texture = stereon::test::MakeTextureRGBA8(w, h, texels);
    ASSERT_NE(texture, 0u);
    ASSERT_NO_FATAL_FAILURE(ConnectReadingBack());

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
        NewFrame();
        const simvr_call call = Submit(vr::Eye_Left, texture, vr::Submit_Default, &c.bounds);
        ASSERT_EQ(EyeSize(0), ImageSize(c.width, c.height)) << call.text;
        for (int y = 0; y < c.height; ++y) {
            for (int x = 0; x < c.width; ++x) {
                const std::array<uint8_t, 4> pixel = EyePixel(0, x, y);
                EXPECT_EQ(pixel[0], c.x0 + c.dx * x) << "image pixel " << x << "," << y;
                EXPECT_EQ(pixel[1], c.y0 + c.dy * y) << "image pixel " << x << "," << y;
            }
        }
    }

    // Bounds that select nothing leave the eye without an image, though the submit is taken.
    NewFrame();
    const vr::VRTextureBounds_t line{0.5f, 0, 0.5f, 1};
    EXPECT_EQ(Submit(vr::Eye_Left, texture, vr::Submit_Default, &line).int_value,
              SIMVR_READBACK_FAILED);
    EXPECT_EQ(EyeSize(0), ImageSize(0, 0));
}

TEST_F(SimClientGlTest, AnErrorTheApplicationLeftPendingOutlivesTheSubmit) {
    const int size = 4;
    const GLuint texture =
        stereon::test::MakeTextureRGBA8(size, size, Pixels(size * size, 200, 200, 200));
    ASSERT_NE(texture, 0u);
    const GLuint renderbuffer = MakeRenderbuffer(GL_RGBA8, size, size);
    const GLuint multisample = MakeMultisampleTexture(size);
    ASSERT_EQ(glGetError(), GLenum(GL_NO_ERROR));
    ASSERT_NO_FATAL_FAILURE(ConnectReadingBack());

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
        NewFrame();
        c.raise();
        const simvr_call call = Submit(vr::Eye_Left, c.name, c.flags);
        EXPECT_EQ(call.int_value, c.readBack) << call.text;
        EXPECT_EQ(EyeSize(0).first, c.readBack == SIMVR_READBACK_DONE ? uint32_t(size) : 0u);
        EXPECT_EQ(glGetError(), c.error) << "the application's error is still there";
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)) << "and nothing else";
    }
}

}  // namespace
