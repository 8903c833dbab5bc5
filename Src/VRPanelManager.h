// Owns the panels: creates the kind a name asks for, keeps them in creation order, and draws
// them once per eye by draw order, compositing the depth-composited ones by the strategy the
// "VidariumVR.PanelDrawMode" key chose at construction (plain blending when there is none).
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "IVRPanelManager.h"
#include "hostcore/threads.h"
#include "hostcore/utility.h"

namespace STN {

class IGraphicsContext;
class IPanelRenderer;
class IShader;
class PanelBase;

class VRPanelManager : public IVRPanelManager {
public:
    VRPanelManager(const boost::shared_ptr<IGraphicsContext>& context,
                   const boost::shared_ptr<IGraphicsContext>& quadContext);
    virtual ~VRPanelManager();

    boost::shared_ptr<IPanel> CreatePanel(const std::string& name, float scale,
                                          bool depthComposited, std::uint32_t drawOrder) override;
    void Refresh() override {}
    void Draw(const Matrix4& viewProjection) override;
    boost::shared_ptr<IPanel> CreateStaticPanel(const std::string& name, std::uint32_t width,
                                                std::uint32_t height, std::uint32_t bytesPerRow,
                                                const void* pixels, float scale,
                                                bool depthComposited,
                                                std::uint32_t drawOrder) override;
    boost::shared_ptr<IPanel> FindPanel(const std::string& name) override;
    void SetPanelLimit(const bool& enabled, const Vector3& newLimit) override;
    // Shuts every panel down and lets them go; the manager blends plainly from then on.
    virtual void Clear();

    // Creation order.
    std::vector<boost::shared_ptr<PanelBase>> GetPanels();

    VRPanelManager(const VRPanelManager&) = delete;
    VRPanelManager& operator=(const VRPanelManager&) = delete;

private:
    void DrawPass(const Matrix4& viewProjection, bool depthComposited);
    // A depth-composited panel that would leave pixels in the eye.
    bool AnyCompositedPanelShows();
    static void PeelingCallback(const Matrix4& viewProjection,
                                const boost::shared_ptr<IShader>& shader, unsigned pass,
                                void* userData);
    static void WeightedCallback(const Matrix4& viewProjection,
                                 const boost::shared_ptr<IShader>& shader, unsigned pass,
                                 void* userData);
    // Draws the depth-composited panels of drawList, those of full opacity only if asked.
    void DrawComposited(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& shader,
                        bool opaqueOnly);
    void ClearLocked();

    std::vector<boost::shared_ptr<PanelBase>> panels;
    std::vector<std::int32_t, hostcore::utility::SmallBlockAllocator<std::int32_t>> drawList;
    // Shared with the panels, which take it for the host's calls; they may outlive the manager.
    boost::shared_ptr<hostcore::threads::RecursiveMutex> mutex;
    boost::shared_ptr<IGraphicsContext> context;
    boost::shared_ptr<IGraphicsContext> quadContext;
    boost::shared_ptr<IPanelRenderer> panelRenderer;
    bool limitEnabled = false;
    Vector3 limit = {0.0f, 0.0f, 0.0f};
};

}  // namespace STN
