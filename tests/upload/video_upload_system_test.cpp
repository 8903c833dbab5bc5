// Video frames as the host delivers them, through the render thread started against the
// simulated runtime on an OpenCL device of the host stand-in. What lands in the back video
// texture is read back on a context of the render context's share group. The render loop is
// held in the compositor's wait meanwhile, so that a published frame stays pending until a case
// lets the loop go on.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "GB/Device.h"
#include "HSL/ApplicationMessages.h"
#include "ITexture.h"
#include "MF/VideoFrame.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenGL/TextureOGL.h"
#include "RenderThread.h"
#include "Scene.h"
#include "ScopedContextLock.h"
#include "UploadSynchronizer.h"
#include "UsageMetrics.h"
#include "VF/VideoFrame.h"
#include "gl_test_context.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"

namespace {

using hostcore::classref::InterfaceRef;
using hostcore::classref::NullInterfaceException;
using FrameRef = InterfaceRef<MF::IVideoFrame>;

constexpr STN::ClientHandle kClient = 0x1001;
constexpr STN::ClientHandle kOtherClient = 0x2002;

// Test picture `picture` as R, G, B, A rows.
std::vector<std::uint8_t> ExpectedRGBA(int width, int height, int picture) {
    std::vector<std::uint8_t> pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            pixels.insert(pixels.end(), {static_cast<std::uint8_t>(17 * x + 3 * picture),
                                         static_cast<std::uint8_t>(41 * y + 5 * picture),
                                         static_cast<std::uint8_t>(200 - 13 * x - 7 * y),
                                         static_cast<std::uint8_t>(255 - 11 * x)});
        }
    }
    return pixels;
}

// The picture as a host-memory 'argb' frame (native ARGB words: bytes B, G, R, A) with padded
// rows.
FrameRef HostArgbFrame(int width, int height, int rowBytes, int picture) {
    FrameRef frame;
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, hostmediatypes::kPixelFormat_ARGB_4444_8u, width,
                                       height, rowBytes),
              VF::kCreateResult_OK);
    std::uint8_t* bytes = static_cast<std::uint8_t*>(
        frame.QueryInterface<VF::IVideoFrameMemoryAccess>()->GetPixels());
    // Padding that must never reach the texture.
    std::memset(bytes, 0xEE, static_cast<std::size_t>(rowBytes) * height);
    const std::vector<std::uint8_t> rgba = ExpectedRGBA(width, height, picture);
    for (int i = 0; i < width * height; ++i) {
        std::uint8_t* texel = bytes + i / width * rowBytes + i % width * 4;
        const std::uint8_t* colour = &rgba[static_cast<std::size_t>(i) * 4];
        texel[0] = colour[2];
        texel[1] = colour[1];
        texel[2] = colour[0];
        texel[3] = colour[3];
    }
    return frame;
}

class VideoUploadSystemTest : public stereon::test::SimulatedHeadsetTest {
protected:
    virtual std::int32_t DeviceKind() const { return GB::kDeviceKind_OpenCL; }

