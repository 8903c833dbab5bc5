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
class BottomUpFrame : public FrameWithout,
                      public VF::IVideoFrameMemoryAccess,
                      public VF::IVideoFrame2DPixelMemoryAccess {
public:
    explicit BottomUpFrame(const hostcore::classref::InterfaceRef<MF::IVideoFrame>& topDown)
        : FrameWithout(topDown, hostcore::classref::InterfaceID()) {
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

    // Its own memory and rows; everything else is the wrapped frame's.
    void* QueryInterface(const hostcore::classref::InterfaceID& id) const override {
        BottomUpFrame* self = const_cast<BottomUpFrame*>(this);
        if (id == VF::IVideoFrameMemoryAccess::kInterfaceID) {
            AddRef();
            return static_cast<VF::IVideoFrameMemoryAccess*>(self);
        }
        if (id == VF::IVideoFrame2DPixelMemoryAccess::kInterfaceID) {
            AddRef();
            return static_cast<VF::IVideoFrame2DPixelMemoryAccess*>(self);
        }
        return FrameWithout::QueryInterface(id);
    }
    std::int32_t QueryFrameInterface(const hostcore::classref::InterfaceID& id,
                                     void** out) const override {
        *out = QueryInterface(id);
        return *out != nullptr ? MF::kFrameResult_OK : MF::kFrameResult_NoInterface;
    }
    void* GetPixels() const override { return top; }
    std::size_t GetSizeInBytes() const override { return bytes.size(); }
    std::int32_t GetRowBytes() const override { return -rowBytes; }

private:
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
