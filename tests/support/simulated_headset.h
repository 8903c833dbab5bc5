// Fixture base for tests that run against the simulated headset: the runtime reset to its
// defaults and installed where the OpenVR client looks for it, under a temporary home that goes
// at the end. Derived fixtures call SetUp first and TearDown last, after their own teardown.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "simvr/simvr_paths.h"
#include "simvr/simvr_setup.h"

namespace stereon {
namespace test {

class SimulatedHeadsetTest : public ::testing::Test {
protected:
    // Mesa's software rasteriser without a display, one rasteriser thread: two cores stay usable.
    static void SetUpTestSuite() {
        setenv("EGL_PLATFORM", "surfaceless", 0);
        setenv("LP_NUM_THREADS", "1", 0);
    }
    void SetUp() override {
        simvr::ResetRuntime();
        home = simvr::MakeTempDirectory("stn-test-");
        ASSERT_FALSE(home.empty());
        std::string error;
        ASSERT_TRUE(simvr::InstallVrPathFile(home, &error)) << error;
    }
    void TearDown() override {
        simvr::ResetRuntime();
        simvr::ClearEnvironment();
        if (!home.empty()) {
            std::system(("rm -rf '" + home + "'").c_str());
        }
    }

    std::string home;
};

}  // namespace test
}  // namespace stereon
