// Video frames in host memory and in device buffers.

#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "VF/VideoFrame.h"

namespace VF {
namespace {

using hostcore::classref::InterfaceID;
using hostcore::classref::InterfaceRef;
using hostcore::classref::RefCountedObject;

struct FrameDescription {
    hostmediatypes::PixelFormat format;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t rowBytes = 0;
    hostmediatypes::PixelAspectRatio aspect;
    MF::FieldType fieldType = MF::kFieldType_Progressive;
    MF::Point origin;
    hostmediatypes::color::ColorSpace colorSpace;
};

// What both kinds of frame report about themselves.
template <class Base>
class FrameBase : public Base {
public:
    explicit FrameBase(FrameDescription description_) : description(std::move(description_)) {}

    std::int32_t QueryFrameInterface(const InterfaceID& id, void** out) const override {
        if (out == nullptr) {
            return MF::kFrameResult_InvalidArgument;
        }
        *out = static_cast<const MF::IVideoFrame*>(this)->QueryInterface(id);
        return *out != nullptr ? MF::kFrameResult_OK : MF::kFrameResult_NoInterface;
    }
    MF::Rect GetBounds() const override {
        MF::Rect bounds;
        bounds.left = description.origin.x;
        bounds.top = description.origin.y;
        bounds.width = description.width;
        bounds.height = description.height;
        return bounds;
    }
    hostmediatypes::PixelAspectRatio GetPixelAspectRatio() const override {
        return description.aspect;
    }
    hostmediatypes::PixelFormat GetPixelFormat() const override { return description.format; }
    hostmediatypes::color::ColorSpace GetColorSpace() const override {
        return description.colorSpace;
    }
    MF::FieldType GetFieldType() const override { return description.fieldType; }
    std::int32_t GetRowBytes() const override { return description.rowBytes; }

protected:
    std::size_t Bytes() const {
        return static_cast<std::size_t>(description.rowBytes) *
               static_cast<std::size_t>(description.height);
    }

    FrameDescription description;
};

class HostFrameInterfaces : public MF::IVideoFrame,
                            public IVideoFrameMemoryAccess,
                            public IVideoFrame2DPixelMemoryAccess {};

class HostVideoFrame : public RefCountedObject, public FrameBase<HostFrameInterfaces> {
public:
    HOSTCORE_IMPLEMENT_REFCOUNT

    HostVideoFrame(FrameDescription description_, void* pixels_)
        : FrameBase(std::move(description_)), pixels(pixels_) {}
    ~HostVideoFrame() override { std::free(pixels); }

    void* QueryInterface(const InterfaceID& id) const override {
        void* found = nullptr;
        if (id == MF::IVideoFrame::kInterfaceID) {
            found = static_cast<MF::IVideoFrame*>(const_cast<HostVideoFrame*>(this));
        } else if (id == IVideoFrameMemoryAccess::kInterfaceID) {
            found = static_cast<IVideoFrameMemoryAccess*>(const_cast<HostVideoFrame*>(this));
        } else if (id == IVideoFrame2DPixelMemoryAccess::kInterfaceID) {
            found = static_cast<IVideoFrame2DPixelMemoryAccess*>(const_cast<HostVideoFrame*>(this));
        }
        if (found != nullptr) {
            AddRefImpl();
        }
        return found;
    }

    void* GetPixels() const override { return pixels; }
    std::size_t GetSizeInBytes() const override { return Bytes(); }

private:
    void* pixels;
};

class GPUFrameInterfaces : public MF::IVideoFrame,
                           public IVideoFrame2DPixelMemoryAccess,
                           public IGPUVideoFrameMemoryAccess,
                           public ICompletionEventVideoFrame,
                           public IGPUDeviceVideoFrame {};

class GPUVideoFrame : public RefCountedObject, public FrameBase<GPUFrameInterfaces> {
public:
    HOSTCORE_IMPLEMENT_REFCOUNT

    GPUVideoFrame(FrameDescription description_, boost::shared_ptr<GB::Device> device_,
                  void* buffer_, boost::shared_ptr<GB::CompletionEvent> pendingWrite_,
                  boost::function<void()> onRelease_)
        : FrameBase(std::move(description_)),
          device(std::move(device_)),
          buffer(buffer_),
          pendingWrite(std::move(pendingWrite_)),
          onRelease(std::move(onRelease_)) {}
    ~GPUVideoFrame() override {
        device->GetComputeContext()->FreeBuffer(buffer);
        if (onRelease) {
            onRelease();
        }
    }

    void* QueryInterface(const InterfaceID& id) const override {
        GPUVideoFrame* self = const_cast<GPUVideoFrame*>(this);
        void* found = nullptr;
        if (id == MF::IVideoFrame::kInterfaceID) {
            found = static_cast<MF::IVideoFrame*>(self);
        } else if (id == IVideoFrame2DPixelMemoryAccess::kInterfaceID) {
            found = static_cast<IVideoFrame2DPixelMemoryAccess*>(self);
        } else if (id == IGPUVideoFrameMemoryAccess::kInterfaceID) {
            found = static_cast<IGPUVideoFrameMemoryAccess*>(self);
        } else if (id == ICompletionEventVideoFrame::kInterfaceID) {
            found = static_cast<ICompletionEventVideoFrame*>(self);
        } else if (id == IGPUDeviceVideoFrame::kInterfaceID) {
            found = static_cast<IGPUDeviceVideoFrame*>(self);
        }
        if (found != nullptr) {
            AddRefImpl();
        }
        return found;
    }

