// CUDA frames from the host to the eyes, on the driver the loader finds: the project's stand-in
// unless STEREON_CUDA_DRIVER names another. The cases that read the stand-in's call record skip
// on any other driver.
#include <string>

#include "cudasim/cudasim_control.h"
#include "gpu_frame_support.h"

namespace picturetest {
namespace {

constexpr int kInvalidContext = 201;
constexpr int kUnknownError = 999;

class CudaFrameTest : public GpuFrameTest {
protected:
    std::int32_t DeviceKind() const override { return GB::kDeviceKind_CUDA; }

    static void SetUpTestSuite() {
        PictureTest::SetUpTestSuite();
        setenv("STEREON_CUDA_DRIVER", CUDASIM_LIBRARY, 0);
    }
    void SetUp() override {
        cudasim_reset();
        GpuFrameTest::SetUp();
    }
    void TearDown() override {
        PictureTest::TearDown();
        if (StandIn()) {
            // Whatever the case did, the driver never had to refuse a call for want of a
            // current context, and the stop left nothing the library made behind: nothing
            // mapped, and every texture's registration undone.
            ExpectNoCallWithoutAContext();
            EXPECT_EQ(cudasim_mapped_resources(), 0);
            EXPECT_EQ(cudasim_registered_resources(), 0);
        }
        cudasim_reset();
    }

    static bool StandIn() { return EnvironmentNames("STEREON_CUDA_DRIVER", CUDASIM_LIBRARY); }
    static void ExpectNoCallWithoutAContext() {
        cudasim_call call;
        for (int i = 0; cudasim_get_call(i, &call) != 0; ++i) {
            EXPECT_NE(call.result, kInvalidContext)
                << call.name << " was made without a current CUDA context";
        }
    }
    // The GL names of the successful calls of `name` (the first argument), in order.
    static std::vector<std::uint64_t> GLNames(const char* name) {
        std::vector<std::uint64_t> names;
        cudasim_call call;
        for (int i = 0; cudasim_get_call(i, &call) != 0; ++i) {
            if (std::string(call.name) == name && call.result == 0) {
                names.push_back(name == std::string("cuGraphicsUnregisterResource") ? call.args[1]
                                                                                    : call.args[0]);
            }
        }
        return names;
    }
};

// Rows longer than the picture: only the picture's bytes of each row reach the texture.
TEST_F(CudaFrameTest, FrameWithPaddedRowsArrivesWhole) {
    Show(GpuPatternFrame(device, 12, kFrameWidth, kFrameHeight, kFrameWidth * 16 + 64));
    LookAndWait(135.0f, 67.5f);
    EXPECT_EQ(CentrePixel(0), PatternColor(3, 3, 12));
    LookAndWait(-135.0f, -67.5f);
    EXPECT_EQ(CentrePixel(0), PatternColor(0, 0, 12));
}

TEST_F(CudaFrameTest, EachTextureIsRegisteredOnceAndANewSizeRedoesOnlyTheBackOne) {
    if (!StandIn()) {
        GTEST_SKIP() << "reads the stand-in driver's call record";
    }
    for (int marker = 1; marker <= 5; ++marker) {
        Show(GpuPatternFrame(device, marker));
    }
    // The two textures take turns as the back one; each is registered when it first gets a
    // frame's size, and kept.
    const std::vector<std::uint64_t> first = GLNames("cuGraphicsGLRegisterImage");
    ASSERT_EQ(first.size(), 2u);
    EXPECT_NE(first[0], first[1]);
    EXPECT_TRUE(GLNames("cuGraphicsUnregisterResource").empty());
    EXPECT_EQ(cudasim_registered_resources(), 2);

    // A new size: the back texture alone gets new storage and a new registration; the front
    // one, on show until the frame is taken over, keeps its own.
    HoldRenderLoop();
    ASSERT_TRUE(Send(GpuPatternFrame(device, 6, kFrameWidth * 2, kFrameHeight * 2)));
    const std::vector<std::uint64_t> unregistered = GLNames("cuGraphicsUnregisterResource");
    const std::vector<std::uint64_t> registered = GLNames("cuGraphicsGLRegisterImage");
    ASSERT_EQ(unregistered.size(), 1u);
    ASSERT_EQ(registered.size(), 3u);
    EXPECT_TRUE(unregistered[0] == first[0] || unregistered[0] == first[1]);
    EXPECT_EQ(cudasim_registered_resources(), 2);
    ReleaseRenderLoop();
    Passes(2);
    ExpectCentre(6);

    // The next frame of that size finds the other texture at the old size.
    Show(GpuPatternFrame(device, 7, kFrameWidth * 2, kFrameHeight * 2));
    EXPECT_EQ(GLNames("cuGraphicsUnregisterResource").size(), 2u);
    EXPECT_EQ(GLNames("cuGraphicsGLRegisterImage").size(), 4u);
    Show(GpuPatternFrame(device, 8, kFrameWidth * 2, kFrameHeight * 2));
    EXPECT_EQ(GLNames("cuGraphicsGLRegisterImage").size(), 4u);
    ExpectCentre(8);
}

// The host's frame thread holds the device's exclusive access inside UpdateVideoTexture while
// another thread stops and starts the library. Stop waits only for an upload under way, which
// needs nothing Stop holds, so neither waits for good; every registration is undone each time.
TEST_F(CudaFrameTest, StopsAndStartsWhileAnotherThreadSendsFrames) {
    SendWhileTheHostStopsAndStarts({GpuPatternFrame(device, 31)}, [] {
        if (StandIn()) {
            EXPECT_EQ(cudasim_registered_resources(), 0);
        }
    });
    // The sender's last frame may still wait for the render thread, and a frame sent while one
    // waits is dropped: it is taken over first.
    Passes(2);
    Show(GpuPatternFrame(device, 32));
    ExpectCentre(32);
}

// A driver that fails to map the texture or to copy into it: the frame is refused, the picture
// on show stays, nothing is left mapped, and the next frame arrives as usual.
TEST_F(CudaFrameTest, FailedMapOrCopyPublishesNothingAndTheLoopGoesOn) {
    if (!StandIn()) {
        GTEST_SKIP() << "fails calls of the stand-in driver";
    }
    Show(GpuPatternFrame(device, 31));
    ExpectCentre(31);
    const int passes = fade->questions;

    for (const char* failing :
         {"cuGraphicsMapResources", "cuGraphicsSubResourceGetMappedArray", "cuMemcpy2DAsync"}) {
        SCOPED_TRACE(failing);
        cudasim_fail(failing, kUnknownError, 1);
        EXPECT_FALSE(Send(GpuPatternFrame(device, 32)));
        EXPECT_EQ(cudasim_count(failing, 0), 1) << "the failure was not reached";
        EXPECT_EQ(cudasim_mapped_resources(), 0);
        Passes(2);
        EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 31));
    }
    EXPECT_GT(fade->questions, passes);
    Show(GpuPatternFrame(device, 33));
    ExpectCentre(33);

