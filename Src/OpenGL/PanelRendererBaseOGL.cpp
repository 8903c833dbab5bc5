#include <GL/glew.h>

#include "OpenGL/PanelRendererBaseOGL.h"

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IShader.h"
#include "OpenGL/GLObjects.h"
#include "ShaderRegistry.h"

namespace STN {

void PanelRendererBaseOGL::SetDrawCallback(const PanelDrawCallback& callback, void* data) {
    drawCallback = callback;
    userData = data;
}

void PanelRendererBaseOGL::Release() {
    if (framebuffer == 0) {
        return;
    }
    context.reset();
    ReleaseShaders();
    quadMesh.reset();
    DeleteTextures();
    globjects::DeleteName(GLObjectKind::kFramebuffer, framebuffer, group);
    drawCallback.clear();
    userData = nullptr;
}

void PanelRendererBaseOGL::BeginInit(const boost::shared_ptr<IGraphicsContext>& newContext) {
    Release();
    context = newContext;
    GLint viewport[4] = {0, 0, 0, 0};
    glGetIntegerv(GL_VIEWPORT, viewport);
    width = viewport[2];
    height = viewport[3];
}

void PanelRendererBaseOGL::CreateFramebuffer() {
    framebuffer = globjects::NewName(glGenFramebuffers, group);
}

void PanelRendererBaseOGL::DefineNearestTexture(std::uint32_t texture, std::int32_t internalFormat,
                                                std::uint32_t format, std::uint32_t type) const {
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, width, height, 0, format, type, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
}

std::uint32_t PanelRendererBaseOGL::CreateNearestTexture(std::int32_t internalFormat,
                                                         std::uint32_t format,
                                                         std::uint32_t type) const {
    // Its share group is the one the renderer's framebuffer recorded: both are made in Init.
    GLuint texture = 0;
    glGenTextures(1, &texture);
    DefineNearestTexture(texture, internalFormat, format, type);
    return texture;
}

boost::shared_ptr<IShader> PanelRendererBaseOGL::SamplerShader(const std::string& shaderName,
                                                               ShaderUniform unit0,
                                                               ShaderUniform unit1) {
    boost::shared_ptr<IShader> shader = ShaderRegistry::Instance().GetShader(shaderName);
    if (shader) {
        shader->Bind();
        shader->SetUniform1i(unit0, 0);
        shader->SetUniform1i(unit1, 1);
        shader->Unbind();
    }
    return shader;
}

bool PanelRendererBaseOGL::BeginDraw(std::int32_t& eyeTarget) {
    eyeTarget = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &eyeTarget);
    if (framebuffer == 0) {
        return false;
    }
    SetOpaqueState();
    return true;
}

void PanelRendererBaseOGL::SetOpaqueState() {
    context->SetBlending(false);
    context->SetDepthTest(true, IGraphicsContext::kDepthLess);
    context->SetDepthWrite(true);
}

void PanelRendererBaseOGL::BindUnits(std::uint32_t unit0Texture, std::uint32_t unit1Texture) {
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, unit1Texture);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, unit0Texture);
}

void PanelRendererBaseOGL::DrawFullScreen(std::uint32_t unit0Texture, std::uint32_t unit1Texture) {
    BindUnits(unit0Texture, unit1Texture);
    quadMesh->Draw();
}

void PanelRendererBaseOGL::EndDraw() {
    BindUnits(0, 0);
    SetOpaqueState();
}

}  // namespace STN
