#pragma once

// Pixel copies and conversions between device buffers and images, run on the device.

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>

#include "GB/Device.h"
#include "hostcore/classref.h"
#include "hostmediatypes/PixelFormat.h"

namespace GB {

// The device-memory formats as the GPU library names them.
using hostmediatypes::kPixelFormat_ARGB_4444_8u;
using hostmediatypes::kPixelFormat_BGRA_4444_8u;
using hostmediatypes::kPixelFormat_GPU_BGRA_4444_16f;
using hostmediatypes::kPixelFormat_GPU_BGRA_4444_32f;
using hostmediatypes::kPixelFormat_GPU_BGRX_4444_16f;
using hostmediatypes::kPixelFormat_GPU_BGRX_4444_32f;
using hostmediatypes::kPixelFormat_GPU_UV_32f;
using hostmediatypes::kPixelFormat_RGB_444_10u_HLG;
using hostmediatypes::kPixelFormat_RGB_444_12u_HLG;
using hostmediatypes::kPixelFormat_RGB_444_12u_PQ_2020;
using hostmediatypes::kPixelFormat_RGB_444_12u_PQ_709;
using hostmediatypes::kPixelFormat_RGB_444_12u_PQ_P3;
using hostmediatypes::kPixelFormat_RGBA_4444_8u;

// Memory a caller keeps between conversions to spare reallocation; the conversions here
// need none, so it may always be empty.
class RecycledMemory;

// Colour handling of a conversion. Components are rescaled between depths, never moved between
// colour spaces; PQ and HLG values are carried as code values. Integer targets always clamp to
// their range; float targets clamp to [0, 1] only when asked (empty parameters: they do not).
struct ColorConversionParameters {
    bool clampFloatToUnit = false;
};

// Whether the device can convert from or to `format`: 8-bit BGRA/ARGB/RGBA, 16- and 32-bit
// float BGRA/BGRX, 32-bit float UV, and the 10- and 12-bit HDR formats.
bool IsConvertiblePixelFormat(hostmediatypes::PixelFormat format);

// Converts width x height pixels between two device buffers of the device. Quality is accepted
// for the host's interface; every conversion here is exact up to rounding. With `async` the
// call returns once the work is queued. `requestor` only tags the work for diagnostics.
int PixelFormatConvert(const boost::shared_ptr<Device>& device, const void* source,
                       std::int32_t sourceRowBytes, hostmediatypes::PixelFormat sourceFormat,
                       void* target, std::int32_t targetRowBytes,
                       hostmediatypes::PixelFormat targetFormat, std::int32_t width,
                       std::int32_t height, int quality, bool async,
                       const boost::shared_ptr<RecycledMemory>& recycledMemory,
                       const boost::shared_ptr<ColorConversionParameters>& colorParameters,
                       const hostcore::classref::InterfaceID* requestor);

// Copies width x height pixels from a device buffer (starting `offset` bytes in) into a
// device image (a cl_mem image, for instance one made from a GL texture), converting to the
// image's format. With `clipToImage` a size larger than the image copies the overlap;
// without it a mismatch is refused. Rows are not turned over.
int CopyBufferToImage(const boost::shared_ptr<Device>& device, const void* buffer,
                      std::size_t offset, std::int32_t rowBytes, hostmediatypes::PixelFormat format,
                      void* image, std::int32_t width, std::int32_t height, bool clipToImage,
                      bool async);

}  // namespace GB
