// The scene against the simulated runtime on a real GL context: what it sets up, the poses it
// takes, the host's fade, and the eye images it submits.
#include <gtest/gtest.h>

#include <EGL/egl.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "GB/Device.h"
#include "HMDManager.h"
#include "IRenderTarget.h"
#include "ITexture.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenVRManager.h"
#include "Scene.h"
#include "ShaderRegistry.h"
#include "VRPanelManager.h"
#include "hostcore/debug.h"
#include "hostmediatypes/PixelFormat.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"
#include "stnvr/vr_client.h"

namespace {

using STN::Matrix4;
using STN::Scene;

const float kPi = 3.14159265f;
const int kEyeSize = 64;

// Each quarter of the frame's width has its own red, the two halves of its height their green.
const int kFrameWidth = 16;
const int kFrameHeight = 2;
std::uint8_t QuarterRed(int quarter) {
    return static_cast<std::uint8_t>(40 + 60 * quarter);
}
std::uint8_t HalfGreen(int half) {
    return half == 0 ? 30 : 200;
}

class SceneTest : public stereon::test::SimulatedHeadsetTest {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(SimulatedHeadsetTest::SetUp());
        simvr_set_render_target_size(kEyeSize, kEyeSize);

        std::string reason;
        device = GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
        if (!device) {
            GTEST_SKIP() << "no host device with an offscreen context: " << reason;
        }
        context = STN::CreateGraphicsContext("RenderContext");
        context->BindDevice(device);
        ASSERT_TRUE(context->CreateVersionedContext(4, boost::shared_ptr<STN::IGraphicsContext>()));
        context->MakeCurrentAndLock();
        STN::ShaderRegistry::Instance().SetGraphicsContext(context);

        openVR = STN::OpenVRManager::Instance();
    }
    void TearDown() override {
        scene.reset();
        texture.reset();
        if (context) {
            STN::ShaderRegistry::DestroyInstance();
            context->UnlockAndRelease();
            context.reset();
        }
        if (openVR) {
            openVR->Shutdown();
            openVR.reset();
        }
        vr::VR_Shutdown();
        SimulatedHeadsetTest::TearDown();
    }

    boost::shared_ptr<STN::IVRPanelManager> Panels() {
        return boost::shared_ptr<STN::IVRPanelManager>(new STN::VRPanelManager(context, context));
    }

    void Connect() {
        vr::EVRInitError error = vr::VRInitError_None;
        ASSERT_TRUE(openVR->Init(error)) << error;
    }

    // The frame texture: 16 x 2 RGBA, first row at v = 0.
    void MakeFrame() {
        texture = context->CreateTexture("VideoTex0");
        texture->Create(boost::shared_ptr<GB::Device>(), kFrameWidth, kFrameHeight,
                        hostmediatypes::kPixelFormat_RGBA_4444_8u);
        std::vector<std::uint8_t> pixels(kFrameWidth * kFrameHeight * 4);
        for (int y = 0; y < kFrameHeight; ++y) {
            for (int x = 0; x < kFrameWidth; ++x) {
                std::uint8_t* p = &pixels[(y * kFrameWidth + x) * 4];
                p[0] = QuarterRed(x * 4 / kFrameWidth);
                p[1] = HalfGreen(y);
                p[2] = 90;
                p[3] = 255;
            }
        }
        texture->Upload(pixels.data(), hostmediatypes::kPixelFormat_RGBA_4444_8u, kFrameWidth * 4);
    }

    void InitScene() {
        Connect();
        MakeFrame();
        scene.reset(new Scene());
        scene->SetVideoFrame(texture, false, false, hostmediatypes::kPixelAspectRatio_Square);
        ASSERT_TRUE(scene->Init(context, openVR, Panels(), STN::kHMDTypeVive));
        simvr_set_readback(1);
    }

    // The headset's pose: turned about Y by `yaw` degrees, then about X by `pitch` (both
    // counter-clockwise, so a negative yaw looks right and a negative pitch looks down).
    static void SetHeadPose(float yawDegrees, float pitchDegrees) {
        Matrix4 pose = Matrix4::Identity();
        pose.Rotate(pitchDegrees, 1.0f, 0.0f, 0.0f).Rotate(yawDegrees, 0.0f, 1.0f, 0.0f);
        float rows[12];
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 4; ++column) {
                rows[row * 4 + column] = pose.At(row, column);
            }
        }
        ASSERT_EQ(simvr_set_device_pose(SIMVR_DEVICE_HMD, rows), 1);
    }

    // The runtime takes one submission a frame: wait for the frame, then draw it.
    void Frame() {
        scene->UpdatePoses();
        scene->RenderFrame();
    }

    // The centre pixel of an eye's last submitted image.
    static std::vector<int> CentrePixel(std::uint32_t eye) {
        std::uint8_t rgba[4] = {};
        EXPECT_EQ(simvr_get_eye_pixel(eye, kEyeSize / 2, kEyeSize / 2, rgba), 1);
        return {rgba[0], rgba[1], rgba[2], rgba[3]};
    }

    boost::shared_ptr<GB::Device> device;
    boost::shared_ptr<STN::GraphicsContextOGL> context;
    boost::shared_ptr<STN::OpenVRManager> openVR;
    boost::shared_ptr<STN::ITexture> texture;
    boost::shared_ptr<Scene> scene;
};

