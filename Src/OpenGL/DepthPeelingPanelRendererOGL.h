// Composites translucent panels that intersect or overlap in depth: draws them into three layers,
// each holding the nearest surface behind the one before, and blends the layers back to front
// onto the eye's target, depth-tested against what the eye already holds.
#pragma once

#include <cstdint>
#include <vector>

#include "IPanelRenderer.h"

namespace STN {

class IMesh;

class DepthPeelingPanelRendererOGL : public IPanelRenderer {
public:
    DepthPeelingPanelRendererOGL();
    ~DepthPeelingPanelRendererOGL() override;

    std::string GetName() override { return name; }
    bool IsInitialized() override { return framebuffer != 0; }
    // The layers take the size of the current viewport, once.
    void Init(const boost::shared_ptr<IGraphicsContext>& context) override;
    // Also forgets the draw callback.
    void Release() override;
    void SetDrawCallback(const PanelDrawCallback& callback, void* data) override;
    void Draw(const Matrix4& viewProjection) override;


    DepthPeelingPanelRendererOGL(const DepthPeelingPanelRendererOGL&) = delete;
    DepthPeelingPanelRendererOGL& operator=(const DepthPeelingPanelRendererOGL&) = delete;

private:
    void AttachLayer(std::size_t layer);

    std::string name;
    std::uint32_t peelCount;
    std::vector<std::uint32_t> depthTextures;
    std::vector<std::uint32_t> colorTextures;
    std::uint32_t framebuffer = 0;
    boost::shared_ptr<IGraphicsContext> context;
    boost::shared_ptr<IShader> peelShader;
    boost::shared_ptr<IShader> compositingShader;
    boost::shared_ptr<IMesh> quadMesh;
    PanelDrawCallback drawCallback;
    void* userData = nullptr;
};

}  // namespace STN
