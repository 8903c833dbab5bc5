// The checks every GPU path passes, against host-memory frames of the same picture.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "../picture/picture_support.h"

namespace picturetest {

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

    // The same pattern from host memory and from a device buffer: the eyes see the same pictures
    // (so the device's rows are neither turned over nor mirrored on the way, and red and blue
    // keep their places), within the level by which filtering an 8-bit and a float texture of
    // the same values may round apart. A host frame of another marker in between tells a device
    // frame that never reached the eyes from one that did. The views keep to the middle
    // quarters of the height, both sides of ahead: GPU frames' textures wrap across the seam
    // behind the viewer where host frames' clamp, so the views keep away from it and from the
    // poles, where it meets every longitude.
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
        Show(PatternFrame(42));
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
