// GB devices that compute through CUDA (kind 0), on the driver loaded at run time.

#include <string>

#include "DeviceBackends.h"
#include "GB/CudaDriver.h"
#include "GB/OffscreenGL.h"
#include "PixelLayout.h"

namespace GB {
namespace detail {
namespace {

using namespace GB::cuda;

void SetReason(std::string* reason, const std::string& text) {
    if (reason != nullptr) {
        *reason = text;
    }
}

// Makes the device's context current for the scope, as every driver call on it needs.
class ScopedContext {
public:
    ScopedContext(const Driver* driver_, CUcontext context) : driver(driver_) {
        driver->cuCtxPushCurrent(context);
    }
    ~ScopedContext() {
        CUcontext popped = nullptr;
        driver->cuCtxPopCurrent(&popped);
    }
    ScopedContext(const ScopedContext&) = delete;
    ScopedContext& operator=(const ScopedContext&) = delete;

private:
    const Driver* driver;
};

int Check(CUresult result) {
    return result == CUDA_SUCCESS ? kResult_OK : kResult_DeviceError;
}

class CompletionEventCuda : public CompletionEvent {
public:
    CompletionEventCuda(const Driver* driver_, CUcontext context_, CUevent event_)
        : driver(driver_), context(context_), event(event_) {}
    ~CompletionEventCuda() override {
        if (event != nullptr) {
            ScopedContext scope(driver, context);
            driver->cuEventDestroy(event);
        }
    }
    bool IsComplete() const override {
        if (event == nullptr) {
            return true;
        }
        ScopedContext scope(driver, context);
        return driver->cuEventQuery(event) != CUDA_ERROR_NOT_READY;
    }
    bool Wait() override {
        if (event == nullptr) {
            return false;
        }
        ScopedContext scope(driver, context);
        return driver->cuEventSynchronize(event) == CUDA_SUCCESS;
    }

private:
    const Driver* driver;
    CUcontext context;
    CUevent event;
};

// Buffers are CUdeviceptr values carried in a void*; host buffers are pinned host memory,
// already mapped.
class CudaCompute : public ComputeContext, public HostBufferAllocator, public HostBufferMapper {
public:
    CudaCompute(const Driver* driver_, CUcontext context_, CUstream stream_)
        : driver(driver_), context(context_), stream(stream_) {}
    ~CudaCompute() override {
        {
            ScopedContext scope(driver, context);
            driver->cuStreamSynchronize(stream);
            driver->cuStreamDestroy(stream);
        }
        driver->cuCtxDestroy(context);
    }

    void* GetQueue() const override { return stream; }
    void* GetNativeContext() const override { return context; }

    void Enter() override { driver->cuCtxPushCurrent(context); }
    void Leave() override {
        CUcontext popped = nullptr;
        driver->cuCtxPopCurrent(&popped);
    }

    boost::shared_ptr<CompletionEvent> CreateCompletionEvent() override {
        ScopedContext scope(driver, context);
        CUevent event = nullptr;
        if (driver->cuEventCreate(&event, CU_EVENT_DISABLE_TIMING) == CUDA_SUCCESS) {
            driver->cuEventRecord(event, stream);
        }
        return boost::shared_ptr<CompletionEvent>(new CompletionEventCuda(driver, context, event));
    }

    void* AllocateBuffer(std::size_t bytes) override {
        if (bytes == 0) {
            return nullptr;
        }
        ScopedContext scope(driver, context);
        CUdeviceptr pointer = 0;
        if (driver->cuMemAlloc(&pointer, bytes) != CUDA_SUCCESS) {
            return nullptr;
        }
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(pointer));
    }
    void FreeBuffer(void* buffer) override {
        if (buffer != nullptr) {
            ScopedContext scope(driver, context);
            driver->cuMemFree(Pointer(buffer));
        }
    }

    int CopyHostToBuffer(const void* source, void* buffer, std::size_t bytes,
                         std::uint32_t) override {
        if (source == nullptr || buffer == nullptr || bytes == 0) {
            return kResult_InvalidArgument;
        }
        ScopedContext scope(driver, context);
        const CUresult result = driver->cuMemcpyHtoDAsync(Pointer(buffer), source, bytes, stream);
        // The caller's memory may go as soon as this returns.
        return result != CUDA_SUCCESS ? kResult_DeviceError
                                      : Check(driver->cuStreamSynchronize(stream));
    }

    int CopyBufferToHost(void* buffer, void* hostBuffer, std::size_t bytes,
                         std::uint32_t flags) override {
        if (buffer == nullptr || hostBuffer == nullptr || bytes == 0) {
            return kResult_InvalidArgument;
        }
        ScopedContext scope(driver, context);
        const CUresult result =
            driver->cuMemcpyDtoHAsync(hostBuffer, Pointer(buffer), bytes, stream);
        if (result != CUDA_SUCCESS) {
            return kResult_DeviceError;
        }
        return (flags & kCopy_Async) ? kResult_OK : Check(driver->cuStreamSynchronize(stream));
    }

