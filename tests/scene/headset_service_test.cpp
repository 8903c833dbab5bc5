// Headset classification as the service starts on a headset the library does not know. Starts
// the render thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "GB/Device.h"
#include "IHMDManager.h"
#include "IStereonService.h"
#include "RenderThread.h"
#include "StereonService.h"
#include "UsageMetrics.h"
#include "hostcore/debug.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"

namespace {

class HeadsetServiceTest : public stereon::test::SimulatedHeadsetTest {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(SimulatedHeadsetTest::SetUp());
        std::string reason;
        device = GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
        if (!device) {
            GTEST_SKIP() << "no host device with an offscreen context: " << reason;
        }
        hostcore::debug::SetTraceSink([this](const std::string& line) { lines.push_back(line); });
        hostcore::debug::SetTraceLevel("STN", 4);
    }
    void TearDown() override {
        hostcore::debug::SetTraceSink(hostcore::debug::TraceSink());
        hostcore::debug::ResetTraceLevels();
        device.reset();
        SimulatedHeadsetTest::TearDown();
    }

    boost::shared_ptr<GB::Device> device;
    std::vector<std::string> lines;
};

// The three known headsets' types are ControllerSystemTest's; a tracking system name the library
// does not know is reported as unknown, with one warning.
TEST_F(HeadsetServiceTest, AnUnknownHeadsetIsReportedWithAWarning) {
    ASSERT_EQ(simvr_set_profile(SIMVR_PROFILE_UNKNOWN), 1);
    boost::shared_ptr<STN::IStereonService> service = STN::StereonService::Instance();
    ASSERT_TRUE(service->Init(device));
    EXPECT_EQ(service->GetHMDType(), STN::kHMDTypeUnknown);
    EXPECT_EQ(STN::UsageMetrics::Get().HMDDeviceName, "simvr");
    const std::string warning = "<STN> <4> Warning: unrecognized HMD type (simvr), assuming Rift.";
    EXPECT_EQ(std::count_if(
                  lines.begin(), lines.end(),
                  [&](const std::string& line) { return line.find(warning) != std::string::npos; }),
              1);
    STN::RenderThread::Instance()->Stop();
}

}  // namespace
