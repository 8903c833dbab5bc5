// A flat rectangle floating in the room that shows what the host paints. One panel pixel is one
// millimetre at scale 1. Every call may come from any thread; a panel of the manager waits for a
// draw under way to end, and the next draw sees the new values.
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
    // the placement is kept above the floor and in front of the screen.
    virtual void SetTransform(const Matrix4& transform, bool absolute) = 0;
    virtual Matrix4 GetOffsetTransform() = 0;
    virtual Matrix4 GetTransform() = 0;
    // 0 hides the panel; taken as given, not clamped.
    virtual void SetOpacity(float opacity) = 0;
    virtual float GetOpacity() = 0;
    // A tint multiplied into the panel's pixels; not clamped.
    virtual void SetColor(float red, float green, float blue) = 0;
    // The size in panel pixels. A painted panel takes its size from its quad at each draw.
    virtual void SetSize(std::uint32_t width, std::uint32_t height) = 0;
    // Where the video goes, in panel pixels (x, y, width, height); only the video window panel
    // ("EquirectPanel_EquirectWindow") uses it.
    virtual void SetContentRect(const std::int32_t rect[4]) = 0;
    virtual std::string GetName() = 0;
    // A ray in room space (origin with w 1, direction with w 0), from either side of the panel.
    // True with the distance along the ray (room metres for a unit direction) and the panel
    // pixel, x right and y down from the top, unrounded; both outputs may be null and are left
    // alone on a miss. Hidden panels answer too. The accepted band is one pixel row lower than
    // the drawn rectangle: the top row is missed and one row below the bottom edge is hit.
    virtual bool IntersectRay(const float origin[4], const float direction[4], float* distance,
                              float* pixel) = 0;
    // Frees the panel's graphics; the ray test still answers afterwards.
    virtual void Shutdown() = 0;
    // The surface the host paints into, on any thread of its own. Empty for a panel made from
    // a fixed image, and for one created where the render context is not current.
    virtual boost::shared_ptr<hostvirtualui::vr::VRQuad> GetQuad() = 0;
};

}  // namespace STN
