#pragma once

// Pixel formats as the host names them: a four-character code and a word of flags.
//
// The 64-bit value is (flags << 32) | code, so the flags word holds bits 32 to 63:
//   bit 32      the pixels live in device (GPU) memory
//   bits 33-35  depth code: 0 8-bit, 1 10-bit, 2 12-bit, 3 16-bit, 5 32-bit
//   bit 36      components are floating point
//   bits 37-39  component count minus one
//   bit 40      the last component is alpha (otherwise padding, read as opaque)
//   bit 45      components are stored R, G, B, A instead of B, G, R, A
//   bits 48-51  transfer characteristic (see kTransfer_*)
//   bits 52-55  colour primaries (see kPrimaries_*)
// Components are stored in the order the name gives, lowest address first; 10- and 12-bit
// values sit in the low bits of 16-bit containers. The one exception is ARGB_4444_8u: native
// 32-bit ARGB words, which on a little-endian machine are the bytes B, G, R, A.

#include <cstdint>

namespace hostmediatypes {

struct PixelFormat {
    std::uint32_t code = 0;  // four characters, the first in the high byte
    std::uint32_t flags = 0;

    constexpr PixelFormat() = default;
    constexpr PixelFormat(std::uint32_t code_, std::uint32_t flags_) : code(code_), flags(flags_) {}

    constexpr std::uint64_t Value() const {
        return (static_cast<std::uint64_t>(flags) << 32) | code;
    }
    static constexpr PixelFormat FromValue(std::uint64_t value) {
        return PixelFormat(static_cast<std::uint32_t>(value),
                           static_cast<std::uint32_t>(value >> 32));
    }

    friend constexpr bool operator==(const PixelFormat& a, const PixelFormat& b) {
        return a.code == b.code && a.flags == b.flags;
    }
    friend constexpr bool operator!=(const PixelFormat& a, const PixelFormat& b) {
        return !(a == b);
    }
    friend constexpr bool operator<(const PixelFormat& a, const PixelFormat& b) {
        return a.code != b.code ? a.code < b.code : a.flags < b.flags;
    }
};

constexpr std::uint32_t FourCC(char a, char b, char c, char d) {
    return (static_cast<std::uint32_t>(static_cast<unsigned char>(a)) << 24) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 16) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 8) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(d));
}

namespace pixelformat {

// Fields of the flags word.
constexpr std::uint32_t kFlagDevice = 1u << 0;
constexpr std::uint32_t kDepthShift = 1;
constexpr std::uint32_t kDepthMask = 7u << kDepthShift;
constexpr std::uint32_t kFlagFloat = 1u << 4;
constexpr std::uint32_t kComponentsShift = 5;
constexpr std::uint32_t kComponentsMask = 7u << kComponentsShift;
constexpr std::uint32_t kFlagAlpha = 1u << 8;
constexpr std::uint32_t kFlagRGBOrder = 1u << 13;
constexpr std::uint32_t kTransferShift = 16;
constexpr std::uint32_t kTransferMask = 15u << kTransferShift;
constexpr std::uint32_t kPrimariesShift = 20;
constexpr std::uint32_t kPrimariesMask = 15u << kPrimariesShift;

enum DepthCode : std::uint32_t {
    kDepth_8 = 0,
    kDepth_10 = 1,
    kDepth_12 = 2,
    kDepth_16 = 3,
    kDepth_32 = 5,
};

enum Transfer : std::uint32_t { kTransfer_None = 0, kTransfer_PQ = 1, kTransfer_HLG = 2 };
enum Primaries : std::uint32_t {
    kPrimaries_Unspecified = 0,
    kPrimaries_709 = 1,
    kPrimaries_P3 = 2,
    kPrimaries_2020 = 3,
};

constexpr std::uint32_t MakeFlags(DepthCode depth, bool isFloat, unsigned components, bool alpha,
                                  bool rgbOrder, bool device, Transfer transfer = kTransfer_None,
                                  Primaries primaries = kPrimaries_Unspecified) {
    return (device ? kFlagDevice : 0u) | (static_cast<std::uint32_t>(depth) << kDepthShift) |
           (isFloat ? kFlagFloat : 0u) |
           ((static_cast<std::uint32_t>(components - 1) << kComponentsShift) & kComponentsMask) |
           (alpha ? kFlagAlpha : 0u) | (rgbOrder ? kFlagRGBOrder : 0u) |
           (static_cast<std::uint32_t>(transfer) << kTransferShift) |
           (static_cast<std::uint32_t>(primaries) << kPrimariesShift);
}

constexpr std::uint32_t DepthCodeOf(PixelFormat f) {
    return (f.flags & kDepthMask) >> kDepthShift;
}
constexpr bool IsFloat(PixelFormat f) {
    return (f.flags & kFlagFloat) != 0;
}
constexpr unsigned ComponentCount(PixelFormat f) {
    return ((f.flags & kComponentsMask) >> kComponentsShift) + 1;
}
constexpr bool HasAlpha(PixelFormat f) {
    return (f.flags & kFlagAlpha) != 0;
}
constexpr bool IsRGBOrder(PixelFormat f) {
    return (f.flags & kFlagRGBOrder) != 0;
}
constexpr bool IsDeviceFormat(PixelFormat f) {
    return (f.flags & kFlagDevice) != 0;
}
constexpr std::uint32_t TransferOf(PixelFormat f) {
    return (f.flags & kTransferMask) >> kTransferShift;
}
constexpr std::uint32_t PrimariesOf(PixelFormat f) {
    return (f.flags & kPrimariesMask) >> kPrimariesShift;
}
// Bits of one stored component: 8, 10, 12, 16 or 32; 0 for an unknown depth code.
constexpr unsigned ComponentBits(PixelFormat f) {
    switch (DepthCodeOf(f)) {
        case kDepth_8:
            return 8;
        case kDepth_10:
            return 10;
        case kDepth_12:
            return 12;
        case kDepth_16:
            return 16;
        case kDepth_32:
            return 32;
        default:
            return 0;
    }
}
// Bytes one component occupies in memory: 1, 2 or 4; 0 for an unknown depth code.
constexpr unsigned ComponentBytes(PixelFormat f) {
    const unsigned bits = ComponentBits(f);
    return bits == 0 ? 0 : bits <= 8 ? 1 : bits <= 16 ? 2 : 4;
}
// Bytes of one pixel as stored; 0 for a format whose layout is not described by its flags.
constexpr unsigned BytesPerPixel(PixelFormat f) {
    return f.code == 0 ? 0 : ComponentBytes(f) * ComponentCount(f);
}

}  // namespace pixelformat

