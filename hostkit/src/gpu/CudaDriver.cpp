#include "GB/CudaDriver.h"

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "SharedLibrary.h"

namespace GB {
namespace cuda {
namespace {

struct Entry {
    const char* name;
    std::size_t offset;  // of the pointer inside Driver
    bool required;
};

#define GB_CUDA_ENTRY(field, symbol, required)    \
    Entry {                                       \
        symbol, offsetof(Driver, field), required \
    }

// Entry points whose ABI changed carry the driver's _v2 names.
const Entry kEntries[] = {
    GB_CUDA_ENTRY(cuInit, "cuInit", true),
    GB_CUDA_ENTRY(cuDriverGetVersion, "cuDriverGetVersion", true),
    GB_CUDA_ENTRY(cuGetErrorString, "cuGetErrorString", false),
    GB_CUDA_ENTRY(cuDeviceGetCount, "cuDeviceGetCount", true),
    GB_CUDA_ENTRY(cuDeviceGet, "cuDeviceGet", true),
    GB_CUDA_ENTRY(cuDeviceGetName, "cuDeviceGetName", true),
    GB_CUDA_ENTRY(cuCtxCreate, "cuCtxCreate_v2", true),
    GB_CUDA_ENTRY(cuCtxDestroy, "cuCtxDestroy_v2", true),
    GB_CUDA_ENTRY(cuCtxPushCurrent, "cuCtxPushCurrent_v2", true),
    GB_CUDA_ENTRY(cuCtxPopCurrent, "cuCtxPopCurrent_v2", true),
    GB_CUDA_ENTRY(cuStreamCreate, "cuStreamCreate", true),
    GB_CUDA_ENTRY(cuStreamDestroy, "cuStreamDestroy_v2", true),
    GB_CUDA_ENTRY(cuStreamSynchronize, "cuStreamSynchronize", true),
    GB_CUDA_ENTRY(cuEventCreate, "cuEventCreate", true),
    GB_CUDA_ENTRY(cuEventRecord, "cuEventRecord", true),
    GB_CUDA_ENTRY(cuEventQuery, "cuEventQuery", true),
    GB_CUDA_ENTRY(cuEventSynchronize, "cuEventSynchronize", true),
    GB_CUDA_ENTRY(cuEventDestroy, "cuEventDestroy_v2", true),
    GB_CUDA_ENTRY(cuMemAlloc, "cuMemAlloc_v2", true),
    GB_CUDA_ENTRY(cuMemFree, "cuMemFree_v2", true),
    GB_CUDA_ENTRY(cuMemAllocHost, "cuMemAllocHost_v2", true),
    GB_CUDA_ENTRY(cuMemFreeHost, "cuMemFreeHost", true),
    GB_CUDA_ENTRY(cuMemcpyHtoDAsync, "cuMemcpyHtoDAsync_v2", true),
    GB_CUDA_ENTRY(cuMemcpyDtoHAsync, "cuMemcpyDtoHAsync_v2", true),
    GB_CUDA_ENTRY(cuMemcpy2DAsync, "cuMemcpy2DAsync_v2", true),
    GB_CUDA_ENTRY(cuGraphicsGLRegisterBuffer, "cuGraphicsGLRegisterBuffer", true),
    GB_CUDA_ENTRY(cuGraphicsGLRegisterImage, "cuGraphicsGLRegisterImage", true),
    GB_CUDA_ENTRY(cuGraphicsUnregisterResource, "cuGraphicsUnregisterResource", true),
    GB_CUDA_ENTRY(cuGraphicsMapResources, "cuGraphicsMapResources", true),
    GB_CUDA_ENTRY(cuGraphicsUnmapResources, "cuGraphicsUnmapResources", true),
    GB_CUDA_ENTRY(cuGraphicsSubResourceGetMappedArray, "cuGraphicsSubResourceGetMappedArray", true),
    GB_CUDA_ENTRY(cuGLGetDevices, "cuGLGetDevices_v2", false),
};

#undef GB_CUDA_ENTRY

void SetReason(std::string* reason, const std::string& text) {
    if (reason != nullptr) {
        *reason = text;
    }
}

struct Loaded {
    std::once_flag once;
    Driver table{};
    std::atomic<bool> ok{false};
    std::string reason;
};

Loaded& SystemDriver() {
    static Loaded* loaded = new Loaded();  // the driver stays loaded for the process
    return *loaded;
}

}  // namespace

const char* DriverLibraryName() {
    const char* chosen = std::getenv("STEREON_CUDA_DRIVER");
    if (chosen != nullptr && chosen[0] != '\0') {
        return chosen;
    }
#if defined(_WIN32)
    return "nvcuda.dll";
#else
    return "libcuda.so.1";
#endif
}

bool LoadDriverTable(const char* library, int requestedVersion, Driver* table,
                     std::string* reason) {
    if (library == nullptr || table == nullptr) {
        SetReason(reason, "no CUDA driver library named");
        return false;
    }
    std::string error;
    void* handle = detail::OpenSharedLibrary(library, &error);
    if (handle == nullptr) {
        SetReason(reason, std::string("cannot load the CUDA driver ") + library + ": " + error);
        return false;
    }
    Driver loaded{};
    for (const Entry& entry : kEntries) {
        void* symbol = detail::FindSymbol(handle, entry.name);
        if (symbol == nullptr && entry.required) {
            detail::CloseSharedLibrary(handle);
            SetReason(reason, std::string("the CUDA driver ") + library + " lacks " + entry.name);
            return false;
        }
        std::memcpy(reinterpret_cast<char*>(&loaded) + entry.offset, &symbol, sizeof symbol);
    }
    const CUresult initResult = loaded.cuInit(0);
    if (initResult != CUDA_SUCCESS) {
        const std::string text = CudaErrorText(&loaded, initResult);
        detail::CloseSharedLibrary(handle);
        SetReason(reason, "cuInit failed: " + text);
        return false;
    }
    int version = 0;
    if (loaded.cuDriverGetVersion(&version) != CUDA_SUCCESS || version < requestedVersion) {
        detail::CloseSharedLibrary(handle);
        char text[128];
        std::snprintf(text, sizeof text, "the CUDA driver is version %d, older than %d", version,
                      requestedVersion);
        SetReason(reason, text);
        return false;
    }
    *table = loaded;
    return true;
}

const Driver* LoadCudaDriver(int requestedVersion, std::string* reason) {
    Loaded& loaded = SystemDriver();
    std::call_once(loaded.once, [&] {
        loaded.ok.store(
            LoadDriverTable(DriverLibraryName(), requestedVersion, &loaded.table, &loaded.reason),
            std::memory_order_release);
    });
    if (!loaded.ok) {
        SetReason(reason, loaded.reason);
        return nullptr;
    }
    return &loaded.table;
}

const Driver* GetCudaDriver() {
    const Loaded& loaded = SystemDriver();
    return loaded.ok.load(std::memory_order_acquire) ? &loaded.table : nullptr;
}

std::string CudaErrorText(const Driver* driver, CUresult result) {
    const char* text = nullptr;
    if (driver != nullptr && driver->cuGetErrorString != nullptr) {
        driver->cuGetErrorString(result, &text);
    }
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "CUDA error %d", result);
    return text != nullptr ? std::string(buffer) + " (" + text + ")" : std::string(buffer);
}

}  // namespace cuda
}  // namespace GB
