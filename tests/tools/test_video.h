// Short videos made with FFmpeg's own mpeg4 encoder, for the demo host to play.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

namespace stntest {

using Rgb = std::array<std::uint8_t, 3>;

struct VideoPlan {
    int width = 64;
    int height = 48;
    int frames = 12;
    int rate = 25;
    // Three horizontal bands, top to bottom: the picture when `paint` is not set.
    Rgb bands[3] = {{220, 40, 40}, {40, 200, 60}, {40, 60, 220}};
    // The colour of pixel (x, y), top row first, the same in every frame.
    std::function<Rgb(int x, int y)> paint;
    // Stereo metadata when set: "over-under", "side-by-side" or "interleaved lines";
    // `rightEyeFirst` marks the right eye as stored first (Matroska keeps that, MP4 does not).
    std::string stereo;
    bool rightEyeFirst = false;
    // Spherical metadata when set: "equirect" or "cubemap". An equirect with any `tile` bound
    // (left, top, right, bottom: the fractions of the sphere beyond the picture's edges) is
    // written as a tile.
    std::string spherical;
    double tile[4] = {0.0, 0.0, 0.0, 0.0};
    // The shape of a pixel, width over height; 0 leaves it unset.
    int sampleAspect[2] = {0, 0};
};

// Writes the video to `path` (the container from its extension). False with the reason.
bool WriteTestVideo(const std::string& path, const VideoPlan& plan, std::string& error);

}  // namespace stntest
