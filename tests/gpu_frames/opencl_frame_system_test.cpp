// Frames in OpenCL buffers shared with the eyes' textures, on the ICD the loader finds: the
// project's stand-in unless OCL_ICD_VENDORS names other vendors. Every case runs with and
// without "cl_khr_gl_event"; the cases that read the stand-in's record skip on other ICDs.
#include <string>

#include "clsim/clsim_control.h"
#include "gpu_frame_support.h"

namespace picturetest {
namespace {

class OpenCLFrameTest : public PictureTest, public ::testing::WithParamInterface<bool> {
protected:
    static void SetUpTestSuite() {
        PictureTest::SetUpTestSuite();
        setenv("OCL_ICD_VENDORS", CLSIM_VENDORS, 0);
    }
    void SetUp() override {
        clsim_reset();
        clsim_set_gl_event(GetParam() ? 1 : 0);
        PictureTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(device->CanShareWithOpenGL()) << "the OpenCL device must share with OpenGL";
        if (StandIn()) {
            ASSERT_EQ(device->HasExtension(hostcore::utility::ImmutableString("cl_khr_gl_event")),
                      GetParam());
        }
        service->SetVideoLayout(1, 0, 360, 180);
    }
    void TearDown() override {
        PictureTest::TearDown();
        if (StandIn()) {
            EXPECT_EQ(clsim_acquired_objects(), 0);
            EXPECT_EQ(clsim_gl_objects(), 0) << "an image made from a texture outlived the stop";
        }
        clsim_reset();
    }
    static bool StandIn() {
        const char* vendors = std::getenv("OCL_ICD_VENDORS");
        return vendors != nullptr && std::string(vendors) == CLSIM_VENDORS;
    }
    // Calls of that name that succeeded.
    static int Succeeded(const char* name) { return clsim_count(name, -1) - clsim_count(name, 0); }
    static std::vector<clsim_call> Record() {
        std::vector<clsim_call> calls;
        clsim_call call;
        for (int i = 0; clsim_get_call(i, &call) != 0; ++i) {
            calls.push_back(call);
        }
        return calls;
    }
};

TEST_P(OpenCLFrameTest, FramesReachTheEyesUprightWithRedAndBlueInPlace) {
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

// Without "cl_khr_gl_event" OpenCL cannot wait for GL's work on the texture by itself, so GL's
// work is finished right before each acquire; with it, no GL finish is needed.
TEST_P(OpenCLFrameTest, GLWorkIsFinishedBeforeEachAcquireOnlyWithoutGLEvents) {
    if (!StandIn()) {
        GTEST_SKIP() << "reads the stand-in ICD's call record";
    }
    for (int marker = 1; marker <= 3; ++marker) {
        Show(GpuPatternFrame(device, marker));
    }
    const std::vector<clsim_call> calls = Record();
    int acquires = 0;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        if (std::string(calls[i].name) != "clEnqueueAcquireGLObjects") {
            continue;
        }
        ++acquires;
        EXPECT_EQ(calls[i].result, 0);
        // The entry of the same thread right before the acquire.
        std::string before = "(none)";
        for (std::size_t j = i; j-- > 0;) {
            if (calls[j].thread == calls[i].thread) {
                before = calls[j].name;
                break;
            }
        }
        SCOPED_TRACE(::testing::Message() << "acquire " << acquires);
        if (GetParam()) {
            EXPECT_NE(before, "glFinish");
        } else {
            EXPECT_EQ(before, "glFinish");
        }
    }
    EXPECT_EQ(acquires, 3);
    EXPECT_EQ(Succeeded("clEnqueueReleaseGLObjects"), 3);
    EXPECT_EQ(Succeeded("clEnqueueNDRangeKernel"), 3);
}

TEST_P(OpenCLFrameTest, EachTextureIsSharedOnceAndReleasedInStop) {
    if (!StandIn()) {
        GTEST_SKIP() << "reads the stand-in ICD's call record";
    }
    for (int marker = 1; marker <= 4; ++marker) {
        Show(GpuPatternFrame(device, marker));
    }
    EXPECT_EQ(Succeeded("clCreateFromGLTexture"), 2);
    EXPECT_EQ(clsim_gl_objects(), 2);
    service->RemoveClient(kClient);
    EXPECT_EQ(clsim_gl_objects(), 0);
}

// The same pattern from host memory and from an OpenCL buffer: the eyes see the same pictures.
TEST_P(OpenCLFrameTest, HostAndOpenCLFramesGiveTheSameEyeImages) {
    std::vector<std::vector<std::uint8_t>> host;
    Show(PatternFrame(41));
    for (const View& view : kComparedViews) {
        LookAndWait(view.right, view.up);
        host.push_back(EyeImage(0));
        host.push_back(EyeImage(1));
    }
    Show(GpuPatternFrame(device, 41));
    std::size_t index = 0;
    for (const View& view : kComparedViews) {
        SCOPED_TRACE(::testing::Message() << "right " << view.right << ", up " << view.up);
        LookAndWait(view.right, view.up);
        EXPECT_LE(LargestDifference(EyeImage(0), host[index++]), kSamplingTolerance);
        EXPECT_LE(LargestDifference(EyeImage(1), host[index++]), kSamplingTolerance);
    }
}

INSTANTIATE_TEST_SUITE_P(GLEvents, OpenCLFrameTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "WithGLEvent" : "WithoutGLEvent";
                         });

}  // namespace
}  // namespace picturetest
