// Composites translucent panels without sorting them: the opaque fragments go straight to the
// eye, the translucent ones into a weighted sum and a product of their transparencies, which a
// full-screen pass resolves onto the eye.
#pragma once

#include <cstdint>

#include "OpenGL/PanelRendererBaseOGL.h"

namespace STN {

class WeightedAverageBlendingPanelRendererOGL : public PanelRendererBaseOGL {
public:
    WeightedAverageBlendingPanelRendererOGL() : PanelRendererBaseOGL("WeightedAverageBlending") {}
    ~WeightedAverageBlendingPanelRendererOGL() override;

    // Sized from the current viewport, once.
    void Init(const boost::shared_ptr<IGraphicsContext>& context) override;
    void Draw(const Matrix4& viewProjection) override;

private:
    void ReleaseShaders() override;
    void DeleteTextures() override;

    std::uint32_t accumTexture = 0;
    std::uint32_t revealageTexture = 0;
    // A single-sample copy of the eye's depth: the eye's own buffer has four samples, which a
    // framebuffer of single-sample colour cannot share.
    std::uint32_t depthTexture = 0;
    boost::shared_ptr<IShader> pass1Shader;
    boost::shared_ptr<IShader> pass2Shader;
    boost::shared_ptr<IShader> pass3Shader;
};

}  // namespace STN
