// The video window: a painted panel that shows the current video frame in a rectangle of itself,
// under the host's pixels. The scene hands it the frame in each eye.
#pragma once

#include <array>

#include "Panel.h"

namespace STN {

class VideoFramePanel : public Panel {
public:
    explicit VideoFramePanel(const std::string& name) : Panel(name) {}

    bool Initialize(const boost::shared_ptr<IGraphicsContext>& context,
                    const boost::shared_ptr<IGraphicsContext>& quadContext, float scale,
                    bool depthComposited, std::uint32_t drawOrder) override;
    // The frame's texture (empty: a black rectangle), the part of it to show and where that
    // sits in the panel's rectangle, as the equirectangular panel shader takes them.
    virtual void SetVideoTexture(const boost::shared_ptr<ITexture>& texture,
                                 const float newSubRect[4], const float newUVSubRect[4], bool flip,
                                 bool swap);

    // x, y, width, height in panel pixels.
    void SetContentRect(const std::int32_t rect[4]) override;
    void Draw(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& shader) override;
    void Shutdown() override;

private:
    boost::shared_ptr<ITexture> videoTexture;
    std::array<float, 4> subRect = {{0.0f, 0.0f, 0.0f, 0.0f}};
    std::array<float, 4> uvSubRect = {{0.0f, 0.0f, 0.0f, 0.0f}};
    bool flipVertical = false;
    bool swapRedBlue = false;
    boost::shared_ptr<IMesh> videoMesh;
    std::array<std::int32_t, 4> contentRect = {{0, 0, 0, 0}};
    bool uniformsDirty = true;
    boost::shared_ptr<IShader> videoShader;
    boost::shared_ptr<IGraphicsContext> context;
};

}  // namespace STN
