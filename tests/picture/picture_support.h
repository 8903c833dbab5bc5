// A host driving the library through its exported service on a device of the host stand-in,
// with the simulated runtime reading each submitted eye back. The frames have one colour per
// quarter of their width (red) and height (green): straight ahead is the middle of the width,
// looking right moves towards u = 1, looking down towards v = 0 (the frame's first row).
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "GB/Device.h"
#include "MF/VideoFrame.h"
#include "StereonExports.h"
#include "VF/VideoFrame.h"
#include "hostcore/classref.h"
#include "hostcore/config.h"
#include "hostcore/debug.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"

namespace picturetest {

using FrameRef = hostcore::classref::InterfaceRef<MF::IVideoFrame>;

constexpr STN::ClientHandle kClient = 0x51;
constexpr int kEyeSize = 64;
constexpr int kFrameWidth = 16;
constexpr int kFrameHeight = 8;

// R, G, B, A of the pattern at the frame's quarter (column, row); `marker` is the blue and
// tells frames apart.
inline std::vector<int> PatternColor(int columnQuarter, int rowQuarter, int marker) {
    return {40 + 60 * columnQuarter, 30 + 50 * rowQuarter, marker, 255};
}

// Writes the R, G, B, A that `paint(x, y)` gives as 8-bit B, G, R, A texels (native ARGB words),
// `rowBytes` apart.
template <typename Paint>
void PaintBGRA(std::uint8_t* bytes, int width, int height, int rowBytes, Paint paint) {
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::vector<int> rgba = paint(x, y);
            std::uint8_t* texel = bytes + y * rowBytes + x * 4;
            texel[0] = static_cast<std::uint8_t>(rgba[2]);
            texel[1] = static_cast<std::uint8_t>(rgba[1]);
            texel[2] = static_cast<std::uint8_t>(rgba[0]);
            texel[3] = static_cast<std::uint8_t>(rgba[3]);
        }
    }
}

// A host-memory 'argb' frame whose texel (x, y) has the R, G, B, A that `paint(x, y)` gives;
// row y = 0 comes first in memory.
template <typename Paint>
FrameRef PaintedFrame(
    int width, int height, Paint paint,
    hostmediatypes::PixelAspectRatio aspect = hostmediatypes::kPixelAspectRatio_Square) {
    FrameRef frame;
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, hostmediatypes::kPixelFormat_ARGB_4444_8u, width,
                                       height, width * 4, aspect),
              VF::kCreateResult_OK);
    PaintBGRA(static_cast<std::uint8_t*>(
                  frame.QueryInterface<VF::IVideoFrameMemoryAccess>()->GetPixels()),
              width, height, width * 4, paint);
    return frame;
}

// A frame of the pattern.
inline FrameRef PatternFrame(int marker, int width = kFrameWidth, int height = kFrameHeight) {
    return PaintedFrame(width, height, [=](int x, int y) {
        return PatternColor(x * 4 / width, y * 4 / height, marker);
    });
}

// A float B, G, R, A frame of the pattern in a buffer of `device`, with `rowBytes` (0: the
// default), its 8-bit conversions exact. Device frames come out turned over against host frames
// of the same rows, so the buffer holds the rows last first: the eyes see PatternFrame's picture.
inline FrameRef GpuPatternFrame(const boost::shared_ptr<GB::Device>& device, int marker,
                                int width = kFrameWidth, int height = kFrameHeight,
                                std::int32_t rowBytes = 0) {
    FrameRef frame;
    EXPECT_EQ(VF::CreateGPUVideoFrame(
                  frame, device, hostmediatypes::kPixelFormat_GPU_BGRA_4444_32f, width, height,
                  hostmediatypes::kPixelAspectRatio_Square, MF::kFieldType_Progressive, MF::Point(),
                  hostmediatypes::color::ColorSpace(), rowBytes, 0,
                  boost::shared_ptr<GB::CompletionEvent>(), boost::function<void()>()),
              VF::kCreateResult_OK);
    if (!frame) {
        return frame;
    }
    const std::size_t rowFloats =
        static_cast<std::size_t>(
            frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>()->GetRowBytes()) /
        sizeof(float);
    std::vector<float> host(rowFloats * static_cast<std::size_t>(height), 0.5f);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::vector<int> rgba =
                PatternColor(x * 4 / width, (height - 1 - y) * 4 / height, marker);
            float* texel = &host[static_cast<std::size_t>(y) * rowFloats + x * 4];
            texel[0] = static_cast<float>(rgba[2]) / 255.0f;
            texel[1] = static_cast<float>(rgba[1]) / 255.0f;
            texel[2] = static_cast<float>(rgba[0]) / 255.0f;
            texel[3] = 1.0f;
        }
    }
    EXPECT_GE(
        device->GetComputeContext()->CopyHostToBuffer(
            host.data(), frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>()->GetDeviceBuffer(),
            host.size() * sizeof(float), GB::kCopy_Wait),
        0);
    return frame;
}

