#include <GL/glew.h>

#include "OpenGL/WeightedAverageBlendingPanelRendererOGL.h"

#include "IGraphicsContext.h"
#include "IShader.h"
#include "OpenGL/GLObjects.h"
#include "PanelGraphics.h"
#include "ShaderRegistry.h"

namespace STN {

WeightedAverageBlendingPanelRendererOGL::~WeightedAverageBlendingPanelRendererOGL() {
    Release();
}

void WeightedAverageBlendingPanelRendererOGL::Init(
    const boost::shared_ptr<IGraphicsContext>& newContext) {
    BeginInit(newContext);
    GLint eyeTarget = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &eyeTarget);

    CreateFramebuffer();
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    accumTexture = CreateNearestTexture(GL_RGBA16F, GL_RGB, GL_UNSIGNED_BYTE);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, accumTexture, 0);
    revealageTexture = CreateNearestTexture(GL_R16F, GL_RGB, GL_UNSIGNED_BYTE);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1, revealageTexture, 0);
    depthTexture = CreateNearestTexture(GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, depthTexture, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(eyeTarget));
    glBindTexture(GL_TEXTURE_2D, 0);

    ShaderRegistry& registry = ShaderRegistry::Instance();
    pass1Shader = registry.GetShader("WABpass1PanelShader");
    pass2Shader = registry.GetShader("WABpass2PanelShader");
    pass3Shader = SamplerShader("WABpass3Shader", kUniformWABAccumTex, kUniformWABRevealageTex);
    quadMesh = panelgraphics::BuildFullScreenQuad(context);
}

void WeightedAverageBlendingPanelRendererOGL::ReleaseShaders() {
    pass1Shader.reset();
    pass2Shader.reset();
    pass3Shader.reset();
}

void WeightedAverageBlendingPanelRendererOGL::DeleteTextures() {
    globjects::DeleteName(GLObjectKind::kTexture, accumTexture, group);
    globjects::DeleteName(GLObjectKind::kTexture, revealageTexture, group);
    globjects::DeleteName(GLObjectKind::kTexture, depthTexture, group);
}

void WeightedAverageBlendingPanelRendererOGL::Draw(const Matrix4& viewProjection) {
    GLint eyeTarget = 0;
    if (!BeginDraw(eyeTarget)) {
        return;
    }
    // Opaque fragments, straight into the eye.
    pass1Shader->Bind();
    drawCallback(viewProjection, pass1Shader, 0, userData);
    pass1Shader->Unbind();

    // The eye's depth, opaque panels included, so that hidden surfaces stay hidden.
    glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(eyeTarget));
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
    glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_DEPTH_BUFFER_BIT, GL_NEAREST);

    // Translucent fragments: a weighted sum of colour, a product of transparencies.
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    context->SetDepthTest(true, IGraphicsContext::kDepthLess);
    context->SetDepthWrite(false);
    context->SetBlending(true);
    glBlendFunci(0, GL_ONE, GL_ONE);
    glBlendFunci(1, GL_ZERO, GL_ONE_MINUS_SRC_COLOR);
    static const GLenum kBoth[2] = {GL_COLOR_ATTACHMENT0, GL_COLOR_ATTACHMENT1};
    glDrawBuffers(2, kBoth);
    static const GLfloat kNothing[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    static const GLfloat kClear[4] = {1.0f, 1.0f, 1.0f, 1.0f};
    glClearBufferfv(GL_COLOR, 0, kNothing);
    glClearBufferfv(GL_COLOR, 1, kClear);
    pass2Shader->Bind();
    drawCallback(viewProjection, pass2Shader, 1, userData);
    pass2Shader->Unbind();

    // Resolved over the eye.
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(eyeTarget));
    context->SetDepthTest(false, IGraphicsContext::kDepthLess);
    context->SetDepthWrite(false);
    context->SetBlending(true);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    static const GLenum kFirst[1] = {GL_COLOR_ATTACHMENT0};
    glDrawBuffers(1, kFirst);
    pass3Shader->Bind();
    DrawFullScreen(accumTexture, revealageTexture);
    pass3Shader->Unbind();
    EndDraw();
}

}  // namespace STN
