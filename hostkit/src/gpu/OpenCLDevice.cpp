// GB devices that compute through OpenCL (kinds 1 and 2), on whatever ICD is installed.

#include <CL/cl.h>
#include <CL/cl_gl.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <sstream>
#include <vector>

#include "DeviceBackends.h"
#include "GB/OffscreenGL.h"
#include "PixelLayout.h"

#ifndef CL_EGL_DISPLAY_KHR
#define CL_EGL_DISPLAY_KHR 0x2009
#endif

namespace GB {
namespace detail {
namespace {

const char* const kKernelSource = R"CLC(
float4 LoadPixel(__global const uchar* p, int layout) {
    const int bytes = layout & 7;
    const int isFloat = (layout >> 3) & 1;
    const int count = (layout >> 4) & 7;
    const int rgbOrder = (layout >> 8) & 1;
    const int alpha = (layout >> 9) & 1;
    const int bits = (layout >> 16) & 63;
    float c[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    for (int i = 0; i < count; ++i) {
        if (bytes == 1) {
            c[i] = (float)p[i] / 255.0f;
        } else if (bytes == 2 && isFloat) {
            c[i] = vload_half(i, (__global const half*)p);
        } else if (bytes == 2) {
            c[i] = (float)((__global const ushort*)p)[i] / (float)((1 << bits) - 1);
        } else {
            c[i] = ((__global const float*)p)[i];
        }
    }
    float4 rgba;
    if (count == 2) {
        rgba = (float4)(c[0], c[1], 0.0f, 1.0f);
    } else if (rgbOrder) {
        rgba = (float4)(c[0], c[1], c[2], c[3]);
    } else {
        rgba = (float4)(c[2], c[1], c[0], c[3]);
    }
    if (count == 4 && !alpha) {
        rgba.w = 1.0f;
    }
    return rgba;
}

void StorePixel(__global uchar* p, int layout, float4 rgba, int clampFloat) {
    const int bytes = layout & 7;
    const int isFloat = (layout >> 3) & 1;
    const int count = (layout >> 4) & 7;
    const int rgbOrder = (layout >> 8) & 1;
    const int alpha = (layout >> 9) & 1;
    const int bits = (layout >> 16) & 63;
    float c[4];
    if (count == 2) {
        c[0] = rgba.x; c[1] = rgba.y; c[2] = 0.0f; c[3] = 1.0f;
    } else if (rgbOrder) {
        c[0] = rgba.x; c[1] = rgba.y; c[2] = rgba.z; c[3] = rgba.w;
    } else {
        c[0] = rgba.z; c[1] = rgba.y; c[2] = rgba.x; c[3] = rgba.w;
    }
    if (count == 4 && !alpha) {
        c[3] = 1.0f;
    }
    for (int i = 0; i < count; ++i) {
        float v = c[i];
        if (!isFloat || clampFloat) {
            v = clamp(v, 0.0f, 1.0f);
        }
        if (bytes == 1) {
            p[i] = convert_uchar_sat_rte(v * 255.0f);
        } else if (bytes == 2 && isFloat) {
            vstore_half_rte(v, i, (__global half*)p);
        } else if (bytes == 2) {
            ((__global ushort*)p)[i] = convert_ushort_sat_rte(v * (float)((1 << bits) - 1));
        } else {
            ((__global float*)p)[i] = v;
        }
    }
}

int BytesPerPixel(int layout) { return (layout & 7) * ((layout >> 4) & 7); }

__kernel void ConvertPixels(__global const uchar* source, int sourceRowBytes, int sourceLayout,
                            __global uchar* target, int targetRowBytes, int targetLayout,
                            int clampFloat) {
    const int x = get_global_id(0);
    const int y = get_global_id(1);
    const float4 rgba = LoadPixel(source + y * sourceRowBytes + x * BytesPerPixel(sourceLayout),
                                  sourceLayout);
    StorePixel(target + y * targetRowBytes + x * BytesPerPixel(targetLayout), targetLayout, rgba,
               clampFloat);
}

__kernel void CopyPixelsToImage(__global const uchar* source, uint offset, int rowBytes,
                                int layout, __write_only image2d_t image) {
    const int x = get_global_id(0);
    const int y = get_global_id(1);
    write_imagef(image, (int2)(x, y),
                 LoadPixel(source + offset + y * rowBytes + x * BytesPerPixel(layout), layout));
}
)CLC";

std::string ClText(cl_int code) {
    return "OpenCL error " + std::to_string(code);
}

void SetReason(std::string* reason, const std::string& text) {
    if (reason != nullptr) {
        *reason = text;
    }
}

std::string DeviceString(cl_device_id device, cl_device_info what) {
    std::size_t size = 0;
    if (clGetDeviceInfo(device, what, 0, nullptr, &size) != CL_SUCCESS || size == 0) {
        return std::string();
    }
    std::string text(size, '\0');
    clGetDeviceInfo(device, what, size, &text[0], nullptr);
    text.resize(std::strlen(text.c_str()));
    return text;
}

std::size_t MemSize(cl_mem memory) {
    std::size_t size = 0;
    if (memory == nullptr ||
        clGetMemObjectInfo(memory, CL_MEM_SIZE, sizeof size, &size, nullptr) != CL_SUCCESS) {
        return 0;
    }
    return size;
}

// Whether `rows` rows of `rowBytes`, the last one `lastRowBytes` long, fit from `offset` on.
bool Fits(cl_mem memory, std::size_t offset, std::int32_t rowBytes, std::int32_t rows,
          std::size_t lastRowBytes) {
    const std::size_t size = MemSize(memory);
    const std::size_t needed =
        offset + static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(rows - 1) +
        lastRowBytes;
    return size != 0 && needed <= size;
}

class CompletionEventCL : public CompletionEvent {
public:
    explicit CompletionEventCL(cl_event event_) : event(event_) {}
    ~CompletionEventCL() override {
        if (event != nullptr) {
            clReleaseEvent(event);
        }
    }
    // An event that failed counts as complete so that nobody polls it forever; Wait tells.
    bool IsComplete() const override {
        if (event == nullptr) {
            return true;
        }
        cl_int status = CL_QUEUED;
        if (clGetEventInfo(event, CL_EVENT_COMMAND_EXECUTION_STATUS, sizeof status, &status,
                           nullptr) != CL_SUCCESS) {
            return true;
        }
        return status == CL_COMPLETE || status < 0;
    }
    bool Wait() override {
        if (event == nullptr) {
            return false;
        }
        return clWaitForEvents(1, &event) == CL_SUCCESS;
    }

private:
    cl_event event;
};

class OpenCLCompute : public ComputeContext, public HostBufferAllocator, public HostBufferMapper {
public:
    OpenCLCompute(cl_device_id device_, cl_context context_, cl_command_queue queue_,
                  bool sharesGL_)
        : device(device_), context(context_), queue(queue_), sharesGL(sharesGL_) {}

