// The simulated runtime as an application meets it: found, loaded and unloaded by the OpenVR
// client, used only through the OpenVR interfaces. This program does not link the runtime; the
// control interface that plays the world is reached in the library the client loaded. Only what
// the library's system tests rely on without checking it themselves is tested here.
#include <gtest/gtest.h>
#include <png.h>

#include <array>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
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
        ASSERT_FALSE(RuntimeLoaded()) << "only the client may bring the runtime in";
        home = simvr::MakeTempDirectory("simvr-client-");
        ASSERT_FALSE(home.empty());
        std::string error;
        ASSERT_TRUE(simvr::InstallVrPathFile(home, &error)) << error;
    }
    void TearDown() override {
        loaded.reset();
        vr::VR_Shutdown();
        simvr::ClearEnvironment();
        std::error_code ignored;
        std::filesystem::remove_all(home, ignored);
    }
    template <typename T>
    T* Get(const char* version) {
        vr::EVRInitError error = vr::VRInitError_Unknown;
        T* result = static_cast<T*>(vr::VR_GetGenericInterface(version, &error));
        EXPECT_EQ(error, vr::VRInitError_None) << version;
        return result;
    }
    // VR_Init as a scene application, then the interface `version`; null, with the failure
    // reported, when either fails.
    template <typename T>
    T* Connect(const char* version) {
        vr::EVRInitError error = vr::VRInitError_Unknown;
        const bool connected = vr::VR_Init(&error, vr::VRApplication_Scene) != nullptr;
        EXPECT_EQ(error, vr::VRInitError_None);
        return connected ? Get<T>(version) : nullptr;
    }
    static bool RuntimeLoaded() { return LoadedRuntime::IsLoaded(simvr::RuntimeLibraryPath()); }
    // The runtime the client has loaded; the handle is kept until ReleaseRuntime or the end.
    LoadedRuntime& Runtime() {
        if (loaded == nullptr || !loaded->Ok()) {
            loaded = std::make_unique<LoadedRuntime>(simvr::RuntimeLibraryPath());
        }
        return *loaded;
    }
    void ReleaseRuntime() { loaded.reset(); }
    simvr_call LastCall() {
        simvr_call call{};
        EXPECT_TRUE(
            SIMVR(Runtime(), simvr_get_call)(SIMVR(Runtime(), simvr_get_call_count)() - 1, &call));
        return call;
    }

    std::string home;
    std::unique_ptr<LoadedRuntime> loaded;
};

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
    ReleaseRuntime();
    EXPECT_FALSE(RuntimeLoaded());
}

// The settings file of a config directory as JSON; null when it is missing or no JSON.
nlohmann::json SettingsFile(const std::string& configDirectory) {
    std::ifstream file(configDirectory + "/steamvr.vrsettings");
    return file ? nlohmann::json::parse(file, nullptr, /*allow_exceptions=*/false) : nullptr;
}

TEST_F(SimClientTest, SyncWritesTheSettingsWhereTheConfigPathSays) {
    std::string reason;
    ASSERT_TRUE(simvr::UseEnvironment(home + "/env", &reason)) << reason;
    const std::string config = home + "/env/config";
    auto* settings = Connect<vr::IVRSettings>("IVRSettings_002");
    ASSERT_NE(settings, nullptr);

    vr::EVRSettingsError error = vr::VRSettingsError_IPCFailed;
    EXPECT_FALSE(settings->Sync(false, &error)) << "nothing to write yet";
    EXPECT_TRUE(SettingsFile(config).is_null());
    // What the library writes when it starts.
    settings->SetBool("collisionBounds", "CollisionBoundsPlaySpaceOn", false, nullptr);
    settings->SetInt32("collisionBounds", "CollisionBoundsColorGammaA", 0, nullptr);
    EXPECT_TRUE(settings->Sync(false, &error));
    EXPECT_EQ(error, vr::VRSettingsError_None);
    const nlohmann::json written = SettingsFile(config);
    const nlohmann::json expected = {
        {"collisionBounds",
         {{"CollisionBoundsPlaySpaceOn", false}, {"CollisionBoundsColorGammaA", 0}}}};
    EXPECT_EQ(written, expected) << written.dump(1);
    EXPECT_TRUE(written["collisionBounds"]["CollisionBoundsColorGammaA"].is_number_integer());
    EXPECT_TRUE(SettingsFile(home + "/simvr/config").is_null())
        << "VR_CONFIG_PATH wins over the path registry's directory";
}