// A pixel of an eye's last submitted image, counted from its bottom left as OpenGL stores it.
inline std::vector<int> EyePixel(std::uint32_t eye, int x, int y) {
    std::uint8_t rgba[4] = {};
    EXPECT_EQ(simvr_get_eye_pixel(eye, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y),
                                  rgba),
              1);
    return {rgba[0], rgba[1], rgba[2], rgba[3]};
}

inline std::vector<int> CentrePixel(std::uint32_t eye) {
    return EyePixel(eye, kEyeSize / 2, kEyeSize / 2);
}

// An eye's last submitted image, 4 bytes a pixel, rows bottom-up.
inline std::vector<std::uint8_t> EyeImage(std::uint32_t eye, int size = kEyeSize) {
    std::vector<std::uint8_t> image(static_cast<std::size_t>(size) * size * 4);
    EXPECT_EQ(simvr_copy_eye_image(eye, image.data(), static_cast<std::uint32_t>(image.size())),
              image.size());
    return image;
}

// Each of R, G and B within `tolerance`.
inline ::testing::AssertionResult Near(const std::vector<int>& pixel,
                                       const std::vector<int>& expected, int tolerance) {
    for (std::size_t i = 0; i < 3; ++i) {
        if (std::abs(pixel[i] - expected[i]) > tolerance) {
            return ::testing::AssertionFailure()
                   << "pixel " << ::testing::PrintToString(pixel) << " is not within " << tolerance
                   << " of " << ::testing::PrintToString(expected);
        }
    }
    return ::testing::AssertionSuccess();
}

