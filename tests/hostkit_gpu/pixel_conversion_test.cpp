// Format conversions and buffer-to-image copies run by the device's kernels (PoCL here),
// checked byte by byte.

#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "GB/PixelConversion.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

template <class T>
Bytes AsBytes(const std::vector<T>& values) {
    Bytes bytes(values.size() * sizeof(T));
    std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

template <class T>
std::vector<T> FromBytes(const Bytes& bytes) {
    std::vector<T> values(bytes.size() / sizeof(T));
    std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
    return values;
}

class PixelConversionTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string reason;
        device = GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
        if (!device) {
            GTEST_SKIP() << "no OpenCL device: " << reason;
        }
    }
    void TearDown() override {
        for (cl_mem image : images) {
            clReleaseMemObject(image);
        }
        for (void* buffer : buffers) {
            device->GetComputeContext()->FreeBuffer(buffer);
        }
    }

    void* Upload(const Bytes& bytes) {
        void* buffer = device->GetComputeContext()->AllocateBuffer(bytes.size());
        EXPECT_NE(buffer, nullptr);
        EXPECT_EQ(device->GetComputeContext()->CopyHostToBuffer(bytes.data(), buffer, bytes.size(),
                                                                GB::kCopy_Wait),
                  GB::kResult_OK);
        buffers.push_back(buffer);
        return buffer;
    }
    cl_command_queue Queue() {
        return static_cast<cl_command_queue>(device->GetComputeContext()->GetQueue());
    }
    Bytes Download(void* buffer, std::size_t size) {
        Bytes bytes(size);
        EXPECT_EQ(clEnqueueReadBuffer(Queue(), static_cast<cl_mem>(buffer), CL_TRUE, 0, size,
                                      bytes.data(), 0, nullptr, nullptr),
                  CL_SUCCESS);
        return bytes;
    }
    // Converts one buffer into a new one of `targetSize` bytes filled with 0xee first.
    Bytes Convert(const Bytes& source, std::int32_t sourceRow, hostmediatypes::PixelFormat from,
                  std::size_t targetSize, std::int32_t targetRow, hostmediatypes::PixelFormat to,
                  std::int32_t width, std::int32_t height,
                  const boost::shared_ptr<GB::ColorConversionParameters>& color = {}) {
        void* in = Upload(source);
        void* out = Upload(Bytes(targetSize, 0xee));
        EXPECT_EQ(GB::PixelFormatConvert(device, in, sourceRow, from, out, targetRow, to, width,
                                         height, 2, false, {}, color, nullptr),
                  GB::kResult_OK);
        return Download(out, targetSize);
    }

    cl_mem MakeImage(cl_channel_type type, std::size_t width, std::size_t height) {
        cl_image_format format{CL_RGBA, type};
        cl_image_desc desc{};
        desc.image_type = CL_MEM_OBJECT_IMAGE2D;
        desc.image_width = width;
        desc.image_height = height;
        cl_int error = CL_SUCCESS;
        cl_mem image =
            clCreateImage(static_cast<cl_context>(device->GetComputeContext()->GetNativeContext()),
                          CL_MEM_READ_WRITE, &format, &desc, nullptr, &error);
        EXPECT_EQ(error, CL_SUCCESS);
        images.push_back(image);
        return image;
    }
    template <class T>
    std::vector<T> ReadImage(cl_mem image, std::size_t width, std::size_t height) {
        std::vector<T> pixels(width * height * 4);
        const std::size_t origin[3] = {0, 0, 0};
        const std::size_t region[3] = {width, height, 1};
        EXPECT_EQ(clEnqueueReadImage(Queue(), image, CL_TRUE, origin, region, 0, 0, pixels.data(),
                                     0, nullptr, nullptr),
                  CL_SUCCESS);
        return pixels;
    }

    boost::shared_ptr<GB::Device> device;
    std::vector<void*> buffers;
    std::vector<cl_mem> images;
};
using CopyToImageTest = PixelConversionTest;

TEST_F(PixelConversionTest, EightBitToHalfFloatAndBack) {
    // B, G, R, A = 0.2, 0.4, 0.8, 1.0, in two padded rows of two pixels.
    const Bytes source = {51,  102, 204, 255, 0,   0,   0,  0,   1, 1, 1, 1,
                          255, 0,   0,   128, 204, 102, 51, 255, 2, 2, 2, 2};
    const Bytes halves = Convert(source, 12, GB::kPixelFormat_BGRA_4444_8u, 2 * 24, 24,
                                 GB::kPixelFormat_GPU_BGRA_4444_16f, 2, 2);
    // 0.2, 0.4, 0.8 and 1 are 0x3266, 0x3666, 0x3A66 and 0x3C00; 128 / 255 is 0x3804. The rows'
    // padding is left alone.
    EXPECT_EQ(FromBytes<std::uint16_t>(halves),
              (std::vector<std::uint16_t>{0x3266, 0x3666, 0x3A66, 0x3C00, 0,      0,
                                          0,      0,      0xeeee, 0xeeee, 0xeeee, 0xeeee,
                                          0x3C00, 0,      0,      0x3804, 0x3A66, 0x3666,
                                          0x3266, 0x3C00, 0xeeee, 0xeeee, 0xeeee, 0xeeee}));

    // Back to 8 bits in R, G, B, A order: red and blue trade places.
    const Bytes rgba = Convert(halves, 24, GB::kPixelFormat_GPU_BGRA_4444_16f, 16, 8,
                               GB::kPixelFormat_RGBA_4444_8u, 2, 2);
    EXPECT_EQ(rgba, (Bytes{204, 102, 51, 255, 0, 0, 0, 0, 0, 0, 255, 128, 51, 102, 204, 255}));
}