    ~OpenCLCompute() override {
        clFinish(queue);
        if (convertKernel != nullptr) {
            clReleaseKernel(convertKernel);
        }
        if (imageKernel != nullptr) {
            clReleaseKernel(imageKernel);
        }
        if (program != nullptr) {
            clReleaseProgram(program);
        }
        clReleaseCommandQueue(queue);
        clReleaseContext(context);
    }

    void* GetQueue() const override { return queue; }
    void* GetNativeContext() const override { return context; }

    boost::shared_ptr<CompletionEvent> CreateCompletionEvent() override {
        cl_event event = nullptr;
        clEnqueueMarkerWithWaitList(queue, 0, nullptr, &event);
        clFlush(queue);  // a marker nobody flushes may never be reached
        return boost::shared_ptr<CompletionEvent>(new CompletionEventCL(event));
    }

    void* AllocateBuffer(std::size_t bytes) override { return NewBuffer(bytes, 0); }
    void FreeBuffer(void* buffer) override {
        if (buffer != nullptr) {
            clReleaseMemObject(static_cast<cl_mem>(buffer));
        }
    }

    int CopyHostToBuffer(const void* source, void* buffer, std::size_t bytes,
                         std::uint32_t flags) override {
        cl_mem target = static_cast<cl_mem>(buffer);
        if (source == nullptr || bytes == 0 || MemSize(target) < bytes) {
            return kResult_InvalidArgument;
        }
        // The host memory is the caller's; only a blocking write may return before it is read.
        (void)flags;
        return Check(
            clEnqueueWriteBuffer(queue, target, CL_TRUE, 0, bytes, source, 0, nullptr, nullptr));
    }

