// GPU frames of the picture tests' pattern, whole eye images to compare paths with, and the
// checks every GPU path passes.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "../picture/picture_support.h"

namespace picturetest {

// A float B, G, R, A frame of the pattern in a buffer of `device`, with `rowBytes` (0: the
// default). The 8-bit conversions of its values are exact. A device's frames come out turned
// over against host-memory frames of the same rows (the read-back path shows it too), so the
// buffer holds the pattern's rows last first: the eyes see the picture of PatternFrame.
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
    const std::int32_t rows =
        frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>()->GetRowBytes();
    const std::size_t rowFloats = static_cast<std::size_t>(rows) / sizeof(float);
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
    const hostcore::classref::InterfaceRef<VF::IGPUVideoFrameMemoryAccess> gpuMemory =
        frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>();
    EXPECT_GE(
        device->GetComputeContext()->CopyHostToBuffer(host.data(), gpuMemory->GetDeviceBuffer(),
                                                      host.size() * sizeof(float), GB::kCopy_Wait),
        0);
    return frame;
}

// An eye's last submitted image, 4 bytes a pixel, rows bottom-up.
inline std::vector<std::uint8_t> EyeImage(std::uint32_t eye) {
    std::vector<std::uint8_t> image(static_cast<std::size_t>(kEyeSize) * kEyeSize * 4);
    EXPECT_EQ(simvr_copy_eye_image(eye, image.data(), static_cast<std::uint32_t>(image.size())),
              image.size());
    return image;
}

// The largest difference of one channel between two images of the same size.
inline int LargestDifference(const std::vector<std::uint8_t>& a,
                             const std::vector<std::uint8_t>& b) {
    int largest = a.size() == b.size() ? 0 : 256;
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
        const int difference = a[i] > b[i] ? a[i] - b[i] : b[i] - a[i];
        largest = difference > largest ? difference : largest;
    }
    return largest;
}

// Whether the environment variable `name` holds `value`: whether the loader finds the project's
// stand-in rather than a driver the environment names.
inline bool EnvironmentNames(const char* name, const char* value) {
    const char* chosen = std::getenv(name);
    return chosen != nullptr && std::string(chosen) == value;
}

// The picture tests on a device that shares its buffers with OpenGL, one frame around the viewer.
class GpuFrameTest : public PictureTest {
protected:
    void SetUp() override {
        PictureTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(device->CanShareWithOpenGL()) << "the device must share with OpenGL";
        service->SetVideoLayout(1, 0, 360, 180);
    }

    void ExpectCentre(int marker) {
        LookAndWait(45.0f, -67.5f);
        EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, marker));
        EXPECT_EQ(CentrePixel(1), PatternColor(2, 0, marker));
    }

    // Each quarter lands where the head looks for it: rows are not turned over on the way (the
    // first row stays at the bottom of the sky), and red and blue keep their places.
    void ExpectQuartersUprightWithRedAndBlueInPlace() {
        Show(GpuPatternFrame(device, 11));
        const struct {
            float right, up;
            int column, row;
        } cases[] = {{45.0f, -67.5f, 2, 0},
                     {-45.0f, 22.5f, 1, 2},
                     {135.0f, 67.5f, 3, 3},
                     {-135.0f, -22.5f, 0, 1}};
        for (const auto& c : cases) {
            SCOPED_TRACE(::testing::Message() << "right " << c.right << ", up " << c.up);
            LookAndWait(c.right, c.up);
            EXPECT_EQ(CentrePixel(0), PatternColor(c.column, c.row, 11));
            EXPECT_EQ(CentrePixel(1), PatternColor(c.column, c.row, 11));
        }
    }

    // Host and device frames of one size in turn, so that each of the two video textures takes
    // frames of both kinds: the device writes a shared texture's storage itself, while a host
    // frame's rows may be stored with red and blue swapped and read back through the texture's
    // swizzle. Neither kind may leave the other with red and blue swapped.
    void ExpectHostAndDeviceFramesInTurnKeepRedAndBlue() {
        const bool fromDevice[] = {true, true, false, true, false, false, true};
        int marker = 61;
        for (const bool gpu : fromDevice) {
            SCOPED_TRACE(::testing::Message() << (gpu ? "device" : "host") << " frame " << marker);
            Show(gpu ? GpuPatternFrame(device, marker) : PatternFrame(marker));
            ExpectCentre(marker);
            ++marker;
        }
    }

    // The same pattern from host memory and from a device buffer: the eyes see the same pictures,
    // within the level by which filtering an 8-bit and a float texture of the same values may
    // round apart. The views keep to the middle quarters of the height, both sides of ahead: GPU
    // frames' textures wrap across the seam behind the viewer where host frames' clamp, so the
    // views keep away from it and from the poles, where it meets every longitude.
    void ExpectTheEyeImagesOfAHostFrame() {
        const float views[][2] = {
            {45.0f, -22.5f}, {-45.0f, 22.5f}, {20.0f, -30.0f}, {-70.0f, 30.0f}, {10.0f, 5.0f}};
        std::vector<std::vector<std::uint8_t>> host;
        Show(PatternFrame(41));
        for (const auto& view : views) {
            LookAndWait(view[0], view[1]);
            host.push_back(EyeImage(0));
            host.push_back(EyeImage(1));
        }
        Show(GpuPatternFrame(device, 41));
        std::size_t index = 0;
        for (const auto& view : views) {
            SCOPED_TRACE(::testing::Message() << "right " << view[0] << ", up " << view[1]);
            LookAndWait(view[0], view[1]);
            EXPECT_LE(LargestDifference(EyeImage(0), host[index++]), 1);
            EXPECT_LE(LargestDifference(EyeImage(1), host[index++]), 1);
        }
    }
};

}  // namespace picturetest
