#include <GL/glew.h>

#include "OpenGL/WeightedAverageBlendingPanelRendererOGL.h"

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IShader.h"
#include "PanelGraphics.h"
#include "ShaderRegistry.h"

namespace STN {

namespace {

const int kDepthLess = 0;

GLuint ColourTexture(GLint internalFormat, GLsizei width, GLsizei height) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, width, height, 0, GL_RGB, GL_UNSIGNED_BYTE,
                 nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    return texture;
}

}  // namespace

WeightedAverageBlendingPanelRendererOGL::~WeightedAverageBlendingPanelRendererOGL() {
    Release();
}

void WeightedAverageBlendingPanelRendererOGL::SetDrawCallback(const PanelDrawCallback& callback,
                                                              void* data) {
    drawCallback = callback;
    userData = data;
}

void WeightedAverageBlendingPanelRendererOGL::Init(
    const boost::shared_ptr<IGraphicsContext>& newContext) {
    Release();
    context = newContext;
    GLint eyeTarget = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &eyeTarget);
    GLint viewport[4] = {0, 0, 0, 0};
    glGetIntegerv(GL_VIEWPORT, viewport);
    width = viewport[2];
    height = viewport[3];

    GLuint name = 0;
    glGenFramebuffers(1, &name);
    framebuffer = name;
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    accumTexture = ColourTexture(GL_RGBA16F, width, height);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, accumTexture, 0);
    revealageTexture = ColourTexture(GL_R16F, width, height);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1, revealageTexture, 0);
    glGenTextures(1, &name);
    depthTexture = name;
    glBindTexture(GL_TEXTURE_2D, depthTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_DEPTH_COMPONENT24, width, height, 0, GL_DEPTH_COMPONENT,
                 GL_UNSIGNED_INT, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glFramebufferTexture(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, depthTexture, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(eyeTarget));
    glBindTexture(GL_TEXTURE_2D, 0);

    ShaderRegistry& registry = ShaderRegistry::Instance();
    pass1Shader = registry.GetShader("WABpass1PanelShader");
    pass2Shader = registry.GetShader("WABpass2PanelShader");
    pass3Shader = registry.GetShader("WABpass3Shader");
    if (pass3Shader) {
        pass3Shader->Bind();
        pass3Shader->SetUniform1i(kUniformWABAccumTex, 0);
        pass3Shader->SetUniform1i(kUniformWABRevealageTex, 1);
        pass3Shader->Unbind();
    }
    quadMesh = panelgraphics::BuildFullScreenQuad(context);
}

void WeightedAverageBlendingPanelRendererOGL::Release() {
    if (framebuffer == 0) {
        return;
    }
    context.reset();
    pass1Shader.reset();
    pass2Shader.reset();
    pass3Shader.reset();
    quadMesh.reset();
    const GLuint textures[3] = {accumTexture, revealageTexture, depthTexture};
    glDeleteTextures(3, textures);
    accumTexture = 0;
    revealageTexture = 0;
    depthTexture = 0;
    GLuint name = framebuffer;
    glDeleteFramebuffers(1, &name);
    framebuffer = 0;
    drawCallback.clear();
    userData = nullptr;
}

void WeightedAverageBlendingPanelRendererOGL::Draw(const Matrix4& viewProjection) {
    GLint eyeTarget = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &eyeTarget);
    if (framebuffer == 0) {
        return;
    }
    // Opaque fragments, straight into the eye.
    context->SetBlending(false);
    context->SetDepthTest(true, kDepthLess);
    context->SetDepthWrite(true);
    pass1Shader->Bind();
    drawCallback(viewProjection, pass1Shader, 0, userData);
    pass1Shader->Unbind();

    // The eye's depth, opaque panels included, so that hidden surfaces stay hidden.
    glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(eyeTarget));
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
    glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_DEPTH_BUFFER_BIT, GL_NEAREST);

    // Translucent fragments: a weighted sum of colour, a product of transparencies.
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    context->SetDepthTest(true, kDepthLess);
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
    context->SetDepthTest(false, kDepthLess);
    context->SetDepthWrite(false);
    context->SetBlending(true);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    static const GLenum kFirst[1] = {GL_COLOR_ATTACHMENT0};
    glDrawBuffers(1, kFirst);
    pass3Shader->Bind();
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, revealageTexture);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, accumTexture);
    quadMesh->Draw();
    pass3Shader->Unbind();
    glActiveTexture(GL_TEXTURE1);
    glBindTexture(GL_TEXTURE_2D, 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    context->SetBlending(false);
    context->SetDepthTest(true, kDepthLess);
    context->SetDepthWrite(true);
}

}  // namespace STN
