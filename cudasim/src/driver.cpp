// The CUDA driver entry points of the stand-in. One lock guards all state: the calls are few
// and short, and the order of the record must be the order the calls took effect.

#define GL_GLEXT_PROTOTYPES 1
#include <EGL/egl.h>
#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glx.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "GB/CudaDriver.h"
#include "cudasim/cudasim_control.h"

using namespace GB::cuda;

namespace {

// Codes as the driver documents them.
constexpr CUresult kInvalidValue = 1;
constexpr CUresult kNotInitialized = 3;
constexpr CUresult kInvalidDevice = 101;
constexpr CUresult kInvalidContext = 201;
constexpr CUresult kAlreadyMapped = 208;
constexpr CUresult kNotMapped = 211;
constexpr CUresult kNotMappedAsArray = 212;
constexpr CUresult kInvalidGraphicsContext = 219;
constexpr CUresult kInvalidHandle = 400;

constexpr int kDriverVersion = 9020;

struct Resource;

struct Array {
    Resource* owner;
};

struct Resource {
    GLuint name = 0;
    bool image = false;
    bool mapped = false;
    // Of a texture, read when it is registered: its level 0 is what the array stands for.
    GLint width = 0;
    GLint height = 0;
    GLenum format = 0;
    GLenum type = 0;
    std::size_t texelBytes = 0;
    Array array{this};
};

struct Failure {
    CUresult error;
    int times;
};

struct State {
    std::mutex mutex;
    bool initialised = false;
    std::vector<cudasim_call> calls;
    std::map<std::string, Failure> failures;
    std::set<CUcontext> contexts;
    std::set<CUstream> streams;
    std::set<CUevent> events;
    std::map<Resource*, std::unique_ptr<Resource>> resources;
    // Device memory: base address to bytes. Addresses start far from any host pointer so that
    // a device pointer used as a host one faults at once.
    std::map<CUdeviceptr, std::vector<unsigned char>> memory;
    CUdeviceptr nextAddress = 0x7e0000000000ull;
    std::set<void*> hostAllocations;
};

State& Sim() {
    static State* state = new State();  // outlives every caller's static destructors
    return *state;
}

thread_local std::vector<CUcontext> currentContexts;

bool HasContext() {
    return !currentContexts.empty() && currentContexts.back() != nullptr;
}

// Records the call and answers an injected failure if one is due. Called with the lock held.
class Call {
public:
    explicit Call(const char* name) : state(Sim()) {
        std::memset(&record, 0, sizeof record);
        std::strncpy(record.name, name, sizeof record.name - 1);
        record.had_context = HasContext() ? 1 : 0;
        auto found = state.failures.find(name);
        if (found != state.failures.end() && found->second.times != 0) {
            injected = found->second.error;
            if (found->second.times > 0) {
                --found->second.times;
            }
        }
    }
    ~Call() { state.calls.push_back(record); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // The injected error, if any; else zero.
    CUresult Injected() const { return injected; }
    void Arg(int index, std::uint64_t value) { record.args[index] = value; }
    CUresult Return(CUresult result) {
        record.result = result;
        return result;
    }

private:
    State& state;
    cudasim_call record;
    CUresult injected = CUDA_SUCCESS;
};

// The start of a guarded call: the lock, the record, an injected failure, and the refusals
// every call after cuInit shares.
#define CUDASIM_BEGIN(name, needsContext)          \
    State& state = Sim();                          \
    std::lock_guard<std::mutex> lock(state.mutex); \
    Call call(name);                               \
    if (call.Injected() != CUDA_SUCCESS) {         \
        return call.Return(call.Injected());       \
    }                                              \
    if (!state.initialised) {                      \
        return call.Return(kNotInitialized);       \
    }                                              \
    if ((needsContext) && !HasContext()) {         \
        return call.Return(kInvalidContext);       \
    }

// The bytes from `address` on, when `bytes` of them lie in one allocation; else null.
unsigned char* DeviceBytes(State& state, CUdeviceptr address, std::size_t bytes) {
    auto found = state.memory.upper_bound(address);
    if (found == state.memory.begin()) {
        return nullptr;
    }
    --found;
    const CUdeviceptr offset = address - found->first;
    if (offset > found->second.size() || bytes > found->second.size() - offset) {
        return nullptr;
    }
    return found->second.data() + offset;
}

// How a texture's texels travel unchanged: the bytes of the array are the texture's own.
bool RawTransfer(GLint internalFormat, GLenum* format, GLenum* type, std::size_t* bytes) {
    switch (internalFormat) {
        case GL_RGBA8:
            *format = GL_RGBA;
            *type = GL_UNSIGNED_BYTE;
            *bytes = 4;
            return true;
        case GL_RGBA16F:
            *format = GL_RGBA;
            *type = GL_HALF_FLOAT;
            *bytes = 8;
            return true;
        case GL_RGBA32F:
            *format = GL_RGBA;
            *type = GL_FLOAT;
            *bytes = 16;
            return true;
        default:
            return false;
    }
}

// A context of either binding the library can make: EGL, or GLX on an X display.
bool GLContextCurrent() {
    return eglGetCurrentContext() != EGL_NO_CONTEXT || glXGetCurrentContext() != nullptr;
}

// Writes rows into the texture with the caller's unpack state set aside and put back, as a
// driver leaves the application's GL state alone.
void WriteTexture(const Resource& resource, GLint x, GLint y, GLsizei width, GLsizei height,
                  const void* pixels) {
    GLint unpackBuffer = 0, alignment = 4, rowLength = 0, skipRows = 0, skipPixels = 0;
    glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &unpackBuffer);
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    glGetIntegerv(GL_UNPACK_ROW_LENGTH, &rowLength);
    glGetIntegerv(GL_UNPACK_SKIP_ROWS, &skipRows);
    glGetIntegerv(GL_UNPACK_SKIP_PIXELS, &skipPixels);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS, 0);
    glTextureSubImage2D(resource.name, 0, x, y, width, height, resource.format, resource.type,
                        pixels);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(unpackBuffer));
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, skipRows);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS, skipPixels);
}

