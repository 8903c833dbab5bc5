// Decoding a 64-bit pixel format value. The input is the value (8 bytes, little-endian), then a
// width and a row length in bytes (4 bytes each; missing bytes read as zero). Every decoder of
// the value must agree with the layout PixelFormat.h documents and with each other: the field
// accessors, the flags encoder, the device kernels' layout code, the host stand-in's default
// rows, the upload's road choice and the texture's format mapping and row arithmetic.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include <GL/glew.h>

#include "FrameChecks.h"
#include "OpenGL/TextureOGL.h"
#include "PixelLayout.h"
#include "VF/VideoFrame.h"
#include "fuzz_input.h"
#include "hostmediatypes/PixelFormat.h"

namespace {

namespace pf = hostmediatypes::pixelformat;
using hostmediatypes::PixelFormat;

using fuzzinput::Check;

std::uint32_t Bits(std::uint64_t value, unsigned first, unsigned count) {
    return static_cast<std::uint32_t>((value >> first) & ((1u << count) - 1u));
}

// The fields as the comment at the top of PixelFormat.h places them.
void CheckFields(std::uint64_t v) {
    const PixelFormat format = PixelFormat::FromValue(v);
    Check(format.Value() == v, "value does not survive FromValue");
    Check(PixelFormat::FromValue(format.Value()) == format, "format does not survive Value");
    Check(format.code == static_cast<std::uint32_t>(v), "code is not the low word");
    Check(pf::IsDeviceFormat(format) == (Bits(v, 32, 1) != 0), "device bit");
    Check(pf::DepthCodeOf(format) == Bits(v, 33, 3), "depth code bits");
    Check(pf::IsFloat(format) == (Bits(v, 36, 1) != 0), "float bit");
    Check(pf::ComponentCount(format) == Bits(v, 37, 3) + 1, "component count bits");
    Check(pf::HasAlpha(format) == (Bits(v, 40, 1) != 0), "alpha bit");
    Check(pf::IsRGBOrder(format) == (Bits(v, 45, 1) != 0), "order bit");
    Check(pf::TransferOf(format) == Bits(v, 48, 4), "transfer bits");
    Check(pf::PrimariesOf(format) == Bits(v, 52, 4), "primaries bits");

    static const unsigned kBitsOfDepth[8] = {8, 10, 12, 16, 0, 32, 0, 0};
    const unsigned bits = kBitsOfDepth[Bits(v, 33, 3)];
    Check(pf::ComponentBits(format) == bits, "component bits");
    const unsigned bytes = pf::ComponentBytes(format);
    // The smallest container of 1, 2 or 4 bytes that holds the bits.
    Check(bits == 0 ? bytes == 0 : bytes * 8 >= bits && (bytes == 1 || bytes * 4 < bits),
          "component bytes do not hold the bits");
    Check(bytes == 0 || bytes == 1 || bytes == 2 || bytes == 4, "component bytes");
    Check(pf::BytesPerPixel(format) == (format.code == 0 ? 0 : bytes * pf::ComponentCount(format)),
          "bytes per pixel");

    // Encoding the decoded fields again gives the flags back, less the bits no field owns.
    const std::uint32_t depth = pf::DepthCodeOf(format);
    if (depth <= 3 || depth == 5) {
        const std::uint32_t known = pf::kFlagDevice | pf::kDepthMask | pf::kFlagFloat |
                                    pf::kComponentsMask | pf::kFlagAlpha | pf::kFlagRGBOrder |
                                    pf::kTransferMask | pf::kPrimariesMask;
        const std::uint32_t flags = pf::MakeFlags(
            static_cast<pf::DepthCode>(depth), pf::IsFloat(format), pf::ComponentCount(format),
            pf::HasAlpha(format), pf::IsRGBOrder(format), pf::IsDeviceFormat(format),
            static_cast<pf::Transfer>(pf::TransferOf(format)),
            static_cast<pf::Primaries>(pf::PrimariesOf(format)));
        Check(flags == (format.flags & known), "MakeFlags does not give the flags back");
    }
}

// The device kernels' packed layout: zero, or the same sizes the accessors give.
void CheckLayoutCode(PixelFormat format) {
    const std::int32_t code = GB::detail::PixelLayoutCode(format);
    const unsigned components = pf::ComponentCount(format);
    const unsigned bytes = pf::ComponentBytes(format);
    const bool convertible = format.code != 0 && bytes != 0 &&
                             (components == 2 || components == 4) &&
                             (pf::IsFloat(format) ? bytes >= 2 : bytes <= 2);
    Check((code != 0) == convertible, "layout code given to the wrong formats");
    if (code == 0) {
        return;
    }
    Check(GB::detail::LayoutBytesPerPixel(code) == pf::BytesPerPixel(format),
          "layout bytes per pixel");
    Check(GB::detail::LayoutComponentBytes(code) == bytes, "layout component bytes");
    Check(static_cast<unsigned>((code >> 16) & 63) == pf::ComponentBits(format),
          "layout significant bits");
    Check(((code & 8) != 0) == pf::IsFloat(format), "layout float bit");
    Check(((code & 0x100) != 0) == pf::IsRGBOrder(format), "layout order bit");
    Check(((code & 0x200) != 0) == pf::HasAlpha(format), "layout alpha bit");
}

// The rows the host stand-in gives its frames by default.
void CheckDefaultRows(PixelFormat format, std::int32_t width) {
    const std::int64_t packed = static_cast<std::int64_t>(pf::BytesPerPixel(format)) * width;
    const std::int32_t rowBytes = VF::DefaultRowBytes(format, width);
    if (packed <= 0 || packed + 15 > std::numeric_limits<std::int32_t>::max()) {
        Check(rowBytes == 0, "default rows for a format or width without rows");
    } else {
        Check(rowBytes % 16 == 0 && rowBytes >= packed && rowBytes < packed + 16,
              "default rows are not the pixels rounded up to 16");
    }
}

// The upload's choice of road.
void CheckRoad(PixelFormat format) {
    const bool gpu = STN::IsGPUPixelFormat(format);
    if (gpu) {
        Check(pf::IsDeviceFormat(format), "a GPU format without the device bit");
        Check(GB::detail::PixelLayoutCode(format) != 0, "a GPU format the device cannot convert");
    }
    const STN::CpuFrameRoad road = STN::ChooseCpuFrameRoad(1, 1, format);
    const STN::CpuFrameRoad expected = gpu ? STN::CpuFrameRoad::kReadBack
                                       : format.code == hostmediatypes::FourCC('a', 'r', 'g', 'b')
                                           ? STN::CpuFrameRoad::kHostMemory
                                           : STN::CpuFrameRoad::kRefused;
    Check(road == expected, "road");
    Check(STN::ChooseCpuFrameRoad(0, 1, format) == STN::CpuFrameRoad::kRefused,
          "road for an empty frame");
}

// The texture's mapping reads only the depth code, the float flag and the order flag.
void CheckTextureFormat(PixelFormat format, std::uint32_t width, std::uint32_t rowBytes) {
    const STN::TextureFormatGL gl = STN::TextureOGL::MapFormat(format);
    const PixelFormat bare(
        0, pf::MakeFlags(static_cast<pf::DepthCode>(pf::DepthCodeOf(format)), pf::IsFloat(format),
                         1, false, pf::IsRGBOrder(format), false));
    const STN::TextureFormatGL fromFields = STN::TextureOGL::MapFormat(bare);
    Check(gl.internalFormat == fromFields.internalFormat &&
              gl.transferFormat == fromFields.transferFormat &&
              gl.transferType == fromFields.transferType &&
              gl.bytesPerPixel == fromFields.bytesPerPixel,
          "texture mapping reads more than depth, float and order");
    const bool consistent =
        (gl.transferType == GL_UNSIGNED_BYTE && gl.bytesPerPixel == 4 &&
         gl.internalFormat == GL_RGBA8) ||
        (gl.transferType == GL_HALF_FLOAT && gl.bytesPerPixel == 8 &&
         gl.internalFormat == GL_RGBA16F) ||
        (gl.transferType == GL_FLOAT && gl.bytesPerPixel == 16 && gl.internalFormat == GL_RGBA32F);
    Check(consistent, "texture mapping's bytes per pixel do not match its transfer type");
    Check(gl.transferFormat == GL_BGRA || gl.transferFormat == GL_RGBA, "transfer format");

    const std::uint64_t packed = static_cast<std::uint64_t>(gl.bytesPerPixel) * width;
    if (packed + 63 <= std::numeric_limits<std::uint32_t>::max()) {
        const std::uint32_t rows = STN::TextureOGL::RowBytesFor(format, width);
        Check(rows % 64 == 0 && rows >= packed && rows < packed + 64,
              "texture rows are not the pixels rounded up to 64");
    }

    // GL reads rows rowLength pixels apart (the picture's width for 0): they must be the
    // caller's rows, whole.
    std::int32_t rowLength = -1;
    if (STN::TextureOGL::UnpackRowLength(format, width, rowBytes, rowLength)) {
        Check(rowLength >= 0, "negative row length");
        const std::uint64_t stride = static_cast<std::uint64_t>(rowLength) * gl.bytesPerPixel;
        Check(rowBytes == 0 ? rowLength == 0 : stride == rowBytes,
              "GL's rows are not the caller's");
        Check(rowBytes == 0 || stride >= packed, "GL's rows are shorter than the picture");
    } else {
        Check(rowBytes != 0 && (rowBytes < packed || rowBytes % gl.bytesPerPixel != 0),
              "rows GL can read were refused");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzinput::Reader in(data, size);
    const std::uint64_t v = in.Word64();
    const std::uint32_t width = in.Word();
    const std::uint32_t rowBytes = in.Word();
    const PixelFormat format = PixelFormat::FromValue(v);
    CheckFields(v);
    CheckLayoutCode(format);
    CheckDefaultRows(format, static_cast<std::int32_t>(width));
    CheckRoad(format);
    CheckTextureFormat(format, width, rowBytes);
    return 0;
}
