// TextureOGL's format mapping and row arithmetic. They make no GL call, and live apart from the
// rest of the class so that they build and run without a GL context or loader (the fuzz
// targets take them on their own).
#include <GL/glew.h>

#include "OpenGL/TextureOGL.h"

namespace STN {

namespace {

constexpr unsigned kRowAlignment = 64;

}  // namespace

TextureFormatGL TextureOGL::MapFormat(hostmediatypes::PixelFormat format) {
    const std::uint64_t value = format.Value();
    const unsigned depthCode = static_cast<unsigned>((value >> 33) & 7u);
    const bool isFloat = ((value >> 36) & 1u) != 0;
    const bool rgbOrder = ((value >> 45) & 1u) != 0;
    if (depthCode == 0 && !isFloat && rgbOrder) {
        return {GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, 4};
    }
    if (depthCode == 3 && isFloat && !rgbOrder) {
        return {GL_RGBA16F, GL_BGRA, GL_HALF_FLOAT, 8};
    }
    if (depthCode == 5 && isFloat && !rgbOrder) {
        return {GL_RGBA32F, GL_BGRA, GL_FLOAT, 16};
    }
    // 8-bit BGRA, and every combination the mapping does not name.
    return {GL_RGBA8, GL_BGRA, GL_UNSIGNED_BYTE, 4};
}

std::uint32_t TextureOGL::RowBytesFor(hostmediatypes::PixelFormat format, std::uint32_t width) {
    const std::uint64_t bytes = static_cast<std::uint64_t>(MapFormat(format).bytesPerPixel) * width;
    return static_cast<std::uint32_t>((bytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment);
}

bool TextureOGL::UnpackRowLength(hostmediatypes::PixelFormat format, std::uint32_t width,
                                 unsigned rowBytes, std::int32_t& rowLength) {
    const TextureFormatGL gl = MapFormat(format);
    // Rows shorter than the image would make GL read past the caller's memory. GL counts a row
    // in pixels: rows that are not a whole number of them would be read shifted, each one by
    // more than the last.
    if (rowBytes != 0 && (rowBytes < static_cast<std::uint64_t>(width) * gl.bytesPerPixel ||
                          rowBytes % gl.bytesPerPixel != 0)) {
        return false;
    }
    rowLength = static_cast<std::int32_t>(rowBytes / gl.bytesPerPixel);
    return true;
}

}  // namespace STN
