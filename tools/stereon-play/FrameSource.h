// Where the frames the host plays come from.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "MF/VideoFrame.h"
#include "hostcore/classref.h"

namespace stnplay {

// What a source knows of how its pictures are meant to be seen; empty when it does not say.
struct SourceLayout {
    std::string projection;           // "equirect" or "flat"
    std::string layout;               // "mono", "over-under" or "side-by-side"
    std::uint32_t horizontalFov = 0;  // degrees; 0 when not said
    std::uint32_t verticalFov = 0;
    // The top or left half holds the right eye; the library always takes the left eye there.
    bool rightEyeFirst = false;
    // What the source says that the library cannot show, by FFmpeg's names ("cubemap",
    // "interleaved lines"); empty when nothing.
    std::string foreignProjection;
    std::string foreignStereo;
};

class FrameSource {
public:
    virtual ~FrameSource() = default;
    // The next frame as a host-memory 'argb' frame, stored as the host stores its frames: the
    // picture's bottom row first. False at the end or on a decoding error (then `Error` says
    // which).
    virtual bool Next(hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) = 0;
    virtual double FrameRate() const = 0;
    // How many frames there are to play; -1 when not known or without end.
    virtual std::int64_t FrameCount() const { return -1; }
    virtual SourceLayout Layout() const = 0;
    virtual std::string Name() const = 0;
    virtual std::string Error() const { return std::string(); }
    // What the source noticed about itself that a user should know before it plays.
    virtual std::vector<std::string> Warnings() const { return {}; }
};

}  // namespace stnplay
