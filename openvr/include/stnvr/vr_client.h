// The OpenVR client: finds the current runtime, loads its client core, and hands out the
// runtime's interfaces. Applications use it as they use the public OpenVR client library.
//
// The runtime is found through the per-user path registry `openvrpaths.vrpath` (on Linux under
// $XDG_CONFIG_HOME/openvr, or $HOME/.config/openvr; on Windows under %LOCALAPPDATA%\openvr),
// whose first "runtime" entry names the runtime root. A non-empty VR_OVERRIDE replaces that
// root; VR_CONFIG_PATH and VR_LOG_PATH do the same for the config and log directories, and with
// all three set no registry file is needed. The root must hold bin/linux64/vrclient.so
// (bin\vrclient_x64.dll on Windows), which exports VRClientCoreFactory.
//
// All calls are serialised by one process-wide lock, so concurrent use does not corrupt the
// client; the order of Init and Shutdown across threads remains the caller's business.
#pragma once

#include <stdint.h>

#include "stnvr/vr_interfaces.h"
#include "stnvr/vr_types.h"

#if defined(_WIN32)
#if defined(STNVR_CLIENT_BUILDING)
#define STNVR_CLIENT_API __declspec(dllexport)
#else
#define STNVR_CLIENT_API __declspec(dllimport)
#endif
#else
#define STNVR_CLIENT_API __attribute__((visibility("default")))
#endif

namespace vr {

// Loads the runtime and initialises it for `eApplicationType`, then checks that it speaks
// IVRSystem_Version. Returns the IVRSystem, or null with the reason in `*peError` (if given):
// 110 no path registry, 100 no runtime directory, 101 no bin directory, 102 client library
// missing or not loadable, 104 no factory, 105 no client core or IVRSystem_Version refused,
// or whatever the runtime's Init answered. On failure nothing stays loaded. Calling it again
// while initialised initialises the same runtime again and gives a new token.
STNVR_CLIENT_API IVRSystem* VR_Init(EVRInitError* peError, EVRApplicationType eApplicationType,
                                    const char* pStartupInfo = nullptr);

// Cleans the runtime up and unloads it. Harmless when nothing is loaded. Changes the token.
STNVR_CLIENT_API void VR_Shutdown();

// Whether a headset is present. With no runtime loaded, loads one just to ask and unloads it
// again without cleaning it up; false when none can be loaded.
STNVR_CLIENT_API bool VR_IsHmdPresent();

// True when a runtime is loaded, or when the paths can be read and the runtime directory exists.
STNVR_CLIENT_API bool VR_IsRuntimeInstalled();

// The runtime directory, or null when it cannot be found. The text stays valid until the next
// call.
STNVR_CLIENT_API const char* VR_RuntimePath();

// Name and readable text of an init error; the loaded runtime's own when there is one.
STNVR_CLIENT_API const char* VR_GetVRInitErrorAsSymbol(EVRInitError error);
STNVR_CLIENT_API const char* VR_GetVRInitErrorAsEnglishDescription(EVRInitError error);

// An interface of the initialised runtime by version string. Null with 109
// (VRInitError_Init_NotInitialized) when nothing is initialised, and with 106
// (VRInitError_Init_InvalidInterface) for a null version. `peError` may be null.
STNVR_CLIENT_API void* VR_GetGenericInterface(const char* pchInterfaceVersion,
                                              EVRInitError* peError);

// Whether the initialised runtime accepts the version; false when nothing is initialised.
STNVR_CLIENT_API bool VR_IsInterfaceVersionValid(const char* pchInterfaceVersion);

// Changes on every successful init, every shutdown, and a failed init that dropped the runtime
// initialised before; interface pointers fetched under one token must not be used under
// another.
STNVR_CLIENT_API uint32_t VR_GetInitToken();

// The steps VR_Init and VR_Shutdown are made of: load and Init the runtime, returning the new
// token (0 on failure), without the IVRSystem check; Cleanup and unload.
STNVR_CLIENT_API uint32_t VR_InitInternal2(EVRInitError* peError,
                                           EVRApplicationType eApplicationType,
                                           const char* pStartupInfo);
STNVR_CLIENT_API void VR_ShutdownInternal();
// The runtime's Cleanup alone: the connection ends (a new token), the library stays loaded
// until the next VR_Shutdown or VR_Init. For a caller whose other thread may still be on its way
// out of a runtime call that the Cleanup released: unloading now would unmap the code under it.
STNVR_CLIENT_API void VR_CleanupInternal();

// Caches one pointer per interface and drops them all whenever the init token has changed,
// so a pointer from an earlier connection is never handed out. Errors of the fetch are not
// kept: a null pointer is the answer, and the next call asks again.
class STNVR_CLIENT_API COpenVRContext {
public:
    COpenVRContext();
    ~COpenVRContext();
    COpenVRContext(const COpenVRContext&) = delete;
    COpenVRContext& operator=(const COpenVRContext&) = delete;

    IVRSystem* VRSystem();
    IVRCompositor* VRCompositor();
    IVRRenderModels* VRRenderModels();
    IVRSettings* VRSettings();
    IVRChaperone* VRChaperone();

    // Drops every cached pointer.
    void Clear();

private:
    struct State;
    State* state;
};

// The process-wide cache behind the free accessors below.
STNVR_CLIENT_API COpenVRContext& OpenVRInternal_ModuleContext();

STNVR_CLIENT_API IVRSystem* VRSystem();
STNVR_CLIENT_API IVRCompositor* VRCompositor();
STNVR_CLIENT_API IVRRenderModels* VRRenderModels();
STNVR_CLIENT_API IVRSettings* VRSettings();
STNVR_CLIENT_API IVRChaperone* VRChaperone();

}  // namespace vr
