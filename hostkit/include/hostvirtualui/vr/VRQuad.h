#pragma once

// The host's view of a floating interface surface in the headset: the host paints its interface
// into client memory and hands each image to the quad.

#include "hostmediatypes/PixelFormat.h"

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>

namespace hostvirtualui {
namespace vr {

// One image from the host. The layout is shared with the host and must not change.
struct QuadFrame {
    std::int32_t width;
    std::int32_t height;
    hostmediatypes::PixelFormat pixelFormat;
    std::uint32_t reserved;
    std::int32_t rowBytes;
    const void* pixels;
};

static_assert(offsetof(QuadFrame, width) == 0, "QuadFrame layout");
static_assert(offsetof(QuadFrame, height) == 4, "QuadFrame layout");
static_assert(offsetof(QuadFrame, pixelFormat) == 8 && sizeof(hostmediatypes::PixelFormat) == 8,
              "QuadFrame layout");
static_assert(offsetof(QuadFrame, reserved) == 16, "QuadFrame layout");
static_assert(offsetof(QuadFrame, rowBytes) == 20, "QuadFrame layout");
static_assert(offsetof(QuadFrame, pixels) == 24 && sizeof(QuadFrame) == 32, "QuadFrame layout");

class VRQuad {
public:
    virtual void SetVisible(bool visible) = 0;
    virtual void SetOpacity(float opacity) = 0;
    // width and height are the panel's size; frame holds the image (it may be empty).
    virtual void Update(std::uint32_t width, std::uint32_t height,
                        const boost::shared_ptr<QuadFrame>& frame) = 0;
    virtual void Closing() = 0;
    virtual ~VRQuad() = default;
};

}  // namespace vr
}  // namespace hostvirtualui
