// A painted panel's surface (IPanel::GetQuad). The host's calls on it, from any thread of its
// own (also the render thread, from a callback):
// - SetVisible, SetOpacity: the panel is drawn while its quad is visible with an opacity above 0,
//   which a new quad is not. Only that test reads the quad's opacity; IPanel::SetOpacity sets
//   the translucency. Made visible, the quad shows the last image that finished uploading.
// - Update(width, height, frame): the panel takes `width` by `height` panel pixels at its next
//   draw, whatever the image. The image, 8-bit with four bytes a pixel in host memory (B, G, R,
//   A as the examples paint it), first row at the top, rows at least four bytes a pixel apart,
//   is uploaded on the calling thread and may be reused once the call returns. One that is
//   null, empty, without pixels, with short or negative rows, or of a float or device format is
//   refused. Waits for other uploads (every quad shares one GL context) and while the render
//   thread draws the image it is about to rewrite; leaves no GL context current on the calling
//   thread. After the panel's Shutdown (or the stop that shut it down) only the size is kept.
// - Closing: recorded for IsClosing; the library does nothing else with it.
// What this class adds is the library's side of the quad, which the panel reads at each draw.
#pragma once

#include <cstdint>

#include "hostcore/threads.h"
#include "hostvirtualui/vr/VRQuad.h"

namespace STN {

class IVRQuad : public hostvirtualui::vr::VRQuad {
public:
    // The lock under which the panel's draw reads the size and the front image; holding it holds
    // up the draw.
    virtual hostcore::threads::RecursiveMutex& GetLock() = 0;
    // Set visible by the host and with an opacity above 0.
    virtual bool IsVisible() = 0;
    // As SetOpacity last gave it; 0 at first.
    virtual float GetOpacity() = 0;
    // Whether Closing has been called.
    virtual bool IsClosing() = 0;
    // The panel size the host last gave to Update; 0 before the first.
    virtual std::uint32_t GetWidth() = 0;
    virtual std::uint32_t GetHeight() = 0;
    // Lets the quad's upload texture go: later Updates keep only the size. The panel's Shutdown
    // calls it.
    virtual void Shutdown() = 0;
};

}  // namespace STN
