// Notes every glFinish of the process in the OpenCL stand-in's call record, then does it: the
// record then shows glFinish and the OpenCL calls in the order they were made. Defined in the
// executable, it comes before the GL library for every module of the process.
#include <GL/gl.h>
#include <dlfcn.h>

#include "clsim/clsim_control.h"

extern "C" void GLAPIENTRY glFinish(void) {
    using Finish = void (*)(void);
    static const Finish real = reinterpret_cast<Finish>(dlsym(RTLD_NEXT, "glFinish"));
    clsim_note("glFinish");
    if (real != nullptr) {
        real();
    }
}
