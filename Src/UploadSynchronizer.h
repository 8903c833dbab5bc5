// The hand-over of one video frame from the uploading host thread to the render thread: two
// textures used by index, and one flag instead of a queue, so at most one frame is in flight.
#pragma once

#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <atomic>
#include <cstdint>

#include "hostmediatypes/PixelAspectRatio.h"

namespace GB {
class CompletionEvent;
}

namespace STN {

class ITexture;

// Index of a frame's sub-rectangle: 0 whole frame, 1 and 2 over-under left and right, 3 and 4
// side-by-side left and right.
typedef std::int32_t EyeRegion;

// Every field but `pending` is accessed under the render thread's frameMutex. A writer's first
// look at `pending` is made without it, so that a frame arriving while the last one waits is
// dropped without waiting for a whole frame's drawing. Only the upload path writes the texture
// at backIndex, and only while `pending` is clear; only the render thread swaps.
class UploadSynchronizer {
public:
    std::atomic<bool> pending{false};
    bool verticalFlip = false;
    bool redBlueSwap = false;
    bool showPlaceholder = false;
    bool theaterMode = false;
    EyeRegion leftRegion = 0;
    EyeRegion rightRegion = 0;
    boost::shared_ptr<ITexture> videoTextures[2];
    std::uint32_t frontIndex = 0;
    std::uint32_t backIndex = 1;
    std::uint32_t horizontalFov = 0;
    std::uint32_t verticalFov = 0;
    hostmediatypes::PixelAspectRatio pixelAspectRatio = hostmediatypes::kPixelAspectRatio_Square;
    // Completion of the GPU copy into the back texture; empty when there was none to wait for.
    boost::shared_ptr<GB::CompletionEvent> uploadEvent;
    // What the host asked of the picture since the render thread's last pass; the render thread
    // applies it before it takes a frame over, so a frame published since still decides.
    bool placeholderRequested = false;
    boost::optional<bool> theaterRequested;

    // Starts over with two new textures, the first one in front.
    void Reset(const boost::shared_ptr<ITexture>& first, const boost::shared_ptr<ITexture>& second);
    // Frees both textures (a context of their share group must be current) and forgets any
    // pending frame.
    void ReleaseTextures();

    // The render thread's take-over: when a frame is pending and its copy has finished, swaps
    // the indices, forgets the event, clears `pending` and returns true; the published fields
    // then describe the new front texture. Never waits for the copy.
    bool TakeOverFrame();

    const boost::shared_ptr<ITexture>& FrontTexture() const { return videoTextures[frontIndex]; }
};

}  // namespace STN
