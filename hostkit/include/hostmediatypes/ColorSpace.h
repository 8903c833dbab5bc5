#pragma once

#include <string>
#include <utility>

namespace hostmediatypes {
namespace color {

constexpr const char* kColorSpaceName_BT709_RGB_Full = "BT.709 RGB Full";
constexpr const char* kColorSpaceName_BT2020_RGB_Full = "BT.2020 RGB Full";

// A colour space, known by its name. The empty name means "unspecified".
class ColorSpace {
public:
    ColorSpace() = default;
    explicit ColorSpace(std::string text) : name(std::move(text)) {}

    const std::string& GetName() const { return name; }
    bool IsUnspecified() const { return name.empty(); }

    static ColorSpace BT709RGBFull() { return ColorSpace(kColorSpaceName_BT709_RGB_Full); }
    static ColorSpace BT2020RGBFull() { return ColorSpace(kColorSpaceName_BT2020_RGB_Full); }

    friend bool operator==(const ColorSpace& a, const ColorSpace& b) { return a.name == b.name; }
    friend bool operator!=(const ColorSpace& a, const ColorSpace& b) { return a.name != b.name; }

private:
    std::string name;
};

}  // namespace color
}  // namespace hostmediatypes