    int CopyBufferToHost(void* buffer, void* hostBuffer, std::size_t bytes,
                         std::uint32_t flags) override {
        cl_mem source = static_cast<cl_mem>(buffer);
        cl_mem target = static_cast<cl_mem>(hostBuffer);
        if (bytes == 0 || MemSize(source) < bytes || MemSize(target) < bytes) {
            return kResult_InvalidArgument;
        }
        const cl_int error =
            clEnqueueCopyBuffer(queue, source, target, 0, 0, bytes, 0, nullptr, nullptr);
        if (error != CL_SUCCESS) {
            return Check(error);
        }
        return Finish(flags & kCopy_Async);
    }

    int CopyBufferToInteropImage(void* buffer, std::int32_t rowBytes,
                                 hostmediatypes::PixelFormat format, void* image,
                                 std::int32_t width, std::int32_t height) override {
        cl_mem memory = static_cast<cl_mem>(image);
        if (memory == nullptr) {
            return kResult_InvalidArgument;
        }
        if (sharesGL) {
            const cl_int error = clEnqueueAcquireGLObjects(queue, 1, &memory, 0, nullptr, nullptr);
            if (error != CL_SUCCESS) {
                return Check(error);
            }
        }
        const int result =
            CopyPixelsToImage(buffer, 0, rowBytes, format, image, width, height, true, true);
        if (sharesGL) {
            clEnqueueReleaseGLObjects(queue, 1, &memory, 0, nullptr, nullptr);
        }
        const int finished = Finish(false);
        return result < 0 ? result : finished;
    }

    int ConvertPixels(const void* source, std::int32_t sourceRowBytes,
                      hostmediatypes::PixelFormat sourceFormat, void* target,
                      std::int32_t targetRowBytes, hostmediatypes::PixelFormat targetFormat,
                      std::int32_t width, std::int32_t height, bool async,
                      bool clampFloat) override {
        const std::int32_t sourceLayout = PixelLayoutCode(sourceFormat);
        const std::int32_t targetLayout = PixelLayoutCode(targetFormat);
        cl_mem from = static_cast<cl_mem>(const_cast<void*>(source));
        cl_mem to = static_cast<cl_mem>(target);
        if (sourceLayout == 0 || targetLayout == 0 || width <= 0 || height <= 0 ||
            !RowsOk(sourceRowBytes, sourceLayout, width) ||
            !RowsOk(targetRowBytes, targetLayout, width) ||
            !Fits(from, 0, sourceRowBytes, height,
                  static_cast<std::size_t>(width) * LayoutBytesPerPixel(sourceLayout)) ||
            !Fits(to, 0, targetRowBytes, height,
                  static_cast<std::size_t>(width) * LayoutBytesPerPixel(targetLayout))) {
            return kResult_InvalidArgument;
        }
        std::lock_guard<std::mutex> lock(kernelMutex);
        const int built = BuildProgram();
        if (built < 0) {
            return built;
        }
        const cl_int clamp = clampFloat ? 1 : 0;
        cl_int error = clSetKernelArg(convertKernel, 0, sizeof from, &from);
        error |= clSetKernelArg(convertKernel, 1, sizeof sourceRowBytes, &sourceRowBytes);
        error |= clSetKernelArg(convertKernel, 2, sizeof sourceLayout, &sourceLayout);
        error |= clSetKernelArg(convertKernel, 3, sizeof to, &to);
        error |= clSetKernelArg(convertKernel, 4, sizeof targetRowBytes, &targetRowBytes);
        error |= clSetKernelArg(convertKernel, 5, sizeof targetLayout, &targetLayout);
        error |= clSetKernelArg(convertKernel, 6, sizeof clamp, &clamp);
        if (error != CL_SUCCESS) {
            return kResult_DeviceError;
        }
        const std::size_t global[2] = {static_cast<std::size_t>(width),
                                       static_cast<std::size_t>(height)};
        error = clEnqueueNDRangeKernel(queue, convertKernel, 2, nullptr, global, nullptr, 0,
                                       nullptr, nullptr);
        if (error != CL_SUCCESS) {
            return Check(error);
        }
        return Finish(async);
    }

