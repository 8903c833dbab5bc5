// A tiny bitmap font for the pictures stereon-play paints itself: 5 x 7 glyphs, capitals,
// digits and the punctuation of file names and time codes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace stnplay {

// How a line of text is drawn into B, G, R, A rows.
struct TextStyle {
    int scale = 1;                               // glyph dots are scale x scale pixels
    std::uint8_t ink[4] = {250, 250, 250, 255};  // B, G, R, A
    bool outline = false;                        // a dark pixel around each dot
    std::uint8_t outlineInk[4] = {20, 20, 20, 255};
};

// The width in pixels of `text` at `scale`.
int TextWidth(const std::string& text, int scale);

// Draws `text` with its top left corner at (left, top), clipped to the image. Small letters
// are drawn as capitals, anything without a glyph as '?' and spaces as gaps.
void DrawText(std::uint8_t* bgra, int width, int height, std::size_t rowBytes,
              const std::string& text, int left, int top, const TextStyle& style);

}  // namespace stnplay
