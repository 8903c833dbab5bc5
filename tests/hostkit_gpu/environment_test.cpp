// GL and OpenCL tests skip, with the reason, where a machine has no GL context or no OpenCL
// device. Where the suite runs as a check (the test script sets STEREON_REQUIRE_DEVICES), a
// missing context or device fails here instead of letting every such test pass as skipped.

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "GB/Device.h"
#include "gl_test_context.h"

namespace {

bool DevicesRequired() {
    const char* value = std::getenv("STEREON_REQUIRE_DEVICES");
    return value != nullptr && std::string(value) == "1";
}

TEST(TestEnvironment, HasTheGlContextAndOpenCLDeviceTheSuiteNeeds) {
    if (!DevicesRequired()) {
        GTEST_SKIP() << "STEREON_REQUIRE_DEVICES is not 1";
    }
    stereon::test::GlTestContext gl;
    EXPECT_TRUE(gl.Ok()) << gl.Error();
    for (std::int32_t kind : {GB::kDeviceKind_OpenCL, GB::kDeviceKind_OpenCLNoSharing}) {
        std::string reason;
        EXPECT_TRUE(GB::Device::Create(kind, &reason)) << "kind " << kind << ": " << reason;
    }
}

}  // namespace