    int CopyPixelsToImage(const void* buffer, std::size_t offset, std::int32_t rowBytes,
                          hostmediatypes::PixelFormat format, void* image, std::int32_t width,
                          std::int32_t height, bool clipToImage, bool async) override {
        const std::int32_t layout = PixelLayoutCode(format);
        cl_mem from = static_cast<cl_mem>(const_cast<void*>(buffer));
        cl_mem to = static_cast<cl_mem>(image);
        std::size_t imageWidth = 0;
        std::size_t imageHeight = 0;
        // Some drivers crash when asked for image details of a buffer, so the type goes first.
        cl_mem_object_type type = 0;
        if (to == nullptr ||
            clGetMemObjectInfo(to, CL_MEM_TYPE, sizeof type, &type, nullptr) != CL_SUCCESS ||
            type != CL_MEM_OBJECT_IMAGE2D ||
            clGetImageInfo(to, CL_IMAGE_WIDTH, sizeof imageWidth, &imageWidth, nullptr) !=
                CL_SUCCESS ||
            clGetImageInfo(to, CL_IMAGE_HEIGHT, sizeof imageHeight, &imageHeight, nullptr) !=
                CL_SUCCESS) {
            return kResult_InvalidArgument;
        }
        // The kernel takes the offset as a 32-bit value.
        if (layout == 0 || width <= 0 || height <= 0 || !RowsOk(rowBytes, layout, width) ||
            offset > UINT32_MAX || offset % LayoutComponentBytes(layout) != 0 ||
            !Fits(from, offset, rowBytes, height,
                  static_cast<std::size_t>(width) * LayoutBytesPerPixel(layout))) {
            return kResult_InvalidArgument;
        }
        std::size_t copyWidth = static_cast<std::size_t>(width);
        std::size_t copyHeight = static_cast<std::size_t>(height);
        if (copyWidth != imageWidth || copyHeight != imageHeight) {
            if (!clipToImage) {
                return kResult_InvalidArgument;
            }
            copyWidth = std::min(copyWidth, imageWidth);
            copyHeight = std::min(copyHeight, imageHeight);
        }
        std::lock_guard<std::mutex> lock(kernelMutex);
        const int built = BuildProgram();
        if (built < 0) {
            return built;
        }
        const cl_uint start = static_cast<cl_uint>(offset);
        cl_int error = clSetKernelArg(imageKernel, 0, sizeof from, &from);
        error |= clSetKernelArg(imageKernel, 1, sizeof start, &start);
        error |= clSetKernelArg(imageKernel, 2, sizeof rowBytes, &rowBytes);
        error |= clSetKernelArg(imageKernel, 3, sizeof layout, &layout);
        error |= clSetKernelArg(imageKernel, 4, sizeof to, &to);
        if (error != CL_SUCCESS) {
            return kResult_DeviceError;
        }
        const std::size_t global[2] = {copyWidth, copyHeight};
        error = clEnqueueNDRangeKernel(queue, imageKernel, 2, nullptr, global, nullptr, 0, nullptr,
                                       nullptr);
        if (error != CL_SUCCESS) {
            return Check(error);
        }
        return Finish(async);
    }

    // Host buffers: pinned buffers of the context, mapped for the host on demand.
    void* Allocate(std::size_t bytes) override { return NewBuffer(bytes, CL_MEM_ALLOC_HOST_PTR); }
    void Free(void* hostBuffer) override { FreeBuffer(hostBuffer); }

