#include <GL/glew.h>

#include "OpenGL/RenderTargetOGL.h"

#include <cstdint>

#include "OpenGL/GLHooks.h"
#include "stnvr/vr_types.h"

namespace STN {

namespace {
// Fixed; nothing configures it.
constexpr GLsizei kSamples = 4;
}  // namespace

RenderTargetOGL::RenderTargetOGL(const std::string& name) : name(name) {}

RenderTargetOGL::~RenderTargetOGL() {
    Release();
}

void RenderTargetOGL::Create(int width, int height) {
    if (width == this->width && height == this->height) {
        return;
    }
    Release();
    this->width = width;
    this->height = height;

    GLuint name = 0;
    glGenFramebuffers(1, &name);
    multisampleFramebuffer = name;
    glBindFramebuffer(GL_FRAMEBUFFER, multisampleFramebuffer);

    glGenRenderbuffers(1, &name);
    depthRenderbuffer = name;
    glBindRenderbuffer(GL_RENDERBUFFER, depthRenderbuffer);
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, kSamples, GL_DEPTH_COMPONENT, width, height);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER,
                              depthRenderbuffer);

    glGenTextures(1, &name);
    multisampleTexture = name;
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, multisampleTexture);
    glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, kSamples, GL_RGBA8, width, height, GL_TRUE);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D_MULTISAMPLE,
                           multisampleTexture, 0);

    glGenFramebuffers(1, &name);
    resolveFramebuffer = name;
    glBindFramebuffer(GL_FRAMEBUFFER, resolveFramebuffer);

    glGenTextures(1, &name);
    resolveTexture = name;
    glBindTexture(GL_TEXTURE_2D, resolveTexture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, resolveTexture, 0);

    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    CheckGLErrors(false);
}

void RenderTargetOGL::Release() {
    if (depthRenderbuffer == 0) {
        return;
    }
    GLuint name = depthRenderbuffer;
    glDeleteRenderbuffers(1, &name);
    name = multisampleTexture;
    glDeleteTextures(1, &name);
    name = multisampleFramebuffer;
    glDeleteFramebuffers(1, &name);
    name = resolveTexture;
    glDeleteTextures(1, &name);
    name = resolveFramebuffer;
    glDeleteFramebuffers(1, &name);
    depthRenderbuffer = 0;
    multisampleTexture = 0;
    multisampleFramebuffer = 0;
    resolveTexture = 0;
    resolveFramebuffer = 0;
    width = 0;
    height = 0;
    CheckGLErrors(false);
}

void RenderTargetOGL::Bind() {
    glEnable(GL_MULTISAMPLE);
    glBindFramebuffer(GL_FRAMEBUFFER, multisampleFramebuffer);
    glViewport(0, 0, width, height);
}

void RenderTargetOGL::Resolve() {
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDisable(GL_MULTISAMPLE);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, multisampleFramebuffer);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, resolveFramebuffer);
    glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_LINEAR);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
    CheckGLErrors(false);
}

vr::Texture_t RenderTargetOGL::GetVRTexture() {
    vr::Texture_t texture;
    texture.handle = reinterpret_cast<void*>(static_cast<std::uintptr_t>(resolveTexture));
    texture.eType = vr::TextureType_OpenGL;
    texture.eColorSpace = vr::ColorSpace_Gamma;
    return texture;
}

}  // namespace STN