TEST_F(PixelConversionTest, FloatsPaddingAndClamping) {
    // B, G, R, A floats; the BGRX target writes 1 into its padding whatever the alpha was.
    const Bytes source =
        AsBytes(std::vector<float>{0.5f, 0.25f, 1.0f, 0.0f, 2.0f, -1.0f, 0.5f, 0.75f});
    const std::vector<std::uint16_t> bgrx =
        FromBytes<std::uint16_t>(Convert(source, 32, GB::kPixelFormat_GPU_BGRA_4444_32f, 16, 16,
                                         GB::kPixelFormat_GPU_BGRX_4444_16f, 2, 1));
    EXPECT_EQ(bgrx, (std::vector<std::uint16_t>{0x3800, 0x3400, 0x3C00, 0x3C00, 0x4000, 0xBC00,
                                                0x3800, 0x3C00}));
    // Integer targets clamp; 0.75 * 255 rounds to 191.
    EXPECT_EQ(Convert(source, 32, GB::kPixelFormat_GPU_BGRA_4444_32f, 8, 8,
                      GB::kPixelFormat_BGRA_4444_8u, 2, 1),
              (Bytes{128, 64, 255, 0, 255, 0, 128, 191}));
    // Float targets keep out-of-range values unless asked to clamp.
    EXPECT_EQ(FromBytes<float>(Convert(source, 32, GB::kPixelFormat_GPU_BGRA_4444_32f, 32, 32,
                                       GB::kPixelFormat_GPU_BGRA_4444_32f, 2, 1))[4],
              2.0f);
    auto clamp =
        boost::shared_ptr<GB::ColorConversionParameters>(new GB::ColorConversionParameters);
    clamp->clampFloatToUnit = true;
    const std::vector<float> clamped =
        FromBytes<float>(Convert(source, 32, GB::kPixelFormat_GPU_BGRA_4444_32f, 32, 32,
                                 GB::kPixelFormat_GPU_BGRA_4444_32f, 2, 1, clamp));
    EXPECT_EQ(clamped, (std::vector<float>{0.5f, 0.25f, 1.0f, 0.0f, 1.0f, 0.0f, 0.5f, 0.75f}));
}

TEST_F(PixelConversionTest, TwoComponentAndHighBitDepthSources) {
    // U and V become red and green.
    EXPECT_EQ(Convert(AsBytes(std::vector<float>{0.2f, 0.4f}), 8, GB::kPixelFormat_GPU_UV_32f, 4, 4,
                      GB::kPixelFormat_BGRA_4444_8u, 1, 1),
              (Bytes{0, 102, 51, 255}));
    // 12- and 10-bit code values in 16-bit containers, B, G, R, padding.
    EXPECT_EQ(
        Convert(AsBytes(std::vector<std::uint16_t>{4095, 0, 2048, 77}), 8,
                GB::kPixelFormat_RGB_444_12u_PQ_2020, 4, 4, GB::kPixelFormat_BGRA_4444_8u, 1, 1),
        (Bytes{255, 0, 128, 255}));
    EXPECT_EQ(Convert(AsBytes(std::vector<std::uint16_t>{1023, 512, 0, 0}), 8,
                      GB::kPixelFormat_RGB_444_10u_HLG, 4, 4, GB::kPixelFormat_BGRA_4444_8u, 1, 1),
              (Bytes{255, 128, 0, 255}));
    // And the other way: 8 bits to 12-bit code values.
    EXPECT_EQ(
        FromBytes<std::uint16_t>(Convert(Bytes{255, 0, 51, 9}, 4, GB::kPixelFormat_BGRA_4444_8u, 8,
                                         8, GB::kPixelFormat_RGB_444_12u_HLG, 1, 1)),
        (std::vector<std::uint16_t>{4095, 0, 819, 4095}));
}