TEST_F(SceneTest, InitNeedsAContextAConnectedRuntimeAndAPanelManager) {
    Scene withoutContext;
    EXPECT_FALSE(withoutContext.Init(boost::shared_ptr<STN::IGraphicsContext>(), openVR,
                                     boost::shared_ptr<STN::IVRPanelManager>(), 1));
    Scene disconnected;
    EXPECT_FALSE(disconnected.Init(context, openVR, Panels(), 1));
    Connect();
    Scene withoutPanels;
    EXPECT_FALSE(withoutPanels.Init(context, openVR, boost::shared_ptr<STN::IVRPanelManager>(), 1));
    EXPECT_FALSE(disconnected.GetHMDManager());
    // A scene that never started draws and waits for nothing.
    disconnected.RenderFrame();
    disconnected.UpdatePoses();
    EXPECT_EQ(simvr_get_frame_index(), 0u);
}

// The order of a frame's calls is PictureTest.EachFrameSubmitsLeftThenRightThenHandsOffOnce's.
TEST_F(SceneTest, EyesTakeTheRuntimesSizeAndAFrameFillsTheRecordsOfTrackedDevices) {
    simvr_set_render_target_size(48, 40);
    InitScene();
    for (int eye = 0; eye < 2; ++eye) {
        ASSERT_TRUE(scene->GetTarget(eye));
        EXPECT_EQ(scene->GetTarget(eye)->GetWidth(), 48);
        EXPECT_EQ(scene->GetTarget(eye)->GetHeight(), 40);
    }
    Frame();
    // The controllers' records fill in once their poses arrive; the class is asked once.
    const std::vector<Scene::TrackedDeviceState>& devices = scene->GetDevices();
    ASSERT_EQ(devices.size(), 16u);
    EXPECT_TRUE(devices[0].poseValid);
    EXPECT_EQ(devices[SIMVR_DEVICE_LEFT_CONTROLLER].deviceClass, vr::TrackedDeviceClass_Controller);
    EXPECT_FALSE(devices[15].poseValid);
    EXPECT_EQ(devices[15].deviceClass, vr::TrackedDeviceClass_Invalid);
}

// The eyes' share of the sphere is checked in the picture tests' pixels; here, the part of the
// frame that the video window takes.
TEST_F(SceneTest, StereoLayoutCentresPartialFieldsOfView) {
    Scene scene;
    scene.SetStereoLayout(3, 4, 180, 180);
    EXPECT_EQ(scene.GetUVRect(), (Scene::Rect{{0.25f, 0.0f, 0.5f, 1.0f}}));
    // One degree short of the full height uses the arithmetic, not the constants.
    scene.SetStereoLayout(0, 0, 360, 179);
    EXPECT_FLOAT_EQ(scene.GetUVRect()[1], (1.0f - 179.0f / 180.0f) * 0.5f);
    scene.SetStereoLayout(1, 2, 360, 180);
    EXPECT_EQ(scene.GetUVRect(), (Scene::Rect{{0.0f, 0.0f, 1.0f, 1.0f}}));
}

TEST_F(SceneTest, PosesReachTheListenerAndTheViewIsTheirInverse) {
    InitScene();
    struct Listener : STN::IHMDListener {
        void OnHMDPose(const Matrix4& pose) override {
            ++poses;
            last = pose;
        }
        void OnRuntimeQuit() override {}
        int poses = 0;
        Matrix4 last = Matrix4::Identity();
    };
    boost::shared_ptr<Listener> listener(new Listener);
    scene->GetHMDManager()->SetHMDListener(listener);
    scene->SetViewOrientation(10.0f, 5.0f);  // the host's turn is no part of the view
    SetHeadPose(-40.0f, 0.0f);

    scene->UpdatePoses();
    EXPECT_EQ(simvr_get_frame_index(), 1u);
    EXPECT_EQ(listener->poses, 1);
    EXPECT_NEAR(listener->last.At(0, 0), std::cos(40.0f * kPi / 180.0f), 1e-5f);
    const Matrix4 product = scene->GetViewMatrix() * listener->last;
    for (int k = 0; k < 16; ++k) {
        EXPECT_NEAR(product.m[k], Matrix4::Identity().m[k], 1e-5f);
    }

    // A headset in standby is neither waited on nor told about.
    simvr_set_activity_level(SIMVR_DEVICE_HMD, 3);
    scene->UpdatePoses();
    EXPECT_EQ(simvr_get_frame_index(), 1u);
    EXPECT_EQ(listener->poses, 1);
}