    void* Map(void* hostBuffer) override {
        cl_mem memory = static_cast<cl_mem>(hostBuffer);
        const std::size_t size = MemSize(memory);
        if (size == 0) {
            return nullptr;
        }
        cl_int error = CL_SUCCESS;
        void* address = clEnqueueMapBuffer(queue, memory, CL_TRUE, CL_MAP_READ | CL_MAP_WRITE, 0,
                                           size, 0, nullptr, nullptr, &error);
        return error == CL_SUCCESS ? address : nullptr;
    }

    void Unmap(void* hostBuffer, void* address) override {
        if (hostBuffer == nullptr || address == nullptr) {
            return;
        }
        clEnqueueUnmapMemObject(queue, static_cast<cl_mem>(hostBuffer), address, 0, nullptr,
                                nullptr);
        clFlush(queue);
    }

    const std::string& BuildLog() const { return buildLog; }

private:
    static bool RowsOk(std::int32_t rowBytes, std::int32_t layout, std::int32_t width) {
        return rowBytes > 0 &&
               static_cast<std::size_t>(rowBytes) >=
                   static_cast<std::size_t>(width) * LayoutBytesPerPixel(layout) &&
               static_cast<unsigned>(rowBytes) % LayoutComponentBytes(layout) == 0;
    }

    void* NewBuffer(std::size_t bytes, cl_mem_flags extra) {
        if (bytes == 0) {
            return nullptr;
        }
        cl_int error = CL_SUCCESS;
        cl_mem memory = clCreateBuffer(context, CL_MEM_READ_WRITE | extra, bytes, nullptr, &error);
        return error == CL_SUCCESS ? memory : nullptr;
    }

    static int Check(cl_int error) {
        if (error == CL_SUCCESS) {
            return kResult_OK;
        }
        if (error == CL_MEM_OBJECT_ALLOCATION_FAILURE || error == CL_OUT_OF_RESOURCES ||
            error == CL_OUT_OF_HOST_MEMORY) {
            return kResult_OutOfMemory;
        }
        return kResult_DeviceError;
    }

    int Finish(bool async) { return Check(async ? clFlush(queue) : clFinish(queue)); }

    // Built on first use and kept; a failed build is not retried.
    int BuildProgram() {
        if (convertKernel != nullptr && imageKernel != nullptr) {
            return kResult_OK;
        }
        if (buildFailed) {
            return kResult_DeviceError;
        }
        buildFailed = true;
        cl_int error = CL_SUCCESS;
        const char* source = kKernelSource;
        program = clCreateProgramWithSource(context, 1, &source, nullptr, &error);
        if (error != CL_SUCCESS) {
            buildLog = "clCreateProgramWithSource: " + ClText(error);
            return kResult_DeviceError;
        }
        error = clBuildProgram(program, 1, &device, "", nullptr, nullptr);
        if (error != CL_SUCCESS) {
            std::size_t size = 0;
            clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, 0, nullptr, &size);
            buildLog.assign(size, '\0');
            clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, size, &buildLog[0],
                                  nullptr);
            return kResult_DeviceError;
        }
        convertKernel = clCreateKernel(program, "ConvertPixels", &error);
        if (error != CL_SUCCESS) {
            return kResult_DeviceError;
        }
        imageKernel = clCreateKernel(program, "CopyPixelsToImage", &error);
        if (error != CL_SUCCESS) {
            return kResult_DeviceError;
        }
        buildFailed = false;
        return kResult_OK;
    }

