// The OpenCL entry points of the stand-in, reached through the loader's dispatch table that
// begins every object. One lock guards all state; work runs when it is queued.

#define CL_TARGET_OPENCL_VERSION 300
#define CL_USE_DEPRECATED_OPENCL_1_0_APIS
#define CL_USE_DEPRECATED_OPENCL_1_1_APIS
#define CL_USE_DEPRECATED_OPENCL_1_2_APIS
#define GL_GLEXT_PROTOTYPES 1
#include <CL/cl_icd.h>
#include <EGL/egl.h>
#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glx.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "clsim/clsim_control.h"

namespace {

cl_icd_dispatch& Dispatch();

}  // namespace

struct _cl_platform_id {
    cl_icd_dispatch* dispatch;
};
struct _cl_device_id {
    cl_icd_dispatch* dispatch;
};
struct _cl_context {
    cl_icd_dispatch* dispatch;
    cl_uint references;
    bool sharesGL;
};
struct _cl_command_queue {
    cl_icd_dispatch* dispatch;
    cl_context context;
};
struct _cl_mem {
    cl_icd_dispatch* dispatch;
    cl_uint references;
    cl_context context;
    cl_mem_object_type type;
    std::vector<unsigned char> bytes;  // of a buffer
    GLuint glName;                     // of a GL object; 0 for a buffer of our own
    bool acquired;
    std::size_t width, height;  // of an image
};
struct _cl_program {
    cl_icd_dispatch* dispatch;
    cl_uint references;
    std::string source;
};
struct _cl_kernel {
    cl_icd_dispatch* dispatch;
    cl_uint references;
    std::string name;
    std::map<cl_uint, std::vector<unsigned char>> args;
};
struct _cl_event {
    cl_icd_dispatch* dispatch;
    cl_uint references;
};

