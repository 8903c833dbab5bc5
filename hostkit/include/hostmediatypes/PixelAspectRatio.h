#pragma once

#include <cstdint>

namespace hostmediatypes {

// Width of a pixel over its height, as a fraction.
struct PixelAspectRatio {
    std::int32_t numerator = 1;
    std::int32_t denominator = 1;

    // A zero or negative term reads as square.
    constexpr double AsDouble() const {
        return (numerator > 0 && denominator > 0)
                   ? static_cast<double>(numerator) / static_cast<double>(denominator)
                   : 1.0;
    }
    friend constexpr bool operator==(const PixelAspectRatio& a, const PixelAspectRatio& b) {
        return a.numerator == b.numerator && a.denominator == b.denominator;
    }
    friend constexpr bool operator!=(const PixelAspectRatio& a, const PixelAspectRatio& b) {
        return !(a == b);
    }
};

constexpr PixelAspectRatio kPixelAspectRatio_Square{1, 1};

}  // namespace hostmediatypes