CUresult Copy2D(State& state, const CUDA_MEMCPY2D& copy) {
    if (copy.WidthInBytes == 0 || copy.Height == 0) {
        return CUDA_SUCCESS;
    }
    // Pitches are taken as signed: a negative one walks the rows backwards.
    const std::int64_t srcPitch = static_cast<std::int64_t>(copy.srcPitch);
    const std::int64_t dstPitch = static_cast<std::int64_t>(copy.dstPitch);
    const std::size_t width = copy.WidthInBytes;
    std::vector<unsigned char> rows(width * copy.Height);
    for (std::size_t y = 0; y < copy.Height; ++y) {
        const std::int64_t offset = static_cast<std::int64_t>(copy.srcY + y) * srcPitch +
                                    static_cast<std::int64_t>(copy.srcXInBytes);
        const unsigned char* from = nullptr;
        if (copy.srcMemoryType == CU_MEMORYTYPE_DEVICE) {
            from = DeviceBytes(state, copy.srcDevice + static_cast<CUdeviceptr>(offset), width);
        } else if (copy.srcMemoryType == CU_MEMORYTYPE_HOST && copy.srcHost != nullptr) {
            from = static_cast<const unsigned char*>(copy.srcHost) + offset;
        }
        if (from == nullptr) {
            return kInvalidValue;
        }
        std::memcpy(rows.data() + y * width, from, width);
    }
    if (copy.dstMemoryType == CU_MEMORYTYPE_ARRAY) {
        Array* array = reinterpret_cast<Array*>(copy.dstArray);
        bool known = false;
        for (const auto& entry : state.resources) {
            known = known || &entry.second->array == array;
        }
        if (!known || !array->owner->mapped) {
            return kInvalidHandle;
        }
        const Resource& resource = *array->owner;
        const std::size_t rowBytes = static_cast<std::size_t>(resource.width) * resource.texelBytes;
        if (copy.dstXInBytes % resource.texelBytes != 0 || width % resource.texelBytes != 0 ||
            copy.dstXInBytes + width > rowBytes ||
            copy.dstY + copy.Height > static_cast<std::size_t>(resource.height)) {
            return kInvalidValue;
        }
        if (!GLContextCurrent()) {
            return kInvalidGraphicsContext;
        }
        WriteTexture(resource, static_cast<GLint>(copy.dstXInBytes / resource.texelBytes),
                     static_cast<GLint>(copy.dstY),
                     static_cast<GLsizei>(width / resource.texelBytes),
                     static_cast<GLsizei>(copy.Height), rows.data());
        return CUDA_SUCCESS;
    }
    for (std::size_t y = 0; y < copy.Height; ++y) {
        const std::int64_t offset = static_cast<std::int64_t>(copy.dstY + y) * dstPitch +
                                    static_cast<std::int64_t>(copy.dstXInBytes);
        unsigned char* to = nullptr;
        if (copy.dstMemoryType == CU_MEMORYTYPE_DEVICE) {
            to = DeviceBytes(state, copy.dstDevice + static_cast<CUdeviceptr>(offset), width);
        } else if (copy.dstMemoryType == CU_MEMORYTYPE_HOST && copy.dstHost != nullptr) {
            to = static_cast<unsigned char*>(copy.dstHost) + offset;
        }
        if (to == nullptr) {
            return kInvalidValue;
        }
        std::memcpy(to, rows.data() + y * width, width);
    }
    return CUDA_SUCCESS;
}

