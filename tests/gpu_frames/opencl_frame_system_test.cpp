// Frames in OpenCL buffers shared with the eyes' textures, on the ICD the loader finds: the
// project's stand-in unless OCL_ICD_VENDORS names other vendors. Every case runs with and
// without "cl_khr_gl_event"; the cases that read the stand-in's record skip on other ICDs.
#include <string>

#include "clsim/clsim_control.h"
#include "gpu_frame_support.h"

namespace picturetest {
namespace {

class OpenCLFrameTest : public GpuFrameTest, public ::testing::WithParamInterface<bool> {
protected:
    static void SetUpTestSuite() {
        PictureTest::SetUpTestSuite();
        setenv("OCL_ICD_VENDORS", CLSIM_VENDORS, 0);
        // Sharing reaches the device's EGL share group: GLX contexts take host memory instead.
        setenv("STEREON_GL_PLATFORM", "egl", 1);
    }
    void SetUp() override {
        clsim_reset();
        clsim_set_gl_event(GetParam() ? 1 : 0);
        GpuFrameTest::SetUp();
        if (StandIn() && device && !HasFatalFailure()) {
            ASSERT_EQ(device->HasExtension(hostcore::utility::ImmutableString("cl_khr_gl_event")),
                      GetParam());
        }
    }
    void TearDown() override {
        PictureTest::TearDown();
        if (StandIn()) {
            EXPECT_EQ(clsim_acquired_objects(), 0);
            EXPECT_EQ(clsim_gl_objects(), 0) << "an image made from a texture outlived the stop";
        }
        clsim_reset();
    }
    static bool StandIn() { return EnvironmentNames("OCL_ICD_VENDORS", CLSIM_VENDORS); }
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

// Each texture is made into an OpenCL image once, when it first gets a frame (the image goes in
// the stop: the teardown looks). Without "cl_khr_gl_event" OpenCL cannot wait for GL's work on
// the texture by itself, so GL's work is finished right before each acquire; with it, no GL
// finish is needed.
TEST_P(OpenCLFrameTest, TexturesAreSharedOnceAndGLFinishesBeforeAcquiresOnlyWithoutGLEvents) {
    if (!StandIn()) {
        GTEST_SKIP() << "reads the stand-in ICD's call record";
    }
    for (int marker = 1; marker <= 3; ++marker) {
        Show(GpuPatternFrame(device, marker));
    }
    EXPECT_EQ(Succeeded("clCreateFromGLTexture"), 2);
    EXPECT_EQ(clsim_gl_objects(), 2);
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

TEST_P(OpenCLFrameTest, HostAndOpenCLFramesGiveTheSameEyeImages) {
    ExpectTheEyeImagesOfAHostFrame();
}

TEST_P(OpenCLFrameTest, HostAndOpenCLFramesInTurnKeepRedAndBlueInPlace) {
    ExpectHostAndDeviceFramesInTurnKeepRedAndBlue();
}

INSTANTIATE_TEST_SUITE_P(GLEvents, OpenCLFrameTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "WithGLEvent" : "WithoutGLEvent";
                         });

}  // namespace
}  // namespace picturetest
