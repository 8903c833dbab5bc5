#pragma once

// A GPU device of the host: its compute API (CUDA or OpenCL), its memory, and an offscreen
// OpenGL context that others may share objects with.

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>

#include "hostcore/utility.h"
#include "hostmediatypes/PixelFormat.h"

namespace GB {

enum DeviceKindValue : std::int32_t {
    kDeviceKind_CUDA = 0,
    kDeviceKind_OpenCL = 1,
    // Computes through OpenCL but never shares with OpenGL.
    kDeviceKind_OpenCLNoSharing = 2,
};

// Results of the device operations: 0 or positive on success.
enum Result : int {
    kResult_OK = 0,
    kResult_InvalidArgument = -1,
    kResult_OutOfMemory = -2,
    kResult_DeviceError = -3,
    kResult_Unsupported = -4,
};

// Flags of the copy operations.
enum CopyFlags : std::uint32_t {
    kCopy_Wait = 0,   // returns when the copy is done
    kCopy_Async = 1,  // returns once queued; a completion event tells when it is done
};

// The point in a device queue up to which work was queued when the event was made.
class CompletionEvent {
public:
    virtual ~CompletionEvent() = default;
    virtual bool IsComplete() const = 0;
    // Blocks until complete. Returns false if the device reported an error.
    virtual bool Wait() = 0;
};

// The compute side of a device. Buffers are the API's own handles passed as void*: a cl_mem,
// or a CUdeviceptr. Host buffers come from the device's HostBufferAllocator.
class ComputeContext {
public:
    virtual ~ComputeContext() = default;

    // The native queue: cl_command_queue or CUstream.
    virtual void* GetQueue() const = 0;
    // The native context: cl_context or CUcontext.
    virtual void* GetNativeContext() const = 0;

    // An event for all the work queued so far.
    virtual boost::shared_ptr<CompletionEvent> CreateCompletionEvent() = 0;

    // Makes the context current on the calling thread while it has exclusive access to the
    // device, so that the caller's own calls into the compute API (graphics interop) find it;
    // Leave restores what was current before. Nothing to do for APIs without a current context.
    virtual void Enter() {}
    virtual void Leave() {}

    // Device memory. Null for zero bytes or when the device has no memory left.
    virtual void* AllocateBuffer(std::size_t bytes) = 0;
    virtual void FreeBuffer(void* buffer) = 0;

    // Copies `bytes` from host memory to the start of a device buffer.
    virtual int CopyHostToBuffer(const void* source, void* buffer, std::size_t bytes,
                                 std::uint32_t flags) = 0;
    // Copies `bytes` from the start of a device buffer to a host buffer of the allocator.
    virtual int CopyBufferToHost(void* buffer, void* hostBuffer, std::size_t bytes,
                                 std::uint32_t flags) = 0;
    // Copies pixels from a buffer into an image shared with OpenGL (a cl_mem made from a GL
    // texture), converting them to the image's format. Rows are not turned over.
    virtual int CopyBufferToInteropImage(void* buffer, std::int32_t rowBytes,
                                         hostmediatypes::PixelFormat format, void* image,
                                         std::int32_t width, std::int32_t height) = 0;

    // The work behind GB::PixelFormatConvert and GB::CopyBufferToImage.
    virtual int ConvertPixels(const void* source, std::int32_t sourceRowBytes,
                              hostmediatypes::PixelFormat sourceFormat, void* target,
                              std::int32_t targetRowBytes, hostmediatypes::PixelFormat targetFormat,
                              std::int32_t width, std::int32_t height, bool async,
                              bool clampFloatToUnit) = 0;
    virtual int CopyPixelsToImage(const void* buffer, std::size_t offset, std::int32_t rowBytes,
                                  hostmediatypes::PixelFormat format, void* image,
                                  std::int32_t width, std::int32_t height, bool clipToImage,
                                  bool async) = 0;
};

// Host memory that the device copies into and out of quickly (pinned). Handles are opaque.
class HostBufferAllocator {
public:
    virtual ~HostBufferAllocator() = default;
    // Null for zero bytes or when no memory is left.
    virtual void* Allocate(std::size_t bytes) = 0;
    virtual void Free(void* hostBuffer) = 0;
};

class HostBufferMapper {
public:
    virtual ~HostBufferMapper() = default;
    // The buffer's address for the host, valid until Unmap. Waits for the device's work on it.
    virtual void* Map(void* hostBuffer) = 0;
    virtual void Unmap(void* hostBuffer, void* address) = 0;
};

class Device {
public:
    // kDeviceKind_CUDA, kDeviceKind_OpenCL or kDeviceKind_OpenCLNoSharing.
    const std::int32_t DeviceKind;

    // Opens a device of the kind: the first GPU of its API, or any device of it if there is
    // no GPU. Empty, with the reason, when the API, a device or the offscreen context is
    // missing.
    static boost::shared_ptr<Device> Create(std::int32_t kind, std::string* reason = nullptr);

    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    const std::string& GetName() const { return name; }
    // Whether GPU frames can be shared with OpenGL (CUDA-GL or cl_khr_gl_sharing interop).
    bool CanShareWithOpenGL() const { return shareWithOpenGL; }
    const std::set<hostcore::utility::ImmutableString>& GetExtensions() const { return extensions; }
    bool HasExtension(const hostcore::utility::ImmutableString& extension) const {
        return extensions.count(extension) != 0;
    }

    const boost::shared_ptr<ComputeContext>& GetComputeContext() const { return compute; }
    HostBufferAllocator& GetHostBufferAllocator() const { return *allocator; }
    HostBufferMapper& GetHostBufferMapper() const { return *mapper; }

    // Serialises work that must not interleave with other users of the device; the compute
    // context is current on the calling thread in between.
    void AcquireExclusiveAccess();
    void ReleaseExclusiveAccess();

    // The device's offscreen OpenGL context: the EGLDisplay and the EGLContext (on Windows, the
    // HDC and HGLRC). Contexts that share with it see the device's GL objects.
    void* GetOffscreenOpenGLDeviceHandle() const { return glDevice; }
    void* GetOffscreenOpenGLContextHandle() const { return glContext; }

    // What a backend hands over to make a device.
    struct Parts {
        std::string name;
        bool shareWithOpenGL = false;
        std::set<hostcore::utility::ImmutableString> extensions;
        boost::shared_ptr<ComputeContext> compute;
        boost::shared_ptr<HostBufferAllocator> allocator;
        boost::shared_ptr<HostBufferMapper> mapper;
        void* glDevice = nullptr;
        void* glContext = nullptr;  // owned by the device from here on
    };
    Device(std::int32_t kind, Parts parts);

private:
    std::string name;
    bool shareWithOpenGL;
    std::set<hostcore::utility::ImmutableString> extensions;
    boost::shared_ptr<ComputeContext> compute;
    boost::shared_ptr<HostBufferAllocator> allocator;
    boost::shared_ptr<HostBufferMapper> mapper;
    void* glDevice;
    void* glContext;
    std::recursive_mutex exclusive;
};

}  // namespace GB