Resource* FindResource(State& state, CUgraphicsResource handle) {
    auto found = state.resources.find(reinterpret_cast<Resource*>(handle));
    return found == state.resources.end() ? nullptr : found->second.get();
}

}  // namespace

#define CUDASIM_EXPORT extern "C" __attribute__((visibility("default")))

CUDASIM_EXPORT CUresult cuInit(unsigned int flags) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    Call call("cuInit");
    call.Arg(0, flags);
    if (call.Injected() != CUDA_SUCCESS) {
        return call.Return(call.Injected());
    }
    if (flags != 0) {
        return call.Return(kInvalidValue);
    }
    state.initialised = true;
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuDriverGetVersion(int* version) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    Call call("cuDriverGetVersion");
    if (call.Injected() != CUDA_SUCCESS) {
        return call.Return(call.Injected());
    }
    if (version == nullptr) {
        return call.Return(kInvalidValue);
    }
    *version = kDriverVersion;
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuGetErrorString(CUresult error, const char** text) {
    if (text == nullptr) {
        return kInvalidValue;
    }
    switch (error) {
        case CUDA_SUCCESS:
            *text = "no error";
            break;
        case kInvalidValue:
            *text = "invalid argument";
            break;
        case kInvalidContext:
            *text = "invalid device context";
            break;
        case kNotMapped:
            *text = "resource not mapped";
            break;
        default:
            *text = "unknown error";
            break;
    }
    return CUDA_SUCCESS;
}