// Every model the runtime lists, and every part of one, as the library makes meshes of them:
// triangles within the vertices, unit normals, a texture that loads. Each answer is an
// allocation of its own; the model tests' leak checks read the counts of those alive and of
// frees of what was not.
TEST_F(SimClientTest, ListedModelsAndTheirPartsMakeSoundMeshesAndTheirMemoryIsCounted) {
    auto* models = Connect<vr::IVRRenderModels>("IVRRenderModels_005");
    ASSERT_NE(models, nullptr);
    LoadedRuntime& runtime = Runtime();
    SIMVR(runtime, simvr_set_model_load_polls)(0);
    const auto check = [&](const char* name) {
        SCOPED_TRACE(name);
        vr::RenderModel_t* model = nullptr;
        ASSERT_EQ(models->LoadRenderModel_Async(name, &model), vr::VRRenderModelError_None);
        ASSERT_GT(model->unTriangleCount, 0u);
        for (uint32_t i = 0; i < model->unTriangleCount * 3; ++i) {
            ASSERT_LT(model->rIndexData[i], model->unVertexCount);
        }
        for (uint32_t i = 0; i < model->unVertexCount; ++i) {
            const float* n = model->rVertexData[i].vNormal.v;
            ASSERT_NEAR(n[0] * n[0] + n[1] * n[1] + n[2] * n[2], 1.0f, 1e-5f);
        }
        vr::RenderModel_TextureMap_t* texture = nullptr;
        ASSERT_EQ(models->LoadTexture_Async(model->diffuseTextureId, &texture),
                  vr::VRRenderModelError_None);
        EXPECT_GT(texture->unWidth, 0);
        EXPECT_EQ(SIMVR(runtime, simvr_get_live_model_count)(), 1);
        EXPECT_EQ(SIMVR(runtime, simvr_get_live_texture_count)(), 1);
        models->FreeTexture(texture);
        models->FreeRenderModel(model);
    };
    // Every model the runtime lists (eight), and every part a model is drawn from.
    ASSERT_EQ(models->GetRenderModelCount(), 8u);
    int parts = 0;
    for (uint32_t listed = 0; listed < models->GetRenderModelCount(); ++listed) {
        char name[512] = {}, component[64] = {}, part[512] = {};
        ASSERT_GT(models->GetRenderModelName(listed, name, sizeof(name)), 0u);
        check(name);
        for (uint32_t i = 0; i < models->GetComponentCount(name); ++i) {
            ASSERT_GT(models->GetComponentName(name, i, component, sizeof(component)), 0u);
            if (models->GetComponentRenderModelName(name, component, part, sizeof(part)) > 0) {
                check(part);
                ++parts;
            }
        }
    }
    EXPECT_GE(parts, 7);

    // An OBJ file named by its path, as Windows Mixed Reality's controllers are: each corner
    // takes its own position, texture coordinate and normal, and the quad is split in two.
    const std::string path = home + "/quad.obj";
    std::ofstream(path) << "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                           "vt 0 0\nvt 0.5 0\nvt 0.5 0.25\nvt 0 0.25\nvn 0 0 1\n"
                           "f 1/1/1 2/2/1 3/3/1 4/4/1\n";
    vr::RenderModel_t* quad = nullptr;
    ASSERT_EQ(models->LoadRenderModel_Async(path.c_str(), &quad), vr::VRRenderModelError_None);
    EXPECT_EQ(quad->unVertexCount, 4u);
    EXPECT_EQ(quad->unTriangleCount, 2u);
    const vr::RenderModel_Vertex_t& corner = quad->rVertexData[2];
    EXPECT_EQ(
        (std::vector<float>{corner.vPosition.v[0], corner.vPosition.v[1], corner.rfTextureCoord[0],
                            corner.rfTextureCoord[1], corner.vNormal.v[2]}),
        (std::vector<float>{1, 1, 0.5f, 0.25f, 1}));
    models->FreeRenderModel(quad);
    models->FreeRenderModel(quad);  // twice: counted, not done
    EXPECT_EQ(SIMVR(runtime, simvr_get_live_model_count)(), 0);
    EXPECT_EQ(SIMVR(runtime, simvr_get_live_texture_count)(), 0);
    EXPECT_EQ(SIMVR(runtime, simvr_get_invalid_free_count)(), 1);
}

