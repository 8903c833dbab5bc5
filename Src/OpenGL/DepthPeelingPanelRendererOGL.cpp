#include <GL/glew.h>

#include "OpenGL/DepthPeelingPanelRendererOGL.h"

#include "IGraphicsContext.h"
#include "IShader.h"
#include "OpenGL/GLObjects.h"
#include "PanelGraphics.h"

namespace STN {

DepthPeelingPanelRendererOGL::DepthPeelingPanelRendererOGL()
    : PanelRendererBaseOGL("DepthPeeling"), peelCount(3) {}

DepthPeelingPanelRendererOGL::~DepthPeelingPanelRendererOGL() {
    Release();
}

void DepthPeelingPanelRendererOGL::Init(const boost::shared_ptr<IGraphicsContext>& newContext) {
    BeginInit(newContext);
    depthTextures.assign(peelCount, 0);
    colorTextures.assign(peelCount, 0);
    glGenTextures(static_cast<GLsizei>(peelCount), depthTextures.data());
    glGenTextures(static_cast<GLsizei>(peelCount), colorTextures.data());
    for (std::uint32_t i = 0; i < peelCount; ++i) {
        DefineNearestTexture(depthTextures[i], GL_DEPTH_COMPONENT, GL_DEPTH_COMPONENT,
                             GL_UNSIGNED_BYTE);
    }
    for (std::uint32_t i = 0; i < peelCount; ++i) {
        DefineNearestTexture(colorTextures[i], GL_RGBA, GL_RGB, GL_UNSIGNED_BYTE);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    CreateFramebuffer();

    peelShader = SamplerShader("DPPanelShader", kUniformDPTexture0, kUniformDPFrontDepthTex);
    compositingShader =
        SamplerShader("DPCompositingShader", kUniformDPColorTex, kUniformDPDepthTex);
    quadMesh = panelgraphics::BuildFullScreenQuad(context);
}

void DepthPeelingPanelRendererOGL::ReleaseShaders() {
    peelShader.reset();
    compositingShader.reset();
}

void DepthPeelingPanelRendererOGL::DeleteTextures() {
    for (std::uint32_t& texture : depthTextures) {
        globjects::DeleteName(GLObjectKind::kTexture, texture, group);
    }
    for (std::uint32_t& texture : colorTextures) {
        globjects::DeleteName(GLObjectKind::kTexture, texture, group);
    }
    depthTextures.clear();
    colorTextures.clear();
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
    if (!BeginDraw(eyeTarget)) {
        return;
    }

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
    context->SetDepthTest(true, IGraphicsContext::kDepthLess);
    context->SetDepthWrite(true);
    context->SetBlending(true);
    compositingShader->Bind();
    for (std::uint32_t i = peelCount; i-- > 0;) {
        DrawFullScreen(colorTextures[i], depthTextures[i]);
    }
    compositingShader->Unbind();
    EndDraw();
}

}  // namespace STN
