// Short videos made with FFmpeg's own mpeg4 encoder, for the demo host to play.
#pragma once

#include <cstdint>
#include <string>

namespace stntest {

struct VideoPlan {
    int width = 64;
    int height = 48;
    int frames = 12;
    int rate = 25;
    // Three horizontal bands, top to bottom, as R, G, B.
    std::uint8_t bands[3][3] = {{220, 40, 40}, {40, 200, 60}, {40, 60, 220}};
    // Metadata written to the container when set: "over-under"/"side-by-side", "equirect".
    std::string stereo;
    std::string spherical;
};

// Writes the video to `path` (the container from its extension). False with the reason.
bool WriteTestVideo(const std::string& path, const VideoPlan& plan, std::string& error);

}  // namespace stntest
