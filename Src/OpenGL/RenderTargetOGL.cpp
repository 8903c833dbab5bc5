#include <GL/glew.h>

#include "OpenGL/RenderTargetOGL.h"

#include <cstdint>

#include "OpenGL/GLHooks.h"
#include "OpenGL/GLObjects.h"
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
    if (!globjects::Resize(*this, this->width, this->height, width, height)) {
        return;
    }

    multisampleFramebuffer = globjects::NewName(glGenFramebuffers, group);
    glBindFramebuffer(GL_FRAMEBUFFER, multisampleFramebuffer);

    depthRenderbuffer = globjects::NewName(glGenRenderbuffers, group);
    glBindRenderbuffer(GL_RENDERBUFFER, depthRenderbuffer);
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, kSamples, GL_DEPTH_COMPONENT, width, height);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER,
                              depthRenderbuffer);

    multisampleTexture = globjects::NewName(glGenTextures, group);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, multisampleTexture);
    glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, kSamples, GL_RGBA8, width, height, GL_TRUE);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D_MULTISAMPLE,
                           multisampleTexture, 0);

    resolveFramebuffer = globjects::NewName(glGenFramebuffers, group);
    glBindFramebuffer(GL_FRAMEBUFFER, resolveFramebuffer);
    resolveTexture = globjects::NewName(glGenTextures, group);
    glBindTexture(GL_TEXTURE_2D, resolveTexture);
    globjects::AttachColorLevel(GL_TEXTURE_2D, resolveTexture, width, height);

    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    CheckGLErrors(false);
}

void RenderTargetOGL::Release() {
    if (depthRenderbuffer == 0) {
        return;
    }
    globjects::DeleteFramebuffer(multisampleFramebuffer, multisampleTexture, depthRenderbuffer,
                                 group);
    globjects::DeleteFramebuffer(resolveFramebuffer, resolveTexture, group);
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
