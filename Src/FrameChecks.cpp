#include "FrameChecks.h"

namespace STN {

namespace {

using hostmediatypes::PixelFormat;

// The one host-memory format taken: 'a', 'r', 'g', 'b' from the high byte down.
constexpr std::uint32_t kHostFrameFormatCode = 0x61726762u;
constexpr std::uint32_t kHostFrameBytesPerPixel = 4;

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

bool HostFrameRowsReadable(std::int32_t width, std::int32_t height, std::int32_t rowBytes,
                           const void* pixels, std::size_t sizeInBytes) {
    // GL would read past the frame's rows: rows shorter than the picture, or bottom-up.
    if (pixels == nullptr || rowBytes <= 0 || height <= 0 ||
        static_cast<std::uint64_t>(rowBytes) <
            static_cast<std::uint64_t>(width) * kHostFrameBytesPerPixel) {
        return false;
    }
    // Or past the frame's memory, whose size the rows need not agree with.
    return static_cast<std::uint64_t>(rowBytes) * static_cast<std::uint64_t>(height) <= sizeInBytes;
}

std::size_t ReadBackBytes(std::int32_t height, std::int32_t rowBytes, const void* deviceBuffer) {
    if (rowBytes <= 0 || height <= 0 || deviceBuffer == nullptr) {
        return 0;
    }
    return static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(height);
}

}  // namespace STN
