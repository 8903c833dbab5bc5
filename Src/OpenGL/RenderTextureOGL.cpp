#include <GL/glew.h>

#include "OpenGL/RenderTextureOGL.h"

#include "OpenGL/GLHooks.h"
#include "OpenGL/GLObjects.h"

namespace STN {

RenderTextureOGL::RenderTextureOGL(const std::string& name) : name(name), target(GL_TEXTURE_2D) {}

RenderTextureOGL::~RenderTextureOGL() {
    Release();
}

void RenderTextureOGL::Create(int width, int height) {
    if (!globjects::Resize(*this, this->width, this->height, width, height)) {
        return;
    }
    target = GL_TEXTURE_2D;

    framebuffer = globjects::NewName(glGenFramebuffers, group);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    texture = globjects::NewName(glGenTextures, group);
    glBindTexture(target, texture);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    globjects::AttachColorLevel(target, texture, width, height);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    CheckGLErrors(false);
}

void RenderTextureOGL::Release() {
    globjects::DeleteFramebuffer(framebuffer, texture, group);
    width = 0;
    height = 0;
    CheckGLErrors(false);
}

void RenderTextureOGL::BindTarget() {
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glViewport(0, 0, width, height);
}

void RenderTextureOGL::UnbindTarget() {
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

void RenderTextureOGL::BindTexture() {
    globjects::BindOnUnitZero(target, texture);
}

void RenderTextureOGL::UnbindTexture() {
    globjects::BindOnUnitZero(target, 0);
}

bool RenderTextureOGL::IsRectangle() {
    return target == GL_TEXTURE_RECTANGLE;
}

}  // namespace STN
