// The panels in the headset. The service hands out the render thread's manager while the library
// runs (IStereonService::GetPanelManager).
//
// Creating a panel builds its graphics on the calling thread and needs the render context
// current there: call CreatePanel on the render thread, from one of the callbacks it makes (the
// head pose callback, say). Made anywhere else, a panel is listed and answers ray tests but has
// no quad and draws nothing. CreateStaticPanel works on any thread: the image is copied and goes
// to the headset at the panel's first draw. Each panel is drawn once per eye, the one with the
// greater draw order first.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

#include "StereonTypes.h"

namespace STN {

class IPanel;

class IVRPanelManager {
public:
    // "EquirectPanel_EquirectWindow" makes the video window panel, which shows the current
    // video under the host's pixels; any other name a painted panel. Names need not be unique.
    // `depthComposited` panels are composited by depth with each other; the others are blended
    // first, by draw order alone.
    virtual boost::shared_ptr<IPanel> CreatePanel(const std::string& name, float scale,
                                                  bool depthComposited,
                                                  std::uint32_t drawOrder) = 0;
    virtual void Refresh() = 0;
    // Render thread only.
    virtual void Draw(const Matrix4& viewProjection) = 0;
    // A panel of one fixed image: `height` rows of `bytesPerRow` bytes, 8-bit B, G, R, A.
    virtual boost::shared_ptr<IPanel> CreateStaticPanel(const std::string& name,
                                                        std::uint32_t width, std::uint32_t height,
                                                        std::uint32_t bytesPerRow,
                                                        const void* pixels, float scale,
                                                        bool depthComposited,
                                                        std::uint32_t drawOrder) = 0;
    // The first panel of the name; empty if none.
    virtual boost::shared_ptr<IPanel> FindPanel(const std::string& name) = 0;
    // Keeps panels placed from now on above the floor and 0.2 m in front of `limit` (the theater
    // screen); the library sets it as the room comes and goes.
    virtual void SetPanelLimit(const bool& enabled, const Vector3& limit) = 0;

protected:
    // Not deleted through this interface.
    ~IVRPanelManager() = default;
};

}  // namespace STN