    // The read-back and the OpenCL device's shared frames go through the device's share group,
    // which only EGL contexts join.
    static void SetUpTestSuite() {
        SimulatedHeadsetTest::SetUpTestSuite();
        setenv("STEREON_GL_PLATFORM", "egl", 1);
    }

    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(SimulatedHeadsetTest::SetUp());
        std::string reason;
        device = GB::Device::Create(DeviceKind(), &reason);
        if (!device) {
            GTEST_SKIP() << "no OpenCL device: " << reason;
        }
        renderThread = STN::RenderThread::Instance();
        ASSERT_TRUE(renderThread->Init(device));
        renderThread->AddClient(kClient);
        ASSERT_TRUE(renderThread->SetHMDPoseCallback(kClient, STN::HMDPoseCallback()));
        sync = renderThread->GetUploadSynchronizer();
        ASSERT_TRUE(sync);
        // Counts the loop's passes: it asks for the fade once a pass.
        const boost::shared_ptr<std::atomic<int>> questions = fadeQuestions;
        renderThread->GetScene()->SetFadeCallback(
            [questions](float&, float&, float&, float&, float&) {
                ++*questions;
                return false;
            });
        HoldRenderLoop();
        STN::UsageMetrics::Get().Clear();
    }
    void TearDown() override {
        sync.reset();
        ReleaseRenderLoop();
        if (renderThread) {
            renderThread->RemoveClient(kOtherClient);
            renderThread->RemoveClient(kClient);
            renderThread.reset();
        }
        device.reset();
        SimulatedHeadsetTest::TearDown();
    }

    // Blocks the compositor's wait and returns once the loop is held in it: its pass is over,
    // and it takes nothing over until released.
    void HoldRenderLoop() {
        simvr_set_wait_blocked(1);
        for (int i = 0; i < 60000 && simvr_get_waiting_count() == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_GT(simvr_get_waiting_count(), 0) << "the render loop does not reach the wait";
    }
    static void ReleaseRenderLoop() { simvr_set_wait_blocked(0); }
    // Lets the held loop make `count` passes and holds it again.
    void RunPasses(int count) {
        ReleaseRenderLoop();
        const int target = *fadeQuestions + count;
        for (int i = 0; i < 60000 && *fadeQuestions < target; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        HoldRenderLoop();
    }

    bool Send(const FrameRef& frame, STN::VideoProjection projection = 1,
              STN::StereoLayout layout = 0, STN::ClientHandle client = kClient) {
        return renderThread->UpdateVideoTexture(client, frame, projection, layout, 360, 180);
    }

    // Level 0 of a video texture as R, G, B, A rows in upload order, as a sampler reads it, read
    // on a context of the render context's share group (which the device's offscreen context
    // heads).
    std::vector<std::uint8_t> ReadBack(const boost::shared_ptr<STN::ITexture>& texture) {
        std::vector<std::uint8_t> pixels;
        STN::TextureOGL* textureOGL = dynamic_cast<STN::TextureOGL*>(texture.get());
        if (textureOGL == nullptr) {
            ADD_FAILURE() << "not an OpenGL texture";
            return pixels;
        }
        const boost::shared_ptr<STN::IGraphicsContext> deviceContext =
            STN::CreateGraphicsContext("TestDeviceContext");
        deviceContext->BindDevice(device);
        const boost::shared_ptr<STN::IGraphicsContext> context =
            STN::CreateGraphicsContext("TestReadBackContext");
        STN::ScopedContextLock scope(context);
        context->BindDevice(device);
        if (!context->CreateVersionedContext(4, deviceContext)) {
            ADD_FAILURE() << "no context sharing with the render context";
            return pixels;
        }
        const GLuint name = textureOGL->GetTexture();
        pixels = stereon::test::ReadTextureRGBA8(name, static_cast<int>(texture->GetWidth()),
                                                 static_cast<int>(texture->GetHeight()));
        // Host frames' rows may be stored with red and blue swapped, which the texture's swizzle
        // undoes for every sampler: compare what a sampler reads.
        GLint swizzle[4] = {GL_RED, GL_GREEN, GL_BLUE, GL_ALPHA};
        glBindTexture(GL_TEXTURE_2D, name);
        glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, swizzle);
        glBindTexture(GL_TEXTURE_2D, 0);
        const bool swapped = swizzle[0] == GL_BLUE && swizzle[2] == GL_RED;
        EXPECT_TRUE(swapped || (swizzle[0] == GL_RED && swizzle[2] == GL_BLUE));
        EXPECT_TRUE(swizzle[1] == GL_GREEN && swizzle[3] == GL_ALPHA);
        for (std::size_t i = 0; swapped && i + 4 <= pixels.size(); i += 4) {
            std::swap(pixels[i], pixels[i + 2]);
        }
        return pixels;
    }

    const boost::shared_ptr<STN::ITexture>& Back() { return sync->videoTextures[sync->backIndex]; }
    const boost::shared_ptr<STN::ITexture>& Front() {
        return sync->videoTextures[sync->frontIndex];
    }

    boost::shared_ptr<std::atomic<int>> fadeQuestions{new std::atomic<int>(0)};
    boost::shared_ptr<GB::Device> device;
    boost::shared_ptr<STN::RenderThread> renderThread;
    boost::shared_ptr<STN::UploadSynchronizer> sync;
};