    // A registration the driver refuses (the texture on another GPU, say) refuses the frame of
    // the new size too, instead of showing a texture nothing was copied into; the next frame
    // tries again.
    cudasim_fail("cuGraphicsGLRegisterImage", kUnknownError, 1);
    EXPECT_FALSE(Send(GpuPatternFrame(device, 34, kFrameWidth * 2, kFrameHeight * 2)));
    EXPECT_EQ(cudasim_count("cuGraphicsGLRegisterImage", 0), 1) << "the failure was not reached";
    Passes(2);
    ExpectCentre(33);
    Show(GpuPatternFrame(device, 35, kFrameWidth * 2, kFrameHeight * 2));
    ExpectCentre(35);
}

// A host frame of another size between CUDA frames gives a registered texture new storage: its
// registration is undone with the device's context current (the fixture's TearDown looks),
// and the CUDA frames after it are registered again.
TEST_F(CudaFrameTest, HostFramesOfANewSizeBetweenCudaFramesUndoTheRegistrationProperly) {
    Show(GpuPatternFrame(device, 41));
    Show(GpuPatternFrame(device, 42));
    Show(PatternFrame(43, kFrameWidth * 2, kFrameHeight * 2));
    Show(PatternFrame(44, kFrameWidth * 2, kFrameHeight * 2));
    ExpectCentre(44);
    Show(GpuPatternFrame(device, 45));
    ExpectCentre(45);
    Show(GpuPatternFrame(device, 46));
    ExpectCentre(46);
}

TEST_F(CudaFrameTest, HostAndCudaFramesGiveTheSameEyeImages) {
    ExpectTheEyeImagesOfAHostFrame();
}

TEST_F(CudaFrameTest, HostAndCudaFramesInTurnKeepRedAndBlueInPlace) {
    ExpectHostAndDeviceFramesInTurnKeepRedAndBlue();
}

}  // namespace
}  // namespace picturetest