    // `image` is a registered CUgraphicsResource of a GL texture of the same pixel size.
    int CopyBufferToInteropImage(void* buffer, std::int32_t rowBytes,
                                 hostmediatypes::PixelFormat format, void* image,
                                 std::int32_t width, std::int32_t height) override {
        const std::int32_t layout = PixelLayoutCode(format);
        if (buffer == nullptr || image == nullptr || layout == 0 || width <= 0 || height <= 0 ||
            rowBytes <= 0 ||
            static_cast<std::size_t>(rowBytes) <
                static_cast<std::size_t>(width) * LayoutBytesPerPixel(layout)) {
            return kResult_InvalidArgument;
        }
        ScopedContext scope(driver, context);
        CUgraphicsResource resource = static_cast<CUgraphicsResource>(image);
        if (driver->cuGraphicsMapResources(1, &resource, stream) != CUDA_SUCCESS) {
            return kResult_DeviceError;
        }
        CUarray array = nullptr;
        CUresult result = driver->cuGraphicsSubResourceGetMappedArray(&array, resource, 0, 0);
        if (result == CUDA_SUCCESS) {
            CUDA_MEMCPY2D copy{};
            copy.srcMemoryType = CU_MEMORYTYPE_DEVICE;
            copy.srcDevice = Pointer(buffer);
            copy.srcPitch = static_cast<std::size_t>(rowBytes);
            copy.dstMemoryType = CU_MEMORYTYPE_ARRAY;
            copy.dstArray = array;
            copy.WidthInBytes = static_cast<std::size_t>(width) * LayoutBytesPerPixel(layout);
            copy.Height = static_cast<std::size_t>(height);
            result = driver->cuMemcpy2DAsync(&copy, stream);
        }
        driver->cuGraphicsUnmapResources(1, &resource, stream);
        return Check(result);
    }

    // Only copies between buffers of one layout run here; no conversion kernels exist for CUDA.
    int ConvertPixels(const void* source, std::int32_t sourceRowBytes,
                      hostmediatypes::PixelFormat sourceFormat, void* target,
                      std::int32_t targetRowBytes, hostmediatypes::PixelFormat targetFormat,
                      std::int32_t width, std::int32_t height, bool async, bool) override {
        const std::int32_t layout = PixelLayoutCode(sourceFormat);
        if (source == nullptr || target == nullptr || layout == 0 || width <= 0 || height <= 0) {
            return kResult_InvalidArgument;
        }
        if (layout != PixelLayoutCode(targetFormat)) {
            return kResult_Unsupported;
        }
        const std::size_t rowLength = static_cast<std::size_t>(width) * LayoutBytesPerPixel(layout);
        if (sourceRowBytes <= 0 || targetRowBytes <= 0 ||
            static_cast<std::size_t>(sourceRowBytes) < rowLength ||
            static_cast<std::size_t>(targetRowBytes) < rowLength) {
            return kResult_InvalidArgument;
        }
        ScopedContext scope(driver, context);
        CUDA_MEMCPY2D copy{};
        copy.srcMemoryType = CU_MEMORYTYPE_DEVICE;
        copy.srcDevice = Pointer(const_cast<void*>(source));
        copy.srcPitch = static_cast<std::size_t>(sourceRowBytes);
        copy.dstMemoryType = CU_MEMORYTYPE_DEVICE;
        copy.dstDevice = Pointer(target);
        copy.dstPitch = static_cast<std::size_t>(targetRowBytes);
        copy.WidthInBytes = rowLength;
        copy.Height = static_cast<std::size_t>(height);
        if (driver->cuMemcpy2DAsync(&copy, stream) != CUDA_SUCCESS) {
            return kResult_DeviceError;
        }
        return async ? kResult_OK : Check(driver->cuStreamSynchronize(stream));
    }

    int CopyPixelsToImage(const void*, std::size_t, std::int32_t, hostmediatypes::PixelFormat,
                          void*, std::int32_t, std::int32_t, bool, bool) override {
        return kResult_Unsupported;
    }

    void* Allocate(std::size_t bytes) override {
        if (bytes == 0) {
            return nullptr;
        }
        ScopedContext scope(driver, context);
        void* pointer = nullptr;
        return driver->cuMemAllocHost(&pointer, bytes) == CUDA_SUCCESS ? pointer : nullptr;
    }
    void Free(void* hostBuffer) override {
        if (hostBuffer != nullptr) {
            ScopedContext scope(driver, context);
            driver->cuMemFreeHost(hostBuffer);
        }
    }
    void* Map(void* hostBuffer) override { return hostBuffer; }
    void Unmap(void*, void*) override {}

private:
    static CUdeviceptr Pointer(void* buffer) {
        return static_cast<CUdeviceptr>(reinterpret_cast<std::uintptr_t>(buffer));
    }