namespace {

struct Failure {
    cl_int error;
    int times;
};

struct State {
    std::mutex mutex;
    bool glEvent = true;
    std::vector<clsim_call> calls;
    std::map<std::string, Failure> failures;
    std::set<cl_mem> memories;
    std::set<cl_event> events;
};

State& Sim() {
    static State* state = new State();  // outlives every caller's static destructors
    return *state;
}

_cl_platform_id thePlatform{&Dispatch()};
_cl_device_id theDevice{&Dispatch()};

std::uint64_t ThreadTag() {
    return static_cast<std::uint64_t>(std::hash<std::thread::id>()(std::this_thread::get_id()));
}

// Set while a call of the stand-in runs on the thread: GL calls made inside it are its own, not
// the application's, and stay out of the record.
thread_local bool insideCall = false;

class Call {
public:
    explicit Call(const char* name) : state(Sim()) {
        insideCall = true;
        std::memset(&record, 0, sizeof record);
        std::strncpy(record.name, name, sizeof record.name - 1);
        record.thread = ThreadTag();
        auto found = state.failures.find(name);
        if (found != state.failures.end() && found->second.times != 0) {
            injected = found->second.error;
            if (found->second.times > 0) {
                --found->second.times;
            }
        }
    }
    ~Call() {
        state.calls.push_back(record);
        insideCall = false;
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    bool Failed() const { return injected != CL_SUCCESS; }
    cl_int Injected() const { return injected; }
    void Arg(int index, std::uint64_t value) { record.args[index] = value; }
    cl_int Return(cl_int result) {
        record.result = result;
        return result;
    }
    // For calls that hand back an object and report through `errcode`.
    template <class T>
    T Return(T object, cl_int result, cl_int* errcode) {
        record.result = result;
        if (errcode != nullptr) {
            *errcode = result;
        }
        return object;
    }

private:
    State& state;
    clsim_call record;
    cl_int injected = CL_SUCCESS;
};

#define CLSIM_BEGIN(name)                          \
    State& state = Sim();                          \
    std::lock_guard<std::mutex> lock(state.mutex); \
    Call call(name);                               \
    if (call.Failed()) {                           \
        return call.Return(call.Injected());       \
    }

#define CLSIM_BEGIN_OBJECT(name, errcode)                      \
    State& state = Sim();                                      \
    std::lock_guard<std::mutex> lock(state.mutex);             \
    Call call(name);                                           \
    if (call.Failed()) {                                       \
        return call.Return(nullptr, call.Injected(), errcode); \
    }

std::string Extensions(const State& state) {
    std::string text = "cl_khr_icd cl_khr_gl_sharing";
    if (state.glEvent) {
        text += " cl_khr_gl_event";
    }
    return text;
}

// Copies `value` into an info query's answer, as every clGet*Info does.
cl_int Answer(const void* value, std::size_t size, std::size_t capacity, void* out,
              std::size_t* sizeOut) {
    if (sizeOut != nullptr) {
        *sizeOut = size;
    }
    if (out != nullptr) {
        if (capacity < size) {
            return CL_INVALID_VALUE;
        }
        std::memcpy(out, value, size);
    }
    return CL_SUCCESS;
}

cl_int AnswerText(const std::string& text, std::size_t capacity, void* out, std::size_t* sizeOut) {
    return Answer(text.c_str(), text.size() + 1, capacity, out, sizeOut);
}

template <class T>
cl_int AnswerValue(T value, std::size_t capacity, void* out, std::size_t* sizeOut) {
    return Answer(&value, sizeof value, capacity, out, sizeOut);
}

// A context of either binding the library can make: EGL, or GLX on an X display.
bool GLContextCurrent() {
    return eglGetCurrentContext() != EGL_NO_CONTEXT || glXGetCurrentContext() != nullptr;
}

bool KnownMemory(const State& state, cl_mem memory) {
    return memory != nullptr && state.memories.count(memory) != 0;
}

cl_event NewEvent(State& state) {
    cl_event event = new _cl_event{&Dispatch(), 1};
    state.events.insert(event);
    return event;
}

// Hands back a finished event when the caller asks for one.
void Finished(State& state, cl_event* event) {
    if (event != nullptr) {
        *event = NewEvent(state);
    }
}

// Pixels as the host stand-in's kernels see them: the layout code packs bytes per component,
// float or not, component count, RGB order, alpha and bit depth.
struct Layout {
    int bytes, isFloat, count, rgbOrder, alpha, bits;
    explicit Layout(int code)
        : bytes(code & 7),
          isFloat((code >> 3) & 1),
          count((code >> 4) & 7),
          rgbOrder((code >> 8) & 1),
          alpha((code >> 9) & 1),
          bits((code >> 16) & 63) {}
    int PixelBytes() const { return bytes * count; }
};

float HalfToFloat(std::uint16_t half) {
    const int sign = (half >> 15) & 1;
    const int exponent = (half >> 10) & 31;
    const int mantissa = half & 1023;
    float value;
    if (exponent == 0) {
        value = std::ldexp(static_cast<float>(mantissa), -24);
    } else if (exponent == 31) {
        value = mantissa == 0 ? INFINITY : NAN;
    } else {
        value = std::ldexp(static_cast<float>(mantissa + 1024), exponent - 25);
    }
    return sign ? -value : value;
}

std::uint16_t FloatToHalf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const std::uint16_t sign = static_cast<std::uint16_t>((bits >> 16) & 0x8000u);
    const float magnitude = std::fabs(value);
    if (std::isnan(value)) {
        return static_cast<std::uint16_t>(sign | 0x7e00u);
    }
    if (magnitude >= 65520.0f) {
        return static_cast<std::uint16_t>(sign | 0x7c00u);
    }
    if (magnitude < std::ldexp(1.0f, -14)) {
        return static_cast<std::uint16_t>(
            sign | static_cast<std::uint16_t>(std::nearbyint(magnitude * std::ldexp(1.0f, 24))));
    }
    int exponent = 0;
    const float fraction = std::frexp(magnitude, &exponent);  // [0.5, 1)
    int mantissa = static_cast<int>(std::nearbyint((fraction * 2.0f - 1.0f) * 1024.0f));
    int biased = exponent - 1 + 15;
    if (mantissa == 1024) {
        mantissa = 0;
        ++biased;
    }
    return static_cast<std::uint16_t>(sign | (biased << 10) | mantissa);
}

void LoadPixel(const unsigned char* p, const Layout& layout, float rgba[4]) {
    float c[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    for (int i = 0; i < layout.count && i < 4; ++i) {
        if (layout.bytes == 1) {
            c[i] = static_cast<float>(p[i]) / 255.0f;
        } else if (layout.bytes == 2 && layout.isFloat) {
            std::uint16_t half = 0;
            std::memcpy(&half, p + 2 * i, 2);
            c[i] = HalfToFloat(half);
        } else if (layout.bytes == 2) {
            std::uint16_t word = 0;
            std::memcpy(&word, p + 2 * i, 2);
            c[i] = static_cast<float>(word) / static_cast<float>((1 << layout.bits) - 1);
        } else {
            std::memcpy(&c[i], p + 4 * i, 4);
        }
    }
    if (layout.count == 2) {
        rgba[0] = c[0];
        rgba[1] = c[1];
        rgba[2] = 0.0f;
        rgba[3] = 1.0f;
    } else if (layout.rgbOrder) {
        std::copy(c, c + 4, rgba);
    } else {
        rgba[0] = c[2];
        rgba[1] = c[1];
        rgba[2] = c[0];
        rgba[3] = c[3];
    }
    if (layout.count == 4 && !layout.alpha) {
        rgba[3] = 1.0f;
    }
}

void StorePixel(unsigned char* p, const Layout& layout, const float rgba[4], bool clampFloat) {
    float c[4];
    if (layout.count == 2) {
        c[0] = rgba[0];
        c[1] = rgba[1];
        c[2] = 0.0f;
        c[3] = 1.0f;
    } else if (layout.rgbOrder) {
        std::copy(rgba, rgba + 4, c);
    } else {
        c[0] = rgba[2];
        c[1] = rgba[1];
        c[2] = rgba[0];
        c[3] = rgba[3];
    }
    if (layout.count == 4 && !layout.alpha) {
        c[3] = 1.0f;
    }
    for (int i = 0; i < layout.count && i < 4; ++i) {
        float v = c[i];
        if (!layout.isFloat || clampFloat) {
            v = std::min(std::max(v, 0.0f), 1.0f);
        }
        if (layout.bytes == 1) {
            p[i] = static_cast<unsigned char>(std::nearbyint(v * 255.0f));
        } else if (layout.bytes == 2 && layout.isFloat) {
            const std::uint16_t half = FloatToHalf(v);
            std::memcpy(p + 2 * i, &half, 2);
        } else if (layout.bytes == 2) {
            const std::uint16_t word = static_cast<std::uint16_t>(
                std::nearbyint(v * static_cast<float>((1 << layout.bits) - 1)));
            std::memcpy(p + 2 * i, &word, 2);
        } else {
            std::memcpy(p + 4 * i, &v, 4);
        }
    }
}

template <class T>
bool KernelArg(const cl_kernel kernel, cl_uint index, T* value) {
    auto found = kernel->args.find(index);
    if (found == kernel->args.end() || found->second.size() != sizeof(T)) {
        return false;
    }
    std::memcpy(value, found->second.data(), sizeof(T));
    return true;
}

// Whether `rows` rows of `rowBytes`, the last `lastRow` long, fit in the buffer from `offset`.
bool Fits(cl_mem memory, std::size_t offset, std::int64_t rowBytes, std::size_t rows,
          std::size_t lastRow) {
    if (rowBytes <= 0 || rows == 0) {
        return false;
    }
    const std::size_t needed = offset + static_cast<std::size_t>(rowBytes) * (rows - 1) + lastRow;
    return needed <= memory->bytes.size();
}

// The host stand-in's kernels, run on the calling thread.
cl_int RunKernel(State& state, cl_kernel kernel, std::size_t width, std::size_t height) {
    if (kernel->name == "ConvertPixels") {
        cl_mem source = nullptr, target = nullptr;
        cl_int sourceRowBytes = 0, sourceLayout = 0, targetRowBytes = 0, targetLayout = 0,
               clampFloat = 0;
        if (!KernelArg(kernel, 0, &source) || !KernelArg(kernel, 1, &sourceRowBytes) ||
            !KernelArg(kernel, 2, &sourceLayout) || !KernelArg(kernel, 3, &target) ||
            !KernelArg(kernel, 4, &targetRowBytes) || !KernelArg(kernel, 5, &targetLayout) ||
            !KernelArg(kernel, 6, &clampFloat)) {
            return CL_INVALID_KERNEL_ARGS;
        }
        const Layout from(sourceLayout), to(targetLayout);
        if (!KnownMemory(state, source) || !KnownMemory(state, target) || source->glName != 0 ||
            target->glName != 0 ||
            !Fits(source, 0, sourceRowBytes, height, width * from.PixelBytes()) ||
            !Fits(target, 0, targetRowBytes, height, width * to.PixelBytes())) {
            return CL_INVALID_MEM_OBJECT;
        }
        for (std::size_t y = 0; y < height; ++y) {
            for (std::size_t x = 0; x < width; ++x) {
                float rgba[4];
                LoadPixel(source->bytes.data() + y * sourceRowBytes + x * from.PixelBytes(), from,
                          rgba);
                StorePixel(target->bytes.data() + y * targetRowBytes + x * to.PixelBytes(), to,
                           rgba, clampFloat != 0);
            }
        }
        return CL_SUCCESS;
    }
    if (kernel->name == "CopyPixelsToImage") {
        cl_mem source = nullptr, image = nullptr;
        cl_uint offset = 0;
        cl_int rowBytes = 0, code = 0;
        if (!KernelArg(kernel, 0, &source) || !KernelArg(kernel, 1, &offset) ||
            !KernelArg(kernel, 2, &rowBytes) || !KernelArg(kernel, 3, &code) ||
            !KernelArg(kernel, 4, &image)) {
            return CL_INVALID_KERNEL_ARGS;
        }
        const Layout layout(code);
        if (!KnownMemory(state, source) || !KnownMemory(state, image) ||
            image->type != CL_MEM_OBJECT_IMAGE2D || width > image->width ||
            height > image->height ||
            !Fits(source, offset, rowBytes, height, width * layout.PixelBytes())) {
            return CL_INVALID_MEM_OBJECT;
        }
        // A GL object belongs to OpenCL only between acquire and release.
        if (!image->acquired) {
            return CL_INVALID_OPERATION;
        }
        if (!GLContextCurrent()) {
            return CL_INVALID_CONTEXT;
        }
        std::vector<float> texels(width * height * 4);
        for (std::size_t y = 0; y < height; ++y) {
            for (std::size_t x = 0; x < width; ++x) {
                LoadPixel(source->bytes.data() + offset + y * rowBytes + x * layout.PixelBytes(),
                          layout, &texels[(y * width + x) * 4]);
            }
        }
        // Image row y is the texture's row y; the caller's unpack state is set aside.
        GLint unpackBuffer = 0, alignment = 4, rowLength = 0, skipRows = 0, skipPixels = 0;
        glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &unpackBuffer);
        glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
        glGetIntegerv(GL_UNPACK_ROW_LENGTH, &rowLength);
        glGetIntegerv(GL_UNPACK_SKIP_ROWS, &skipRows);
        glGetIntegerv(GL_UNPACK_SKIP_PIXELS, &skipPixels);
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
        glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
        glPixelStorei(GL_UNPACK_SKIP_PIXELS, 0);
        glTextureSubImage2D(image->glName, 0, 0, 0, static_cast<GLsizei>(width),
                            static_cast<GLsizei>(height), GL_RGBA, GL_FLOAT, texels.data());
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(unpackBuffer));
        glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
        glPixelStorei(GL_UNPACK_SKIP_ROWS, skipRows);
        glPixelStorei(GL_UNPACK_SKIP_PIXELS, skipPixels);
        return CL_SUCCESS;
    }
    return CL_INVALID_KERNEL;
}

