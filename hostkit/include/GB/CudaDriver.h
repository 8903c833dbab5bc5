#pragma once

// The CUDA driver interface, loaded at run time (libcuda.so.1, nvcuda.dll) by a table of names.
// Only the few types the table needs are declared here; no CUDA header is needed to build.

#include <cstddef>
#include <string>

namespace GB {
namespace cuda {

#if defined(_WIN32)
#define GB_CUDA_API __stdcall
#else
#define GB_CUDA_API
#endif

using CUresult = int;
using CUdevice = int;
using CUdeviceptr = unsigned long long;
using CUcontext = struct CUctx_st*;
using CUstream = struct CUstream_st*;
using CUevent = struct CUevent_st*;
using CUarray = struct CUarray_st*;
using CUgraphicsResource = struct CUgraphicsResource_st*;
using GLuint = unsigned int;
using GLenum = unsigned int;

constexpr CUresult CUDA_SUCCESS = 0;
constexpr CUresult CUDA_ERROR_NOT_READY = 600;

enum CUmemorytype : unsigned int {
    CU_MEMORYTYPE_HOST = 1,
    CU_MEMORYTYPE_DEVICE = 2,
    CU_MEMORYTYPE_ARRAY = 3,
    CU_MEMORYTYPE_UNIFIED = 4,
};

constexpr unsigned int CU_GRAPHICS_REGISTER_FLAGS_NONE = 0;
constexpr unsigned int CU_GRAPHICS_REGISTER_FLAGS_READ_ONLY = 1;
constexpr unsigned int CU_GRAPHICS_REGISTER_FLAGS_WRITE_DISCARD = 2;
constexpr unsigned int CU_EVENT_DISABLE_TIMING = 2;
constexpr unsigned int CU_STREAM_NON_BLOCKING = 1;
constexpr unsigned int CU_GL_DEVICE_LIST_ALL = 1;

struct CUDA_MEMCPY2D {
    std::size_t srcXInBytes;
    std::size_t srcY;
    CUmemorytype srcMemoryType;
    const void* srcHost;
    CUdeviceptr srcDevice;
    CUarray srcArray;
    std::size_t srcPitch;
    std::size_t dstXInBytes;
    std::size_t dstY;
    CUmemorytype dstMemoryType;
    void* dstHost;
    CUdeviceptr dstDevice;
    CUarray dstArray;
    std::size_t dstPitch;
    std::size_t WidthInBytes;
    std::size_t Height;
};

// The driver version this library is written against (CUDA 9.2).
constexpr int kRequestedDriverVersion = 9020;

// Entry points, named as the driver exports them without the _v2 suffix.
struct Driver {
    CUresult(GB_CUDA_API* cuInit)(unsigned int flags);
    CUresult(GB_CUDA_API* cuDriverGetVersion)(int* version);
    CUresult(GB_CUDA_API* cuGetErrorString)(CUresult error, const char** text);
    CUresult(GB_CUDA_API* cuDeviceGetCount)(int* count);
    CUresult(GB_CUDA_API* cuDeviceGet)(CUdevice* device, int ordinal);
    CUresult(GB_CUDA_API* cuDeviceGetName)(char* name, int length, CUdevice device);
    CUresult(GB_CUDA_API* cuCtxCreate)(CUcontext* context, unsigned int flags, CUdevice device);
    CUresult(GB_CUDA_API* cuCtxDestroy)(CUcontext context);
    CUresult(GB_CUDA_API* cuCtxPushCurrent)(CUcontext context);
    CUresult(GB_CUDA_API* cuCtxPopCurrent)(CUcontext* context);
    CUresult(GB_CUDA_API* cuStreamCreate)(CUstream* stream, unsigned int flags);
    CUresult(GB_CUDA_API* cuStreamDestroy)(CUstream stream);
    CUresult(GB_CUDA_API* cuStreamSynchronize)(CUstream stream);
    CUresult(GB_CUDA_API* cuEventCreate)(CUevent* event, unsigned int flags);
    CUresult(GB_CUDA_API* cuEventRecord)(CUevent event, CUstream stream);
    CUresult(GB_CUDA_API* cuEventQuery)(CUevent event);
    CUresult(GB_CUDA_API* cuEventSynchronize)(CUevent event);
    CUresult(GB_CUDA_API* cuEventDestroy)(CUevent event);
    CUresult(GB_CUDA_API* cuMemAlloc)(CUdeviceptr* pointer, std::size_t bytes);
    CUresult(GB_CUDA_API* cuMemFree)(CUdeviceptr pointer);
    CUresult(GB_CUDA_API* cuMemAllocHost)(void** pointer, std::size_t bytes);
    CUresult(GB_CUDA_API* cuMemFreeHost)(void* pointer);
    CUresult(GB_CUDA_API* cuMemcpyHtoDAsync)(CUdeviceptr target, const void* source,
                                             std::size_t bytes, CUstream stream);
    CUresult(GB_CUDA_API* cuMemcpyDtoHAsync)(void* target, CUdeviceptr source, std::size_t bytes,
                                             CUstream stream);
    CUresult(GB_CUDA_API* cuMemcpy2DAsync)(const CUDA_MEMCPY2D* copy, CUstream stream);
    CUresult(GB_CUDA_API* cuGraphicsGLRegisterBuffer)(CUgraphicsResource* resource, GLuint buffer,
                                                      unsigned int flags);
    CUresult(GB_CUDA_API* cuGraphicsGLRegisterImage)(CUgraphicsResource* resource, GLuint image,
                                                     GLenum target, unsigned int flags);
    CUresult(GB_CUDA_API* cuGraphicsUnregisterResource)(CUgraphicsResource resource);
    CUresult(GB_CUDA_API* cuGraphicsMapResources)(unsigned int count, CUgraphicsResource* resources,
                                                  CUstream stream);
    CUresult(GB_CUDA_API* cuGraphicsUnmapResources)(unsigned int count,
                                                    CUgraphicsResource* resources, CUstream stream);
    CUresult(GB_CUDA_API* cuGraphicsSubResourceGetMappedArray)(CUarray* array,
                                                               CUgraphicsResource resource,
                                                               unsigned int arrayIndex,
                                                               unsigned int mipLevel);
    // Optional: the CUDA devices behind the GL context current on the calling thread.
    CUresult(GB_CUDA_API* cuGLGetDevices)(unsigned int* count, CUdevice* devices,
                                          unsigned int capacity, unsigned int deviceList);
};

// The driver library to load: the path in STEREON_CUDA_DRIVER when that is set and not empty
// (another driver build, or a stand-in for tests), else the system's: "libcuda.so.1", or
// "nvcuda.dll" on Windows.
const char* DriverLibraryName();

// Loads `library`, fills `table` and initialises the driver. False, with the reason, when the
// library or an entry point is missing, cuInit fails, or the driver is older than
// `requestedVersion`. A library that fails is unloaded again; one that succeeds stays loaded.
bool LoadDriverTable(const char* library, int requestedVersion, Driver* table, std::string* reason);

// LoadDriverTable on the system's driver, once per process; later calls return the same
// result whatever version they ask for. Null, with the reason, when there is no usable driver.
const Driver* LoadCudaDriver(int requestedVersion = kRequestedDriverVersion,
                             std::string* reason = nullptr);

// The table if LoadCudaDriver has succeeded, else null. Never loads anything.
const Driver* GetCudaDriver();

// "CUDA error 700 (an illegal memory access was encountered)".
std::string CudaErrorText(const Driver* driver, CUresult result);

}  // namespace cuda
}  // namespace GB
