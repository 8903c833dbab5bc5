// The checks the upload makes on a host frame before GL reads it, and what is read when a frame
// passes: straight from host memory, or through the staging buffer of the read-back.
//
// Input, little-endian:
//   byte 0       bit 0: the frame is this file's own, with exactly the values below and the rest
//                of the input as its memory (as a host's frame could be); otherwise the host
//                stand-in's factories make it and the rest of the input fills it.
//                bit 1: an own frame hands out no pixels.
//   byte 1       format: 0-12 the named formats below, anything else the raw value of bytes 16-23
//   bytes 4-7    width, bytes 8-11 height, bytes 12-15 row bytes (signed)
//   bytes 16-23  raw format value
//   the rest     the pixels
// VideoFrameUploader is not linked into this target, so the frame goes through the steps
// UploadCpuFrame takes, calling the same frame checks and staging buffer, with the GL upload
// replaced by a copy of exactly the bytes glTexSubImage2D reads with the unpack state TextureOGL
// sets, into rows of a stand-in texture. AddressSanitizer sees every byte read outside the frame
// or the staging buffer; a frame the upload takes must be one the texture takes, and each
// texture row must be the frame's row.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include <boost/make_shared.hpp>

#include "FrameChecks.h"
#include "GB/Device.h"
#include "HostStagingBuffer.h"
#include "MF/VideoFrame.h"
#include "OpenGL/TextureOGL.h"
#include "VF/VideoFrame.h"
#include "fuzz_input.h"
#include "hostcore/classref.h"

namespace {

using hostcore::classref::InterfaceID;
using hostcore::classref::InterfaceRef;
using hostcore::classref::RefCountedObject;
using hostmediatypes::PixelFormat;
using FrameRef = InterfaceRef<MF::IVideoFrame>;

// What this stand-in device's memory holds at most, as a real one runs out; the host stand-in's
// frames are kept as small.
constexpr std::size_t kDeviceMemory = 16u << 20;
// The widest and highest texture a GL driver makes (a larger one is never created, and nothing
// is read for it).
constexpr std::uint32_t kMaxTextureSize = 32768;

void Check(bool condition, const char* what) {
    fuzzinput::Check(condition, "frame_upload_fuzz", what);
}

// Memory blocks of known size: what a device's buffers and pinned host buffers are to it.
class Blocks {
public:
    void* Allocate(std::size_t bytes) {
        if (bytes == 0 || bytes > kDeviceMemory) {
            return nullptr;
        }
        void* block = std::malloc(bytes);
        std::lock_guard<std::mutex> lock(mutex);
        sizes[block] = bytes;
        return block;
    }
    void Free(void* block) {
        std::lock_guard<std::mutex> lock(mutex);
        Check(sizes.erase(block) == 1, "a block freed twice or never allocated");
        std::free(block);
    }
    std::size_t SizeOf(void* block) {
        std::lock_guard<std::mutex> lock(mutex);
        const auto it = sizes.find(block);
        return it == sizes.end() ? 0 : it->second;
    }

private:
    std::mutex mutex;
    std::map<void*, std::size_t> sizes;
};

class DoneEvent : public GB::CompletionEvent {
public:
    bool IsComplete() const override { return true; }
    bool Wait() override { return true; }
};

// A device whose buffers are host memory, with the bounds checks a compute API makes.
class HostMemoryCompute : public GB::ComputeContext {
public:
    explicit HostMemoryCompute(Blocks& hostBuffers) : hostBuffers(hostBuffers) {}
    void* GetQueue() const override { return nullptr; }
    void* GetNativeContext() const override { return nullptr; }
    boost::shared_ptr<GB::CompletionEvent> CreateCompletionEvent() override {
        return boost::make_shared<DoneEvent>();
    }
    void* AllocateBuffer(std::size_t bytes) override { return buffers.Allocate(bytes); }
    void FreeBuffer(void* buffer) override { buffers.Free(buffer); }
    int CopyHostToBuffer(const void* source, void* buffer, std::size_t bytes,
                         std::uint32_t) override {
        if (source == nullptr || bytes > buffers.SizeOf(buffer)) {
            return GB::kResult_InvalidArgument;
        }
        std::memcpy(buffer, source, bytes);
        return GB::kResult_OK;
    }
    int CopyBufferToHost(void* buffer, void* hostBuffer, std::size_t bytes,
                         std::uint32_t) override {
        if (bytes > buffers.SizeOf(buffer) || bytes > hostBuffers.SizeOf(hostBuffer)) {
            return GB::kResult_InvalidArgument;
        }
        std::memcpy(hostBuffer, buffer, bytes);
        return GB::kResult_OK;
    }
    int CopyBufferToInteropImage(void*, std::int32_t, PixelFormat, void*, std::int32_t,
                                 std::int32_t) override {
        return GB::kResult_Unsupported;
    }
    int ConvertPixels(const void*, std::int32_t, PixelFormat, void*, std::int32_t, PixelFormat,
                      std::int32_t, std::int32_t, bool, bool) override {
        return GB::kResult_Unsupported;
    }
    int CopyPixelsToImage(const void*, std::size_t, std::int32_t, PixelFormat, void*, std::int32_t,
                          std::int32_t, bool, bool) override {
        return GB::kResult_Unsupported;
    }

private:
    Blocks buffers;
    Blocks& hostBuffers;
};

class PinnedAllocator : public GB::HostBufferAllocator {
public:
    explicit PinnedAllocator(Blocks& blocks) : blocks(blocks) {}
    void* Allocate(std::size_t bytes) override { return blocks.Allocate(bytes); }
    void Free(void* hostBuffer) override { blocks.Free(hostBuffer); }

private:
    Blocks& blocks;
};

class PinnedMapper : public GB::HostBufferMapper {
public:
    void* Map(void* hostBuffer) override { return hostBuffer; }
    void Unmap(void*, void*) override {}
};

Blocks pinned;
boost::shared_ptr<GB::Device> device;

GB::Device* MakeDevice() {
    GB::Device::Parts parts;
    parts.name = "host memory";
    parts.compute = boost::make_shared<HostMemoryCompute>(pinned);
    parts.allocator = boost::make_shared<PinnedAllocator>(pinned);
    parts.mapper = boost::make_shared<PinnedMapper>();
    return new GB::Device(GB::kDeviceKind_OpenCL, std::move(parts));
}

// A frame with whatever values the input gives, as a host's own frame could have.
class OwnFrameInterfaces : public MF::IVideoFrame,
                           public VF::IVideoFrameMemoryAccess,
                           public VF::IVideoFrame2DPixelMemoryAccess,
                           public VF::IGPUVideoFrameMemoryAccess {};

class OwnFrame : public RefCountedObject, public OwnFrameInterfaces {
public:
    HOSTCORE_IMPLEMENT_REFCOUNT

