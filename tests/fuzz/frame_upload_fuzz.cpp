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
// The frame goes through VideoFrameUploader::UploadCpuFrame into a stand-in texture whose upload
// copies exactly the bytes glTexSubImage2D reads with the unpack state TextureOGL sets.
// AddressSanitizer sees every byte read outside the frame or the staging buffer; a frame the
// upload takes must be one the texture takes, and each texture row must be the frame's row,
// from inside the frame's memory.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>

#include "FrameChecks.h"
#include "GB/Device.h"
#include "IGraphicsContext.h"
#include "ITexture.h"
#include "MF/VideoFrame.h"
#include "OpenGL/TextureOGL.h"
#include "UploadSynchronizer.h"
#include "VF/VideoFrame.h"
#include "VideoFrameUploader.h"
#include "fuzz_input.h"
#include "hostcore/classref.h"

namespace {

using fuzzinput::Check;
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

// Memory blocks of known size: what a device's buffers and pinned host buffers are to it.
class Blocks {
public:
    void* Allocate(std::size_t bytes) {
        void* block = bytes == 0 || bytes > kDeviceMemory ? nullptr : std::malloc(bytes);
        std::lock_guard<std::mutex> lock(mutex);
        if (block != nullptr) {
            sizes[block] = bytes;
        }
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

Blocks buffers;
Blocks pinned;

// A device whose buffers and pinned host buffers are host memory, with the bounds checks a
// compute API makes. Its copies are done when they return.
class HostMemoryDevice : public GB::ComputeContext,
                         public GB::HostBufferAllocator,
                         public GB::HostBufferMapper {
public:
    void* GetQueue() const override { return nullptr; }
    void* GetNativeContext() const override { return nullptr; }
    boost::shared_ptr<GB::CompletionEvent> CreateCompletionEvent() override { return {}; }
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
        if (bytes > buffers.SizeOf(buffer) || bytes > pinned.SizeOf(hostBuffer)) {
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
    void* Allocate(std::size_t bytes) override { return pinned.Allocate(bytes); }
    void Free(void* hostBuffer) override { pinned.Free(hostBuffer); }
    void* Map(void* hostBuffer) override { return hostBuffer; }
    void Unmap(void*, void*) override {}
};

boost::shared_ptr<GB::Device> device;

// A frame with whatever values the input gives, as a host's own frame could have.
class OwnFrame : public RefCountedObject,
                 public MF::IVideoFrame,
                 public VF::IVideoFrameMemoryAccess,
                 public VF::IVideoFrame2DPixelMemoryAccess,
                 public VF::IGPUVideoFrameMemoryAccess {
public:
    HOSTCORE_IMPLEMENT_REFCOUNT

    OwnFrame(PixelFormat format, std::int32_t width, std::int32_t height, std::int32_t rowBytes,
             bool onDevice, bool withPixels, const std::uint8_t* bytes, std::size_t size)
        : format(format), rowBytes(rowBytes), onDevice(onDevice), size(size) {
        bounds.width = width;
        bounds.height = height;
        if (onDevice) {
            memory = buffers.Allocate(size);
        } else if (withPixels && size != 0) {
            memory = std::malloc(size);
        }
        if (memory != nullptr) {
            std::memcpy(memory, bytes, size);
        }
    }
    ~OwnFrame() override {
        if (onDevice && memory != nullptr) {
            buffers.Free(memory);
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
    const std::uint8_t* Block() const { return static_cast<const std::uint8_t*>(memory); }

private:
    PixelFormat format;
    MF::Rect bounds;
    std::int32_t rowBytes;
    bool onDevice;
    std::size_t size;
    void* memory = nullptr;
};

PixelFormat SelectFormat(std::uint8_t selector, std::uint64_t raw) {
    using namespace hostmediatypes;
    static const PixelFormat kNamed[] = {
        kPixelFormat_ARGB_4444_8u,        kPixelFormat_BGRA_4444_8u,
        kPixelFormat_RGBA_4444_8u,        kPixelFormat_GPU_BGRA_4444_16f,
        kPixelFormat_GPU_BGRX_4444_16f,   kPixelFormat_GPU_BGRA_4444_32f,
        kPixelFormat_GPU_BGRX_4444_32f,   kPixelFormat_GPU_UV_32f,
        kPixelFormat_RGB_444_12u_PQ_709,  kPixelFormat_RGB_444_12u_PQ_P3,
        kPixelFormat_RGB_444_12u_PQ_2020, kPixelFormat_RGB_444_10u_HLG,
        kPixelFormat_RGB_444_12u_HLG};
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

// The back video texture, with GL's upload replaced by a copy of exactly the rows
// glTexSubImage2D reads for TextureOGL::Upload's unpack state (alignment 1, the row length it
// sets). Larger than GL's limit it stays empty, as a real one does.
class TextureStandIn : public STN::ITexture {
public:
    void Create(const boost::shared_ptr<GB::Device>&, unsigned w, unsigned h) override {
        const bool fits = w <= kMaxTextureSize && h <= kMaxTextureSize;
        width = fits ? w : 0;
        height = fits ? h : 0;
    }
    void Upload(const void* data, PixelFormat format, unsigned rowBytes) override {
        // A frame the upload takes must be one the texture takes: the host is told it is shown.
        std::int32_t rowLength = 0;
        Check(
            data != nullptr && STN::TextureOGL::UnpackRowLength(format, width, rowBytes, rowLength),
            "the upload took a frame the texture refuses");
        const std::size_t bytesPerPixel = STN::TextureOGL::MapFormat(format).bytesPerPixel;
        const std::size_t stride = (rowLength == 0 ? width : unsigned(rowLength)) * bytesPerPixel;
        const std::uint8_t* bytes = static_cast<const std::uint8_t*>(data);
        rows.clear();
        for (std::uint32_t y = 0; y < height; ++y) {
            rows.emplace_back(bytes + y * stride, bytes + y * stride + width * bytesPerPixel);
        }
    }
    unsigned GetWidth() override { return width; }
    unsigned GetHeight() override { return height; }

    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::vector<std::uint8_t>> rows;  // as received, lowest first

private:
    const std::string& GetName() override { return name; }
    PixelFormat GetPixelFormat() override { return PixelFormat(); }
    unsigned GetRowBytes() override { return 0; }
    bool IsRectangle() override { return false; }
    void CreateFromRenderModel(const vr::RenderModel_TextureMap_t&) override {}
    void Create(const boost::shared_ptr<GB::Device>&, unsigned, unsigned, PixelFormat) override {}
    void Release() override {}
    void SetFilter(STN::TextureFilter) override {}
    void SetWrap(STN::TextureWrap) override {}
    void GenerateMipmaps() override {}
    void CreatePixelBuffer(PixelFormat) override {}
    unsigned GetPixelBuffer() override { return 0; }
    PixelFormat GetPixelBufferFormat() override { return PixelFormat(); }
    unsigned GetPixelBufferRowBytes() override { return 0; }
    void UpdateFromPixelBuffer() override {}
    void RegisterForCompute(const boost::shared_ptr<GB::Device>&) override {}
    void* GetComputeHandle() override { return nullptr; }
    void Bind() override {}
    void Unbind() override {}
    bool NeedsIntermediateFrame() override { return false; }
    void FenceUse() override {}
    void WaitForUse() override {}
    std::string name = "video";
};

// The upload context: nothing to make current, nothing to flush.
class ContextStandIn : public STN::IGraphicsContext {
    template <class T>
    using Made = boost::shared_ptr<T>;
    Made<STN::IShader> CreateShader(const std::string&) override { return {}; }
    Made<STN::ITexture> CreateTexture(const std::string&) override { return {}; }
    Made<STN::IMesh> CreateMesh(const std::string&) override { return {}; }
    Made<STN::IRenderTarget> CreateRenderTarget(const std::string&) override { return {}; }
    Made<STN::IRenderTexture> CreateRenderTexture(const std::string&) override { return {}; }
    Made<STN::IPanelRenderer> CreatePanelRenderer(const std::string&) override { return {}; }
    void BindDevice(const boost::shared_ptr<GB::Device>&) override {}
    bool CreateVersionedContext(unsigned, const Made<STN::IGraphicsContext>&) override {
        return false;
    }
    bool IsCurrent() override { return true; }
    void MakeCurrent() override {}
    void ClearCurrent() override {}
    void MakeCurrentAndLock() override {}
    void UnlockAndRelease() override {}
    void SwapBuffers() override {}
    unsigned GetWidth() override { return 0; }
    unsigned GetHeight() override { return 0; }
    void Flush() override {}
    void Finish() override {}
    void Clear() override {}
    void SetDepthTest(bool, int) override {}
    void SetDepthWrite(bool) override {}
    void SetBlending(bool) override {}
    void EnableDebugOutput(bool) override {}
    void CheckErrors() override {}
    void DestroyContext() override {}
};

// Takes the frame through the library's upload and checks what the texture received: each of
// its rows is the frame's row, read from inside the frame's memory. As the frame says, and
// independently of the upload, row r (top first) of a host frame, or of a GPU frame's buffer
// (kept bottom row first, which the read-back copies as it is), is at top + r * rowBytes, inside
// [begin, end).
void Upload(const FrameRef& frame, const OwnFrame* own) {
    const std::int64_t rowBytes =
        frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>()->GetRowBytes();
    const std::uint8_t* top = nullptr;
    const std::uint8_t* begin = nullptr;
    const std::uint8_t* end = nullptr;
    if (const auto gpu = frame.QueryInterface<VF::IGPUVideoFrameMemoryAccess>()) {
        begin = top = static_cast<const std::uint8_t*>(gpu->GetDeviceBuffer());
        end = begin + buffers.SizeOf(gpu->GetDeviceBuffer());
    } else if (const auto memory = frame.QueryInterface<VF::IVideoFrameMemoryAccess>()) {
        top = static_cast<const std::uint8_t*>(memory->GetPixels());
        // A factory frame's memory starts at its top row; an own frame's is its block.
        begin = own != nullptr ? own->Block() : top;
        end = begin + memory->GetSizeInBytes();
    }
    STN::UploadSynchronizer synchronizer;
    const auto texture = boost::make_shared<TextureStandIn>();
    synchronizer.videoTextures[synchronizer.backIndex] = texture;
    FrameRef intermediate;
    std::int32_t filter = 0;
    STN::VideoFrameUploader uploader(boost::make_shared<ContextStandIn>(), device, synchronizer,
                                     intermediate, filter, false);
    bool verticalFlip = false;
    bool redBlueSwap = false;
    if (!uploader.UploadCpuFrame(frame, verticalFlip, redBlueSwap)) {
        return;
    }
    const bool gpu = STN::IsGPUPixelFormat(frame->GetPixelFormat());
    Check(texture->rows.size() == texture->height && texture->height != 0,
          "a frame was taken that the texture never received");
    Check(!gpu || verticalFlip, "a read-back frame shown with its rows the wrong way");
    const std::uint32_t last = texture->height - 1;
    for (std::uint32_t y = 0; y <= last; ++y) {
        // Host frames stored bottom up reach GL lowest row first and are flipped to show.
        const std::uint32_t r = !gpu && verticalFlip ? last - y : y;
        const std::uint8_t* row = top + static_cast<std::int64_t>(r) * rowBytes;
        const std::vector<std::uint8_t>& received = texture->rows[y];
        Check(row >= begin && row + received.size() <= end,
              "a frame was taken whose rows are not all in its memory");
        Check(std::memcmp(received.data(), row, received.size()) == 0,
              "a texture row is not the frame's row");
    }
    Check(!verticalFlip || gpu || rowBytes < 0, "a frame stored top down was flipped");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const auto memory = boost::make_shared<HostMemoryDevice>();
    GB::Device::Parts parts;
    parts.name = "host memory";
    parts.compute = memory;
    parts.allocator = memory;
    parts.mapper = memory;
    device = boost::make_shared<GB::Device>(GB::kDeviceKind_OpenCL, std::move(parts));
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
    OwnFrame* own = nullptr;
    if ((flags & 1) != 0) {
        own = new OwnFrame(format, width, height, rowBytes, STN::IsGPUPixelFormat(format),
                           (flags & 2) == 0, pixels, pixelBytes);
        frame = FrameRef::Retain(own);
    } else {
        frame = MakeFactoryFrame(format, width, height, rowBytes, pixels, pixelBytes);
    }
    if (frame) {
        Upload(frame, own);
    }
    return 0;
}
