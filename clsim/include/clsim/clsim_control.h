/* Control interface of the OpenCL ICD stand-in (libclsim.so).
 *
 * The stand-in is an installable client driver: the system's OpenCL loader finds it through a
 * vendors directory (OCL_ICD_VENDORS) whose .icd file names it. It offers one platform with one
 * GPU device that reports "cl_khr_gl_sharing" and, when switched on, "cl_khr_gl_event". Buffers
 * live in host memory; work runs when it is queued; images made from GL textures are written
 * through OpenGL on the calling thread's current context. The two kernels of the host stand-in's
 * program ("ConvertPixels", "CopyPixelsToImage") run natively.
 *
 * Every API call is recorded in order with the calling thread; tests may add their own notes
 * (such as "glFinish") to the same record. Every function here is thread-safe.
 */
#ifndef CLSIM_CONTROL_H
#define CLSIM_CONTROL_H

#include <stdint.h>

#define CLSIM_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* One call. `thread` tells calling threads apart; `args` depend on the call:
 *   clCreateFromGLTexture / clCreateFromGLBuffer   GL name, memory object made
 *   clEnqueueAcquireGLObjects / Release            count, first memory object
 *   clEnqueueNDRangeKernel                         width, height, 1 for CopyPixelsToImage */
struct clsim_call {
    char name[48];
    int result;
    uint64_t thread;
    uint64_t args[3];
};

/* Forgets the record and the failures asked for; objects made stay. */
CLSIM_API void clsim_reset(void);
/* Whether devices report "cl_khr_gl_event"; read when a program asks for the extensions. */
CLSIM_API void clsim_set_gl_event(int enabled);

CLSIM_API int clsim_call_count(void);
CLSIM_API int clsim_get_call(int index, struct clsim_call* call);
/* Calls of that name whose result is not `result_not` (-1 counts all). */
CLSIM_API int clsim_count(const char* name, int result_not);
/* Adds an entry of the caller's own to the record, on the calling thread. */
CLSIM_API void clsim_note(const char* name);

/* Makes the next `times` calls of `name` fail with `error` (times < 0: every call until reset). */
CLSIM_API void clsim_fail(const char* name, int error, int times);

/* Memory objects made from GL objects and alive now; of them, those acquired now. */
CLSIM_API int clsim_gl_objects(void);
CLSIM_API int clsim_acquired_objects(void);

#ifdef __cplusplus
}
#endif

#endif
