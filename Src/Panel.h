// A panel showing what the host paints into its quad.
#pragma once

#include <boost/shared_ptr.hpp>

#include "PanelBase.h"

namespace STN {

class IGraphicsContext;
class IMesh;
class ITexture;
class VRQuadImpl;

class Panel : public PanelBase {
public:
    explicit Panel(const std::string& name) : PanelBase(name) {}
    ~Panel() override;

    // Needs `context` current on the calling thread; false otherwise, and the panel stays
    // hollow (no quad, nothing drawn).
    virtual bool Initialize(const boost::shared_ptr<IGraphicsContext>& context,
                            const boost::shared_ptr<IGraphicsContext>& quadContext, float scale,
                            bool depthComposited, std::uint32_t drawOrder);
    // Takes the quad's size and front image for this draw; false when there is nothing to show.
    virtual bool PrepareDraw();
    virtual void DrawQuad(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& shader);
    virtual Matrix4 ComputeMatrix(const Matrix4& viewProjection);

    void Draw(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& shader) override;
    // Visible to the host and with an opacity above 0; a panel without a quad never is.
    bool IsVisible() override;
    void Shutdown() override;
    boost::shared_ptr<hostvirtualui::vr::VRQuad> GetQuad() override;

protected:
    // Ends the hold PrepareDraw took on the quad's front image.
    void EndHold();
    // Shader, mesh and texture, with the render context current.
    void CreateGraphics(const boost::shared_ptr<IGraphicsContext>& context, float newScale,
                        bool composited, std::uint32_t order);

    boost::shared_ptr<IMesh> mesh;
    boost::shared_ptr<IShader> shader;
    // The front image; the quad exchanges the pointer under its lock.
    boost::shared_ptr<ITexture> texture;
    boost::shared_ptr<VRQuadImpl> quad;
    // The front image as PrepareDraw found it, drawn by DrawQuad on the render thread.
    boost::shared_ptr<ITexture> drawnTexture;
};

}  // namespace STN
