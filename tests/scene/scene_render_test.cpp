// The scene against the simulated runtime on a real GL context: the texels stereo layouts, flip
// and swap pick, the host's fade, a quit without a listener. The rest is PictureTest's.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "GB/Device.h"
#include "IHMDManager.h"
#include "ITexture.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenVRManager.h"
#include "Scene.h"
#include "ShaderRegistry.h"
#include "VRPanelManager.h"
#include "hostmediatypes/PixelFormat.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "stnvr/vr_client.h"

namespace {

using STN::Scene;

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

    // The frame texture: 16 x 2 RGBA, first row at v = 0.
    void MakeFrame() {
        texture = context->CreateTexture("VideoTex0");
        texture->Create(boost::shared_ptr<GB::Device>(), kFrameWidth, kFrameHeight,
                        hostmediatypes::kPixelFormat_RGBA_4444_8u);
        std::vector<std::uint8_t> pixels;
        for (int y = 0; y < kFrameHeight; ++y) {
            for (int x = 0; x < kFrameWidth; ++x) {
                pixels.insert(pixels.end(),
                              {QuarterRed(x * 4 / kFrameWidth), HalfGreen(y), 90, 255});
            }
        }
        texture->Upload(pixels.data(), hostmediatypes::kPixelFormat_RGBA_4444_8u, kFrameWidth * 4);
    }

    void InitScene() {
        vr::EVRInitError error = vr::VRInitError_None;
        ASSERT_TRUE(openVR->Init(error)) << error;
        MakeFrame();
        scene.reset(new Scene());
        scene->SetVideoFrame(texture, false, false, hostmediatypes::kPixelAspectRatio_Square);
        ASSERT_TRUE(scene->Init(
            context, openVR,
            boost::shared_ptr<STN::IVRPanelManager>(new STN::VRPanelManager(context, context)),
            STN::kHMDTypeVive));
        simvr_set_readback(1);
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

TEST_F(SceneTest, StereoLayoutsFlipAndSwapPickTheRightTexels) {
    InitScene();
    // 45 degrees right and down: u = 0.625, v = 0.25 of the eye's sub-rectangle.
    simvr_set_head_pose(-45.0f, -45.0f, 0.0f, 0.0f, 0.0f, 0.0f);
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
            std::tie(seconds, red, green, blue, alpha) =
                std::make_tuple(0.5f, 0.25f, 0.0f, 1.0f, 0.75f);
            return answer;
        });
    simvr_clear_calls();
    scene->UpdateFade();
    answer = true;
    scene->UpdateFade();
    EXPECT_EQ(asked, 2);
    // Only the frame the host answered yes fades, with its values, over the scene.
    ASSERT_EQ(simvr_count_calls(SIMVR_CALL_FADE_TO_COLOR), 1u);
    for (std::uint32_t i = 0; i < simvr_get_call_count(); ++i) {
        simvr_call call;
        if (simvr_get_call(i, &call) == 1 && call.kind == SIMVR_CALL_FADE_TO_COLOR) {
            EXPECT_EQ(std::vector<float>(call.values, call.values + 5),
                      (std::vector<float>{0.5f, 0.25f, 0.0f, 1.0f, 0.75f}));
            EXPECT_EQ(call.int_value, 0);
        }
    }
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

}  // namespace