    void* GetDeviceBuffer() const override { return buffer; }
    boost::shared_ptr<GB::CompletionEvent> GetCompletionEvent() const override {
        return pendingWrite;
    }
    boost::shared_ptr<GB::Device> GetDevice() const override { return device; }

private:
    boost::shared_ptr<GB::Device> device;
    void* buffer;
    boost::shared_ptr<GB::CompletionEvent> pendingWrite;
    boost::function<void()> onRelease;
};

// Checks the size and works out the row bytes; false when the frame cannot exist.
bool Describe(FrameDescription& description, std::int32_t rowBytes) {
    const unsigned bytesPerPixel = hostmediatypes::pixelformat::BytesPerPixel(description.format);
    if (bytesPerPixel == 0 || description.width <= 0 || description.height <= 0) {
        return false;
    }
    const std::int64_t minimum =
        static_cast<std::int64_t>(bytesPerPixel) * static_cast<std::int64_t>(description.width);
    const std::int32_t rows =
        rowBytes == 0 ? DefaultRowBytes(description.format, description.width) : rowBytes;
    if (rows <= 0 || rows < minimum) {
        return false;
    }
    // Components must stay aligned from row to row.
    if (rows % static_cast<std::int32_t>(
                   hostmediatypes::pixelformat::ComponentBytes(description.format)) !=
        0) {
        return false;
    }
    // Frames beyond 2 GiB are refused rather than risking overflow in row arithmetic.
    if (static_cast<std::int64_t>(rows) * description.height >
        std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    description.rowBytes = rows;
    return true;
}

}  // namespace

std::int32_t DefaultRowBytes(hostmediatypes::PixelFormat format, std::int32_t width) {
    const std::int64_t bytes =
        static_cast<std::int64_t>(hostmediatypes::pixelformat::BytesPerPixel(format)) * width;
    if (width <= 0 || bytes <= 0) {
        return 0;
    }
    const std::int64_t rounded = (bytes + 15) / 16 * 16;
    return rounded > std::numeric_limits<std::int32_t>::max() ? 0
                                                              : static_cast<std::int32_t>(rounded);
}

std::int32_t CreateHostVideoFrame(InterfaceRef<MF::IVideoFrame>& frame,
                                  hostmediatypes::PixelFormat format, std::int32_t width,
                                  std::int32_t height, std::int32_t rowBytes,
                                  hostmediatypes::PixelAspectRatio aspect, MF::FieldType fieldType,
                                  const hostmediatypes::color::ColorSpace& colorSpace) {
    frame = nullptr;
    FrameDescription description;
    description.format = format;
    description.width = width;
    description.height = height;
    description.aspect = aspect;
    description.fieldType = fieldType;
    description.colorSpace = colorSpace;
    if (!Describe(description, rowBytes)) {
        return kCreateResult_InvalidArgument;
    }
    const std::size_t bytes =
        static_cast<std::size_t>(description.rowBytes) * static_cast<std::size_t>(height);
    void* pixels = std::calloc(bytes, 1);
    if (pixels == nullptr) {
        return kCreateResult_OutOfMemory;
    }
    frame =
        InterfaceRef<MF::IVideoFrame>::Retain(new HostVideoFrame(std::move(description), pixels));
    return kCreateResult_OK;
}

std::int32_t CreateGPUVideoFrame(InterfaceRef<MF::IVideoFrame>& frame,
                                 const boost::shared_ptr<GB::Device>& device,
                                 hostmediatypes::PixelFormat format, std::int32_t width,
                                 std::int32_t height, hostmediatypes::PixelAspectRatio aspect,
                                 MF::FieldType fieldType, MF::Point origin,
                                 const hostmediatypes::color::ColorSpace& colorSpace,
                                 std::int32_t rowBytes, std::int32_t flags,
                                 const boost::shared_ptr<GB::CompletionEvent>& pendingWrite,
                                 const boost::function<void()>& onRelease) {
    frame = nullptr;
    if (!device || (flags & ~kGPUFrameFlag_Clear) != 0) {
        return kCreateResult_InvalidArgument;
    }
    FrameDescription description;
    description.format = format;
    description.width = width;
    description.height = height;
    description.aspect = aspect;
    description.fieldType = fieldType;
    description.origin = origin;
    description.colorSpace = colorSpace;
    if (!Describe(description, rowBytes)) {
        return kCreateResult_InvalidArgument;
    }
    const std::size_t bytes =
        static_cast<std::size_t>(description.rowBytes) * static_cast<std::size_t>(height);
    const boost::shared_ptr<GB::ComputeContext>& compute = device->GetComputeContext();
    void* buffer = compute->AllocateBuffer(bytes);
    if (buffer == nullptr) {
        return kCreateResult_OutOfMemory;
    }
    if ((flags & kGPUFrameFlag_Clear) != 0) {
        const std::vector<unsigned char> zeros(bytes, 0);
        if (compute->CopyHostToBuffer(zeros.data(), buffer, bytes, GB::kCopy_Wait) < 0) {
            compute->FreeBuffer(buffer);
            return kCreateResult_OutOfMemory;
        }
    }
    frame = InterfaceRef<MF::IVideoFrame>::Retain(
        new GPUVideoFrame(std::move(description), device, buffer, pendingWrite, onRelease));
    return kCreateResult_OK;
}

}  // namespace VF
