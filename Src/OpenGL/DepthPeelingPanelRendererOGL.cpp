#include <GL/glew.h>

#include "OpenGL/DepthPeelingPanelRendererOGL.h"

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IShader.h"
#include "PanelGraphics.h"
#include "ShaderRegistry.h"

namespace STN {

namespace {

const int kDepthLess = 0;

}  // namespace

DepthPeelingPanelRendererOGL::DepthPeelingPanelRendererOGL() : name("DepthPeeling"), peelCount(3) {}

DepthPeelingPanelRendererOGL::~DepthPeelingPanelRendererOGL() {
    Release();
}

void DepthPeelingPanelRendererOGL::SetDrawCallback(const PanelDrawCallback& callback, void* data) {
    drawCallback = callback;
    userData = data;
}

void DepthPeelingPanelRendererOGL::Init(const boost::shared_ptr<IGraphicsContext>& newContext) {
    Release();
    context = newContext;
    GLint viewport[4] = {0, 0, 0, 0};
    glGetIntegerv(GL_VIEWPORT, viewport);
    const GLsizei width = viewport[2];
    const GLsizei height = viewport[3];

    depthTextures.assign(peelCount, 0);
    colorTextures.assign(peelCount, 0);
    glGenTextures(static_cast<GLsizei>(peelCount), depthTextures.data());
    glGenTextures(static_cast<GLsizei>(peelCount), colorTextures.data());
    for (std::uint32_t i = 0; i < peelCount; ++i) {
        glBindTexture(GL_TEXTURE_2D, depthTextures[i]);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_DEPTH_COMPONENT, width, height, 0, GL_DEPTH_COMPONENT,
                     GL_UNSIGNED_BYTE, nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    }
    for (std::uint32_t i = 0; i < peelCount; ++i) {
        glBindTexture(GL_TEXTURE_2D, colorTextures[i]);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGB, GL_UNSIGNED_BYTE,
                     nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    GLuint name = 0;
    glGenFramebuffers(1, &name);
    framebuffer = name;

    ShaderRegistry& registry = ShaderRegistry::Instance();
    peelShader = registry.GetShader("DPPanelShader");
    if (peelShader) {
        peelShader->Bind();
        peelShader->SetUniform1i(kUniformDPTexture0, 0);
        peelShader->SetUniform1i(kUniformDPFrontDepthTex, 1);
        peelShader->Unbind();
    }
    compositingShader = registry.GetShader("DPCompositingShader");
    if (compositingShader) {
        compositingShader->Bind();
        compositingShader->SetUniform1i(kUniformDPColorTex, 0);
        compositingShader->SetUniform1i(kUniformDPDepthTex, 1);
        compositingShader->Unbind();
    }
    quadMesh = panelgraphics::BuildFullScreenQuad(context);
}

void DepthPeelingPanelRendererOGL::Release() {
    if (framebuffer == 0) {
        return;
    }
    context.reset();
    peelShader.reset();
    compositingShader.reset();
    quadMesh.reset();
    glDeleteTextures(static_cast<GLsizei>(depthTextures.size()), depthTextures.data());
    glDeleteTextures(static_cast<GLsizei>(colorTextures.size()), colorTextures.data());
    depthTextures.clear();
    colorTextures.clear();
    GLuint name = framebuffer;
    glDeleteFramebuffers(1, &name);
    framebuffer = 0;
    drawCallback.clear();
    userData = nullptr;
}

void DepthPeelingPanelRendererOGL::AttachLayer(std::size_t layer) {
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, colorTextures[layer], 0);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, depthTextures[layer], 0);
    static const GLfloat kClearColor[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    static const GLfloat kFar[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    glClearBufferfv(GL_COLOR, 0, kClearColor);
    glClearBufferfv(GL_DEPTH, 0, kFar);
}

void DepthPeelingPanelRendererOGL::Draw(const Matrix4& viewProjection) {
    GLint eyeTarget = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &eyeTarget);
    if (framebuffer == 0) {
        return;
    }
    context->SetBlending(false);
    context->SetDepthTest(true, kDepthLess);
    context->SetDepthWrite(true);

    // The nearest surfaces, each panel with its own program.
    AttachLayer(0);
    drawCallback(viewProjection, boost::shared_ptr<IShader>(), 0, userData);
    // Each further layer keeps what lies behind the layer before.
    for (std::uint32_t i = 1; i < peelCount; ++i) {
        AttachLayer(i);
        peelShader->Bind();
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_2D, depthTextures[i - 1]);
        glActiveTexture(GL_TEXTURE0);
        drawCallback(viewProjection, peelShader, i, userData);
        peelShader->Unbind();
    }

    // Back to front onto the eye, each layer at its own depth.
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(eyeTarget));
    context->SetDepthTest(true, kDepthLess);
    context->SetDepthWrite(true);
    context->SetBlending(true);
    compositingShader->Bind();
    for (std::uint32_t i = peelCount; i-- > 0;) {
        glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_2D, depthTextures[i]);
        glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, colorTextures[i]);
        quadMesh->Draw();
    }
    compositingShader->Unbind();
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    context->SetBlending(false);
    context->SetDepthTest(true, kDepthLess);
    context->SetDepthWrite(true);
}

}  // namespace STN