// What the demo host's head sweep and its short call log rely on.
TEST_F(SimClientTest, TheHeadTurnsAtItsRateAndAShortCallLogStillCountsEveryCall) {
    auto* compositor = Connect<vr::IVRCompositor>("IVRCompositor_021");
    ASSERT_NE(compositor, nullptr);
    LoadedRuntime& runtime = Runtime();
    SIMVR(runtime, simvr_set_head_pose)(30.0f, 0, 0, 0.0f, 1.6f, 0.0f);
    SIMVR(runtime, simvr_set_head_yaw_rate)(90.0f);
    ASSERT_TRUE(SIMVR(runtime, simvr_set_refresh_rate)(10.0f));
    vr::TrackedDevicePose_t head{};
    for (int frame = 0; frame < 10; ++frame) {
        ASSERT_EQ(compositor->WaitGetPoses(&head, 1, nullptr, 0), vr::VRCompositorError_None);
    }
    // One simulated second later the yaw of 30 degrees (to the left) has become 120.
    ASSERT_TRUE(head.bPoseIsValid);
    EXPECT_NEAR(head.mDeviceToAbsoluteTracking.m[0][2], std::sqrt(3.0f) / 2, 1e-4f);
    EXPECT_NEAR(head.mDeviceToAbsoluteTracking.m[2][2], -0.5f, 1e-4f);
    EXPECT_NEAR(head.mDeviceToAbsoluteTracking.m[1][3], 1.6f, 1e-6f);

    SIMVR(runtime, simvr_clear_calls)();
    SIMVR(runtime, simvr_set_call_log_capacity)(1);
    compositor->PostPresentHandoff();
    compositor->PostPresentHandoff();
    EXPECT_EQ(SIMVR(runtime, simvr_get_call_count)(), 1u);
    EXPECT_EQ(SIMVR(runtime, simvr_count_calls)(SIMVR_CALL_POST_PRESENT_HANDOFF), 2u);
}