    OwnFrame(PixelFormat format, std::int32_t width, std::int32_t height, std::int32_t rowBytes,
             bool onDevice, bool withPixels, const std::uint8_t* bytes, std::size_t size)
        : format(format), rowBytes(rowBytes), onDevice(onDevice), size(size) {
        bounds.width = width;
        bounds.height = height;
        if (onDevice) {
            memory = device->GetComputeContext()->AllocateBuffer(size);
            if (memory != nullptr) {
                device->GetComputeContext()->CopyHostToBuffer(bytes, memory, size, GB::kCopy_Wait);
            }
        } else if (withPixels && size != 0) {
            memory = std::malloc(size);
            std::memcpy(memory, bytes, size);
        }
    }
    ~OwnFrame() override {
        if (onDevice && memory != nullptr) {
            device->GetComputeContext()->FreeBuffer(memory);
        } else {
            std::free(memory);
        }
    }

    void* QueryInterface(const InterfaceID& id) const override {
        OwnFrame* self = const_cast<OwnFrame*>(this);
        void* found = nullptr;
        if (id == MF::IVideoFrame::kInterfaceID) {
            found = static_cast<MF::IVideoFrame*>(self);
        } else if (id == VF::IVideoFrame2DPixelMemoryAccess::kInterfaceID) {
            found = static_cast<VF::IVideoFrame2DPixelMemoryAccess*>(self);
        } else if (id == VF::IVideoFrameMemoryAccess::kInterfaceID && !onDevice) {
            found = static_cast<VF::IVideoFrameMemoryAccess*>(self);
        } else if (id == VF::IGPUVideoFrameMemoryAccess::kInterfaceID && onDevice) {
            found = static_cast<VF::IGPUVideoFrameMemoryAccess*>(self);
        }
        if (found != nullptr) {
            AddRefImpl();
        }
        return found;
    }
    std::int32_t QueryFrameInterface(const InterfaceID& id, void** out) const override {
        if (out == nullptr) {
            return MF::kFrameResult_InvalidArgument;
        }
        *out = QueryInterface(id);
        return *out != nullptr ? MF::kFrameResult_OK : MF::kFrameResult_NoInterface;
    }
    MF::Rect GetBounds() const override { return bounds; }
    hostmediatypes::PixelAspectRatio GetPixelAspectRatio() const override {
        return hostmediatypes::kPixelAspectRatio_Square;
    }
    PixelFormat GetPixelFormat() const override { return format; }
    hostmediatypes::color::ColorSpace GetColorSpace() const override {
        return hostmediatypes::color::ColorSpace();
    }
    MF::FieldType GetFieldType() const override { return MF::kFieldType_Progressive; }
    // Bottom-up rows start at the top row, the last in memory, as hosts hand them.
    void* GetPixels() const override {
        const std::int64_t apart = rowBytes < 0 ? -static_cast<std::int64_t>(rowBytes) : 0;
        const std::int64_t top = apart * (bounds.height > 0 ? bounds.height - 1 : 0);
        if (memory == nullptr || top >= static_cast<std::int64_t>(size)) {
            return memory;
        }
        return static_cast<std::uint8_t*>(memory) + top;
    }
    std::size_t GetSizeInBytes() const override { return memory != nullptr ? size : 0; }
    std::int32_t GetRowBytes() const override { return rowBytes; }
    void* GetDeviceBuffer() const override { return memory; }

private:
    PixelFormat format;
    MF::Rect bounds;
    std::int32_t rowBytes;
    bool onDevice;
    std::size_t size;
    void* memory = nullptr;
};

PixelFormat SelectFormat(std::uint8_t selector, std::uint64_t raw) {
    static const PixelFormat kNamed[] = {
        hostmediatypes::kPixelFormat_ARGB_4444_8u,
        hostmediatypes::kPixelFormat_BGRA_4444_8u,
        hostmediatypes::kPixelFormat_RGBA_4444_8u,
        hostmediatypes::kPixelFormat_GPU_BGRA_4444_16f,
        hostmediatypes::kPixelFormat_GPU_BGRX_4444_16f,
        hostmediatypes::kPixelFormat_GPU_BGRA_4444_32f,
        hostmediatypes::kPixelFormat_GPU_BGRX_4444_32f,
        hostmediatypes::kPixelFormat_GPU_UV_32f,
        hostmediatypes::kPixelFormat_RGB_444_12u_PQ_709,
        hostmediatypes::kPixelFormat_RGB_444_12u_PQ_P3,
        hostmediatypes::kPixelFormat_RGB_444_12u_PQ_2020,
        hostmediatypes::kPixelFormat_RGB_444_10u_HLG,
        hostmediatypes::kPixelFormat_RGB_444_12u_HLG,
    };
    return selector < sizeof(kNamed) / sizeof(kNamed[0]) ? kNamed[selector]
                                                         : PixelFormat::FromValue(raw);
}

// A frame of the host stand-in, filled with the input's pixels; empty when it refuses the frame.
FrameRef MakeFactoryFrame(PixelFormat format, std::int32_t width, std::int32_t height,
                          std::int32_t rowBytes, const std::uint8_t* pixels, std::size_t size) {
    FrameRef frame;
    // Rows of at most 32 bytes a pixel, unless the input names longer ones.
    const std::int64_t row =
        std::max<std::int64_t>(static_cast<std::int64_t>(width) * 32, rowBytes);
    if (height > 0 && row > static_cast<std::int64_t>(kDeviceMemory) / height) {
        return frame;
    }
    if (STN::IsGPUPixelFormat(format)) {
        VF::CreateGPUVideoFrame(
            frame, device, format, width, height, hostmediatypes::kPixelAspectRatio_Square,
            MF::kFieldType_Progressive, MF::Point(), hostmediatypes::color::ColorSpace(), rowBytes,
            VF::kGPUFrameFlag_Clear, boost::shared_ptr<GB::CompletionEvent>(),
            boost::function<void()>());
        if (frame) {
            const auto rows = frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
            const auto gpu = frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>();
            const std::size_t bytes = static_cast<std::size_t>(rows->GetRowBytes()) * height;
            device->GetComputeContext()->CopyHostToBuffer(
                pixels, gpu->GetDeviceBuffer(), size < bytes ? size : bytes, GB::kCopy_Wait);
        }
        return frame;
    }
    VF::CreateHostVideoFrame(frame, format, width, height, rowBytes);
    if (frame) {
        const auto memory = frame.QueryInterface<VF::IVideoFrameMemoryAccess>();
        const std::size_t bytes = memory->GetSizeInBytes();
        std::memcpy(memory->GetPixels(), pixels, size < bytes ? size : bytes);
    }
    return frame;
}

// What glTexSubImage2D reads for TextureOGL::Upload(data, format, rowBytes) into a texture of
// width x height, row by row, with GL_UNPACK_ALIGNMENT 1 and the row length Upload sets; each
// row must be the frame's row (`rowBytes` apart) when the frame's memory is known to hold it.
void ReadLikeGL(const void* data, std::uint32_t width, std::uint32_t height, PixelFormat format,
                std::uint32_t rowBytes, std::size_t knownBytes) {
    // A frame the upload takes must be one the texture takes: the host is told it is shown.
    std::int32_t rowLength = 0;
    Check(data != nullptr && STN::TextureOGL::UnpackRowLength(format, width, rowBytes, rowLength),
          "the upload took a frame the texture refuses");
    if (width > kMaxTextureSize || height > kMaxTextureSize) {
        return;  // no texture of this size exists
    }
    const std::size_t bytesPerPixel = STN::TextureOGL::MapFormat(format).bytesPerPixel;
    const std::size_t stride =
        (rowLength == 0 ? static_cast<std::size_t>(width) : static_cast<std::size_t>(rowLength)) *
        bytesPerPixel;
    const std::size_t rowSize = static_cast<std::size_t>(width) * bytesPerPixel;
    std::vector<std::uint8_t> textureRow(rowSize);
    const std::uint8_t* bytes = static_cast<const std::uint8_t*>(data);
    for (std::uint32_t y = 0; y < height; ++y) {
        std::memcpy(textureRow.data(), bytes + y * stride, rowSize);
        const std::size_t frameRow = static_cast<std::size_t>(y) * rowBytes;
        if (frameRow + rowSize <= knownBytes) {
            Check(std::memcmp(textureRow.data(), bytes + frameRow, rowSize) == 0,
                  "a texture row is not the frame's row");
        }
    }
}

// UploadCpuFrame's steps up to the GL upload, in its order; keep them so when it changes.
void Upload(const FrameRef& frame) {
    const MF::Rect bounds = frame->GetBounds();
    const PixelFormat format = frame->GetPixelFormat();
    const STN::CpuFrameRoad road = STN::ChooseCpuFrameRoad(bounds.width, bounds.height, format);
    if (road == STN::CpuFrameRoad::kRefused) {
        return;
    }
    const std::uint32_t width = static_cast<std::uint32_t>(bounds.width);
    const std::uint32_t height = static_cast<std::uint32_t>(bounds.height);
    const auto rows = frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    const std::int32_t rowBytes = rows->GetRowBytes();

    if (road == STN::CpuFrameRoad::kHostMemory) {
        const auto memory = frame.QueryInterface<VF::IVideoFrameMemoryAccess>();
        const STN::HostFrameRows readable =
            STN::ReadableHostFrameRows(bounds.width, bounds.height, format, rowBytes,
                                       memory->GetPixels(), memory->GetSizeInBytes());
        if (readable.lowest == nullptr) {
            return;
        }
        ReadLikeGL(readable.lowest, width, height, format, readable.rowBytes,
                   memory->GetSizeInBytes());
        return;
    }

    const auto gpuMemory = frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>();
    void* deviceBuffer = gpuMemory->GetDeviceBuffer();
    const std::size_t bytes =
        STN::ReadBackBytes(bounds.width, bounds.height, format, rowBytes, deviceBuffer);
    if (bytes == 0) {
        return;
    }
    STN::HostStagingBuffer staging(device, bytes);
    if (!staging.HasMemory()) {
        return;
    }
    Check(staging.GetSize() == bytes, "staging buffer of another size");
    if (device->GetComputeContext()->CopyBufferToHost(deviceBuffer, staging.GetAllocation(), bytes,
                                                      GB::kCopy_Async) < 0) {
        return;
    }
    void* address = staging.Map();
    if (address == nullptr) {
        return;
    }
    ReadLikeGL(address, width, height, format, static_cast<std::uint32_t>(rowBytes), bytes);
    staging.Unmap();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    device.reset(MakeDevice());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kHeader = 24;
    fuzzinput::Reader in(data, size);
    const std::uint8_t flags = in.Byte();
    const std::uint8_t selector = in.Byte();
    in.Byte();  // bytes 2 and 3 are unused
    in.Byte();
    const std::int32_t width = static_cast<std::int32_t>(in.Word());
    const std::int32_t height = static_cast<std::int32_t>(in.Word());
    const std::int32_t rowBytes = static_cast<std::int32_t>(in.Word());
    const PixelFormat format = SelectFormat(selector, in.Word64());
    const std::uint8_t* pixels = data + (size < kHeader ? size : kHeader);
    const std::size_t pixelBytes = size < kHeader ? 0 : size - kHeader;

    FrameRef frame;
    if ((flags & 1) != 0) {
        frame = FrameRef::Retain(new OwnFrame(format, width, height, rowBytes,
                                              STN::IsGPUPixelFormat(format), (flags & 2) == 0,
                                              pixels, pixelBytes));
    } else {
        frame = MakeFactoryFrame(format, width, height, rowBytes, pixels, pixelBytes);
    }
    if (frame) {
        Upload(frame);
    }
    return 0;
}
