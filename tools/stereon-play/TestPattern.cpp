#include "TestPattern.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "Glyphs.h"
#include "VF/VideoFrame.h"
#include "hostmediatypes/PixelFormat.h"

namespace stnplay {

TestPattern::TestPattern(int width, int height, std::int64_t frameCount)
    : width(width), height(height), frameCount(frameCount) {
    base.resize(static_cast<std::size_t>(width) * height * 4);
    const double cellX = width / 24.0;   // 15 degrees of longitude
    const double cellY = height / 12.0;  // 15 degrees of latitude
    for (int y = 0; y < height; ++y) {
        const double latitude = 90.0 - (y + 0.5) * 180.0 / height;
        for (int x = 0; x < width; ++x) {
            const double longitude = (x + 0.5) * 360.0 / width - 180.0;
            std::uint8_t rgb[3];
            BackgroundColor(longitude, latitude, rgb);
            // Lines every 15 degrees, heavier every 45; the horizon and the front meridian
            // white.
            const double fx = std::fmod(x + 0.5, cellX);
            const double fy = std::fmod(y + 0.5, cellY);
            const bool line = fx < 1.0 || fy < 1.0;
            const bool heavy =
                std::fmod(x + 0.5, cellX * 3) < 2.0 || std::fmod(y + 0.5, cellY * 3) < 2.0;
            const bool axis =
                std::abs(x + 0.5 - width / 2.0) < 1.5 || std::abs(y + 0.5 - height / 2.0) < 1.5;
            if (axis) {
                rgb[0] = rgb[1] = rgb[2] = 255;
            } else if (heavy || line) {
                const int shade = heavy ? 40 : 90;
                for (int c = 0; c < 3; ++c) {
                    rgb[c] = static_cast<std::uint8_t>(rgb[c] * shade / 100);
                }
            }
            std::uint8_t* texel = &base[(static_cast<std::size_t>(y) * width + x) * 4];
            texel[0] = rgb[2];
            texel[1] = rgb[1];
            texel[2] = rgb[0];
            texel[3] = 255;
        }
    }
    const int scale = std::max(1, height / 64);
    const int labelY = height / 2 - height / 12;
    DrawText(base, "FRONT", width / 2, labelY, scale);
    DrawText(base, "RIGHT", width * 3 / 4, labelY, scale);
    DrawText(base, "LEFT", width / 4, labelY, scale);
    DrawText(base, "BACK", width / 16, labelY, scale);
    DrawText(base, "BACK", width - width / 16, labelY, scale);
    for (int i = 0; i < 4; ++i) {
        DrawText(base, "UP", width / 8 + i * width / 4, height / 12, scale);
        DrawText(base, "DOWN", width / 8 + i * width / 4, height - height / 12, scale);
    }
}

void TestPattern::BackgroundColor(double longitude, double latitude, std::uint8_t rgb[3]) {
    // Front green, right red, back grey, left blue; lighter towards up, darker towards down.
    const double turn = std::fmod(longitude + 405.0, 360.0);  // 0 at -45 degrees
    static const double kColors[4][3] = {
        {60, 150, 70}, {170, 60, 55}, {110, 110, 110}, {55, 80, 170}};
    const double* color = kColors[static_cast<int>(turn / 90.0) % 4];
    const double light = latitude / 90.0;  // -1 .. 1
    for (int c = 0; c < 3; ++c) {
        double value = color[c];
        value = light > 0 ? value + (255 - value) * light * 0.6 : value * (1.0 + light * 0.6);
        rgb[c] = static_cast<std::uint8_t>(std::lround(value));
    }
}

void TestPattern::DrawText(std::vector<std::uint8_t>& bgra, const char* text, int centerX,
                           int centerY, int scale) const {
    TextStyle style;
    style.scale = scale;
    // The outline keeps the text readable on every colour.
    style.outline = true;
    stnplay::DrawText(bgra.data(), width, height, static_cast<std::size_t>(width) * 4, text,
                      centerX - TextWidth(text, scale) / 2, centerY - 7 * scale / 2, style);
}

bool TestPattern::Next(hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) {
    if (frameCount >= 0 && next >= frameCount) {
        return false;
    }
    hostcore::classref::InterfaceRef<MF::IVideoFrame> created;
    if (VF::CreateHostVideoFrame(created, hostmediatypes::kPixelFormat_ARGB_4444_8u, width,
                                 height) != VF::kCreateResult_OK) {
        return false;
    }
    const auto memory = created.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    const auto pixels = created.QueryInterface<VF::IVideoFrameMemoryAccess>();
    if (!memory || !pixels) {
        return false;
    }
    std::vector<std::uint8_t> picture = base;
    char number[32];
    std::snprintf(number, sizeof number, "%lld", static_cast<long long>(next));
    const int scale = std::max(1, height / 96);
    DrawText(picture, number, width / 2, height / 2 + height / 14, scale);
    std::uint8_t* rows = static_cast<std::uint8_t*>(pixels->GetPixels());
    const int rowBytes = memory->GetRowBytes();
    // Host frames are stored bottom row first.
    for (int y = 0; y < height; ++y) {
        std::memcpy(rows + static_cast<std::size_t>(height - 1 - y) * rowBytes,
                    &picture[static_cast<std::size_t>(y) * width * 4],
                    static_cast<std::size_t>(width) * 4);
    }
    frame = created;
    ++next;
    return true;
}

}  // namespace stnplay