TEST_F(PixelConversionTest, BadConversionsAreRefused) {
    void* small = Upload(Bytes(16, 0));
    void* big = Upload(Bytes(256, 0));
    const auto convert = [&](const void* from, std::int32_t fromRow,
                             hostmediatypes::PixelFormat fromFormat, void* to, std::int32_t toRow,
                             hostmediatypes::PixelFormat toFormat, std::int32_t w, std::int32_t h) {
        return GB::PixelFormatConvert(device, from, fromRow, fromFormat, to, toRow, toFormat, w, h,
                                      2, false, {}, {}, nullptr);
    };
    const auto bgra = GB::kPixelFormat_BGRA_4444_8u;
    EXPECT_EQ(convert(small, 8, bgra, big, 8, bgra, 2, 2), GB::kResult_OK);
    EXPECT_LT(convert(small, 8, bgra, big, 8, bgra, 2, 3), 0);  // past the source's end
    EXPECT_LT(convert(small, 4, bgra, big, 8, bgra, 2, 2), 0);  // rows too short
    EXPECT_LT(convert(small, 8, bgra, big, 8, bgra, 0, 2), 0);
    EXPECT_LT(convert(small, 8, hostmediatypes::kPixelFormat_Any, big, 8, bgra, 2, 2), 0);
    EXPECT_LT(convert(big, 32, GB::kPixelFormat_GPU_BGRA_4444_32f, big, 33,
                      GB::kPixelFormat_GPU_BGRA_4444_16f, 2, 2),
              0);  // misaligned half-float rows
    EXPECT_LT(convert(nullptr, 8, bgra, big, 8, bgra, 2, 2), 0);
    EXPECT_LT(GB::PixelFormatConvert(boost::shared_ptr<GB::Device>(), small, 8, bgra, big, 8, bgra,
                                     2, 2, 2, false, {}, {}, nullptr),
              0);
}

TEST_F(CopyToImageTest, WritesColoursByChannelWithoutTurningRows) {
    // Two rows of B, G, R, A bytes after a 4-byte lead-in.
    const Bytes source = {9, 9, 9, 9, 1, 2, 3, 4, 5, 6, 7, 8, 10, 20, 30, 40, 50, 60, 70, 80};
    void* buffer = Upload(source);
    cl_mem image = MakeImage(CL_UNORM_INT8, 2, 2);
    ASSERT_EQ(GB::CopyBufferToImage(device, buffer, 4, 8, GB::kPixelFormat_BGRA_4444_8u, image, 2,
                                    2, true, false),
              GB::kResult_OK);
    // The image holds R, G, B, A; row 0 stays row 0.
    EXPECT_EQ(ReadImage<std::uint8_t>(image, 2, 2),
              (Bytes{3, 2, 1, 4, 7, 6, 5, 8, 30, 20, 10, 40, 70, 60, 50, 80}));

    // Half floats into a float image, asynchronously, then an event.
    const std::vector<std::uint16_t> halves = {0x3800, 0x3400, 0x3C00, 0x3C00};
    void* halfBuffer = Upload(AsBytes(halves));
    cl_mem floats = MakeImage(CL_FLOAT, 1, 1);
    ASSERT_EQ(GB::CopyBufferToImage(device, halfBuffer, 0, 8, GB::kPixelFormat_GPU_BGRA_4444_16f,
                                    floats, 1, 1, true, true),
              GB::kResult_OK);
    EXPECT_TRUE(device->GetComputeContext()->CreateCompletionEvent()->Wait());
    EXPECT_EQ(ReadImage<float>(floats, 1, 1), (std::vector<float>{1.0f, 0.25f, 0.5f, 1.0f}));
}

TEST_F(CopyToImageTest, SizeMismatchIsClippedOrRefused) {
    // A 3 x 3 picture whose pixels hold their own x and y.
    Bytes source;
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 3; ++x) {
            source.insert(source.end(),
                          {0, static_cast<std::uint8_t>(y), static_cast<std::uint8_t>(x), 255});
        }
    }
    void* buffer = Upload(source);
    cl_mem image = MakeImage(CL_UNORM_INT8, 2, 2);
    const auto copy = [&](std::size_t offset, void* target, bool clip) {
        return GB::CopyBufferToImage(device, buffer, offset, 12, GB::kPixelFormat_BGRA_4444_8u,
                                     target, 3, 3, clip, false);
    };
    EXPECT_LT(copy(0, image, false), 0);
    ASSERT_EQ(copy(0, image, true), GB::kResult_OK);
    EXPECT_EQ(ReadImage<std::uint8_t>(image, 2, 2),
              (Bytes{0, 0, 0, 255, 1, 0, 0, 255, 0, 1, 0, 255, 1, 1, 0, 255}));
    // A plain buffer is no image; a source too small is refused.
    EXPECT_LT(copy(0, buffer, true), 0);
    EXPECT_LT(copy(8, image, true), 0);
    // The compute context's interop copy, which the upload of an unshared device frame ends
    // with, clips the same way. A device that shares with GL would first acquire the image from
    // GL, which this one is not.
    if (!device->CanShareWithOpenGL()) {
        cl_mem fresh = MakeImage(CL_UNORM_INT8, 2, 2);
        ASSERT_EQ(device->GetComputeContext()->CopyBufferToInteropImage(
                      buffer, 12, GB::kPixelFormat_BGRA_4444_8u, fresh, 2, 2),
                  GB::kResult_OK);
        EXPECT_EQ(ReadImage<std::uint8_t>(fresh, 2, 2),
                  (Bytes{0, 0, 0, 255, 1, 0, 0, 255, 0, 1, 0, 255, 1, 1, 0, 255}));
    }
}

}  // namespace
