// The pixel-format words as the graphics layer decodes them: depth code in bits 33-35, float
// flag in bit 36, component order in bit 45 of the 64-bit value.

#include <gtest/gtest.h>

#include <set>

#include "GB/PixelConversion.h"
#include "VF/VideoFrame.h"
#include "hostmediatypes/hostmediatypes.h"

namespace {

using hostmediatypes::PixelFormat;

unsigned Depth(PixelFormat f) {
    return static_cast<unsigned>((f.Value() >> 33) & 7);
}
bool FloatBit(PixelFormat f) {
    return ((f.Value() >> 36) & 1) != 0;
}
bool OrderBit(PixelFormat f) {
    return ((f.Value() >> 45) & 1) != 0;
}

TEST(PixelFormatTest, DecodesToTheGraphicsLayersMapping) {
    // 8-bit host formats: GL_BGRA transfer for B,G,R,A bytes, GL_RGBA for R,G,B,A bytes.
    EXPECT_EQ(GB::kPixelFormat_ARGB_4444_8u.code, 0x61726762u);
    for (PixelFormat f : {GB::kPixelFormat_ARGB_4444_8u, GB::kPixelFormat_BGRA_4444_8u}) {
        EXPECT_EQ(Depth(f), 0u);
        EXPECT_FALSE(FloatBit(f));
        EXPECT_FALSE(OrderBit(f));
        EXPECT_EQ(hostmediatypes::pixelformat::BytesPerPixel(f), 4u);
    }
    EXPECT_TRUE(OrderBit(GB::kPixelFormat_RGBA_4444_8u));
    // Half floats: GL_RGBA16F, 8 bytes; floats: GL_RGBA32F, 16 bytes.
    for (PixelFormat f : {GB::kPixelFormat_GPU_BGRA_4444_16f, GB::kPixelFormat_GPU_BGRX_4444_16f}) {
        EXPECT_EQ(Depth(f), 3u);
        EXPECT_TRUE(FloatBit(f));
        EXPECT_FALSE(OrderBit(f));
        EXPECT_EQ(hostmediatypes::pixelformat::BytesPerPixel(f), 8u);
    }
    for (PixelFormat f : {GB::kPixelFormat_GPU_BGRA_4444_32f, GB::kPixelFormat_GPU_BGRX_4444_32f}) {
        EXPECT_EQ(Depth(f), 5u);
        EXPECT_TRUE(FloatBit(f));
        EXPECT_FALSE(OrderBit(f));
        EXPECT_EQ(hostmediatypes::pixelformat::BytesPerPixel(f), 16u);
    }
    EXPECT_EQ(hostmediatypes::pixelformat::BytesPerPixel(GB::kPixelFormat_GPU_UV_32f), 8u);
    EXPECT_EQ(hostmediatypes::pixelformat::BytesPerPixel(hostmediatypes::kPixelFormat_Any), 0u);
}

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
