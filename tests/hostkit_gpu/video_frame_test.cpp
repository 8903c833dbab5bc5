// The pixel formats of the host stand-in, and video frames as the upload path queries them.

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "GB/PixelConversion.h"
#include "VF/VideoFrame.h"
#include "hostmediatypes/hostmediatypes.h"

namespace {

using hostcore::classref::InterfaceRef;
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

TEST(VideoFrameTest, HostFrameAnswersMemoryAccessOnly) {
    InterfaceRef<MF::IVideoFrame> frame;
    ASSERT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_ARGB_4444_8u, 5, 3),
              VF::kCreateResult_OK);
    ASSERT_TRUE(frame);
    auto memory = frame.QueryInterface<VF::IVideoFrameMemoryAccess>();
    auto rows = frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    ASSERT_TRUE(memory);
    ASSERT_TRUE(rows);
    EXPECT_EQ(rows->GetRowBytes(), 32);  // 20 bytes padded to 16
    EXPECT_EQ(memory->GetSizeInBytes(), 96u);
    // Zero-filled and writable over its whole size.
    const unsigned char* pixels = static_cast<const unsigned char*>(memory->GetPixels());
    for (std::size_t i = 0; i < memory->GetSizeInBytes(); ++i) {
        ASSERT_EQ(pixels[i], 0) << i;
    }
    std::memset(memory->GetPixels(), 0xab, memory->GetSizeInBytes());

    EXPECT_FALSE(frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>());
    EXPECT_FALSE(frame.QueryInterface<VF::ICompletionEventVideoFrame>());
    EXPECT_FALSE(frame.QueryInterface<VF::IGPUDeviceVideoFrame>());

    // The frame's own query: an identifier and an output pointer, negative on failure.
    void* out = reinterpret_cast<void*>(1);
    EXPECT_LT(frame->QueryFrameInterface(VF::IGPUDeviceVideoFrame::kInterfaceID, &out), 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_LT(frame->QueryFrameInterface(VF::IVideoFrameMemoryAccess::kInterfaceID, nullptr), 0);
    ASSERT_EQ(frame->QueryFrameInterface(VF::IVideoFrameMemoryAccess::kInterfaceID, &out), 0);
    auto adopted = InterfaceRef<VF::IVideoFrameMemoryAccess>::Adopt(
        static_cast<VF::IVideoFrameMemoryAccess*>(out));
    EXPECT_EQ(adopted->GetPixels(), memory->GetPixels());
}

TEST(VideoFrameTest, BadHostFramesAreRefused) {
    InterfaceRef<MF::IVideoFrame> frame;
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_ARGB_4444_8u, 0, 4),
              VF::kCreateResult_InvalidArgument);
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_ARGB_4444_8u, 4, -1),
              VF::kCreateResult_InvalidArgument);
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, hostmediatypes::kPixelFormat_Any, 4, 4),
              VF::kCreateResult_InvalidArgument);
    // Rows shorter than the pixels, or misaligned for the components.
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_ARGB_4444_8u, 4, 4, 15),
              VF::kCreateResult_InvalidArgument);
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_GPU_BGRA_4444_32f, 1, 4, 18),
              VF::kCreateResult_InvalidArgument);
    // Beyond what row arithmetic can hold.
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_ARGB_4444_8u, 65536, 65536),
              VF::kCreateResult_InvalidArgument);
    EXPECT_FALSE(frame);
    // Any row bytes the pixels fit in are taken as given.
    ASSERT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_ARGB_4444_8u, 4, 4, 17),
              VF::kCreateResult_OK);
    EXPECT_EQ(frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>()->GetRowBytes(), 17);
}

TEST(VideoFrameTest, GPUFrameAnswersDeviceInterfaces) {
    std::string reason;
    boost::shared_ptr<GB::Device> device = GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    if (!device) {
        GTEST_SKIP() << "no OpenCL device: " << reason;
    }
    int released = 0;
    boost::shared_ptr<GB::CompletionEvent> written =
        device->GetComputeContext()->CreateCompletionEvent();
    InterfaceRef<MF::IVideoFrame> frame;
    ASSERT_EQ(VF::CreateGPUVideoFrame(frame, device, GB::kPixelFormat_GPU_BGRA_4444_16f, 3, 2,
                                      hostmediatypes::kPixelAspectRatio_Square,
                                      MF::kFieldType_Progressive, MF::Point{4, 5},
                                      hostmediatypes::color::ColorSpace::BT2020RGBFull(), 0,
                                      VF::kGPUFrameFlag_Clear, written, [&] { ++released; }),
              VF::kCreateResult_OK);
    EXPECT_FALSE(frame.QueryInterface<VF::IVideoFrameMemoryAccess>());
    auto gpu = frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>();
    auto rows = frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    auto completion = frame.QueryInterface<VF::ICompletionEventVideoFrame>();
    auto owner = frame.QueryInterface<VF::IGPUDeviceVideoFrame>();
    ASSERT_TRUE(gpu && rows && completion && owner);
    EXPECT_EQ(rows->GetRowBytes(), 32);
    EXPECT_EQ(owner->GetDevice(), device);
    EXPECT_EQ(completion->GetCompletionEvent(), written);

    // The cleared buffer reads back as zeros through the device.
    void* host = device->GetHostBufferAllocator().Allocate(64);
    ASSERT_EQ(device->GetComputeContext()->CopyBufferToHost(gpu->GetDeviceBuffer(), host, 64,
                                                            GB::kCopy_Wait),
              GB::kResult_OK);
    const unsigned char* bytes =
        static_cast<const unsigned char*>(device->GetHostBufferMapper().Map(host));
    ASSERT_NE(bytes, nullptr);
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(bytes[i], 0) << i;
    }
    device->GetHostBufferMapper().Unmap(host, const_cast<unsigned char*>(bytes));
    device->GetHostBufferAllocator().Free(host);

    // References held through interfaces keep the frame; the last one frees it.
    frame = nullptr;
    EXPECT_EQ(released, 0);
    gpu = nullptr;
    rows = nullptr;
    completion = nullptr;
    owner = nullptr;
    EXPECT_EQ(released, 1);

    // Bad GPU frames are refused: no device, no width, a flag that does not exist.
    const auto create = [&](const boost::shared_ptr<GB::Device>& on, std::int32_t width,
                            std::int32_t flags) {
        return VF::CreateGPUVideoFrame(frame, on, GB::kPixelFormat_BGRA_4444_8u, width, 4,
                                       hostmediatypes::kPixelAspectRatio_Square,
                                       MF::kFieldType_Progressive, MF::Point{},
                                       hostmediatypes::color::ColorSpace(), 0, flags, {}, {});
    };
    EXPECT_EQ(create(boost::shared_ptr<GB::Device>(), 4, 0), VF::kCreateResult_InvalidArgument);
    EXPECT_EQ(create(device, 0, 0), VF::kCreateResult_InvalidArgument);
    EXPECT_EQ(create(device, 4, 8), VF::kCreateResult_InvalidArgument);
    EXPECT_FALSE(frame);
}

}  // namespace
