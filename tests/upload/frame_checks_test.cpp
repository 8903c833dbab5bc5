// The checks a host frame passes before the upload reads it, with the frames that once got
// through them: GL must never be handed rows it would read past the frame with, or shifted.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "FrameChecks.h"
#include "hostmediatypes/PixelFormat.h"

namespace {

namespace hmt = hostmediatypes;
using STN::ReadBackBytes;

const std::uint8_t kPixels[64] = {};
const hmt::PixelFormat kArgb = hmt::kPixelFormat_ARGB_4444_8u;

bool HostFrameRowsReadable(std::int32_t width, std::int32_t height, hmt::PixelFormat format,
                           std::int32_t rowBytes, const void* pixels, std::size_t size) {
    return STN::ReadableHostFrameRows(width, height, format, rowBytes, pixels, size).lowest !=
           nullptr;
}

TEST(FrameChecksTest, HostRowsAreTakenOnlyWhenTheFrameHoldsThem) {
    EXPECT_TRUE(HostFrameRowsReadable(2, 2, kArgb, 8, kPixels, 16));
    EXPECT_TRUE(HostFrameRowsReadable(2, 2, kArgb, 12, kPixels, 24));  // padded rows
    EXPECT_TRUE(HostFrameRowsReadable(2, 2, kArgb, 8, kPixels, 64));   // more memory than rows
    // Rows GL would read past.
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, kArgb, 8, nullptr, 16));
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, kArgb, 7, kPixels, 16));  // shorter than the picture
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, kArgb, 0, kPixels, 16));
    EXPECT_FALSE(HostFrameRowsReadable(2, 0, kArgb, 8, kPixels, 16));
    // The memory a frame reports is all there is: rows it cannot hold were once read anyway.
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, kArgb, 8, kPixels, 15));
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, kArgb, 0x08000000, kPixels, 16));
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, kArgb, 8, kPixels, 0));
    const std::int32_t most = std::numeric_limits<std::int32_t>::max();
    EXPECT_FALSE(HostFrameRowsReadable(4, most, kArgb, most & ~3, kPixels, sizeof(kPixels)));
}

TEST(FrameChecksTest, BottomUpRowsAreReadFromTheirLowestRow) {
    // The top row is at the pixels, the others below it in memory, 12 bytes apart.
    const STN::HostFrameRows rows = STN::ReadableHostFrameRows(2, 3, kArgb, -12, kPixels + 24, 36);
    EXPECT_EQ(rows.lowest, static_cast<const void*>(kPixels));
    EXPECT_EQ(rows.rowBytes, 12u);
    EXPECT_TRUE(rows.bottomUp);
    // The same limits as rows stored top down.
    EXPECT_FALSE(HostFrameRowsReadable(2, 3, kArgb, -12, kPixels + 24, 35));
    EXPECT_FALSE(HostFrameRowsReadable(2, 3, kArgb, -7, kPixels + 14, 36));
    EXPECT_FALSE(HostFrameRowsReadable(2, 3, kArgb, -9, kPixels + 18, 36));
    EXPECT_FALSE(
        HostFrameRowsReadable(2, 3, kArgb, std::numeric_limits<std::int32_t>::min(), kPixels, 36));
}

TEST(FrameChecksTest, DeviceRowsMustHoldARowOfThePicture) {
    const hmt::PixelFormat half = hmt::kPixelFormat_GPU_BGRA_4444_16f;
    EXPECT_TRUE(STN::DeviceFrameRowsUsable(2, half, 16));
    EXPECT_TRUE(STN::DeviceFrameRowsUsable(2, half, 20));
    EXPECT_FALSE(STN::DeviceFrameRowsUsable(2, half, 15));
    EXPECT_FALSE(STN::DeviceFrameRowsUsable(2, half, -16));  // the copies go first to last
    EXPECT_FALSE(STN::DeviceFrameRowsUsable(2, half, 0));
}

TEST(FrameChecksTest, RowsThatAreNotWholePixelsAreRefused) {
    // GL would read them a pixel's multiple apart, each row shifted more than the last; the
    // host frames of the stand-in allow such rows for 8-bit formats.
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, kArgb, 9, kPixels, 18));
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, kArgb, 10, kPixels, 20));
    EXPECT_EQ(ReadBackBytes(2, 2, hmt::kPixelFormat_GPU_BGRA_4444_16f, 22, kPixels), 0u);
    EXPECT_EQ(ReadBackBytes(2, 2, hmt::kPixelFormat_GPU_BGRA_4444_32f, 36, kPixels), 0u);
    EXPECT_EQ(ReadBackBytes(2, 2, hmt::kPixelFormat_GPU_BGRA_4444_16f, 24, kPixels), 48u);
    EXPECT_EQ(ReadBackBytes(2, 2, hmt::kPixelFormat_GPU_BGRA_4444_32f, 32, kPixels), 64u);
}

TEST(FrameChecksTest, AnArgbCodeIsReadAsItsFlagsSay) {
    // The host road goes by the code, the texture by the flags: rows too short for what the
    // texture reads are refused here rather than there, where the host would not hear of it.
    const hmt::PixelFormat argbFloat(
        kArgb.code,
        hmt::pixelformat::MakeFlags(hmt::pixelformat::kDepth_32, true, 4, true, false, false));
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, argbFloat, 8, kPixels, 16));
    EXPECT_TRUE(HostFrameRowsReadable(2, 2, argbFloat, 32, kPixels, 64));
}

}  // namespace