    cl_device_id device;
    cl_context context;
    cl_command_queue queue;
    bool sharesGL;
    std::mutex kernelMutex;  // a kernel's arguments are shared state
    cl_program program = nullptr;
    cl_kernel convertKernel = nullptr;
    cl_kernel imageKernel = nullptr;
    bool buildFailed = false;
    std::string buildLog;
};

// The first GPU of any platform, else the first device of any type.
bool PickDevice(cl_platform_id* platform, cl_device_id* device, std::string* reason) {
    cl_uint count = 0;
    if (clGetPlatformIDs(0, nullptr, &count) != CL_SUCCESS || count == 0) {
        SetReason(reason, "no OpenCL platform is installed");
        return false;
    }
    std::vector<cl_platform_id> platforms(count);
    clGetPlatformIDs(count, platforms.data(), nullptr);
    for (cl_device_type type : {static_cast<cl_device_type>(CL_DEVICE_TYPE_GPU),
                                static_cast<cl_device_type>(CL_DEVICE_TYPE_ALL)}) {
        for (cl_platform_id candidate : platforms) {
            cl_device_id found = nullptr;
            cl_uint devices = 0;
            if (clGetDeviceIDs(candidate, type, 1, &found, &devices) == CL_SUCCESS && devices > 0) {
                *platform = candidate;
                *device = found;
                return true;
            }
        }
    }
    SetReason(reason, "no OpenCL device on any platform");
    return false;
}

}  // namespace

boost::shared_ptr<Device> CreateOpenCLDevice(std::int32_t kind, std::string* reason) {
    cl_platform_id platform = nullptr;
    cl_device_id device = nullptr;
    if (!PickDevice(&platform, &device, reason)) {
        return boost::shared_ptr<Device>();
    }
    std::string error;
    const EGLDisplay display = offscreen::GetDisplay(&error);
    if (display == EGL_NO_DISPLAY) {
        SetReason(reason, "OpenCL device without an offscreen OpenGL context: " + error);
        return boost::shared_ptr<Device>();
    }
    const EGLContext glContext =
        offscreen::CreateContext(display, EGL_NO_CONTEXT, 4, 1, true, &error);
    if (glContext == EGL_NO_CONTEXT) {
        SetReason(reason, "OpenCL device without an offscreen OpenGL context: " + error);
        return boost::shared_ptr<Device>();
    }

    Device::Parts parts;
    parts.name = DeviceString(device, CL_DEVICE_NAME);
    std::istringstream words(DeviceString(device, CL_DEVICE_EXTENSIONS));
    for (std::string word; words >> word;) {
        parts.extensions.insert(hostcore::utility::ImmutableString(word));
    }

    cl_int clError = CL_SUCCESS;
    cl_context context = nullptr;
    if (kind == kDeviceKind_OpenCL &&
        parts.extensions.count(hostcore::utility::ImmutableString("cl_khr_gl_sharing")) != 0) {
        const cl_context_properties properties[] = {
            CL_GL_CONTEXT_KHR,
            reinterpret_cast<cl_context_properties>(glContext),
            CL_EGL_DISPLAY_KHR,
            reinterpret_cast<cl_context_properties>(display),
            CL_CONTEXT_PLATFORM,
            reinterpret_cast<cl_context_properties>(platform),
            0};
        context = clCreateContext(properties, 1, &device, nullptr, nullptr, &clError);
        parts.shareWithOpenGL = context != nullptr && clError == CL_SUCCESS;
    }
    if (context == nullptr) {
        const cl_context_properties properties[] = {
            CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(platform), 0};
        context = clCreateContext(properties, 1, &device, nullptr, nullptr, &clError);
    }
    if (context == nullptr || clError != CL_SUCCESS) {
        offscreen::DestroyContext(display, glContext);
        SetReason(reason, "clCreateContext failed: " + ClText(clError));
        return boost::shared_ptr<Device>();
    }
    cl_command_queue queue = clCreateCommandQueue(context, device, 0, &clError);
    if (queue == nullptr || clError != CL_SUCCESS) {
        clReleaseContext(context);
        offscreen::DestroyContext(display, glContext);
        SetReason(reason, "clCreateCommandQueue failed: " + ClText(clError));
        return boost::shared_ptr<Device>();
    }

    boost::shared_ptr<OpenCLCompute> compute(
        new OpenCLCompute(device, context, queue, parts.shareWithOpenGL));
    parts.compute = compute;
    parts.allocator = compute;
    parts.mapper = compute;
    parts.glDevice = display;
    parts.glContext = glContext;
    return boost::shared_ptr<Device>(new Device(kind, std::move(parts)));
}

}  // namespace detail
}  // namespace GB
