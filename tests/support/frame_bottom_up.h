// Test frames a host builds itself, with what the host stand-in's factory does not make: rows
// stored bottom up, and bounds of no size.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "MF/VideoFrame.h"
#include "VF/VideoFrame.h"
#include "frame_without.h"
#include "hostcore/classref.h"

namespace stereon {
namespace test {

// The picture of a top-down host-memory frame, stored bottom up: the last row first in memory,
// the pixels at the top row and negative row bytes, as some hosts hand their frames.
class BottomUpFrame : public hostcore::classref::RefCountedObject,
                      public MF::IVideoFrame,
                      public VF::IVideoFrameMemoryAccess,
                      public VF::IVideoFrame2DPixelMemoryAccess {
public:
    explicit BottomUpFrame(const hostcore::classref::InterfaceRef<MF::IVideoFrame>& topDown)
        : inner(topDown) {
        const auto memory = topDown.QueryInterface<VF::IVideoFrameMemoryAccess>();
        const auto rows = topDown.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
        rowBytes = rows->GetRowBytes();
        const std::int32_t height = topDown->GetBounds().height;
        bytes.resize(static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(height));
        const std::uint8_t* source = static_cast<const std::uint8_t*>(memory->GetPixels());
        for (std::int32_t y = 0; y < height; ++y) {
            std::memcpy(bytes.data() + static_cast<std::size_t>(height - 1 - y) * rowBytes,
                        source + static_cast<std::size_t>(y) * rowBytes,
                        static_cast<std::size_t>(rowBytes));
        }
        top = bytes.data() + static_cast<std::size_t>(height - 1) * rowBytes;
    }
    HOSTCORE_IMPLEMENT_REFCOUNT

    void* QueryInterface(const hostcore::classref::InterfaceID& id) const override {
        BottomUpFrame* self = const_cast<BottomUpFrame*>(this);
        void* found = nullptr;
        if (id == MF::IVideoFrame::kInterfaceID) {
            found = static_cast<MF::IVideoFrame*>(self);
        } else if (id == VF::IVideoFrameMemoryAccess::kInterfaceID) {
            found = static_cast<VF::IVideoFrameMemoryAccess*>(self);
        } else if (id == VF::IVideoFrame2DPixelMemoryAccess::kInterfaceID) {
            found = static_cast<VF::IVideoFrame2DPixelMemoryAccess*>(self);
        }
        if (found != nullptr) {
            AddRef();
        }
        return found;
    }
    std::int32_t QueryFrameInterface(const hostcore::classref::InterfaceID& id,
                                     void** out) const override {
        *out = QueryInterface(id);
        return *out != nullptr ? MF::kFrameResult_OK : MF::kFrameResult_NoInterface;
    }
    MF::Rect GetBounds() const override { return inner->GetBounds(); }
    hostmediatypes::PixelAspectRatio GetPixelAspectRatio() const override {
        return inner->GetPixelAspectRatio();
    }
    hostmediatypes::PixelFormat GetPixelFormat() const override { return inner->GetPixelFormat(); }
    hostmediatypes::color::ColorSpace GetColorSpace() const override {
        return inner->GetColorSpace();
    }
    MF::FieldType GetFieldType() const override { return inner->GetFieldType(); }
    void* GetPixels() const override { return top; }
    std::size_t GetSizeInBytes() const override { return bytes.size(); }
    std::int32_t GetRowBytes() const override { return -rowBytes; }

private:
    hostcore::classref::InterfaceRef<MF::IVideoFrame> inner;
    std::vector<std::uint8_t> bytes;
    std::uint8_t* top = nullptr;
    std::int32_t rowBytes = 0;
};

// A frame whose bounds have no width, with the memory of the frame it wraps.
class EmptyBoundsFrame : public FrameWithout {
public:
    explicit EmptyBoundsFrame(const hostcore::classref::InterfaceRef<MF::IVideoFrame>& inner)
        : FrameWithout(inner, hostcore::classref::InterfaceID()),
          height(inner->GetBounds().height) {}
    MF::Rect GetBounds() const override {
        MF::Rect bounds;
        bounds.height = height;
        return bounds;
    }

private:
    std::int32_t height;
};

}  // namespace test
}  // namespace stereon
