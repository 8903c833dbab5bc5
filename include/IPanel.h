// A flat rectangle floating in the room that shows what the host paints (IVRPanelManager). One
// panel pixel is one millimetre at scale 1. Every call may come from any thread; all but GetName
// and GetQuad wait for a draw under way to end, and the next draw sees the new values. After its
// manager has gone (normally at the stop) a panel the host kept is shut down: it still takes
// every call and answers the ray test, but shows nothing, and no later run lists it.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

#include "StereonTypes.h"

namespace hostvirtualui {
namespace vr {
class VRQuad;
}
}  // namespace hostvirtualui

namespace STN {

class IPanel {
public:
    virtual ~IPanel() = default;
    // Kept for the next SetTransform, which folds it in unless told the transform is absolute.
    virtual void SetOffsetTransform(const Matrix4& offset) = 0;
    // Panel space (centre at the origin, x right, y up, in the plane z = 0) to room space. With
    // `absolute` false the offset acts first, in panel space. While the theater room is shown
    // (IVRPanelManager::SetPanelLimit) `transform` is first kept above the floor and in front of
    // the screen; the offset may still carry the panel past that.
    virtual void SetTransform(const Matrix4& transform, bool absolute) = 0;
    virtual Matrix4 GetOffsetTransform() = 0;
    // The placement in effect, the limit and the offset applied.
    virtual Matrix4 GetTransform() = 0;
    // Multiplies the panel's alpha; taken as given, not clamped. 0 hides a painted panel; a
    // fixed-image panel is still drawn, its pixels then dropped as transparent.
    virtual void SetOpacity(float opacity) = 0;
    virtual float GetOpacity() = 0;
    // A tint multiplied into the panel's pixels; not clamped.
    virtual void SetColor(float red, float green, float blue) = 0;
    // The size in panel pixels, 1 by 1 until set; the image is stretched over it. A painted
    // panel takes its quad's size at each draw in which it is shown, a fixed-image panel its
    // image's size when the image goes up.
    virtual void SetSize(std::uint32_t width, std::uint32_t height) = 0;
    // Where the video goes: a rectangle of rect[2] by rect[3] panel pixels whose centre lies
    // rect[0] millimetres right of and rect[1] above the panel's centre (not scaled). Only the
    // video window panel ("EquirectPanel_EquirectWindow") uses it; 0, 0, 0, 0 until set.
    virtual void SetContentRect(const std::int32_t rect[4]) = 0;
    // The name it was made with.
    virtual std::string GetName() = 0;
    // A ray in room space (origin with w 1, direction with w 0), from either side of the panel.
    // True with the distance along the ray (room metres for a unit direction) and the panel
    // pixel, x right and y down from the top, unrounded; both outputs may be null and are left
    // alone on a miss. Hidden panels answer too. The accepted band is one pixel row lower than
    // the drawn rectangle: the top row is missed and one row below the bottom edge is hit.
    virtual bool IntersectRay(const float origin[4], const float direction[4], float* distance,
                              float* pixel) = 0;
    // Frees the panel's graphics and shuts its quad down (see IVRQuad.h); the panel draws nothing
    // more but stays listed in its manager, and the ray test still answers. Repeatable. On a
    // thread where none of the library's contexts is current, the GL objects are deleted by the
    // render thread at its next pass, never in a context of the caller's.
    virtual void Shutdown() = 0;
    // The surface the host paints into, on any thread of its own (see IVRQuad.h). Empty for a
    // panel made from a fixed image, for one created where the render context is not current,
    // and after Shutdown.
    virtual boost::shared_ptr<hostvirtualui::vr::VRQuad> GetQuad() = 0;
};

}  // namespace STN
