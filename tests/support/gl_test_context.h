#pragma once

// A real OpenGL 4.1 core context for tests, offscreen on EGL (Mesa's llvmpipe through the
// surfaceless platform here), created the same way the host stand-in's GPU devices create theirs.

#include <EGL/egl.h>
#include <GL/glew.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace stereon {
namespace test {

class GlTestContext {
public:
    // A 4.1 core debug context. Nothing is made current by construction.
    GlTestContext();
    ~GlTestContext();
    GlTestContext(const GlTestContext&) = delete;
    GlTestContext& operator=(const GlTestContext&) = delete;

    bool Ok() const { return context != EGL_NO_CONTEXT; }
    // Why the context could not be created or made current; empty when all went well.
    std::string Error() const { return error; }

    // Makes the context current on the calling thread and loads the GL functions the first
    // time. On failure Error() says why and no context is current.
    void MakeCurrent();
    void ReleaseCurrent();
    bool IsCurrent() const;

    EGLDisplay Display() const { return display; }

private:
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;
    bool functionsLoaded = false;
    std::string error;
};

// Fixture: SetUp creates a context and makes it current, or skips the test with the reason.
class GlTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::unique_ptr<GlTestContext> context;
};

// GL 4.1 core version of the current context as major * 10 + minor (41, 45, ...); 0 if unknown.
int CurrentGlVersion();

// Reads level 0 of a GL_TEXTURE_2D as tightly packed RGBA8 rows, bottom row first as GL stores
// them. Empty when the texture is not a complete 2D texture of that size.
std::vector<std::uint8_t> ReadTextureRGBA8(GLuint texture, int width, int height);

// Reads a rectangle of the framebuffer bound for reading as RGBA8, bottom row first.
std::vector<std::uint8_t> ReadFramebufferRGBA8(int x, int y, int width, int height);

// Makes a GL_TEXTURE_2D of RGBA8 from tightly packed RGBA8 rows (bottom row first), linear
// filtering, clamped. Returns 0 on failure.
GLuint MakeTextureRGBA8(int width, int height, const std::vector<std::uint8_t>& pixels);

}  // namespace test
}  // namespace stereon