    const Driver* driver;
    CUcontext context;
    CUstream stream;
};

// Whether CUDA can register the GL objects of `glContext`: only those of contexts on its own
// devices. A driver without cuGLGetDevices is judged by the display's vendor.
bool SharesWithGL(const Driver* driver, CUcontext context, CUdevice device, EGLDisplay display,
                  EGLContext glContext) {
    if (driver->cuGLGetDevices == nullptr) {
        return offscreen::DisplayVendor(display).find("NVIDIA") != std::string::npos;
    }
    // The caller's GL context is put back afterwards.
    const EGLDisplay previousDisplay = eglGetCurrentDisplay();
    const EGLContext previousContext = eglGetCurrentContext();
    const EGLSurface previousDraw = eglGetCurrentSurface(EGL_DRAW);
    const EGLSurface previousRead = eglGetCurrentSurface(EGL_READ);
    if (!offscreen::MakeCurrent(display, glContext, nullptr)) {
        return false;
    }
    unsigned int count = 0;
    CUdevice devices[8] = {};
    CUresult result = CUDA_SUCCESS;
    {
        ScopedContext scope(driver, context);
        result = driver->cuGLGetDevices(&count, devices, 8, CU_GL_DEVICE_LIST_ALL);
    }
    if (previousContext != EGL_NO_CONTEXT) {
        eglMakeCurrent(previousDisplay, previousDraw, previousRead, previousContext);
    } else {
        offscreen::ReleaseCurrent(display, nullptr);
    }
    if (result != CUDA_SUCCESS) {
        return false;
    }
    for (unsigned int i = 0; i < count && i < 8; ++i) {
        if (devices[i] == device) {
            return true;
        }
    }
    return false;
}

}  // namespace

boost::shared_ptr<Device> CreateCudaDevice(std::string* reason) {
    std::string why;
    const Driver* driver = LoadCudaDriver(kRequestedDriverVersion, &why);
    if (driver == nullptr) {
        SetReason(reason, "CUDA is not available: " + why);
        return boost::shared_ptr<Device>();
    }
    int count = 0;
    if (driver->cuDeviceGetCount(&count) != CUDA_SUCCESS || count <= 0) {
        SetReason(reason, "CUDA is not available: no CUDA device");
        return boost::shared_ptr<Device>();
    }
    CUdevice device = 0;
    CUresult result = driver->cuDeviceGet(&device, 0);
    char name[256] = {};
    if (result == CUDA_SUCCESS) {
        result = driver->cuDeviceGetName(name, static_cast<int>(sizeof name - 1), device);
    }
    CUcontext context = nullptr;
    if (result == CUDA_SUCCESS) {
        result = driver->cuCtxCreate(&context, 0, device);
    }
    if (result != CUDA_SUCCESS) {
        SetReason(reason, "cannot open the CUDA device: " + CudaErrorText(driver, result));
        return boost::shared_ptr<Device>();
    }
    CUstream stream = nullptr;
    result = driver->cuStreamCreate(&stream, CU_STREAM_NON_BLOCKING);
    CUcontext popped = nullptr;
    driver->cuCtxPopCurrent(&popped);
    if (result != CUDA_SUCCESS) {
        driver->cuCtxDestroy(context);
        SetReason(reason, "cannot create a CUDA stream: " + CudaErrorText(driver, result));
        return boost::shared_ptr<Device>();
    }
    boost::shared_ptr<CudaCompute> compute(new CudaCompute(driver, context, stream));

    const EGLDisplay display = offscreen::GetDisplay(&why);
    const EGLContext glContext =
        display == EGL_NO_DISPLAY
            ? EGL_NO_CONTEXT
            : offscreen::CreateContext(display, EGL_NO_CONTEXT, 4, 1, true, &why);
    if (glContext == EGL_NO_CONTEXT) {
        SetReason(reason, "CUDA device without an offscreen OpenGL context: " + why);
        return boost::shared_ptr<Device>();
    }

    Device::Parts parts;
    parts.name = name;
    parts.shareWithOpenGL = SharesWithGL(driver, context, device, display, glContext);
    parts.compute = compute;
    parts.allocator = compute;
    parts.mapper = compute;
    parts.glDevice = display;
    parts.glContext = glContext;
    return boost::shared_ptr<Device>(new Device(kDeviceKind_CUDA, std::move(parts)));
}

}  // namespace detail
}  // namespace GB
