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

// Where GL reads a host-memory frame's rows from. Rows stored bottom up (negative row bytes)
// start at `pixels`, the picture's top row, and run down through memory; GL reads them from the
// lowest address, so the texture holds the picture upside down and is drawn turned over.
struct HostFrameRows {
    const void* lowest = nullptr;  // null when GL may not read the frame
    std::uint32_t rowBytes = 0;    // apart in memory, always positive
    bool bottomUp = false;
};

// The frame's rows when GL may read them: there are pixels, the texture can take rows this far
// apart (TextureOGL::UnpackRowLength), and the frame's memory holds all of them.
HostFrameRows ReadableHostFrameRows(std::int32_t width, std::int32_t height,
                                    hostmediatypes::PixelFormat format, std::int32_t rowBytes,
                                    const void* pixels, std::size_t sizeInBytes);

// Bytes a GPU frame's read-back copies into host memory: its rows times its height; 0 when it
// cannot be read back (no buffer, rows that are not stored first to last, or rows the texture
// cannot take from host memory).
std::size_t ReadBackBytes(std::int32_t width, std::int32_t height,
                          hostmediatypes::PixelFormat format, std::int32_t rowBytes,
                          const void* deviceBuffer);

// Whether a device frame's rows are stored first to last and each holds a row of the picture;
// the copies to the texture take no other.
bool DeviceFrameRowsUsable(std::int32_t width, hostmediatypes::PixelFormat format,
                           std::int32_t rowBytes);

}  // namespace STN
