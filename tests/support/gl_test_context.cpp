#include "gl_test_context.h"

#include "GB/OffscreenGL.h"

namespace stereon {
namespace test {

GlTestContext::GlTestContext() {
    display = GB::offscreen::GetDisplay(&error);
    if (display == EGL_NO_DISPLAY) {
        return;
    }
    context = GB::offscreen::CreateContext(display, EGL_NO_CONTEXT, 4, 1, true, &error);
}

GlTestContext::~GlTestContext() {
    GB::offscreen::DestroyContext(display, context);
}

void GlTestContext::MakeCurrent() {
    if (!Ok()) {
        return;
    }
    if (!GB::offscreen::MakeCurrent(display, context, &error)) {
        return;
    }
    if (!functionsLoaded) {
        functionsLoaded = GB::offscreen::LoadGLFunctions(&error);
        if (!functionsLoaded) {
            GB::offscreen::ReleaseCurrent(display, nullptr);
        }
    }
}

void GlTestContext::ReleaseCurrent() {
    if (IsCurrent()) {
        GB::offscreen::ReleaseCurrent(display, &error);
    }
}

bool GlTestContext::IsCurrent() const {
    return Ok() && eglGetCurrentContext() == context;
}

void GlTest::SetUp() {
    context = std::make_unique<GlTestContext>();
    if (!context->Ok()) {
        GTEST_SKIP() << "no OpenGL 4.1 core context: " << context->Error();
    }
    context->MakeCurrent();
    if (!context->IsCurrent()) {
        GTEST_SKIP() << "cannot make the OpenGL context current: " << context->Error();
    }
}

void GlTest::TearDown() {
    if (context) {
        context->ReleaseCurrent();
        context.reset();
    }
}

int CurrentGlVersion() {
    GLint major = 0;
    GLint minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    return major * 10 + minor;
}

std::vector<std::uint8_t> ReadTextureRGBA8(GLuint texture, int width, int height) {
    if (texture == 0 || width <= 0 || height <= 0 || glIsTexture(texture) != GL_TRUE) {
        return {};
    }
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glBindTexture(GL_TEXTURE_2D, texture);
    GLint w = 0;
    GLint h = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &w);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &h);
    std::vector<std::uint8_t> pixels;
    if (w == width && h == height) {
        pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4u);
        GLint packAlignment = 4;
        GLint packBuffer = 0;
        glGetIntegerv(GL_PACK_ALIGNMENT, &packAlignment);
        glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &packBuffer);
        glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        glPixelStorei(GL_PACK_ALIGNMENT, packAlignment);
        glBindBuffer(GL_PIXEL_PACK_BUFFER, static_cast<GLuint>(packBuffer));
        if (glGetError() != GL_NO_ERROR) {
            pixels.clear();
        }
    }
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    return pixels;
}

std::vector<std::uint8_t> ReadFramebufferRGBA8(int x, int y, int width, int height) {
    if (width <= 0 || height <= 0) {
        return {};
    }
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) *
                                     static_cast<std::size_t>(height) * 4u);
    GLint packAlignment = 4;
    GLint packBuffer = 0;
    glGetIntegerv(GL_PACK_ALIGNMENT, &packAlignment);
    glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &packBuffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(x, y, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    glPixelStorei(GL_PACK_ALIGNMENT, packAlignment);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, static_cast<GLuint>(packBuffer));
    if (glGetError() != GL_NO_ERROR) {
        return {};
    }
    return pixels;
}

GLuint MakeTextureRGBA8(int width, int height, const std::vector<std::uint8_t>& pixels) {
    if (width <= 0 || height <= 0 ||
        pixels.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4u) {
        return 0;
    }
    GLuint texture = 0;
    glGenTextures(1, &texture);
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    glBindTexture(GL_TEXTURE_2D, texture);
    GLint unpackAlignment = 4;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &unpackAlignment);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 pixels.data());
    glPixelStorei(GL_UNPACK_ALIGNMENT, unpackAlignment);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(previous));
    if (glGetError() != GL_NO_ERROR) {
        glDeleteTextures(1, &texture);
        return 0;
    }
    return texture;
}

}  // namespace test
}  // namespace stereon
