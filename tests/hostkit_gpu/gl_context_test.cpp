// Offscreen GL contexts as the devices and the GL tests make them, on the real driver.

#include <GL/glew.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "GB/Device.h"
#include "GB/OffscreenGL.h"
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

TEST_F(GlTest, TextureRoundTripsThroughReadBack) {
    const std::vector<std::uint8_t> pixels = {255, 0, 0,   255, 0,  255, 0,  128,
                                              0,   0, 255, 0,   10, 20,  30, 40};
    const GLuint texture = stereon::test::MakeTextureRGBA8(2, 2, pixels);
    ASSERT_NE(texture, 0u);
    EXPECT_EQ(stereon::test::ReadTextureRGBA8(texture, 2, 2), pixels);
    // A size that does not match gives nothing rather than a partial image.
    EXPECT_TRUE(stereon::test::ReadTextureRGBA8(texture, 3, 2).empty());
    EXPECT_TRUE(stereon::test::ReadTextureRGBA8(0, 2, 2).empty());

    // The framebuffer read-back sees what a render target holds.
    GLuint fbo = 0;
    glGenFramebuffers(1, &fbo);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, texture, 0);
    ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER),
              static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
    const std::vector<std::uint8_t> corner = stereon::test::ReadFramebufferRGBA8(1, 1, 1, 1);
    EXPECT_EQ(corner, (std::vector<std::uint8_t>{10, 20, 30, 40}));
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &fbo);
    glDeleteTextures(1, &texture);
}

TEST(GlContextTest, BadRequestsFailWithAReason) {
    std::string error;
    const EGLDisplay display = GB::offscreen::GetDisplay(&error);
    if (display == EGL_NO_DISPLAY) {
        GTEST_SKIP() << error;
    }
    // No driver offers OpenGL 9.9.
    error.clear();
    EXPECT_EQ(GB::offscreen::CreateContext(display, EGL_NO_CONTEXT, 9, 9, false, &error),
              EGL_NO_CONTEXT);
    EXPECT_NE(error.find("9.9"), std::string::npos) << error;
    EXPECT_NE(error.find("EGL_"), std::string::npos) << error;

    error.clear();
    EXPECT_EQ(GB::offscreen::CreateContext(EGL_NO_DISPLAY, EGL_NO_CONTEXT, 4, 1, false, &error),
              EGL_NO_CONTEXT);
    EXPECT_FALSE(error.empty());

    // Without a current context there is nothing to load functions for.
    GB::offscreen::ReleaseCurrent(display, nullptr);
    error.clear();
    EXPECT_FALSE(GB::offscreen::LoadGLFunctions(&error));
    EXPECT_FALSE(error.empty());
}

}  // namespace
