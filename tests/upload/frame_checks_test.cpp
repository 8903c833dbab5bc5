// The checks a host frame passes before the upload reads it, with the frames that once got
// through them: GL must never be handed rows it would read past the frame with.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "FrameChecks.h"

namespace {

using STN::HostFrameRowsReadable;

const std::uint8_t kPixels[64] = {};

TEST(FrameChecksTest, HostRowsAreTakenWhenTheFrameHoldsThem) {
    EXPECT_TRUE(HostFrameRowsReadable(2, 2, 8, kPixels, 16));
    EXPECT_TRUE(HostFrameRowsReadable(2, 2, 12, kPixels, 24));  // padded rows
    EXPECT_TRUE(HostFrameRowsReadable(2, 2, 8, kPixels, 64));   // more memory than rows
}

TEST(FrameChecksTest, HostRowsThatGLWouldReadPastAreRefused) {
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, 8, nullptr, 16));
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, 7, kPixels, 16));  // shorter than the picture
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, 0, kPixels, 16));
    EXPECT_FALSE(HostFrameRowsReadable(2, 0, 8, kPixels, 16));
}

TEST(FrameChecksTest, HostRowsBeyondTheFramesMemoryAreRefused) {
    // The memory a frame reports is all there is: rows it cannot hold were once read anyway.
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, 8, kPixels, 15));
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, 0x08000000, kPixels, 16));
    EXPECT_FALSE(HostFrameRowsReadable(2, 2, 8, kPixels, 0));
    const std::int32_t most = std::numeric_limits<std::int32_t>::max();
    EXPECT_FALSE(HostFrameRowsReadable(4, most, most, kPixels, sizeof(kPixels)));
}

}  // namespace
