/* Control interface of the CUDA driver stand-in (libcudasim.so).
 *
 * The stand-in exports the driver entry points the library and the host stand-in load from
 * libcuda.so.1. Tests point the loader at it (STEREON_CUDA_DRIVER) and link it as well, so that
 * both see the one loaded copy. "Device memory" is host memory; a copy into a registered GL
 * texture or buffer is done through OpenGL on the calling thread's current context.
 *
 * Every driver call is recorded, in order, under its name without the _v2 suffix
 * ("cuMemcpy2DAsync"). Every function here is thread-safe.
 */
#ifndef CUDASIM_CONTROL_H
#define CUDASIM_CONTROL_H

#include <stdint.h>

#define CUDASIM_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

enum { CUDASIM_MAX_ARGS = 6 };

/* One driver call. The arguments depend on the call:
 *   cuGraphicsGLRegisterImage      GL name, GL target, flags, resource made
 *   cuGraphicsGLRegisterBuffer     GL name, flags, resource made
 *   cuGraphicsUnregisterResource   resource, GL name
 *   cuGraphicsMapResources/Unmap   count, first resource, stream
 *   cuMemcpy2DAsync                source memory type, target memory type, width in bytes,
 *                                  height, source pitch (as signed), GL name of a target array
 *   cuMemAlloc / cuMemFree         bytes / pointer
 * `had_context` tells whether a CUDA context was current on the calling thread. */
struct cudasim_call {
    char name[48];
    int result;
    int had_context;
    uint64_t args[CUDASIM_MAX_ARGS];
};

/* Forgets the recorded calls and the failures asked for; objects made stay. */
CUDASIM_API void cudasim_reset(void);

CUDASIM_API int cudasim_call_count(void);
/* The call at `index` (0 first); 0 when there is none. */
CUDASIM_API int cudasim_get_call(int index, struct cudasim_call* call);
/* How many calls of that name were recorded; with `result_not`, only those whose result
 * differs from it (pass -1 for all). */
CUDASIM_API int cudasim_count(const char* name, int result_not);

/* Makes the next `times` calls of `name` fail with `error` (times < 0: every call until reset),
 * doing nothing else. */
CUDASIM_API void cudasim_fail(const char* name, int error, int times);

/* Objects alive now. */
CUDASIM_API int cudasim_registered_resources(void);
CUDASIM_API int cudasim_mapped_resources(void);
CUDASIM_API int cudasim_allocations(void);
CUDASIM_API int cudasim_contexts(void);

#ifdef __cplusplus
}
#endif

#endif
