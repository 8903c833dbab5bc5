#include <GL/glew.h>

#include "OpenGL/RenderTextureOGL.h"

#include "OpenGL/GLHooks.h"

namespace STN {

RenderTextureOGL::RenderTextureOGL(const std::string& name) : name(name), target(GL_TEXTURE_2D) {}

RenderTextureOGL::~RenderTextureOGL() {
    Release();
}

void RenderTextureOGL::Create(int width, int height) {
    if (width == this->width && height == this->height) {
        return;
    }
    Release();
    this->width = width;
    this->height = height;
    target = GL_TEXTURE_2D;

    GLuint name = 0;
    glGenFramebuffers(1, &name);
    framebuffer = name;
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glGenTextures(1, &name);
    texture = name;
    glBindTexture(target, texture);
    glTexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_MAX_LEVEL, 0);
    glTexImage2D(target, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, target, texture, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    CheckGLErrors(false);
}

void RenderTextureOGL::Release() {
    // Name 0 would be ignored by GL anyway; skipping it also keeps a never-created object from
    // touching GL when no context was ever made.
    GLuint name = texture;
    if (name != 0) {
        glDeleteTextures(1, &name);
    }
    name = framebuffer;
    if (name != 0) {
        glDeleteFramebuffers(1, &name);
    }
    texture = 0;
    framebuffer = 0;
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
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(target, texture);
}

void RenderTextureOGL::UnbindTexture() {
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(target, 0);
}

bool RenderTextureOGL::IsRectangle() {
    return target == GL_TEXTURE_RECTANGLE;
}

}  // namespace STN