// No format: what an empty texture reports.
constexpr PixelFormat kPixelFormat_Any{0, 0};

// Host-memory formats.
constexpr PixelFormat kPixelFormat_ARGB_4444_8u{
    FourCC('a', 'r', 'g', 'b'),
    pixelformat::MakeFlags(pixelformat::kDepth_8, false, 4, true, false, false)};
constexpr PixelFormat kPixelFormat_BGRA_4444_8u{
    FourCC('b', 'g', 'r', 'a'),
    pixelformat::MakeFlags(pixelformat::kDepth_8, false, 4, true, false, false)};
constexpr PixelFormat kPixelFormat_RGBA_4444_8u{
    FourCC('r', 'g', 'b', 'a'),
    pixelformat::MakeFlags(pixelformat::kDepth_8, false, 4, true, true, false)};

// Device-memory formats.
constexpr PixelFormat kPixelFormat_GPU_BGRA_4444_16f{
    FourCC('B', 'G', 'A', 'h'),
    pixelformat::MakeFlags(pixelformat::kDepth_16, true, 4, true, false, true)};
constexpr PixelFormat kPixelFormat_GPU_BGRX_4444_16f{
    FourCC('B', 'G', 'X', 'h'),
    pixelformat::MakeFlags(pixelformat::kDepth_16, true, 4, false, false, true)};
constexpr PixelFormat kPixelFormat_GPU_BGRA_4444_32f{
    FourCC('B', 'G', 'A', 'f'),
    pixelformat::MakeFlags(pixelformat::kDepth_32, true, 4, true, false, true)};
constexpr PixelFormat kPixelFormat_GPU_BGRX_4444_32f{
    FourCC('B', 'G', 'X', 'f'),
    pixelformat::MakeFlags(pixelformat::kDepth_32, true, 4, false, false, true)};
constexpr PixelFormat kPixelFormat_GPU_UV_32f{
    FourCC('U', 'V', '_', 'f'),
    pixelformat::MakeFlags(pixelformat::kDepth_32, true, 2, false, false, true)};
// HDR formats: B, G, R and padding in 16-bit containers; the transfer is carried, not applied.
constexpr PixelFormat kPixelFormat_RGB_444_12u_PQ_709{
    FourCC('P', 'Q', '7', 'c'),
    pixelformat::MakeFlags(pixelformat::kDepth_12, false, 4, false, false, true,
                           pixelformat::kTransfer_PQ, pixelformat::kPrimaries_709)};
constexpr PixelFormat kPixelFormat_RGB_444_12u_PQ_P3{
    FourCC('P', 'Q', 'P', 'c'),
    pixelformat::MakeFlags(pixelformat::kDepth_12, false, 4, false, false, true,
                           pixelformat::kTransfer_PQ, pixelformat::kPrimaries_P3)};
constexpr PixelFormat kPixelFormat_RGB_444_12u_PQ_2020{
    FourCC('P', 'Q', '2', 'c'),
    pixelformat::MakeFlags(pixelformat::kDepth_12, false, 4, false, false, true,
                           pixelformat::kTransfer_PQ, pixelformat::kPrimaries_2020)};
constexpr PixelFormat kPixelFormat_RGB_444_10u_HLG{
    FourCC('H', 'L', 'G', 'a'),
    pixelformat::MakeFlags(pixelformat::kDepth_10, false, 4, false, false, true,
                           pixelformat::kTransfer_HLG, pixelformat::kPrimaries_2020)};
constexpr PixelFormat kPixelFormat_RGB_444_12u_HLG{
    FourCC('H', 'L', 'G', 'c'),
    pixelformat::MakeFlags(pixelformat::kDepth_12, false, 4, false, false, true,
                           pixelformat::kTransfer_HLG, pixelformat::kPrimaries_2020)};

}  // namespace hostmediatypes
