#include "VideoFramePanel.h"

#include <atomic>

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IShader.h"
#include "ITexture.h"
#include "PanelGraphics.h"
#include "ShaderRegistry.h"

namespace STN {

namespace {

// Differs also when either value is NaN.
bool Differs(const float a[4], const std::array<float, 4>& b) {
    for (int i = 0; i < 4; ++i) {
        if (!(a[i] == b[static_cast<std::size_t>(i)])) {
            return true;
        }
    }
    return false;
}

// The window whose values the video programs hold. The programs are the registry's, one for all
// windows: a second window (a host may make two of the name) sets its own values on them, and
// the first must set its own again before it draws. Only compared, never followed: a window
// made at a freed one's address starts with its values to set anyway.
std::atomic<const VideoFramePanel*> lastToSetValues{nullptr};

}  // namespace

bool VideoFramePanel::Initialize(const boost::shared_ptr<IGraphicsContext>& newContext,
                                 const boost::shared_ptr<IGraphicsContext>& quadContext,
                                 float newScale, bool composited, std::uint32_t order) {
    const bool made = Panel::Initialize(newContext, quadContext, newScale, composited, order);
    context = newContext;
    uniformsDirty = true;
    // Without the render context current here nothing can be built, shaders included.
    if (made) {
        videoShader = ShaderRegistry::Instance().GetShader("EquirectPanelShader");
        // A tenth of a millimetre behind the panel, with v rising upwards as the video's does.
        videoMesh = panelgraphics::BuildQuad(newContext, "EquirectPanelMesh_" + name, newScale,
                                             -0.0001f, false);
    }
    return made;
}

void VideoFramePanel::SetContentRect(const std::int32_t rect[4]) {
    DrawLockScope lock(*this, "VideoFramePanel::SetContentRect");
    for (std::size_t i = 0; i < 4; ++i) {
        contentRect[i] = rect[i];
    }
}

void VideoFramePanel::SetVideoTexture(const boost::shared_ptr<ITexture>& newTexture,
                                      const float newSubRect[4], const float newUVSubRect[4],
                                      bool flip, bool swap) {
    // The scene feeds the window outside the manager's draw; a host may shut it down meanwhile.
    DrawLockScope lock(*this, "VideoFramePanel::SetVideoTexture");
    if (!quad) {
        return;
    }
    const bool textureChanged = newTexture != videoTexture;
    if (textureChanged || flip != flipVertical || swap != swapRedBlue ||
        Differs(newSubRect, subRect) || Differs(newUVSubRect, uvSubRect)) {
        uniformsDirty = true;
    }
    if (textureChanged && newTexture) {
        // Compared with the base shader's name, which is never the rectangle one: a rectangle
        // texture brings in the rectangle shader, and it stays for later ordinary textures.
        const bool wasRectangle = shader && shader->GetName() == "EquirectPanelShader_Rectangle";
        const bool isRectangle = newTexture->IsRectangle();
        if (wasRectangle != isRectangle) {
            videoShader = ShaderRegistry::Instance().GetShader(
                isRectangle ? "EquirectPanelShader_Rectangle" : "EquirectPanelShader");
        }
    }
    videoTexture = newTexture;
    for (std::size_t i = 0; i < 4; ++i) {
        subRect[i] = newSubRect[i];
        uvSubRect[i] = newUVSubRect[i];
    }
    flipVertical = flip;
    swapRedBlue = swap;
}

void VideoFramePanel::Draw(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& given) {
    if (!PrepareDraw()) {
        return;
    }
    // DrawQuad ends the hold on the quad's image; this covers a video draw that throws first.
    struct EndOfDraw {
        VideoFramePanel& panel;
        ~EndOfDraw() { panel.EndHold(); }
    } end{*this};
    const Matrix4 matrix = ComputeMatrix(viewProjection);
    const bool own = !given;
    IShader* program = own ? videoShader.get() : given.get();
    if (program != nullptr && videoMesh) {
        if (own) {
            program->Bind();
            if (uniformsDirty || lastToSetValues.load() != this) {
                program->SetUniform1i(kUniformEquirectTexture0, 0);
                program->SetUniform1i(kUniformEquirectVerticalFlip, flipVertical ? 1 : 0);
                program->SetUniform1i(kUniformEquirectRedBlueSwap, swapRedBlue ? 1 : 0);
                program->SetUniform4f(kUniformEquirectSubRect, subRect[0], subRect[1], subRect[2],
                                      subRect[3]);
                program->SetUniform4f(kUniformEquirectUVSubRect, uvSubRect[0], uvSubRect[1],
                                      uvSubRect[2], uvSubRect[3]);
                if (videoTexture && videoTexture->IsRectangle()) {
                    program->SetUniform2f(kUniformEquirectFrameSize,
                                          static_cast<float>(videoTexture->GetWidth()),
                                          static_cast<float>(videoTexture->GetHeight()));
                }
                uniformsDirty = false;
                lastToSetValues = this;
            }
            if (context) {
                context->SetBlending(true);
                context->SetDepthTest(true, IGraphicsContext::kDepthLessEqual);
            }
        }
        Matrix4 shift = Matrix4::Identity();
        shift.Translate(static_cast<float>(contentRect[0]) * 0.001f,
                        static_cast<float>(contentRect[1]) * 0.001f, 0.0f);
        const Matrix4 videoMatrix = matrix * shift;
        program->SetUniformMatrix4(kUniformEquirectMatrix, videoMatrix.m);
        if (videoTexture) {
            program->SetUniform4f(kUniformEquirectColor, 1.0f, 1.0f, 1.0f, 1.0f);
        } else {
            // No frame: the rectangle is opaque black.
            program->SetUniform4f(kUniformEquirectColor, 0.0f, 0.0f, 0.0f, 1.0f);
        }
        program->SetUniform2f(kUniformEquirectSize, static_cast<float>(contentRect[2]) * 0.001f,
                              static_cast<float>(contentRect[3]) * 0.001f);
        if (videoTexture) {
            videoTexture->Bind();
        }
        videoMesh->Draw();
        if (videoTexture) {
            videoTexture->Unbind();
        }
        if (own) {
            program->Unbind();
        }
    }
    // The host's pixels over the video.
    DrawQuad(viewProjection, given);
    if (own && context) {
        context->SetBlending(false);
        context->SetDepthTest(true, IGraphicsContext::kDepthLess);
    }
}

void VideoFramePanel::Shutdown() {
    DrawLockScope lock(*this, "VideoFramePanel::Shutdown");
    videoTexture.reset();
    videoMesh.reset();
    videoShader.reset();
    context.reset();
    Panel::Shutdown();
}

}  // namespace STN
