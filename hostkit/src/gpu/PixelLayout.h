#pragma once

// How the device kernels read and write a pixel format, packed into one integer.

#include <cstdint>

#include "hostmediatypes/PixelFormat.h"

namespace GB {
namespace detail {

// bits 0-2 component bytes (1, 2, 4); bit 3 float; bits 4-6 component count; bit 8 R,G,B,A
// order; bit 9 alpha present; bits 16-21 significant bits of an integer component.
// 0 means the format cannot be converted.
inline std::int32_t PixelLayoutCode(hostmediatypes::PixelFormat format) {
    namespace pf = hostmediatypes::pixelformat;
    const unsigned bytes = pf::ComponentBytes(format);
    const unsigned components = pf::ComponentCount(format);
    const bool isFloat = pf::IsFloat(format);
    if (format.code == 0 || bytes == 0 || (components != 2 && components != 4)) {
        return 0;
    }
    // Float components are 16 or 32 bits, integer ones 8 to 16.
    if ((isFloat && bytes == 1) || (!isFloat && bytes == 4)) {
        return 0;
    }
    const unsigned bits = pf::ComponentBits(format);
    return static_cast<std::int32_t>(bytes | (isFloat ? 8u : 0u) | (components << 4) |
                                     (pf::IsRGBOrder(format) ? 0x100u : 0u) |
                                     (pf::HasAlpha(format) ? 0x200u : 0u) | (bits << 16));
}

inline unsigned LayoutBytesPerPixel(std::int32_t code) {
    return static_cast<unsigned>(code & 7) * static_cast<unsigned>((code >> 4) & 7);
}

inline unsigned LayoutComponentBytes(std::int32_t code) {
    return static_cast<unsigned>(code & 7);
}

}  // namespace detail
}  // namespace GB