// Polls every millisecond until the condition holds, for two minutes at most; whether it held.
template <typename Condition>
bool WaitUntil(Condition condition) {
    for (int i = 0; i < 120000 && !condition(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

// Head direction in degrees to the right and up (the runtime's yaw turns left).
inline void Look(float rightDegrees, float upDegrees, float rollDegrees = 0.0f) {
    simvr_set_head_pose(-rightDegrees, upDegrees, rollDegrees, 0.0f, 0.0f, 0.0f);
}

// What the pose callback told the host, and work the test hands the render thread through it.
struct PoseRecord {
    std::mutex mutex;
    int calls = 0;
    float yaw = 0.0f;
    float pitch = 0.0f;
    float roll = 0.0f;
    std::function<void()> job;
    bool jobDone = false;
    std::condition_variable jobEnded;
};

// What the fade callback answers; the callback also counts the loop's passes.
struct FadeAnswer {
    std::atomic<int> questions{0};
    std::mutex mutex;
    bool fade = false;
    float values[5] = {0, 0, 0, 0, 0};
};

class PictureTest : public stereon::test::SimulatedHeadsetTest {
protected:
    virtual std::int32_t DeviceKind() const { return GB::kDeviceKind_OpenCL; }
    // Runtime settings that must be in place before the library starts.
    virtual void ConfigureRuntime() {}

    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(SimulatedHeadsetTest::SetUp());
        simvr_set_render_target_size(kEyeSize, kEyeSize);
        simvr_set_readback(1);
        // The runtime's two controllers would stand in the picture below the eyes; tests of
        // controllers bring their own.
        simvr_set_device_connected(SIMVR_DEVICE_LEFT_CONTROLLER, 0);
        simvr_set_device_connected(SIMVR_DEVICE_RIGHT_CONTROLLER, 0);
        ConfigureRuntime();
        hostcore::config::UsageLogger::SetPresent(true);
        hostcore::config::UsageLogger::Get()->Clear();
        std::string reason;
        device = GB::Device::Create(DeviceKind(), &reason);
        if (!device) {
            GTEST_SKIP() << "no device of kind " << DeviceKind() << ": " << reason;
        }
        service = STN::GetStereonServiceInstance();
        ASSERT_TRUE(service);
        StartHost();
    }
    // Starts the library as the host does and hands it the callbacks; again after a stop.
    void StartHost() {
        ASSERT_TRUE(service->Init(device));
        service->AddClient(kClient);
        const boost::shared_ptr<PoseRecord> record = poses;
        ASSERT_TRUE(service->SetHMDPoseCallback(kClient, [record](float y, float p, float r) {
            std::function<void()> job;
            {
                std::lock_guard<std::mutex> lock(record->mutex);
                ++record->calls;
                record->yaw = y;
                record->pitch = p;
                record->roll = r;
                job.swap(record->job);
            }
            if (job) {
                job();
                std::lock_guard<std::mutex> lock(record->mutex);
                record->jobDone = true;
                record->jobEnded.notify_all();
            }
        }));
        const boost::shared_ptr<FadeAnswer> answer = fade;
        service->SetFadeCallback(
            [answer](float& seconds, float& red, float& green, float& blue, float& alpha) {
                ++answer->questions;
                std::lock_guard<std::mutex> lock(answer->mutex);
                seconds = answer->values[0];
                red = answer->values[1];
                green = answer->values[2];
                blue = answer->values[3];
                alpha = answer->values[4];
                return answer->fade;
            });
    }
    void TearDown() override {
        ReleaseRenderLoop();
        if (service) {
            service->RemoveClient(kClient);
            service.reset();
        }
        device.reset();
        hostcore::debug::DebugDatabase::Instance().ClearEntries();
        SimulatedHeadsetTest::TearDown();
    }

    // Waits until the loop has made `count` more passes (it asks for the fade once a pass).
    // After two, a frame published or a pose set before the call is on show.
    void Passes(int count) {
        const int target = fade->questions + count;
        ASSERT_TRUE(WaitUntil([&] { return fade->questions >= target; }))
            << "the render loop stopped";
    }
    // Blocks the compositor's wait and returns once the loop is held in it: its pass is over,
    // and it takes nothing over until released.
    void HoldRenderLoop() {
        simvr_set_wait_blocked(1);
        ASSERT_TRUE(WaitUntil([] { return simvr_get_waiting_count() > 0; }))
            << "the render loop does not reach the wait";
    }
    static void ReleaseRenderLoop() { simvr_set_wait_blocked(0); }

    // Runs `job` on the render thread, where the render context is current, as a host does from
    // one of the library's callbacks; returns when it has run.
    void OnRenderThread(const std::function<void()>& job) {
        std::unique_lock<std::mutex> lock(poses->mutex);
        poses->job = job;
        poses->jobDone = false;
        ASSERT_TRUE(poses->jobEnded.wait_for(lock, std::chrono::seconds(120), [this] {
            return poses->jobDone;
        })) << "the render thread never ran the job";
    }

    // How often the pose callback has been called.
    int PoseCalls() {
        std::lock_guard<std::mutex> lock(poses->mutex);
        return poses->calls;
    }

    bool Send(const FrameRef& frame) { return service->UpdateVideoTexture(kClient, frame); }
    // Sends the frame and waits until it is on show.
    void Show(const FrameRef& frame) {
        ASSERT_TRUE(Send(frame));
        Passes(2);
    }
    void LookAndWait(float rightDegrees, float upDegrees, float rollDegrees = 0.0f) {
        Look(rightDegrees, upDegrees, rollDegrees);
        Passes(2);
    }

    // Another thread sends the frames in turn while the host stops (by removing its client, or
    // every other time by letting go so that the deferred stop ends the run) and starts again:
    // each run takes frames, never a crash, a hang or a frame into freed textures. `afterStop`
    // looks at what each stop must have undone.
    void SendWhileTheHostStopsAndStarts(const std::vector<FrameRef>& frames,
                                        const std::function<void()>& afterStop) {
        std::atomic<bool> done{false};
        std::atomic<int> accepted{0};
        std::thread sender([&] {
            for (std::size_t i = 0; !done; ++i) {
                accepted += Send(frames[i % frames.size()]) ? 1 : 0;
            }
        });
        for (int cycle = 0; cycle < 4; ++cycle) {
            SCOPED_TRACE(::testing::Message() << "cycle " << cycle);
            const int before = accepted;
            EXPECT_TRUE(WaitUntil([&] { return accepted > before; }));
            if (cycle % 2 == 1) {
                EXPECT_TRUE(service->ResetHMDPoseCallback(kClient));
                WaitUntil([&] { return !service->IsInitialized(); });
            }
            service->RemoveClient(kClient);
            EXPECT_FALSE(service->IsInitialized());
            afterStop();
            StartHost();
        }
        done = true;
        sender.join();
    }

    // The last "vidariumvr_instance_metrics" event's value of `key`.
    static std::string Metric(const std::string& key) {
        std::string value = "(none)";
        for (const hostcore::config::LoggedEvent& event :
             hostcore::config::UsageLogger::Get()->Events()) {
            if (event.name == "vidariumvr_instance_metrics") {
                value = event.Value(key);
            }
        }
        return value;
    }

    boost::shared_ptr<GB::Device> device;
    boost::shared_ptr<STN::IStereonService> service;
    boost::shared_ptr<PoseRecord> poses{new PoseRecord};
    boost::shared_ptr<FadeAnswer> fade{new FadeAnswer};
};

}  // namespace picturetest
