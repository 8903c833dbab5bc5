#pragma once

// The host's video frame: a reference-counted object reached through interfaces.

#include <cstdint>

#include "hostcore/classref.h"
#include "hostmediatypes/ColorSpace.h"
#include "hostmediatypes/PixelAspectRatio.h"
#include "hostmediatypes/PixelFormat.h"

namespace MF {

// A rectangle as left, top, width, height.
struct Rect {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

struct Point {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

enum FieldType : std::int32_t {
    kFieldType_Progressive = 0,
    kFieldType_UpperFirst = 1,
    kFieldType_LowerFirst = 2,
};

// Results of QueryFrameInterface.
constexpr std::int32_t kFrameResult_OK = 0;
constexpr std::int32_t kFrameResult_NoInterface = -1;
constexpr std::int32_t kFrameResult_InvalidArgument = -2;

class IVideoFrame : public hostcore::classref::IInterface {
public:
    static constexpr hostcore::classref::InterfaceID kInterfaceID =
        hostcore::classref::InterfaceID::FromString("eade9f28-9348-4c27-9388-a5a2cdc66579");

    // Puts the interface with one reference added in *out and returns 0, or sets *out to null
    // and returns a negative value.
    virtual std::int32_t QueryFrameInterface(const hostcore::classref::InterfaceID& id,
                                             void** out) const = 0;

    virtual Rect GetBounds() const = 0;
    virtual hostmediatypes::PixelAspectRatio GetPixelAspectRatio() const = 0;
    virtual hostmediatypes::PixelFormat GetPixelFormat() const = 0;
    virtual hostmediatypes::color::ColorSpace GetColorSpace() const = 0;
    virtual FieldType GetFieldType() const = 0;
};

}  // namespace MF
