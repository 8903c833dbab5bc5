// Composites translucent panels without sorting them: the opaque fragments go straight to the
// eye, the translucent ones into a weighted sum and a product of their transparencies, which a
// full-screen pass resolves onto the eye.
#pragma once

#include <cstdint>

#include "IPanelRenderer.h"

namespace STN {

class IMesh;

class WeightedAverageBlendingPanelRendererOGL : public IPanelRenderer {
public:
    WeightedAverageBlendingPanelRendererOGL() : name("WeightedAverageBlending") {}
    ~WeightedAverageBlendingPanelRendererOGL() override;

    std::string GetName() override { return name; }
    bool IsInitialized() override { return framebuffer != 0; }
    // Sized from the current viewport, once.
    void Init(const boost::shared_ptr<IGraphicsContext>& context) override;
    // Also forgets the draw callback.
    void Release() override;
    void SetDrawCallback(const PanelDrawCallback& callback, void* data) override;
    void Draw(const Matrix4& viewProjection) override;

    WeightedAverageBlendingPanelRendererOGL(const WeightedAverageBlendingPanelRendererOGL&) =
        delete;
    WeightedAverageBlendingPanelRendererOGL& operator=(
        const WeightedAverageBlendingPanelRendererOGL&) = delete;

private:
    std::string name;
    std::uint32_t framebuffer = 0;
    std::uint32_t accumTexture = 0;
    std::uint32_t revealageTexture = 0;
    // A single-sample copy of the eye's depth: the eye's own buffer has four samples, which a
    // framebuffer of single-sample colour cannot share.
    std::uint32_t depthTexture = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    boost::shared_ptr<IGraphicsContext> context;
    boost::shared_ptr<IShader> pass1Shader;
    boost::shared_ptr<IShader> pass2Shader;
    boost::shared_ptr<IShader> pass3Shader;
    boost::shared_ptr<IMesh> quadMesh;
    PanelDrawCallback drawCallback;
    void* userData = nullptr;
};

}  // namespace STN
