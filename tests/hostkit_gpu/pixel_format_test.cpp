// The pixel formats of the host stand-in: distinct, convertible, and carried by its frames.

#include <gtest/gtest.h>

#include <set>

#include "GB/PixelConversion.h"
#include "VF/VideoFrame.h"
#include "hostmediatypes/hostmediatypes.h"

namespace {

using hostmediatypes::PixelFormat;

TEST(PixelFormatTest, TheTenDeviceFormatsAreDistinctAndConvertible) {
    const PixelFormat gpu[] = {
        GB::kPixelFormat_GPU_BGRA_4444_16f, GB::kPixelFormat_GPU_BGRX_4444_16f,
        GB::kPixelFormat_GPU_BGRA_4444_32f, GB::kPixelFormat_GPU_BGRX_4444_32f,
        GB::kPixelFormat_GPU_UV_32f,        GB::kPixelFormat_RGB_444_12u_PQ_709,
        GB::kPixelFormat_RGB_444_12u_PQ_P3, GB::kPixelFormat_RGB_444_12u_PQ_2020,
        GB::kPixelFormat_RGB_444_10u_HLG,   GB::kPixelFormat_RGB_444_12u_HLG};
    std::set<std::uint64_t> values;
    for (PixelFormat f : gpu) {
        values.insert(f.Value());
        EXPECT_TRUE(hostmediatypes::pixelformat::IsDeviceFormat(f));
        EXPECT_TRUE(GB::IsConvertiblePixelFormat(f));
        EXPECT_EQ(PixelFormat::FromValue(f.Value()), f);
        EXPECT_NE(f.code, GB::kPixelFormat_ARGB_4444_8u.code);
    }
    EXPECT_EQ(values.size(), 10u);
    EXPECT_FALSE(hostmediatypes::pixelformat::IsDeviceFormat(GB::kPixelFormat_ARGB_4444_8u));
    EXPECT_FALSE(GB::IsConvertiblePixelFormat(hostmediatypes::kPixelFormat_Any));
    // Comparison is word by word: the same code with other flags is another format.
    EXPECT_NE(PixelFormat(GB::kPixelFormat_ARGB_4444_8u.code, 0), GB::kPixelFormat_ARGB_4444_8u);
}

TEST(PixelFormatTest, DefaultRowsArePaddedTo16Bytes) {
    EXPECT_EQ(VF::DefaultRowBytes(GB::kPixelFormat_ARGB_4444_8u, 3), 16);
    EXPECT_EQ(VF::DefaultRowBytes(GB::kPixelFormat_ARGB_4444_8u, 4), 16);
    EXPECT_EQ(VF::DefaultRowBytes(GB::kPixelFormat_GPU_BGRA_4444_16f, 3), 32);
    EXPECT_EQ(VF::DefaultRowBytes(GB::kPixelFormat_ARGB_4444_8u, 0), 0);
    EXPECT_EQ(VF::DefaultRowBytes(hostmediatypes::kPixelFormat_Any, 8), 0);
    EXPECT_EQ(VF::DefaultRowBytes(GB::kPixelFormat_GPU_BGRA_4444_32f, 0x7fffffff), 0);
}

}  // namespace