TEST_F(VideoUploadSystemTest, FramesAlternateBetweenTheTexturesAndANewSizeRedoesOnlyTheBack) {
    // Right after start both textures are 1 by 1 and the first frame goes to index 1; of its
    // padded rows only the picture reaches the texture.
    ASSERT_EQ(sync->backIndex, 1u);
    ASSERT_TRUE(Send(HostArgbFrame(5, 3, 32, 0), 1, 2));
    EXPECT_TRUE(sync->pending);
    ASSERT_EQ(Back()->GetWidth(), 5u);
    ASSERT_EQ(Back()->GetHeight(), 3u);
    EXPECT_EQ(Front()->GetWidth(), 1u);
    EXPECT_EQ(ReadBack(Back()), ExpectedRGBA(5, 3, 0));
    const STN::UsageMetrics& metrics = STN::UsageMetrics::Get();
    EXPECT_EQ(metrics.CPUFramesPlayed, 1u);
    EXPECT_EQ(metrics.GPUFramesPlayed, 0u);
    EXPECT_EQ(metrics.StereoscopicSideBySideFramesPlayed, 1u);
    EXPECT_EQ(metrics.MaxFrameHeight, 3u);

    // The application going to the background changes nothing for the headset: the loop takes
    // the frame over.
    renderThread->ReceiveMessage(HSL::ApplicationSuspendedMessage());
    renderThread->ReceiveMessage(HSL::ApplicationResumedMessage());
    RunPasses(2);
    EXPECT_FALSE(sync->pending);
    ASSERT_EQ(sync->frontIndex, 1u);
    ASSERT_EQ(sync->backIndex, 0u);

    // A flat frame of another size goes to the old front, now the back; what is on show keeps
    // its size and pixels until its turn comes.
    ASSERT_TRUE(Send(HostArgbFrame(7, 2, 28, 2), 0, 2));
    ASSERT_EQ(Back()->GetWidth(), 7u);
    ASSERT_EQ(Back()->GetHeight(), 2u);
    EXPECT_EQ(ReadBack(Back()), ExpectedRGBA(7, 2, 2));
    ASSERT_EQ(Front()->GetWidth(), 5u);
    EXPECT_EQ(ReadBack(Front()), ExpectedRGBA(5, 3, 0));
    // Flat frames count as none of the three layouts.
    EXPECT_EQ(metrics.StereoscopicSideBySideFramesPlayed, 1u);
    EXPECT_EQ(metrics.MonoscopicFramesPlayed, 0u);
    EXPECT_EQ(metrics.StereoscopicOverUnderFramesPlayed, 0u);

    // A restart begins again with the first texture in front and nothing pending.
    ReleaseRenderLoop();
    renderThread->Stop();
    EXPECT_FALSE(sync->videoTextures[0]);
    ASSERT_TRUE(renderThread->Init(device));
    EXPECT_EQ(sync, renderThread->GetUploadSynchronizer());
    EXPECT_EQ(sync->frontIndex, 0u);
    EXPECT_FALSE(sync->pending);
    EXPECT_EQ(Front()->GetWidth(), 1u);
    EXPECT_EQ(Back()->GetWidth(), 1u);
}

