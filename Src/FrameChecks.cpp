#include "FrameChecks.h"

#include <limits>

#include "OpenGL/TextureOGL.h"

namespace STN {

namespace {

using hostmediatypes::PixelFormat;

// The one host-memory format taken: 'a', 'r', 'g', 'b' from the high byte down.
constexpr std::uint32_t kHostFrameFormatCode = 0x61726762u;

}  // namespace

bool IsGPUPixelFormat(PixelFormat format) {
    static const PixelFormat kFormats[] = {
        hostmediatypes::kPixelFormat_GPU_BGRA_4444_16f,
        hostmediatypes::kPixelFormat_GPU_BGRX_4444_16f,
        hostmediatypes::kPixelFormat_GPU_BGRA_4444_32f,
        hostmediatypes::kPixelFormat_GPU_BGRX_4444_32f,
        hostmediatypes::kPixelFormat_GPU_UV_32f,
        hostmediatypes::kPixelFormat_RGB_444_12u_PQ_709,
        hostmediatypes::kPixelFormat_RGB_444_12u_PQ_P3,
        hostmediatypes::kPixelFormat_RGB_444_12u_PQ_2020,
        hostmediatypes::kPixelFormat_RGB_444_10u_HLG,
        hostmediatypes::kPixelFormat_RGB_444_12u_HLG,
    };
    for (const PixelFormat& gpuFormat : kFormats) {
        if (format == gpuFormat) {
            return true;
        }
    }
    return false;
}

CpuFrameRoad ChooseCpuFrameRoad(std::int32_t width, std::int32_t height, PixelFormat format) {
    if (width <= 0 || height <= 0) {
        return CpuFrameRoad::kRefused;
    }
    if (IsGPUPixelFormat(format)) {
        return CpuFrameRoad::kReadBack;
    }
    return format.code == kHostFrameFormatCode ? CpuFrameRoad::kHostMemory : CpuFrameRoad::kRefused;
}

namespace {

// Whether the texture's Upload takes top-down rows `rowBytes` apart of a picture this wide.
bool TextureTakesRows(std::int32_t width, PixelFormat format, std::int32_t rowBytes) {
    std::int32_t rowLength = 0;
    return rowBytes > 0 && width > 0 &&
           TextureOGL::UnpackRowLength(format, static_cast<std::uint32_t>(width),
                                       static_cast<unsigned>(rowBytes), rowLength);
}

}  // namespace

HostFrameRows ReadableHostFrameRows(std::int32_t width, std::int32_t height, PixelFormat format,
                                    std::int32_t rowBytes, const void* pixels,
                                    std::size_t sizeInBytes) {
    const std::int64_t apart = rowBytes < 0 ? -static_cast<std::int64_t>(rowBytes) : rowBytes;
    // GL would read past the frame's rows (short) or shift them.
    if (pixels == nullptr || height <= 0 || apart > std::numeric_limits<std::int32_t>::max() ||
        !TextureTakesRows(width, format, static_cast<std::int32_t>(apart))) {
        return HostFrameRows();
    }
    // Or past the frame's memory, whose size the rows need not agree with.
    if (static_cast<std::uint64_t>(apart) * static_cast<std::uint64_t>(height) > sizeInBytes) {
        return HostFrameRows();
    }
    HostFrameRows rows;
    rows.rowBytes = static_cast<std::uint32_t>(apart);
    rows.bottomUp = rowBytes < 0;
    rows.lowest = rows.bottomUp
                      ? static_cast<const std::uint8_t*>(pixels) -
                            static_cast<std::size_t>(apart) * static_cast<std::size_t>(height - 1)
                      : pixels;
    return rows;
}

std::size_t ReadBackBytes(std::int32_t width, std::int32_t height, PixelFormat format,
                          std::int32_t rowBytes, const void* deviceBuffer) {
    if (height <= 0 || deviceBuffer == nullptr || !TextureTakesRows(width, format, rowBytes)) {
        return 0;
    }
    return static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(height);
}

bool DeviceFrameRowsUsable(std::int32_t width, PixelFormat format, std::int32_t rowBytes) {
    return width > 0 && rowBytes > 0 &&
           static_cast<std::uint64_t>(width) * hostmediatypes::pixelformat::BytesPerPixel(format) <=
               static_cast<std::uint64_t>(rowBytes);
}

}  // namespace STN