CUDASIM_EXPORT CUresult cuDeviceGetCount(int* count) {
    CUDASIM_BEGIN("cuDeviceGetCount", false);
    if (count == nullptr) {
        return call.Return(kInvalidValue);
    }
    *count = 1;
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuDeviceGet(CUdevice* device, int ordinal) {
    CUDASIM_BEGIN("cuDeviceGet", false);
    call.Arg(0, static_cast<std::uint64_t>(ordinal));
    if (device == nullptr) {
        return call.Return(kInvalidValue);
    }
    if (ordinal != 0) {
        return call.Return(kInvalidDevice);
    }
    *device = 0;
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuDeviceGetName(char* name, int length, CUdevice device) {
    CUDASIM_BEGIN("cuDeviceGetName", false);
    if (name == nullptr || length <= 0) {
        return call.Return(kInvalidValue);
    }
    if (device != 0) {
        return call.Return(kInvalidDevice);
    }
    std::strncpy(name, "Stand-in CUDA device", static_cast<std::size_t>(length) - 1);
    name[length - 1] = '\0';
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuCtxCreate_v2(CUcontext* context, unsigned int flags, CUdevice device) {
    CUDASIM_BEGIN("cuCtxCreate", false);
    call.Arg(0, flags);
    if (context == nullptr) {
        return call.Return(kInvalidValue);
    }
    if (device != 0) {
        return call.Return(kInvalidDevice);
    }
    CUcontext made = reinterpret_cast<CUcontext>(new char(0));
    state.contexts.insert(made);
    currentContexts.push_back(made);  // a new context is current on its creator
    *context = made;
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuCtxDestroy_v2(CUcontext context) {
    CUDASIM_BEGIN("cuCtxDestroy", false);
    if (state.contexts.erase(context) == 0) {
        return call.Return(kInvalidContext);
    }
    for (CUcontext& current : currentContexts) {
        if (current == context) {
            current = nullptr;
        }
    }
    delete reinterpret_cast<char*>(context);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuCtxPushCurrent_v2(CUcontext context) {
    CUDASIM_BEGIN("cuCtxPushCurrent", false);
    if (state.contexts.count(context) == 0) {
        return call.Return(kInvalidContext);
    }
    currentContexts.push_back(context);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuCtxPopCurrent_v2(CUcontext* context) {
    CUDASIM_BEGIN("cuCtxPopCurrent", false);
    if (currentContexts.empty()) {
        return call.Return(kInvalidContext);
    }
    if (context != nullptr) {
        *context = currentContexts.back();
    }
    currentContexts.pop_back();
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuStreamCreate(CUstream* stream, unsigned int flags) {
    CUDASIM_BEGIN("cuStreamCreate", true);
    call.Arg(0, flags);
    if (stream == nullptr) {
        return call.Return(kInvalidValue);
    }
    *stream = reinterpret_cast<CUstream>(new char(0));
    state.streams.insert(*stream);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuStreamDestroy_v2(CUstream stream) {
    CUDASIM_BEGIN("cuStreamDestroy", true);
    if (state.streams.erase(stream) == 0) {
        return call.Return(kInvalidHandle);
    }
    delete reinterpret_cast<char*>(stream);
    return call.Return(CUDA_SUCCESS);
}

// Work runs when it is queued, so a stream or an event is always finished.
CUDASIM_EXPORT CUresult cuStreamSynchronize(CUstream stream) {
    CUDASIM_BEGIN("cuStreamSynchronize", true);
    return call.Return(stream == nullptr || state.streams.count(stream) != 0 ? CUDA_SUCCESS
                                                                             : kInvalidHandle);
}

CUDASIM_EXPORT CUresult cuEventCreate(CUevent* event, unsigned int flags) {
    CUDASIM_BEGIN("cuEventCreate", true);
    call.Arg(0, flags);
    if (event == nullptr) {
        return call.Return(kInvalidValue);
    }
    *event = reinterpret_cast<CUevent>(new char(0));
    state.events.insert(*event);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuEventRecord(CUevent event, CUstream stream) {
    CUDASIM_BEGIN("cuEventRecord", true);
    if (state.events.count(event) == 0 || (stream != nullptr && state.streams.count(stream) == 0)) {
        return call.Return(kInvalidHandle);
    }
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuEventQuery(CUevent event) {
    CUDASIM_BEGIN("cuEventQuery", true);
    return call.Return(state.events.count(event) != 0 ? CUDA_SUCCESS : kInvalidHandle);
}

CUDASIM_EXPORT CUresult cuEventSynchronize(CUevent event) {
    CUDASIM_BEGIN("cuEventSynchronize", true);
    return call.Return(state.events.count(event) != 0 ? CUDA_SUCCESS : kInvalidHandle);
}

CUDASIM_EXPORT CUresult cuEventDestroy_v2(CUevent event) {
    CUDASIM_BEGIN("cuEventDestroy", true);
    if (state.events.erase(event) == 0) {
        return call.Return(kInvalidHandle);
    }
    delete reinterpret_cast<char*>(event);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuMemAlloc_v2(CUdeviceptr* pointer, std::size_t bytes) {
    CUDASIM_BEGIN("cuMemAlloc", true);
    call.Arg(0, bytes);
    if (pointer == nullptr || bytes == 0) {
        return call.Return(kInvalidValue);
    }
    const CUdeviceptr address = state.nextAddress;
    state.memory[address].assign(bytes, 0xcd);  // not zero: nobody may count on cleared memory
    // Leave a gap, so that running off the end of one allocation never lands in the next.
    state.nextAddress += (bytes + 0x100000) / 0x10000 * 0x10000;
    *pointer = address;
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuMemFree_v2(CUdeviceptr pointer) {
    CUDASIM_BEGIN("cuMemFree", true);
    call.Arg(0, pointer);
    return call.Return(state.memory.erase(pointer) != 0 ? CUDA_SUCCESS : kInvalidValue);
}

CUDASIM_EXPORT CUresult cuMemAllocHost_v2(void** pointer, std::size_t bytes) {
    CUDASIM_BEGIN("cuMemAllocHost", true);
    call.Arg(0, bytes);
    if (pointer == nullptr || bytes == 0) {
        return call.Return(kInvalidValue);
    }
    *pointer = new unsigned char[bytes];
    state.hostAllocations.insert(*pointer);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuMemFreeHost(void* pointer) {
    CUDASIM_BEGIN("cuMemFreeHost", true);
    if (state.hostAllocations.erase(pointer) == 0) {
        return call.Return(kInvalidValue);
    }
    delete[] static_cast<unsigned char*>(pointer);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuMemcpyHtoDAsync_v2(CUdeviceptr target, const void* source,
                                             std::size_t bytes, CUstream) {
    CUDASIM_BEGIN("cuMemcpyHtoDAsync", true);
    call.Arg(0, bytes);
    unsigned char* to = DeviceBytes(state, target, bytes);
    if (to == nullptr || source == nullptr) {
        return call.Return(kInvalidValue);
    }
    std::memcpy(to, source, bytes);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuMemcpyDtoHAsync_v2(void* target, CUdeviceptr source, std::size_t bytes,
                                             CUstream) {
    CUDASIM_BEGIN("cuMemcpyDtoHAsync", true);
    call.Arg(0, bytes);
    const unsigned char* from = DeviceBytes(state, source, bytes);
    if (from == nullptr || target == nullptr) {
        return call.Return(kInvalidValue);
    }
    std::memcpy(target, from, bytes);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuMemcpy2DAsync_v2(const CUDA_MEMCPY2D* copy, CUstream) {
    CUDASIM_BEGIN("cuMemcpy2DAsync", true);
    if (copy == nullptr) {
        return call.Return(kInvalidValue);
    }
    call.Arg(0, copy->srcMemoryType);
    call.Arg(1, copy->dstMemoryType);
    call.Arg(2, copy->WidthInBytes);
    call.Arg(3, copy->Height);
    call.Arg(4, copy->srcPitch);
    if (copy->dstMemoryType == CU_MEMORYTYPE_ARRAY && copy->dstArray != nullptr) {
        for (const auto& entry : state.resources) {
            if (reinterpret_cast<CUarray>(&entry.second->array) == copy->dstArray) {
                call.Arg(5, entry.second->name);
            }
        }
    }
    return call.Return(Copy2D(state, *copy));
}

CUDASIM_EXPORT CUresult cuGraphicsGLRegisterBuffer(CUgraphicsResource* resource, GLuint buffer,
                                                   unsigned int flags) {
    CUDASIM_BEGIN("cuGraphicsGLRegisterBuffer", true);
    call.Arg(0, buffer);
    call.Arg(1, flags);
    if (resource == nullptr) {
        return call.Return(kInvalidValue);
    }
    if (!GLContextCurrent()) {
        return call.Return(kInvalidGraphicsContext);
    }
    if (!glIsBuffer(buffer)) {
        return call.Return(kInvalidValue);
    }
    std::unique_ptr<Resource> made(new Resource());
    made->name = buffer;
    Resource* raw = made.get();
    state.resources[raw] = std::move(made);
    *resource = reinterpret_cast<CUgraphicsResource>(raw);
    call.Arg(2, reinterpret_cast<std::uintptr_t>(raw));
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuGraphicsGLRegisterImage(CUgraphicsResource* resource, GLuint image,
                                                  GLenum target, unsigned int flags) {
    CUDASIM_BEGIN("cuGraphicsGLRegisterImage", true);
    call.Arg(0, image);
    call.Arg(1, target);
    call.Arg(2, flags);
    if (resource == nullptr || target != GL_TEXTURE_2D) {
        return call.Return(kInvalidValue);
    }
    if (!GLContextCurrent()) {
        return call.Return(kInvalidGraphicsContext);
    }
    if (!glIsTexture(image)) {
        return call.Return(kInvalidValue);
    }
    std::unique_ptr<Resource> made(new Resource());
    made->name = image;
    made->image = true;
    GLint internalFormat = 0;
    glGetTextureLevelParameteriv(image, 0, GL_TEXTURE_WIDTH, &made->width);
    glGetTextureLevelParameteriv(image, 0, GL_TEXTURE_HEIGHT, &made->height);
    glGetTextureLevelParameteriv(image, 0, GL_TEXTURE_INTERNAL_FORMAT, &internalFormat);
    if (made->width <= 0 || made->height <= 0 ||
        !RawTransfer(internalFormat, &made->format, &made->type, &made->texelBytes)) {
        return call.Return(kInvalidValue);
    }
    Resource* raw = made.get();
    state.resources[raw] = std::move(made);
    *resource = reinterpret_cast<CUgraphicsResource>(raw);
    call.Arg(3, reinterpret_cast<std::uintptr_t>(raw));
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuGraphicsUnregisterResource(CUgraphicsResource handle) {
    CUDASIM_BEGIN("cuGraphicsUnregisterResource", true);
    call.Arg(0, reinterpret_cast<std::uintptr_t>(handle));
    Resource* resource = FindResource(state, handle);
    if (resource == nullptr) {
        return call.Return(kInvalidHandle);
    }
    call.Arg(1, resource->name);
    state.resources.erase(resource);
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuGraphicsMapResources(unsigned int count, CUgraphicsResource* handles,
                                               CUstream stream) {
    CUDASIM_BEGIN("cuGraphicsMapResources", true);
    call.Arg(0, count);
    call.Arg(2, reinterpret_cast<std::uintptr_t>(stream));
    if (count == 0 || handles == nullptr) {
        return call.Return(kInvalidValue);
    }
    call.Arg(1, reinterpret_cast<std::uintptr_t>(handles[0]));
    for (unsigned int i = 0; i < count; ++i) {
        Resource* resource = FindResource(state, handles[i]);
        if (resource == nullptr) {
            return call.Return(kInvalidHandle);
        }
        if (resource->mapped) {
            return call.Return(kAlreadyMapped);
        }
    }
    // GL's work on the objects is finished before CUDA touches them.
    if (GLContextCurrent()) {
        glFinish();
    }
    for (unsigned int i = 0; i < count; ++i) {
        FindResource(state, handles[i])->mapped = true;
    }
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuGraphicsUnmapResources(unsigned int count, CUgraphicsResource* handles,
                                                 CUstream stream) {
    CUDASIM_BEGIN("cuGraphicsUnmapResources", true);
    call.Arg(0, count);
    call.Arg(2, reinterpret_cast<std::uintptr_t>(stream));
    if (count == 0 || handles == nullptr) {
        return call.Return(kInvalidValue);
    }
    call.Arg(1, reinterpret_cast<std::uintptr_t>(handles[0]));
    for (unsigned int i = 0; i < count; ++i) {
        Resource* resource = FindResource(state, handles[i]);
        if (resource == nullptr) {
            return call.Return(kInvalidHandle);
        }
        if (!resource->mapped) {
            return call.Return(kNotMapped);
        }
    }
    for (unsigned int i = 0; i < count; ++i) {
        FindResource(state, handles[i])->mapped = false;
    }
    return call.Return(CUDA_SUCCESS);
}

CUDASIM_EXPORT CUresult cuGraphicsSubResourceGetMappedArray(CUarray* array,
                                                            CUgraphicsResource handle,
                                                            unsigned int arrayIndex,
                                                            unsigned int mipLevel) {
    CUDASIM_BEGIN("cuGraphicsSubResourceGetMappedArray", true);
    call.Arg(0, reinterpret_cast<std::uintptr_t>(handle));
    call.Arg(1, arrayIndex);
    call.Arg(2, mipLevel);
    Resource* resource = FindResource(state, handle);
    if (array == nullptr || resource == nullptr) {
        return call.Return(kInvalidValue);
    }
    if (!resource->mapped) {
        return call.Return(kNotMapped);
    }
    if (!resource->image) {
        return call.Return(kNotMappedAsArray);
    }
    if (arrayIndex != 0 || mipLevel != 0) {
        return call.Return(kInvalidValue);
    }
    *array = reinterpret_cast<CUarray>(&resource->array);
    return call.Return(CUDA_SUCCESS);
}

// The CUDA devices behind the GL context current on the calling thread: this device for any
// context, as one GPU drives both.
CUDASIM_EXPORT CUresult cuGLGetDevices_v2(unsigned int* count, CUdevice* devices,
                                          unsigned int capacity, unsigned int) {
    CUDASIM_BEGIN("cuGLGetDevices", false);
    if (count == nullptr) {
        return call.Return(kInvalidValue);
    }
    if (!GLContextCurrent()) {
        return call.Return(kInvalidGraphicsContext);
    }
    *count = 1;
    if (devices != nullptr && capacity > 0) {
        devices[0] = 0;
    }
    return call.Return(CUDA_SUCCESS);
}

// Control interface.

CUDASIM_EXPORT void cudasim_reset(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.calls.clear();
    state.failures.clear();
}

CUDASIM_EXPORT int cudasim_call_count(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    return static_cast<int>(state.calls.size());
}

CUDASIM_EXPORT int cudasim_get_call(int index, cudasim_call* out) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (out == nullptr || index < 0 || static_cast<std::size_t>(index) >= state.calls.size()) {
        return 0;
    }
    *out = state.calls[static_cast<std::size_t>(index)];
    return 1;
}

CUDASIM_EXPORT int cudasim_count(const char* name, int resultNot) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    int count = 0;
    for (const cudasim_call& call : state.calls) {
        if (name != nullptr && std::strcmp(call.name, name) == 0 &&
            (resultNot == -1 || call.result != resultNot)) {
            ++count;
        }
    }
    return count;
}

CUDASIM_EXPORT void cudasim_fail(const char* name, int error, int times) {
    if (name == nullptr) {
        return;
    }
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.failures[name] = Failure{error, times};
}

CUDASIM_EXPORT int cudasim_registered_resources(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    return static_cast<int>(state.resources.size());
}

CUDASIM_EXPORT int cudasim_mapped_resources(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    int mapped = 0;
    for (const auto& entry : state.resources) {
        mapped += entry.second->mapped ? 1 : 0;
    }
    return mapped;
}

CUDASIM_EXPORT int cudasim_allocations(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    return static_cast<int>(state.memory.size() + state.hostAllocations.size());
}

CUDASIM_EXPORT int cudasim_contexts(void) {
    State& state = Sim();
    std::lock_guard<std::mutex> lock(state.mutex);
    return static_cast<int>(state.contexts.size());
}
