// Offscreen GL contexts as the devices and the GL tests make them, on the real driver.

#include <GL/glew.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "GB/Device.h"
#include "gl_test_context.h"

namespace {

using stereon::test::GlTest;

// GL and OpenCL tests skip, with the reason, where a machine has no GL context or no OpenCL
// device. Where the suite runs as a check (the test script sets STEREON_REQUIRE_DEVICES), a
// missing context or device fails here instead of letting every such test pass as skipped.
TEST(TestEnvironment, HasTheGlContextAndOpenCLDeviceTheSuiteNeeds) {
    const char* required = std::getenv("STEREON_REQUIRE_DEVICES");
    if (required == nullptr || std::string(required) != "1") {
        GTEST_SKIP() << "STEREON_REQUIRE_DEVICES is not 1";
    }
    stereon::test::GlTestContext gl;
    EXPECT_TRUE(gl.Ok()) << gl.Error();
    for (std::int32_t kind : {GB::kDeviceKind_OpenCL, GB::kDeviceKind_OpenCLNoSharing}) {
        std::string reason;
        EXPECT_TRUE(GB::Device::Create(kind, &reason)) << "kind " << kind << ": " << reason;
    }
}

// The GL tests run on a core context, as the library's own are, so core-only rules hold there.
TEST_F(GlTest, ContextIsCoreDebugOfAtLeast41) {
    EXPECT_GE(stereon::test::CurrentGlVersion(), 41);
    GLint profile = 0;
    GLint flags = 0;
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    glGetIntegerv(GL_CONTEXT_FLAGS, &flags);
    EXPECT_NE(profile & GL_CONTEXT_CORE_PROFILE_BIT, 0);
    EXPECT_NE(flags & GL_CONTEXT_FLAG_DEBUG_BIT, 0);
}

// GL tests tell a texture's size by whether a read-back of that size gives anything.
TEST_F(GlTest, TextureRoundTripsThroughReadBack) {
    const std::vector<std::uint8_t> pixels = {255, 0, 0,   255, 0,  255, 0,  128,
                                              0,   0, 255, 0,   10, 20,  30, 40};
    const GLuint texture = stereon::test::MakeTextureRGBA8(2, 2, pixels);
    ASSERT_NE(texture, 0u);
    EXPECT_EQ(stereon::test::ReadTextureRGBA8(texture, 2, 2), pixels);
    // A size that does not match gives nothing rather than a partial image.
    EXPECT_TRUE(stereon::test::ReadTextureRGBA8(texture, 3, 2).empty());
    EXPECT_TRUE(stereon::test::ReadTextureRGBA8(0, 2, 2).empty());
    glDeleteTextures(1, &texture);
}

}  // namespace