// Another client's frames and settings, and host formats other than argb, are refused; only a
// refused format still counts as a frame played.
TEST_F(VideoUploadSystemTest, FramesOfAnyoneButTheActiveClientAreRefused) {
    simvr_set_readback(1);
    renderThread->AddClient(kOtherClient);
    EXPECT_FALSE(Send(HostArgbFrame(4, 4, 16, 0), 1, 0, kOtherClient));
    EXPECT_FALSE(renderThread->ShowPlaceholder(kOtherClient));
    EXPECT_FALSE(renderThread->ShowTheaterMode(kOtherClient, true));
    FrameRef bgra;
    ASSERT_EQ(VF::CreateHostVideoFrame(bgra, hostmediatypes::kPixelFormat_BGRA_4444_8u, 2, 2),
              VF::kCreateResult_OK);
    EXPECT_FALSE(Send(bgra));
    EXPECT_FALSE(sync->pending);
    EXPECT_EQ(Back()->GetWidth(), 1u);
    EXPECT_FALSE(renderThread->GetScene()->showPlaceholder);
    EXPECT_EQ(STN::UsageMetrics::Get().CPUFramesPlayed, 1u);
    EXPECT_EQ(STN::UsageMetrics::Get().MonoscopicFramesPlayed, 0u);
    EXPECT_EQ(STN::UsageMetrics::Get().MaxFrameWidth, 2u);

    // Theater mode off, so that the placeholder alone decides the background.
    EXPECT_TRUE(renderThread->ShowPlaceholder(kClient));
    EXPECT_TRUE(renderThread->ShowTheaterMode(kClient, false));
    RunPasses(2);
    EXPECT_TRUE(renderThread->GetScene()->showPlaceholder);
    std::uint8_t rgba[4] = {};
    ASSERT_EQ(simvr_get_eye_pixel(0, 32, 32, rgba), 1);
    EXPECT_TRUE((rgba[0] == 51 || rgba[0] == 128) && rgba[1] == rgba[0] && rgba[2] == rgba[0])
        << int(rgba[0]) << " " << int(rgba[1]) << " " << int(rgba[2]);

    // The active client's next frame is taken and brings its own settings.
    ASSERT_TRUE(Send(HostArgbFrame(4, 2, 16, 0), 1, 0));
    RunPasses(2);
    EXPECT_FALSE(renderThread->GetScene()->showPlaceholder);

    ReleaseRenderLoop();
    renderThread->Stop();
    EXPECT_FALSE(renderThread->ShowPlaceholder(kClient));
    EXPECT_FALSE(renderThread->ShowTheaterMode(kClient, false));
}

// A device that never shares with OpenGL takes GPU frames on the staged route, which has no
// staging frame here: the frame is refused with the missing-interface exception and nothing
// is left held.
class VideoUploadNoSharingTest : public VideoUploadSystemTest {
protected:
    std::int32_t DeviceKind() const override { return GB::kDeviceKind_OpenCLNoSharing; }
};

TEST_F(VideoUploadNoSharingTest, GpuFrameFailsWithoutAStagingFrameAndReleasesEverything) {
    FrameRef frame;
    ASSERT_EQ(VF::CreateGPUVideoFrame(
                  frame, device, hostmediatypes::kPixelFormat_GPU_BGRA_4444_32f, 4, 2,
                  hostmediatypes::kPixelAspectRatio_Square, MF::kFieldType_Progressive, MF::Point(),
                  hostmediatypes::color::ColorSpace(), 0, VF::kGPUFrameFlag_Clear,
                  boost::shared_ptr<GB::CompletionEvent>(), boost::function<void()>()),
              VF::kCreateResult_OK);
    try {
        Send(frame);
        ADD_FAILURE() << "the staged route went through without a staging frame";
    } catch (const NullInterfaceException& e) {
        EXPECT_STREQ(e.what(),
                     "A NULL interface pointer has been dereferenced: "
                     "hostcore::classref::InterfaceRef<MF::IVideoFrame>");
    }
    EXPECT_FALSE(sync->pending);
    EXPECT_EQ(STN::UsageMetrics::Get().GPUFramesPlayed, 1u);

    // The device's exclusive access and the upload context are free for another thread.
    bool uploaded = false;
    std::thread other([&] {
        device->AcquireExclusiveAccess();
        device->ReleaseExclusiveAccess();
        uploaded = Send(HostArgbFrame(4, 2, 16, 5));
    });
    other.join();
    EXPECT_TRUE(uploaded);
    EXPECT_TRUE(sync->pending);
    EXPECT_EQ(Back()->GetWidth(), 4u);
}

}  // namespace
