// Video frames of the host stand-in, as the upload path queries them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "GB/PixelConversion.h"
#include "VF/VideoFrame.h"
#include "hostmediatypes/hostmediatypes.h"

namespace {

using hostcore::classref::InterfaceRef;

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
    EXPECT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_GPU_BGRA_4444_32f, 0x7fffffff, 1),
              VF::kCreateResult_InvalidArgument);
    EXPECT_FALSE(frame);
    // Any row bytes the pixels fit in are taken as given.
    ASSERT_EQ(VF::CreateHostVideoFrame(frame, GB::kPixelFormat_ARGB_4444_8u, 4, 4, 17),
              VF::kCreateResult_OK);
    EXPECT_EQ(frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>()->GetRowBytes(), 17);
}

// Every test and the demo build their frames here: a frame is the size its rows say, with rows
// of its pixels rounded up to 16 bytes, starts black and transparent, and is host memory only.
TEST(VideoFrameTest, HostFramesStartZeroedWithRowsPaddedTo16Bytes) {
    const struct {
        hostmediatypes::PixelFormat format;
        std::int32_t rowBytes;  // of a frame 5 pixels wide
    } cases[] = {{GB::kPixelFormat_ARGB_4444_8u, 32},
                 {GB::kPixelFormat_GPU_BGRA_4444_16f, 48},
                 {GB::kPixelFormat_GPU_BGRA_4444_32f, 80}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rowBytes);
        InterfaceRef<MF::IVideoFrame> frame;
        ASSERT_EQ(VF::CreateHostVideoFrame(frame, c.format, 5, 2), VF::kCreateResult_OK);
        const auto memory = frame.QueryInterface<VF::IVideoFrameMemoryAccess>();
        const auto rows = frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
        ASSERT_TRUE(memory && rows);
        EXPECT_FALSE(frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>());
        EXPECT_EQ(rows->GetRowBytes(), c.rowBytes);
        ASSERT_EQ(memory->GetSizeInBytes(), static_cast<std::size_t>(c.rowBytes) * 2);
        const auto* pixels = static_cast<const std::uint8_t*>(memory->GetPixels());
        EXPECT_TRUE(std::all_of(pixels, pixels + memory->GetSizeInBytes(),
                                [](std::uint8_t byte) { return byte == 0; }));
    }
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
                                      hostmediatypes::color::ColorSpace::BT2020RGBFull(), 0, 0,
                                      written, [&] { ++released; }),
              VF::kCreateResult_OK);
    auto gpu = frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>();
    auto rows = frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    auto completion = frame.QueryInterface<VF::ICompletionEventVideoFrame>();
    auto owner = frame.QueryInterface<VF::IGPUDeviceVideoFrame>();
    ASSERT_TRUE(gpu && rows && completion && owner);
    EXPECT_EQ(rows->GetRowBytes(), 32);
    EXPECT_EQ(owner->GetDevice(), device);
    EXPECT_EQ(completion->GetCompletionEvent(), written);

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