// Entry points.

cl_int CL_API_CALL GetPlatformIDs(cl_uint count, cl_platform_id* platforms, cl_uint* found) {
    if ((platforms == nullptr && found == nullptr) || (platforms != nullptr && count == 0)) {
        return CL_INVALID_VALUE;
    }
    if (platforms != nullptr) {
        platforms[0] = &thePlatform;
    }
    if (found != nullptr) {
        *found = 1;
    }
    return CL_SUCCESS;
}

cl_int CL_API_CALL GetPlatformInfo(cl_platform_id platform, cl_platform_info what,
                                   std::size_t capacity, void* out, std::size_t* size) {
    CLSIM_BEGIN("clGetPlatformInfo");
    if (platform != &thePlatform) {
        return call.Return(CL_INVALID_PLATFORM);
    }
    switch (what) {
        case CL_PLATFORM_PROFILE:
            return call.Return(AnswerText("FULL_PROFILE", capacity, out, size));
        case CL_PLATFORM_VERSION:
            return call.Return(AnswerText("OpenCL 1.2 stand-in", capacity, out, size));
        case CL_PLATFORM_NAME:
            return call.Return(AnswerText("Stand-in OpenCL platform", capacity, out, size));
        case CL_PLATFORM_VENDOR:
            return call.Return(AnswerText("Stereon tests", capacity, out, size));
        case CL_PLATFORM_EXTENSIONS:
            return call.Return(AnswerText(Extensions(state), capacity, out, size));
        case CL_PLATFORM_ICD_SUFFIX_KHR:
            return call.Return(AnswerText("SIM", capacity, out, size));
        default:
            return call.Return(CL_INVALID_VALUE);
    }
}