TEST_F(SceneTest, StereoLayoutsFlipAndSwapPickTheRightTexels) {
    InitScene();
    SetHeadPose(-45.0f, -45.0f);  // u = 0.625, v = 0.25 of the eye's sub-rectangle
    scene->UpdatePoses();

    // Over-under (each eye's half is PictureTest's): a vertical flip exchanges the halves.
    scene->SetStereoLayout(1, 2, 360, 180);
    Frame();
    EXPECT_EQ(CentrePixel(0)[1], HalfGreen(1));
    EXPECT_EQ(CentrePixel(1)[1], HalfGreen(0));
    scene->SetVideoFrame(texture, true, false, hostmediatypes::kPixelAspectRatio_Square);
    Frame();
    EXPECT_EQ(CentrePixel(0)[1], HalfGreen(0));
    EXPECT_EQ(CentrePixel(1)[1], HalfGreen(1));

    // Red and blue exchanged.
    scene->SetVideoFrame(texture, false, true, hostmediatypes::kPixelAspectRatio_Square);
    scene->SetStereoLayout(0, 0, 360, 180);
    Frame();
    EXPECT_EQ(CentrePixel(0), (std::vector<int>{90, HalfGreen(0), QuarterRed(2), 255}));
}

TEST_F(SceneTest, FadeAskedOfTheHostEachFrame) {
    InitScene();
    scene->UpdateFade();  // no callback: nothing
    int asked = 0;
    bool answer = false;
    scene->SetFadeCallback(
        [&](float& seconds, float& red, float& green, float& blue, float& alpha) {
            ++asked;
            seconds = 0.5f;
            red = 0.25f;
            green = 0.0f;
            blue = 1.0f;
            alpha = 0.75f;
            return answer;
        });
    simvr_clear_calls();
    scene->UpdateFade();
    answer = true;
    scene->UpdateFade();
    EXPECT_EQ(asked, 2);
    int fades = 0;
    for (std::uint32_t i = 0; i < simvr_get_call_count(); ++i) {
        simvr_call call;
        ASSERT_EQ(simvr_get_call(i, &call), 1);
        if (call.kind == SIMVR_CALL_FADE_TO_COLOR) {
            ++fades;
            EXPECT_EQ(call.values[0], 0.5f);
            EXPECT_EQ(call.values[1], 0.25f);
            EXPECT_EQ(call.values[3], 1.0f);
            EXPECT_EQ(call.values[4], 0.75f);
            EXPECT_EQ(call.int_value, 0);
        }
    }
    EXPECT_EQ(fades, 1);
}

TEST_F(SceneTest, QuitWithoutAListenerStillEndsTheConnection) {
    InitScene();
    ASSERT_EQ(simvr_push_button_event(vr::VREvent_ButtonPress, SIMVR_DEVICE_RIGHT_CONTROLLER, 33,
                                      nullptr),
              1);
    ASSERT_EQ(simvr_push_quit(), 1);
    scene->PollEvents();
    EXPECT_EQ(simvr_get_pending_event_count(), 0);
    EXPECT_EQ(openVR->GetSystem(), nullptr);
    EXPECT_EQ(simvr_is_initialized(), 0);
    scene->RenderFrame();  // survives the runtime having gone
    scene->UpdatePoses();
}

TEST_F(SceneTest, TheaterKeyIsTrueOnlyForTheTextTrue) {
    struct Case {
        const char* text;
        bool enabled;
    };
    for (const Case& c :
         {Case{"false", false}, Case{"TRUE", false}, Case{"1", false}, Case{"true", true}}) {
        hostcore::debug::DebugDatabase::Instance().SetEntry("Stereon.EnableTheaterMode", c.text);
        Scene keyed;
        if (!openVR->GetSystem()) {
            Connect();
        }
        ASSERT_TRUE(keyed.Init(context, openVR, Panels(), 0));
        EXPECT_EQ(keyed.IsTheaterEnabled(), c.enabled) << c.text;
    }
    hostcore::debug::DebugDatabase::Instance().RemoveEntry("Stereon.EnableTheaterMode");
}

}  // namespace
