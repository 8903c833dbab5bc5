// The panels in the headset (IStereonService::GetPanelManager, empty when not running). A
// manager belongs to one run: its panels are shut down when the last reference to it goes,
// normally at the stop; a host that holds it past the stop keeps them, GL objects and all, until
// it lets go. Panels stay listed until then, also after their own Shutdown.
//
// Creating a panel builds its graphics on the calling thread and needs the render context
// current there: call CreatePanel on the render thread, from one of the callbacks it makes (the
// head pose callback, say). The context is current in those callbacks unless an earlier call of
// the same pass left none current (a quad's Update, UpdateVideoTexture). Made anywhere else, a
// panel is listed and answers ray tests but has no quad and draws nothing. CreateStaticPanel
// works on any thread. Every call but Draw may come from any thread and waits for a draw under
// way. Each eye draws the panels made with `depthComposited` false first, the one with the
// greater draw order first (so the smaller covers), then the depth-composited ones, composited
// by depth by the strategy the "VidariumVR.PanelDrawMode" key picks (without one: blended in
// draw order, with depth).
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

#include "StereonTypes.h"

namespace STN {

class IPanel;

class IVRPanelManager {
public:
    // Never empty. "EquirectPanel_EquirectWindow" makes the video window panel, which shows the
    // current video under the host's pixels; only the first one a run made is fed the video,
    // even once it is shut down. Any other name makes a painted panel. Names need not be unique.
    // A panel pixel is `scale` millimetres. A panel made without the render context current takes
    // none of the last three arguments (its ray test works at scale 1).
    virtual boost::shared_ptr<IPanel> CreatePanel(const std::string& name, float scale,
                                                  bool depthComposited,
                                                  std::uint32_t drawOrder) = 0;
    // Does nothing.
    virtual void Refresh() = 0;
    // Render thread only. The library calls it once an eye; a host has no need to.
    virtual void Draw(const Matrix4& viewProjection) = 0;
    // Never empty. A panel of one fixed image, without a quad: `height` rows of `bytesPerRow`
    // bytes, 8-bit B, G, R, A, first row at the top, copied before the call returns. On the
    // render thread the image goes up at once; elsewhere at the panel's first draw, and until
    // then the panel takes neither the image's size nor the last three arguments (its ray test
    // sees one pixel at scale 1). A null or empty image, or rows shorter than `width` * 4 bytes,
    // give a panel that draws nothing.
    virtual boost::shared_ptr<IPanel> CreateStaticPanel(const std::string& name,
                                                        std::uint32_t width, std::uint32_t height,
                                                        std::uint32_t bytesPerRow,
                                                        const void* pixels, float scale,
                                                        bool depthComposited,
                                                        std::uint32_t drawOrder) = 0;
    // The first panel made with the name, shut down or not; empty if none.
    virtual boost::shared_ptr<IPanel> FindPanel(const std::string& name) = 0;
    // While enabled, each panel's next SetTransform lifts a placement below y 0.2 m to it and
    // pulls one behind `limit`.z + 0.2 m forward to it (`limit` is the theater screen); a placement
    // exactly on a limit stays. The library sets it, over what the host set, as the
    // theater room comes and goes.
    virtual void SetPanelLimit(const bool& enabled, const Vector3& limit) = 0;

protected:
    // Not deleted through this interface.
    ~IVRPanelManager() = default;
};

}  // namespace STN
