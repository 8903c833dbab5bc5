// What the upload checks on a host frame before it reads a byte of it. Apart from the uploader,
// which needs a GL context, so that the checks can be tested and fuzzed on their own.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hostmediatypes/PixelFormat.h"

namespace STN {

// The ten device-memory formats the GPU road takes.
bool IsGPUPixelFormat(hostmediatypes::PixelFormat format);

// How UploadCpuFrame reads a frame: not at all, straight from host memory (8-bit 'argb', taken
// by its code), or back from a device buffer through host memory (the GPU formats).
enum class CpuFrameRoad { kRefused, kHostMemory, kReadBack };

// The road for a frame of this size and format. Empty frames are refused.
CpuFrameRoad ChooseCpuFrameRoad(std::int32_t width, std::int32_t height,
                                hostmediatypes::PixelFormat format);

// Whether GL may read a host-memory frame's rows: there are pixels, the rows run top-down, the
// texture can take them (TextureOGL::UnpackRowLength), and the frame's memory holds all of them.
bool HostFrameRowsReadable(std::int32_t width, std::int32_t height,
                           hostmediatypes::PixelFormat format, std::int32_t rowBytes,
                           const void* pixels, std::size_t sizeInBytes);

// Bytes a GPU frame's read-back copies into host memory: its rows times its height; 0 when it
// cannot be read back (no buffer, rows that do not run top-down, or rows the texture cannot
// take from host memory).
std::size_t ReadBackBytes(std::int32_t width, std::int32_t height,
                          hostmediatypes::PixelFormat format, std::int32_t rowBytes,
                          const void* deviceBuffer);

}  // namespace STN