cl_int CL_API_CALL GetDeviceIDs(cl_platform_id platform, cl_device_type type, cl_uint count,
                                cl_device_id* devices, cl_uint* found) {
    CLSIM_BEGIN("clGetDeviceIDs");
    if (platform != &thePlatform) {
        return call.Return(CL_INVALID_PLATFORM);
    }
    if ((devices == nullptr && found == nullptr) || (devices != nullptr && count == 0)) {
        return call.Return(CL_INVALID_VALUE);
    }
    if ((type & (CL_DEVICE_TYPE_GPU | CL_DEVICE_TYPE_DEFAULT)) == 0 && type != CL_DEVICE_TYPE_ALL) {
        return call.Return(CL_DEVICE_NOT_FOUND);
    }
    if (devices != nullptr) {
        devices[0] = &theDevice;
    }
    if (found != nullptr) {
        *found = 1;
    }
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL GetDeviceInfo(cl_device_id device, cl_device_info what, std::size_t capacity,
                                 void* out, std::size_t* size) {
    CLSIM_BEGIN("clGetDeviceInfo");
    if (device != &theDevice) {
        return call.Return(CL_INVALID_DEVICE);
    }
    switch (what) {
        case CL_DEVICE_NAME:
            return call.Return(AnswerText("Stand-in OpenCL GPU", capacity, out, size));
        case CL_DEVICE_VENDOR:
            return call.Return(AnswerText("Stereon tests", capacity, out, size));
        case CL_DEVICE_VERSION:
            return call.Return(AnswerText("OpenCL 1.2 stand-in", capacity, out, size));
        case CL_DRIVER_VERSION:
            return call.Return(AnswerText("1.0", capacity, out, size));
        case CL_DEVICE_EXTENSIONS:
            return call.Return(AnswerText(Extensions(state), capacity, out, size));
        case CL_DEVICE_TYPE:
            return call.Return(
                AnswerValue<cl_device_type>(CL_DEVICE_TYPE_GPU, capacity, out, size));
        case CL_DEVICE_PLATFORM:
            return call.Return(AnswerValue<cl_platform_id>(&thePlatform, capacity, out, size));
        case CL_DEVICE_AVAILABLE:
        case CL_DEVICE_IMAGE_SUPPORT:
            return call.Return(AnswerValue<cl_bool>(CL_TRUE, capacity, out, size));
        default:
            return call.Return(CL_INVALID_VALUE);
    }
}

cl_context CL_API_CALL CreateContext(
    const cl_context_properties* properties, cl_uint count, const cl_device_id* devices,
    void(CL_CALLBACK*)(const char*, const void*, std::size_t, void*), void*, cl_int* errcode) {
    CLSIM_BEGIN_OBJECT("clCreateContext", errcode);
    if (count != 1 || devices == nullptr || devices[0] != &theDevice) {
        return call.Return(nullptr, CL_INVALID_DEVICE, errcode);
    }
    bool glContext = false, glDisplay = false;
    for (const cl_context_properties* p = properties; p != nullptr && p[0] != 0; p += 2) {
        if (p[0] == CL_GL_CONTEXT_KHR) {
            glContext = p[1] != 0;
        } else if (p[0] == CL_EGL_DISPLAY_KHR) {
            glDisplay = p[1] != 0;
        } else if (p[0] == CL_CONTEXT_PLATFORM) {
            if (reinterpret_cast<cl_platform_id>(p[1]) != &thePlatform) {
                return call.Return(nullptr, CL_INVALID_PLATFORM, errcode);
            }
        } else {
            return call.Return(nullptr, CL_INVALID_PROPERTY, errcode);
        }
    }
    if (glContext != glDisplay) {
        return call.Return(nullptr, CL_INVALID_GL_SHAREGROUP_REFERENCE_KHR, errcode);
    }
    cl_context context = new _cl_context{&Dispatch(), 1, glContext};
    return call.Return(context, CL_SUCCESS, errcode);
}

cl_int CL_API_CALL RetainContext(cl_context context) {
    CLSIM_BEGIN("clRetainContext");
    ++context->references;
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL ReleaseContext(cl_context context) {
    CLSIM_BEGIN("clReleaseContext");
    if (context == nullptr) {
        return call.Return(CL_INVALID_CONTEXT);
    }
    if (--context->references == 0) {
        delete context;
    }
    return call.Return(CL_SUCCESS);
}

cl_command_queue CL_API_CALL CreateCommandQueue(cl_context context, cl_device_id device,
                                                cl_command_queue_properties, cl_int* errcode) {
    CLSIM_BEGIN_OBJECT("clCreateCommandQueue", errcode);
    if (context == nullptr) {
        return call.Return(nullptr, CL_INVALID_CONTEXT, errcode);
    }
    if (device != &theDevice) {
        return call.Return(nullptr, CL_INVALID_DEVICE, errcode);
    }
    cl_command_queue queue = new _cl_command_queue{&Dispatch(), context};
    return call.Return(queue, CL_SUCCESS, errcode);
}

cl_int CL_API_CALL ReleaseCommandQueue(cl_command_queue queue) {
    CLSIM_BEGIN("clReleaseCommandQueue");
    if (queue == nullptr) {
        return call.Return(CL_INVALID_COMMAND_QUEUE);
    }
    delete queue;
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL Flush(cl_command_queue queue) {
    CLSIM_BEGIN("clFlush");
    return call.Return(queue != nullptr ? CL_SUCCESS : CL_INVALID_COMMAND_QUEUE);
}

cl_int CL_API_CALL Finish(cl_command_queue queue) {
    CLSIM_BEGIN("clFinish");
    return call.Return(queue != nullptr ? CL_SUCCESS : CL_INVALID_COMMAND_QUEUE);
}

cl_mem CL_API_CALL CreateBuffer(cl_context context, cl_mem_flags flags, std::size_t bytes,
                                void* host, cl_int* errcode) {
    CLSIM_BEGIN_OBJECT("clCreateBuffer", errcode);
    if (context == nullptr) {
        return call.Return(nullptr, CL_INVALID_CONTEXT, errcode);
    }
    if (bytes == 0 || (flags & (CL_MEM_USE_HOST_PTR | CL_MEM_COPY_HOST_PTR)) != 0 ||
        host != nullptr) {
        return call.Return(nullptr, CL_INVALID_VALUE, errcode);
    }
    cl_mem memory = new _cl_mem{
        &Dispatch(), 1, context, CL_MEM_OBJECT_BUFFER, std::vector<unsigned char>(bytes, 0xcd), 0,
        false,       0, 0};
    state.memories.insert(memory);
    return call.Return(memory, CL_SUCCESS, errcode);
}

cl_int CL_API_CALL RetainMemObject(cl_mem memory) {
    CLSIM_BEGIN("clRetainMemObject");
    if (!KnownMemory(state, memory)) {
        return call.Return(CL_INVALID_MEM_OBJECT);
    }
    ++memory->references;
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL ReleaseMemObject(cl_mem memory) {
    CLSIM_BEGIN("clReleaseMemObject");
    call.Arg(0, reinterpret_cast<std::uintptr_t>(memory));
    if (!KnownMemory(state, memory)) {
        return call.Return(CL_INVALID_MEM_OBJECT);
    }
    call.Arg(1, memory->glName);
    if (--memory->references == 0) {
        state.memories.erase(memory);
        delete memory;
    }
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL GetMemObjectInfo(cl_mem memory, cl_mem_info what, std::size_t capacity,
                                    void* out, std::size_t* size) {
    CLSIM_BEGIN("clGetMemObjectInfo");
    if (!KnownMemory(state, memory)) {
        return call.Return(CL_INVALID_MEM_OBJECT);
    }
    switch (what) {
        case CL_MEM_TYPE:
            return call.Return(AnswerValue<cl_mem_object_type>(memory->type, capacity, out, size));
        case CL_MEM_SIZE:
            return call.Return(AnswerValue<std::size_t>(memory->type == CL_MEM_OBJECT_BUFFER
                                                            ? memory->bytes.size()
                                                            : memory->width * memory->height * 4,
                                                        capacity, out, size));
        case CL_MEM_CONTEXT:
            return call.Return(AnswerValue<cl_context>(memory->context, capacity, out, size));
        default:
            return call.Return(CL_INVALID_VALUE);
    }
}

cl_int CL_API_CALL GetImageInfo(cl_mem memory, cl_image_info what, std::size_t capacity, void* out,
                                std::size_t* size) {
    CLSIM_BEGIN("clGetImageInfo");
    if (!KnownMemory(state, memory) || memory->type != CL_MEM_OBJECT_IMAGE2D) {
        return call.Return(CL_INVALID_MEM_OBJECT);
    }
    switch (what) {
        case CL_IMAGE_WIDTH:
            return call.Return(AnswerValue<std::size_t>(memory->width, capacity, out, size));
        case CL_IMAGE_HEIGHT:
            return call.Return(AnswerValue<std::size_t>(memory->height, capacity, out, size));
        default:
            return call.Return(CL_INVALID_VALUE);
    }
}

cl_int CL_API_CALL EnqueueWriteBuffer(cl_command_queue queue, cl_mem memory, cl_bool,
                                      std::size_t offset, std::size_t bytes, const void* source,
                                      cl_uint, const cl_event*, cl_event* event) {
    CLSIM_BEGIN("clEnqueueWriteBuffer");
    if (queue == nullptr) {
        return call.Return(CL_INVALID_COMMAND_QUEUE);
    }
    if (!KnownMemory(state, memory) || memory->glName != 0) {
        return call.Return(CL_INVALID_MEM_OBJECT);
    }
    if (source == nullptr || offset > memory->bytes.size() ||
        bytes > memory->bytes.size() - offset) {
        return call.Return(CL_INVALID_VALUE);
    }
    std::memcpy(memory->bytes.data() + offset, source, bytes);
    Finished(state, event);
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL EnqueueReadBuffer(cl_command_queue queue, cl_mem memory, cl_bool,
                                     std::size_t offset, std::size_t bytes, void* target, cl_uint,
                                     const cl_event*, cl_event* event) {
    CLSIM_BEGIN("clEnqueueReadBuffer");
    if (queue == nullptr) {
        return call.Return(CL_INVALID_COMMAND_QUEUE);
    }
    if (!KnownMemory(state, memory) || memory->glName != 0) {
        return call.Return(CL_INVALID_MEM_OBJECT);
    }
    if (target == nullptr || offset > memory->bytes.size() ||
        bytes > memory->bytes.size() - offset) {
        return call.Return(CL_INVALID_VALUE);
    }
    std::memcpy(target, memory->bytes.data() + offset, bytes);
    Finished(state, event);
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL EnqueueCopyBuffer(cl_command_queue queue, cl_mem source, cl_mem target,
                                     std::size_t sourceOffset, std::size_t targetOffset,
                                     std::size_t bytes, cl_uint, const cl_event*, cl_event* event) {
    CLSIM_BEGIN("clEnqueueCopyBuffer");
    if (queue == nullptr) {
        return call.Return(CL_INVALID_COMMAND_QUEUE);
    }
    if (!KnownMemory(state, source) || !KnownMemory(state, target) || source->glName != 0 ||
        target->glName != 0) {
        return call.Return(CL_INVALID_MEM_OBJECT);
    }
    if (sourceOffset > source->bytes.size() || bytes > source->bytes.size() - sourceOffset ||
        targetOffset > target->bytes.size() || bytes > target->bytes.size() - targetOffset) {
        return call.Return(CL_INVALID_VALUE);
    }
    std::memmove(target->bytes.data() + targetOffset, source->bytes.data() + sourceOffset, bytes);
    Finished(state, event);
    return call.Return(CL_SUCCESS);
}

void* CL_API_CALL EnqueueMapBuffer(cl_command_queue queue, cl_mem memory, cl_bool, cl_map_flags,
                                   std::size_t offset, std::size_t bytes, cl_uint, const cl_event*,
                                   cl_event* event, cl_int* errcode) {
    CLSIM_BEGIN_OBJECT("clEnqueueMapBuffer", errcode);
    if (queue == nullptr) {
        return call.Return(nullptr, CL_INVALID_COMMAND_QUEUE, errcode);
    }
    if (!KnownMemory(state, memory) || memory->glName != 0) {
        return call.Return(nullptr, CL_INVALID_MEM_OBJECT, errcode);
    }
    if (offset > memory->bytes.size() || bytes > memory->bytes.size() - offset) {
        return call.Return(nullptr, CL_INVALID_VALUE, errcode);
    }
    Finished(state, event);
    return call.Return(static_cast<void*>(memory->bytes.data() + offset), CL_SUCCESS, errcode);
}

cl_int CL_API_CALL EnqueueUnmapMemObject(cl_command_queue queue, cl_mem memory, void*, cl_uint,
                                         const cl_event*, cl_event* event) {
    CLSIM_BEGIN("clEnqueueUnmapMemObject");
    if (queue == nullptr) {
        return call.Return(CL_INVALID_COMMAND_QUEUE);
    }
    if (!KnownMemory(state, memory)) {
        return call.Return(CL_INVALID_MEM_OBJECT);
    }
    Finished(state, event);
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL EnqueueMarkerWithWaitList(cl_command_queue queue, cl_uint, const cl_event*,
                                             cl_event* event) {
    CLSIM_BEGIN("clEnqueueMarkerWithWaitList");
    if (queue == nullptr) {
        return call.Return(CL_INVALID_COMMAND_QUEUE);
    }
    Finished(state, event);
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL GetEventInfo(cl_event event, cl_event_info what, std::size_t capacity, void* out,
                                std::size_t* size) {
    CLSIM_BEGIN("clGetEventInfo");
    if (state.events.count(event) == 0) {
        return call.Return(CL_INVALID_EVENT);
    }
    if (what == CL_EVENT_COMMAND_EXECUTION_STATUS) {
        return call.Return(AnswerValue<cl_int>(CL_COMPLETE, capacity, out, size));
    }
    return call.Return(CL_INVALID_VALUE);
}

cl_int CL_API_CALL WaitForEvents(cl_uint count, const cl_event* events) {
    CLSIM_BEGIN("clWaitForEvents");
    if (count == 0 || events == nullptr) {
        return call.Return(CL_INVALID_VALUE);
    }
    for (cl_uint i = 0; i < count; ++i) {
        if (state.events.count(events[i]) == 0) {
            return call.Return(CL_INVALID_EVENT);
        }
    }
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL RetainEvent(cl_event event) {
    CLSIM_BEGIN("clRetainEvent");
    if (state.events.count(event) == 0) {
        return call.Return(CL_INVALID_EVENT);
    }
    ++event->references;
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL ReleaseEvent(cl_event event) {
    CLSIM_BEGIN("clReleaseEvent");
    if (state.events.count(event) == 0) {
        return call.Return(CL_INVALID_EVENT);
    }
    if (--event->references == 0) {
        state.events.erase(event);
        delete event;
    }
    return call.Return(CL_SUCCESS);
}

cl_program CL_API_CALL CreateProgramWithSource(cl_context context, cl_uint count,
                                               const char** strings, const std::size_t* lengths,
                                               cl_int* errcode) {
    CLSIM_BEGIN_OBJECT("clCreateProgramWithSource", errcode);
    if (context == nullptr) {
        return call.Return(nullptr, CL_INVALID_CONTEXT, errcode);
    }
    if (count == 0 || strings == nullptr) {
        return call.Return(nullptr, CL_INVALID_VALUE, errcode);
    }
    std::string source;
    for (cl_uint i = 0; i < count; ++i) {
        source += lengths != nullptr && lengths[i] != 0 ? std::string(strings[i], lengths[i])
                                                        : std::string(strings[i]);
    }
    cl_program program = new _cl_program{&Dispatch(), 1, source};
    return call.Return(program, CL_SUCCESS, errcode);
}

cl_int CL_API_CALL BuildProgram(cl_program program, cl_uint, const cl_device_id*, const char*,
                                void(CL_CALLBACK*)(cl_program, void*), void*) {
    CLSIM_BEGIN("clBuildProgram");
    return call.Return(program != nullptr ? CL_SUCCESS : CL_INVALID_PROGRAM);
}

cl_int CL_API_CALL GetProgramBuildInfo(cl_program program, cl_device_id, cl_program_build_info what,
                                       std::size_t capacity, void* out, std::size_t* size) {
    CLSIM_BEGIN("clGetProgramBuildInfo");
    if (program == nullptr) {
        return call.Return(CL_INVALID_PROGRAM);
    }
    if (what == CL_PROGRAM_BUILD_LOG) {
        return call.Return(AnswerText("", capacity, out, size));
    }
    return call.Return(CL_INVALID_VALUE);
}

cl_int CL_API_CALL ReleaseProgram(cl_program program) {
    CLSIM_BEGIN("clReleaseProgram");
    if (program == nullptr) {
        return call.Return(CL_INVALID_PROGRAM);
    }
    if (--program->references == 0) {
        delete program;
    }
    return call.Return(CL_SUCCESS);
}

// Only kernels the stand-in runs natively can be made, and only from a program defining them.
cl_kernel CL_API_CALL CreateKernel(cl_program program, const char* name, cl_int* errcode) {
    CLSIM_BEGIN_OBJECT("clCreateKernel", errcode);
    if (program == nullptr) {
        return call.Return(nullptr, CL_INVALID_PROGRAM, errcode);
    }
    const std::string wanted = name != nullptr ? name : "";
    if ((wanted != "ConvertPixels" && wanted != "CopyPixelsToImage") ||
        program->source.find("__kernel void " + wanted + "(") == std::string::npos) {
        return call.Return(nullptr, CL_INVALID_KERNEL_NAME, errcode);
    }
    cl_kernel kernel = new _cl_kernel{&Dispatch(), 1, wanted, {}};
    return call.Return(kernel, CL_SUCCESS, errcode);
}

cl_int CL_API_CALL SetKernelArg(cl_kernel kernel, cl_uint index, std::size_t size,
                                const void* value) {
    CLSIM_BEGIN("clSetKernelArg");
    if (kernel == nullptr) {
        return call.Return(CL_INVALID_KERNEL);
    }
    if (value == nullptr || size == 0) {
        return call.Return(CL_INVALID_ARG_VALUE);
    }
    const unsigned char* bytes = static_cast<const unsigned char*>(value);
    kernel->args[index].assign(bytes, bytes + size);
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL ReleaseKernel(cl_kernel kernel) {
    CLSIM_BEGIN("clReleaseKernel");
    if (kernel == nullptr) {
        return call.Return(CL_INVALID_KERNEL);
    }
    if (--kernel->references == 0) {
        delete kernel;
    }
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL EnqueueNDRangeKernel(cl_command_queue queue, cl_kernel kernel, cl_uint dims,
                                        const std::size_t* offset, const std::size_t* global,
                                        const std::size_t*, cl_uint, const cl_event*,
                                        cl_event* event) {
    CLSIM_BEGIN("clEnqueueNDRangeKernel");
    if (queue == nullptr) {
        return call.Return(CL_INVALID_COMMAND_QUEUE);
    }
    if (kernel == nullptr) {
        return call.Return(CL_INVALID_KERNEL);
    }
    if (dims != 2 || global == nullptr || (offset != nullptr && (offset[0] || offset[1]))) {
        return call.Return(CL_INVALID_WORK_DIMENSION);
    }
    call.Arg(0, global[0]);
    call.Arg(1, global[1]);
    call.Arg(2, kernel->name == "CopyPixelsToImage" ? 1 : 0);
    const cl_int result = RunKernel(state, kernel, global[0], global[1]);
    if (result == CL_SUCCESS) {
        Finished(state, event);
    }
    return call.Return(result);
}

cl_mem CL_API_CALL CreateFromGLTexture(cl_context context, cl_mem_flags, cl_GLenum target,
                                       cl_GLint level, cl_GLuint texture, cl_int* errcode) {
    CLSIM_BEGIN_OBJECT("clCreateFromGLTexture", errcode);
    call.Arg(0, texture);
    if (context == nullptr || !context->sharesGL) {
        return call.Return(nullptr, CL_INVALID_CONTEXT, errcode);
    }
    if (target != GL_TEXTURE_2D || level != 0) {
        return call.Return(nullptr, CL_INVALID_VALUE, errcode);
    }
    if (!GLContextCurrent() || !glIsTexture(texture)) {
        return call.Return(nullptr, CL_INVALID_GL_OBJECT, errcode);
    }
    GLint width = 0, height = 0;
    glGetTextureLevelParameteriv(texture, 0, GL_TEXTURE_WIDTH, &width);
    glGetTextureLevelParameteriv(texture, 0, GL_TEXTURE_HEIGHT, &height);
    if (width <= 0 || height <= 0) {
        return call.Return(nullptr, CL_INVALID_GL_OBJECT, errcode);
    }
    cl_mem memory = new _cl_mem{&Dispatch(),
                                1,
                                context,
                                CL_MEM_OBJECT_IMAGE2D,
                                {},
                                texture,
                                false,
                                static_cast<std::size_t>(width),
                                static_cast<std::size_t>(height)};
    state.memories.insert(memory);
    call.Arg(1, reinterpret_cast<std::uintptr_t>(memory));
    return call.Return(memory, CL_SUCCESS, errcode);
}

cl_mem CL_API_CALL CreateFromGLBuffer(cl_context context, cl_mem_flags, cl_GLuint buffer,
                                      cl_int* errcode) {
    CLSIM_BEGIN_OBJECT("clCreateFromGLBuffer", errcode);
    call.Arg(0, buffer);
    if (context == nullptr || !context->sharesGL) {
        return call.Return(nullptr, CL_INVALID_CONTEXT, errcode);
    }
    if (!GLContextCurrent() || !glIsBuffer(buffer)) {
        return call.Return(nullptr, CL_INVALID_GL_OBJECT, errcode);
    }
    cl_mem memory =
        new _cl_mem{&Dispatch(), 1, context, CL_MEM_OBJECT_BUFFER, {}, buffer, false, 0, 0};
    state.memories.insert(memory);
    call.Arg(1, reinterpret_cast<std::uintptr_t>(memory));
    return call.Return(memory, CL_SUCCESS, errcode);
}

cl_int AcquireOrRelease(State& state, Call& call, cl_command_queue queue, cl_uint count,
                        const cl_mem* objects, cl_event* event, bool acquire) {
    if (queue == nullptr) {
        return call.Return(CL_INVALID_COMMAND_QUEUE);
    }
    if (count == 0 || objects == nullptr) {
        return call.Return(CL_INVALID_VALUE);
    }
    call.Arg(0, count);
    call.Arg(1, reinterpret_cast<std::uintptr_t>(objects[0]));
    for (cl_uint i = 0; i < count; ++i) {
        if (!KnownMemory(state, objects[i]) || objects[i]->glName == 0) {
            return call.Return(CL_INVALID_MEM_OBJECT);
        }
        if (objects[i]->acquired == acquire) {
            return call.Return(CL_INVALID_OPERATION);
        }
    }
    // With cl_khr_gl_event the acquire itself waits for GL's work on the objects; without it,
    // that is the application's glFinish.
    if (acquire && state.glEvent && GLContextCurrent()) {
        glFinish();
    }
    for (cl_uint i = 0; i < count; ++i) {
        objects[i]->acquired = acquire;
    }
    Finished(state, event);
    return call.Return(CL_SUCCESS);
}

cl_int CL_API_CALL EnqueueAcquireGLObjects(cl_command_queue queue, cl_uint count,
                                           const cl_mem* objects, cl_uint, const cl_event*,
                                           cl_event* event) {
    CLSIM_BEGIN("clEnqueueAcquireGLObjects");
    return AcquireOrRelease(state, call, queue, count, objects, event, true);
}

cl_int CL_API_CALL EnqueueReleaseGLObjects(cl_command_queue queue, cl_uint count,
                                           const cl_mem* objects, cl_uint, const cl_event*,
                                           cl_event* event) {
    CLSIM_BEGIN("clEnqueueReleaseGLObjects");
    return AcquireOrRelease(state, call, queue, count, objects, event, false);
}

void* CL_API_CALL GetExtensionFunctionAddressForPlatform(cl_platform_id, const char* name);

void* CL_API_CALL GetExtensionFunctionAddress(const char* name);

cl_icd_dispatch MakeDispatch() {
    cl_icd_dispatch table;
    std::memset(&table, 0, sizeof table);
    table.clGetPlatformIDs = GetPlatformIDs;
    table.clGetPlatformInfo = GetPlatformInfo;
    table.clGetDeviceIDs = GetDeviceIDs;
    table.clGetDeviceInfo = GetDeviceInfo;
    table.clCreateContext = CreateContext;
    table.clRetainContext = RetainContext;
    table.clReleaseContext = ReleaseContext;
    table.clCreateCommandQueue = CreateCommandQueue;
    table.clReleaseCommandQueue = ReleaseCommandQueue;
    table.clFlush = Flush;
    table.clFinish = Finish;
    table.clCreateBuffer = CreateBuffer;
    table.clRetainMemObject = RetainMemObject;
    table.clReleaseMemObject = ReleaseMemObject;
    table.clGetMemObjectInfo = GetMemObjectInfo;
    table.clGetImageInfo = GetImageInfo;
    table.clEnqueueWriteBuffer = EnqueueWriteBuffer;
    table.clEnqueueReadBuffer = EnqueueReadBuffer;
    table.clEnqueueCopyBuffer = EnqueueCopyBuffer;
    table.clEnqueueMapBuffer = EnqueueMapBuffer;
    table.clEnqueueUnmapMemObject = EnqueueUnmapMemObject;
    table.clEnqueueMarkerWithWaitList = EnqueueMarkerWithWaitList;
    table.clGetEventInfo = GetEventInfo;
    table.clWaitForEvents = WaitForEvents;
    table.clRetainEvent = RetainEvent;
    table.clReleaseEvent = ReleaseEvent;
    table.clCreateProgramWithSource = CreateProgramWithSource;
    table.clBuildProgram = BuildProgram;
    table.clGetProgramBuildInfo = GetProgramBuildInfo;
    table.clReleaseProgram = ReleaseProgram;
    table.clCreateKernel = CreateKernel;
    table.clSetKernelArg = SetKernelArg;
    table.clReleaseKernel = ReleaseKernel;
    table.clEnqueueNDRangeKernel = EnqueueNDRangeKernel;
    table.clCreateFromGLTexture = CreateFromGLTexture;
    table.clCreateFromGLBuffer = CreateFromGLBuffer;
    table.clEnqueueAcquireGLObjects = EnqueueAcquireGLObjects;
    table.clEnqueueReleaseGLObjects = EnqueueReleaseGLObjects;
    table.clGetExtensionFunctionAddress = GetExtensionFunctionAddress;
    table.clGetExtensionFunctionAddressForPlatform = GetExtensionFunctionAddressForPlatform;
    return table;
}

cl_icd_dispatch& Dispatch() {
    static cl_icd_dispatch table = MakeDispatch();
    return table;
}

void* CL_API_CALL GetExtensionFunctionAddressForPlatform(cl_platform_id, const char* name) {
    return GetExtensionFunctionAddress(name);
}

}  // namespace

#define CLSIM_EXPORT extern "C" __attribute__((visibility("default")))

CLSIM_EXPORT cl_int CL_API_CALL clIcdGetPlatformIDsKHR(cl_uint count, cl_platform_id* platforms,
                                                       cl_uint* found) {
    return GetPlatformIDs(count, platforms, found);
}

// The loader looks this one up by name as well.
CLSIM_EXPORT cl_int CL_API_CALL clGetPlatformInfo(cl_platform_id platform, cl_platform_info what,
                                                  std::size_t capacity, void* out,
                                                  std::size_t* size) {
    return GetPlatformInfo(platform, what, capacity, out, size);
}

CLSIM_EXPORT void* CL_API_CALL clGetExtensionFunctionAddress(const char* name) {
    return GetExtensionFunctionAddress(name);
}

namespace {

void* CL_API_CALL GetExtensionFunctionAddress(const char* name) {
    if (name != nullptr && std::strcmp(name, "clIcdGetPlatformIDsKHR") == 0) {
        return reinterpret_cast<void*>(&clIcdGetPlatformIDsKHR);
    }
    return nullptr;
}

}  // namespace

// Control interface.

CLSIM_EXPORT void clsim_reset(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.calls.clear();
    state.failures.clear();
}

CLSIM_EXPORT void clsim_set_gl_event(int enabled) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.glEvent = enabled != 0;
}

CLSIM_EXPORT int clsim_call_count(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    return static_cast<int>(state.calls.size());
}

CLSIM_EXPORT int clsim_get_call(int index, clsim_call* out) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (out == nullptr || index < 0 || static_cast<std::size_t>(index) >= state.calls.size()) {
        return 0;
    }
    *out = state.calls[static_cast<std::size_t>(index)];
    return 1;
}

CLSIM_EXPORT int clsim_count(const char* name, int resultNot) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    int count = 0;
    for (const clsim_call& call : state.calls) {
        if (name != nullptr && std::strcmp(call.name, name) == 0 &&
            (resultNot == -1 || call.result != resultNot)) {
            ++count;
        }
    }
    return count;
}

CLSIM_EXPORT void clsim_note(const char* name) {
    if (name == nullptr || insideCall) {
        return;
    }
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    Call call(name);
    call.Return(CL_SUCCESS);
}

CLSIM_EXPORT void clsim_fail(const char* name, int error, int times) {
    if (name == nullptr) {
        return;
    }
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.failures[name] = Failure{error, times};
}

CLSIM_EXPORT int clsim_gl_objects(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    int count = 0;
    for (cl_mem memory : state.memories) {
        count += memory->glName != 0 ? 1 : 0;
    }
    return count;
}

CLSIM_EXPORT int clsim_acquired_objects(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    int count = 0;
    for (cl_mem memory : state.memories) {
        count += memory->acquired ? 1 : 0;
    }
    return count;
}
