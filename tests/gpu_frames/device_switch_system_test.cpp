// A host that moves from a CUDA device to an OpenCL one mid-stream, on the two stand-ins: the
// frame of the other kind restarts the library on its device.
#include "clsim/clsim_control.h"
#include "cudasim/cudasim_control.h"
#include "gpu_frame_support.h"

namespace picturetest {
namespace {

class DeviceSwitchTest : public GpuFrameTest {
protected:
    std::int32_t DeviceKind() const override { return GB::kDeviceKind_CUDA; }

    static void SetUpTestSuite() {
        PictureTest::SetUpTestSuite();
        setenv("STEREON_CUDA_DRIVER", CUDASIM_LIBRARY, 1);
        setenv("OCL_ICD_VENDORS", CLSIM_VENDORS, 1);
        // The OpenCL device's frames are shared with GL, which only EGL contexts do here.
        setenv("STEREON_GL_PLATFORM", "egl", 1);
    }
    void SetUp() override {
        cudasim_reset();
        clsim_reset();
        GpuFrameTest::SetUp();
    }
    // Waits until the runtime has taken `count` more frames' eye images.
    static void RuntimeFrames(std::uint64_t count) {
        std::uint64_t start = 0, now = 0;
        simvr_get_eye_image_info(0, nullptr, nullptr, &start);
        for (int i = 0; i < 120000 && now < start + count; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            simvr_get_eye_image_info(0, nullptr, nullptr, &now);
        }
        ASSERT_GE(now, start + count) << "the render loop stopped";
    }
};

TEST_F(DeviceSwitchTest, FrameOfAnotherKindRestartsOnItsDevice) {
    Show(GpuPatternFrame(device, 51));
    ExpectCentre(51);
    ASSERT_EQ(cudasim_registered_resources(), 1);
    const int initsBefore = simvr_get_init_count();
    const int cleanupsBefore = simvr_get_cleanup_count();

    std::string reason;
    const boost::shared_ptr<GB::Device> openCL =
        GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    ASSERT_TRUE(openCL) << reason;
    ASSERT_TRUE(openCL->CanShareWithOpenGL());
    // The first frame of the new kind stops everything on the old device, CUDA registrations
    // included, and starts again on the new one, which takes the frame.
    ASSERT_TRUE(Send(GpuPatternFrame(openCL, 52)));
    EXPECT_EQ(cudasim_registered_resources(), 0);
    EXPECT_EQ(cudasim_count("cuGraphicsUnregisterResource", 0), 0);
    EXPECT_EQ(simvr_get_init_count(), initsBefore + 1);
    EXPECT_EQ(simvr_get_cleanup_count(), cleanupsBefore + 1);
    EXPECT_EQ(clsim_count("clCreateFromGLTexture", -1), 1);
    EXPECT_EQ(clsim_count("clCreateFromGLTexture", 0), 0);
    // The new scene has none of the old one's callbacks: passes are counted by the runtime.
    RuntimeFrames(3);
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 52));
    EXPECT_EQ(CentrePixel(1), PatternColor(2, 0, 52));

    // A second device of the same kind restarts nothing.
    const boost::shared_ptr<GB::Device> another =
        GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    ASSERT_TRUE(another) << reason;
    // Its buffers belong to another context, so only the restart is looked at, not the picture.
    RuntimeFrames(1);
    Send(GpuPatternFrame(another, 54));
    EXPECT_EQ(simvr_get_init_count(), initsBefore + 1);
    EXPECT_TRUE(service->IsInitialized());
}

}  // namespace
}  // namespace picturetest
