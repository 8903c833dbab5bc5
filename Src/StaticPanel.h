// A panel of one fixed image, handed over at creation. Made on a thread without the render
// context, it keeps a copy of the image and builds its graphics at its first draw.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <vector>

#include "PanelBase.h"

namespace STN {

class IGraphicsContext;
class IMesh;
class ITexture;

class StaticPanel : public PanelBase {
public:
    struct DeferredInitArgs {
        boost::shared_ptr<IGraphicsContext> context;
        std::uint32_t width;
        std::uint32_t height;
        std::uint32_t bytesPerRow;
        float scale;
        bool depthComposited;
        std::uint32_t drawOrder;
        std::vector<std::uint8_t> pixels;
    };

    explicit StaticPanel(const std::string& name) : PanelBase(name) {}

    // `pixels` are `height` rows of `bytesPerRow` bytes, 8-bit B, G, R, A. False, and a blank
    // panel, when the context is not current, or the image is empty or its rows too short.
    virtual bool Initialize(const boost::shared_ptr<IGraphicsContext>& context, std::uint32_t width,
                            std::uint32_t height, std::uint32_t bytesPerRow, const void* pixels,
                            float scale, bool depthComposited, std::uint32_t drawOrder);
    // Copies the image; the first draw initialises. The caller may free its pixels at once.
    virtual bool DeferInitialize(const boost::shared_ptr<IGraphicsContext>& context,
                                 std::uint32_t width, std::uint32_t height,
                                 std::uint32_t bytesPerRow, const void* pixels, float scale,
                                 bool depthComposited, std::uint32_t drawOrder);

    // Drawn whatever the opacity: the shader drops what is nearly transparent.
    void Draw(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& shader) override;
    void Shutdown() override;
    boost::shared_ptr<hostvirtualui::vr::VRQuad> GetQuad() override {
        return boost::shared_ptr<hostvirtualui::vr::VRQuad>();
    }

private:
    boost::shared_ptr<IMesh> mesh;
    boost::shared_ptr<IShader> shader;
    boost::shared_ptr<ITexture> texture;
    boost::shared_ptr<DeferredInitArgs> deferredArgs;
    bool initialized = false;
};

}  // namespace STN
