#include "ContactSheet.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace stnplay {

namespace {

constexpr std::uint32_t kGap = 4;

}  // namespace

void ContactSheet::Add(const EyeImage& left, const EyeImage& right) {
    if (left.rgba.empty() || right.rgba.empty() || maxMoments == 0) {
        return;
    }
    if (moments.size() == maxMoments) {
        moments.erase(moments.begin() + (maxMoments > 1 ? 1 : 0));
    }
    moments.emplace_back(left, right);
}

bool ContactSheet::Write(const std::string& path, std::string& error) const {
    if (moments.empty()) {
        error = "no moments of the run to put on the contact sheet";
        return false;
    }
    std::uint32_t cellWidth = 0;
    std::uint32_t cellHeight = 0;
    for (const auto& moment : moments) {
        cellWidth = std::max({cellWidth, moment.first.width, moment.second.width});
        cellHeight = std::max({cellHeight, moment.first.height, moment.second.height});
    }
    const std::uint32_t columns = static_cast<std::uint32_t>(moments.size());
    const std::uint32_t width = columns * cellWidth + (columns + 1) * kGap;
    const std::uint32_t height = 2 * cellHeight + 3 * kGap;
    std::vector<std::uint8_t> sheet(static_cast<std::size_t>(width) * height * 4);
    for (std::size_t i = 0; i < sheet.size(); i += 4) {
        sheet[i] = sheet[i + 1] = sheet[i + 2] = 32;
        sheet[i + 3] = 255;
    }
    for (std::uint32_t column = 0; column < columns; ++column) {
        const EyeImage* eyes[2] = {&moments[column].first, &moments[column].second};
        for (std::uint32_t row = 0; row < 2; ++row) {
            const EyeImage& eye = *eyes[row];
            const std::uint32_t left = kGap + column * (cellWidth + kGap);
            const std::uint32_t top = kGap + row * (cellHeight + kGap);
            for (std::uint32_t y = 0; y < eye.height; ++y) {
                std::memcpy(&sheet[((static_cast<std::size_t>(top) + y) * width + left) * 4],
                            &eye.rgba[static_cast<std::size_t>(y) * eye.width * 4],
                            static_cast<std::size_t>(eye.width) * 4);
            }
        }
    }
    return WritePng(path, width, height, sheet, error);
}

bool WritePng(const std::string& path, std::uint32_t width, std::uint32_t height,
              const std::vector<std::uint8_t>& rgba, std::string& error) {
    if (rgba.size() != static_cast<std::size_t>(width) * height * 4 || width == 0) {
        error = "no picture to write to " + path;
        return false;
    }
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGBA;
    if (png_image_write_to_file(&image, path.c_str(), 0, rgba.data(), 0, nullptr) == 0) {
        error = "cannot write " + path + ": " + image.message;
        return false;
    }
    return true;
}

}  // namespace stnplay