// `count` opaque RGBA8 pixels of one colour.
std::vector<uint8_t> Pixels(size_t count, uint8_t r, uint8_t g, uint8_t b) {
    std::vector<uint8_t> rgba;
    for (size_t i = 0; i < count; ++i) {
        rgba.insert(rgba.end(), {r, g, b, 255});
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

using ImageSize = std::pair<uint32_t, uint32_t>;
using Rgba = std::array<uint8_t, 4>;

// With a GL context of its own current, as an application that submits textures has, and the
// runtime reading submitted images back. The GL objects a test makes go with the context.
class SimClientGlTest : public SimClientTest {
protected:
    void SetUp() override {
        SimClientTest::SetUp();
        ASSERT_TRUE(context.Ok()) << context.Error();
        context.MakeCurrent();
        ASSERT_TRUE(context.IsCurrent()) << context.Error();
        compositor = Connect<vr::IVRCompositor>("IVRCompositor_021");
        ASSERT_NE(compositor, nullptr);
        SIMVR(Runtime(), simvr_set_readback)(1);
    }
    // Starts a frame and submits GL object `name` for `eye`; the runtime's record of it. The
    // compositor takes the image either way; only the read-back can fail.
    simvr_call Submit(vr::EVREye eye, GLuint name, vr::EVRSubmitFlags flags = vr::Submit_Default,
                      const vr::VRTextureBounds_t* bounds = nullptr) {
        if (eye == vr::Eye_Left) {
            EXPECT_EQ(compositor->WaitGetPoses(nullptr, 0, nullptr, 0), vr::VRCompositorError_None);
        }
        const vr::Texture_t texture{reinterpret_cast<void*>(uintptr_t(name)),
                                    vr::TextureType_OpenGL, vr::ColorSpace_Gamma};
        EXPECT_EQ(compositor->Submit(eye, &texture, bounds, flags), vr::VRCompositorError_None);
        return LastCall();
    }
    // The size of the eye's image; 0 x 0 while it has none.
    ImageSize EyeSize(uint32_t eye) {
        uint32_t width = 0, height = 0;
        SIMVR(Runtime(), simvr_get_eye_image_info)(eye, &width, &height, nullptr);
        return {width, height};
    }
    // A pixel of the eye's image, y from the bottom row; zeros, and a failure, where there is none.
    Rgba EyePixel(uint32_t eye, uint32_t x, uint32_t y) {
        Rgba rgba{};
        EXPECT_TRUE(SIMVR(Runtime(), simvr_get_eye_pixel)(eye, x, y, rgba.data()))
            << "eye " << eye << " pixel " << x << "," << y;
        return rgba;
    }
    // An error the application left pending is still its own to read, and the read-back added
    // none (GL keeps only the first).
    static void ExpectOnlyError(GLenum error) {
        EXPECT_EQ(glGetError(), error);
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
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

    // Each with an error the application left pending by mistake.
    glEnable(GL_NONE);
    EXPECT_EQ(Submit(vr::Eye_Left, leftTexture).int_value, SIMVR_READBACK_DONE);
    ExpectOnlyError(GL_INVALID_ENUM);
    glLineWidth(-1.0f);
    EXPECT_EQ(Submit(vr::Eye_Right, renderbuffer, vr::Submit_GlRenderBuffer).int_value,
              SIMVR_READBACK_DONE);
    ExpectOnlyError(GL_INVALID_VALUE);
    // The read-backs left the caller's bindings alone.
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(GLuint(bound), leftTexture);
    EXPECT_EQ(BoundFramebuffers(), std::make_pair(framebuffer, framebuffer));

    EXPECT_EQ(EyeSize(1), ImageSize(5, 3));
    EXPECT_EQ(EyePixel(1, 4, 2), (Rgba{255, 255, 0, 255}));
    Rgba outside{};
    EXPECT_FALSE(SIMVR(Runtime(), simvr_get_eye_pixel)(1, 5, 0, outside.data()));
    uint32_t iw = 0, ih = 0;
    uint64_t frame = 0;
    ASSERT_TRUE(SIMVR(Runtime(), simvr_get_eye_image_info)(0, &iw, &ih, &frame));
    EXPECT_EQ(ImageSize(iw, ih), ImageSize(w, h));
    EXPECT_EQ(frame, SIMVR(Runtime(), simvr_get_frame_index)());
    std::vector<uint8_t> copy(w * h * 4);
    EXPECT_EQ(SIMVR(Runtime(), simvr_copy_eye_image)(0, copy.data(), uint32_t(copy.size())),
              copy.size());
    EXPECT_EQ(copy, left);
    EXPECT_EQ(SIMVR(Runtime(), simvr_copy_eye_image)(0, copy.data(), 4), 0u);

    // The PNG has the top row first: blue, then red at the bottom.
    const std::string path = home + "/left.png";
    ASSERT_TRUE(SIMVR(Runtime(), simvr_write_eye_png)(0, path.c_str()));
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&image, path.c_str()));
    image.format = PNG_FORMAT_RGBA;
    std::vector<uint8_t> png(PNG_IMAGE_SIZE(image));
    ASSERT_TRUE(png_image_finish_read(&image, nullptr, png.data(), 0, nullptr));
    EXPECT_EQ(ImageSize(image.width, image.height), ImageSize(w, h));
    EXPECT_EQ((Rgba{png[0], png[1], png[2], png[3]}), (Rgba{0, 0, 255, 255}));
    EXPECT_EQ(png[size_t((h - 1) * w) * 4], 255);
    EXPECT_FALSE(SIMVR(Runtime(), simvr_write_eye_png)(0, (home + "/missing/dir/x.png").c_str()));
}

TEST_F(SimClientGlTest, AnImageThatCannotBeReadLeavesTheEyeWithoutOne) {
    const int size = 4;
    const GLuint good = stereon::test::MakeTextureRGBA8(size, size, Pixels(size * size, 255, 0, 0));
    ASSERT_NE(good, 0u);
    // What a renderer submits when it forgets to resolve its multisample target.
    GLuint multisample = 0;
    glGenTextures(1, &multisample);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, multisample);
    glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, 4, GL_RGBA8, size, size, GL_TRUE);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, 0);
    // Images with no colour to read as RGBA8: their reads would be GL errors.
    GLuint integer = 0;
    glGenTextures(1, &integer);
    glBindTexture(GL_TEXTURE_2D, integer);
    glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8UI, size, size);
    glBindTexture(GL_TEXTURE_2D, 0);
    const GLuint depth = MakeRenderbuffer(GL_DEPTH_COMPONENT24, size, size);
    ASSERT_EQ(glGetError(), GLenum(GL_NO_ERROR));
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
        EXPECT_EQ(Submit(vr::Eye_Left, good).int_value, SIMVR_READBACK_DONE);
        EXPECT_EQ(EyePixel(0, 1, 1)[0], 255);
        const simvr_call call = Submit(vr::Eye_Left, c.name, c.flags);
        EXPECT_EQ(call.int_value, SIMVR_READBACK_FAILED);
        EXPECT_STRNE(call.text, "");
        expectNoImage();
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)) << "a read left an error behind";
    }
    // A failed read leaves the application's pending error alone too.
    glBindTexture(GL_TEXTURE_2D, multisample);
    EXPECT_EQ(Submit(vr::Eye_Left, multisample).int_value, SIMVR_READBACK_FAILED);
    ExpectOnlyError(GL_INVALID_OPERATION);

    // No context current on the submitting thread: nothing to read with.
    EXPECT_EQ(Submit(vr::Eye_Left, good).int_value, SIMVR_READBACK_DONE);
    context.ReleaseCurrent();
    const simvr_call call = Submit(vr::Eye_Left, good);
    EXPECT_EQ(call.int_value, SIMVR_READBACK_FAILED);
    EXPECT_NE(std::string(call.text).find("context"), std::string::npos) << call.text;
    expectNoImage();
    // The next readable image is there again.
    context.MakeCurrent();
    EXPECT_EQ(Submit(vr::Eye_Left, good).int_value, SIMVR_READBACK_DONE);
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
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, 0, w / 2, h);
    glClearColor(1.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glScissor(w / 2, 0, w / 2, h);
    glClearColor(0.0f, 0.0f, 1.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glScissor(1, 1, 1, 1);
    ASSERT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    const simvr_call call = Submit(vr::Eye_Left, renderbuffer, vr::Submit_GlRenderBuffer);
    EXPECT_EQ(call.int_value, SIMVR_READBACK_DONE) << call.text;
    ASSERT_EQ(EyeSize(0), ImageSize(w, h));
    for (uint32_t y = 0; y < uint32_t(h); ++y) {
        for (uint32_t x = 0; x < uint32_t(w); ++x) {
            const bool left = x < uint32_t(w / 2);
            EXPECT_EQ(EyePixel(0, x, y),
                      (Rgba{uint8_t(left ? 255 : 0), 0, uint8_t(left ? 0 : 255), 255}))
                << x << "," << y;
        }
    }
    // The caller's context is as it was: scissor, bindings, and no error.
    EXPECT_TRUE(glIsEnabled(GL_SCISSOR_TEST));
    GLint box[4] = {}, bound = 0;
    glGetIntegerv(GL_SCISSOR_BOX, box);
    EXPECT_EQ((std::array<GLint, 4>{box[0], box[1], box[2], box[3]}),
              (std::array<GLint, 4>{1, 1, 1, 1}));
    EXPECT_EQ(BoundFramebuffers(), std::make_pair(framebuffer, framebuffer));
    glGetIntegerv(GL_RENDERBUFFER_BINDING, &bound);
    EXPECT_EQ(GLuint(bound), renderbuffer);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));

    // Bounds cut the resolved image like any other: the right half is all blue.
    const vr::VRTextureBounds_t rightHalf{0.5f, 0.0f, 1.0f, 1.0f};
    Submit(vr::Eye_Right, renderbuffer, vr::Submit_GlRenderBuffer, &rightHalf);
    ASSERT_EQ(EyeSize(1), ImageSize(w / 2, h));
    EXPECT_EQ(EyePixel(1, 0, 0), (Rgba{0, 0, 255, 255}));
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
        const simvr_call call = Submit(vr::Eye_Left, texture, vr::Submit_Default, &c.bounds);
        ASSERT_EQ(EyeSize(0), ImageSize(c.width, c.height)) << call.text;
        for (int y = 0; y < c.height; ++y) {
            for (int x = 0; x < c.width; ++x) {
                const Rgba pixel = EyePixel(0, x, y);
                EXPECT_EQ(pixel[0], c.x0 + c.dx * x) << "image pixel " << x << "," << y;
                EXPECT_EQ(pixel[1], c.y0 + c.dy * y) << "image pixel " << x << "," << y;
            }
        }
    }
    // Bounds that select nothing leave the eye without an image, though the submit is taken.
    const vr::VRTextureBounds_t line{0.5f, 0, 0.5f, 1};
    EXPECT_EQ(Submit(vr::Eye_Left, texture, vr::Submit_Default, &line).int_value,
              SIMVR_READBACK_FAILED);
    EXPECT_EQ(EyeSize(0), ImageSize(0, 0));
}

}  // namespace
