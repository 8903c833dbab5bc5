// Compiled by a cross-targeting clang (see CMakeLists.txt): the layout asserts in vr_types.h then
// run under the Windows x64 record rules, which a Linux build never sees.
#include "stnvr/vr_interfaces.h"

static_assert(STNVR_ABI_WIN64 && !STNVR_ABI_LINUX64 && !STNVR_LINUX_PACK4,
              "the Windows x64 layout checks must be the ones compiled here");

#if defined(_MSC_VER)
static_assert(!STNVR_RECORD_RETURN_VIA_POINTER, "MSVC declares record returns as the runtime does");
#else
static_assert(STNVR_RECORD_RETURN_VIA_POINTER, "MinGW needs the explicit result pointer");
#endif

// The explicit-result form must still be callable the usual way.
vr::HmdMatrix44_t ProjectionOf(vr::IVRSystem* system) {
    return system->GetProjectionMatrix(vr::Eye_Left, 0.1f, 100.0f);
}

vr::HmdColor_t FadeColorOf(vr::IVRCompositor* compositor) {
    return compositor->GetCurrentFadeColor();
}
