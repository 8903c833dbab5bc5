// Headset classification as the service starts on each of the simulated runtime's headsets,
// and the service's operations that reach the scene. Starts the render thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "GB/Device.h"
#include "HMDManager.h"
#include "IHMDManager.h"
#include "IStereonService.h"
#include "RenderThread.h"
#include "Scene.h"
#include "StereonService.h"
#include "UsageMetrics.h"
#include "hostcore/debug.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"

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

TEST_F(HeadsetServiceTest, EachHeadsetIsClassifiedAtStart) {
    struct Case {
        int profile;
        std::int32_t hmdType;
        const char* name;
        bool warned;
    };
    const Case cases[] = {
        {SIMVR_PROFILE_VIVE, STN::kHMDTypeVive, "lighthouse", false},
        {SIMVR_PROFILE_RIFT, STN::kHMDTypeRift, "oculus", false},
        {SIMVR_PROFILE_WINDOWS_MR, STN::kHMDTypeWindowsMixedReality, "holographic", false},
        {SIMVR_PROFILE_UNKNOWN, STN::kHMDTypeUnknown, "simvr", true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        lines.clear();
        ASSERT_EQ(simvr_set_profile(c.profile), 1);
        boost::shared_ptr<STN::IStereonService> service = STN::StereonService::Instance();
        ASSERT_TRUE(service->Init(device));
        EXPECT_EQ(service->GetHMDType(), c.hmdType);
        EXPECT_EQ(STN::UsageMetrics::Get().HMDDeviceName, c.name);
        const std::string warning = std::string("<STN> <4> Warning: unrecognized HMD type (") +
                                    c.name + "), assuming Rift.";
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                [&](const std::string& line) {
                                    return line.find(warning) != std::string::npos;
                                }),
                  c.warned ? 1 : 0);
        STN::RenderThread::Instance()->Stop();
    }
}

}  // namespace
