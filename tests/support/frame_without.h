// A test frame that hides one interface of a real frame, for the paths that must refuse it.
#pragma once

#include <cstdint>

#include "MF/VideoFrame.h"
#include "hostcore/classref.h"

namespace stereon {
namespace test {

// A host frame that lacks one interface of the frame it wraps.
class FrameWithout : public hostcore::classref::RefCountedObject, public MF::IVideoFrame {
public:
    FrameWithout(const hostcore::classref::InterfaceRef<MF::IVideoFrame>& inner,
                 const hostcore::classref::InterfaceID& refused)
        : inner(inner), refused(refused) {}
    HOSTCORE_IMPLEMENT_REFCOUNT
    void* QueryInterface(const hostcore::classref::InterfaceID& id) const override {
        if (id == MF::IVideoFrame::kInterfaceID) {
            AddRef();
            return static_cast<MF::IVideoFrame*>(const_cast<FrameWithout*>(this));
        }
        return id == refused ? nullptr : inner->QueryInterface(id);
    }
    std::int32_t QueryFrameInterface(const hostcore::classref::InterfaceID& id,
                                     void** out) const override {
        if (id == refused) {
            *out = nullptr;
            return MF::kFrameResult_NoInterface;
        }
        return inner->QueryFrameInterface(id, out);
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

private:
    hostcore::classref::InterfaceRef<MF::IVideoFrame> inner;
    hostcore::classref::InterfaceID refused;
};

}  // namespace test
}  // namespace stereon
