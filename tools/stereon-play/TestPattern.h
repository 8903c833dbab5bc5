// The built-in picture: an equirectangular grid whose directions are labelled (FRONT in the
// middle, RIGHT a quarter turn right of it, BACK at both edges, LEFT, UP at the top, DOWN at
// the bottom), with the frame number under FRONT so that a person sees it play.
#pragma once

#include <cstdint>
#include <vector>

#include "FrameSource.h"

namespace stnplay {

class TestPattern : public FrameSource {
public:
    TestPattern(int width, int height, std::int64_t frameCount);

    bool Next(hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) override;
    double FrameRate() const override { return 30.0; }
    std::int64_t FrameCount() const override { return frameCount; }
    SourceLayout Layout() const override {
        SourceLayout layout;
        layout.projection = "equirect";
        layout.layout = "mono";
        layout.horizontalFov = 360;
        layout.verticalFov = 180;
        return layout;
    }
    std::string Name() const override { return "test pattern"; }

    // The background colour (R, G, B) of the pattern around a direction: longitude in degrees
    // (0 front, +90 right) and latitude (+90 up).
    static void BackgroundColor(double longitude, double latitude, std::uint8_t rgb[3]);

private:
    void DrawText(std::vector<std::uint8_t>& bgra, const char* text, int centerX, int centerY,
                  int scale) const;

    int width;
    int height;
    std::int64_t frameCount;
    std::int64_t next = 0;
    std::vector<std::uint8_t> base;  // B, G, R, A rows
};

}  // namespace stnplay
