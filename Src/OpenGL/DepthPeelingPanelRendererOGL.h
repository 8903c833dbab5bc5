// Composites translucent panels that intersect or overlap in depth: draws them into three layers,
// each holding the nearest surface behind the one before, and blends the layers back to front
// onto the eye's target, depth-tested against what the eye already holds.
#pragma once

#include <cstdint>
#include <vector>

#include "OpenGL/PanelRendererBaseOGL.h"

namespace STN {

class DepthPeelingPanelRendererOGL : public PanelRendererBaseOGL {
public:
    DepthPeelingPanelRendererOGL();
    ~DepthPeelingPanelRendererOGL() override;

    // The layers take the size of the current viewport, once.
    void Init(const boost::shared_ptr<IGraphicsContext>& context) override;
    void Draw(const Matrix4& viewProjection) override;

private:
    void ReleaseShaders() override;
    void DeleteTextures() override;
    void AttachLayer(std::size_t layer);

    std::uint32_t peelCount;
    std::vector<std::uint32_t> depthTextures;
    std::vector<std::uint32_t> colorTextures;
    boost::shared_ptr<IShader> peelShader;
    boost::shared_ptr<IShader> compositingShader;
};

}  // namespace STN
