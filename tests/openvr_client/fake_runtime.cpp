// A minimal runtime client library for the loader tests, built in several variants:
//   FAKE_RUNTIME_NO_FACTORY       exports no VRClientCoreFactory
//   FAKE_RUNTIME_NULL_CORE        its factory hands out no core
//   FAKE_RUNTIME_INIT_FAILS       Init answers VRInitError_Init_HmdNotFound
//   FAKE_RUNTIME_REJECTS_SYSTEM   IsInterfaceVersionValid refuses IVRSystem_Version
// Every call, and the library's own loading and unloading, is appended as a line to the file
// named by STNVR_FAKE_RUNTIME_LOG, so a test can see what the client did even after the
// library is gone. STNVR_FAKE_HMD_PRESENT=0 makes BIsHmdPresent answer false, and
// STNVR_FAKE_INIT_FAILS=1 makes any variant's Init fail as FAKE_RUNTIME_INIT_FAILS does.
// STNVR_FAKE_CLEANUP_ASKS_CLIENT=1 makes Cleanup ask the client that loaded it whether
// IVRSystem_Version is valid, and log the answer.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "stnvr/vr_interfaces.h"

// The client in the process that loaded this library; absent when nothing provides it.
namespace vr {
__attribute__((weak, visibility("default"))) bool VR_IsInterfaceVersionValid(
    const char* pchInterfaceVersion);
}

namespace {

void Log(const char* what, const char* detail = nullptr) {
    const char* path = getenv("STNVR_FAKE_RUNTIME_LOG");
    if (path == nullptr || path[0] == '\0') {
        return;
    }
    FILE* file = fopen(path, "a");
    if (file == nullptr) {
        return;
    }
    fprintf(file, "%s%s%s\n", what, detail != nullptr ? " " : "", detail != nullptr ? detail : "");
    fclose(file);
}

__attribute__((constructor)) void OnLoad() {
    Log("load");
}
__attribute__((destructor)) void OnUnload() {
    Log("unload");
}

// Distinct addresses stand in for the interface objects; the client never calls them.
const char* const kVersions[] = {vr::IVRSystem_Version, vr::IVRCompositor_Version,
                                 vr::IVRRenderModels_Version, vr::IVRSettings_Version,
                                 vr::IVRChaperone_Version};
char g_interfaces[5][16];

class FakeClientCore : public vr::IVRClientCore {
public:
    vr::EVRInitError Init(vr::EVRApplicationType type, const char* startupInfo) override {
        char detail[256];
        snprintf(detail, sizeof(detail), "%d %s", static_cast<int>(type),
                 startupInfo != nullptr ? startupInfo : "-");
        Log("Init", detail);
#if defined(FAKE_RUNTIME_INIT_FAILS)
        return vr::VRInitError_Init_HmdNotFound;
#else
        const char* fails = getenv("STNVR_FAKE_INIT_FAILS");
        if (fails != nullptr && strcmp(fails, "1") == 0) {
            return vr::VRInitError_Init_HmdNotFound;
        }
        initialised = true;
        return vr::VRInitError_None;
#endif
    }

    void Cleanup() override {
        Log("Cleanup");
        const char* ask = getenv("STNVR_FAKE_CLEANUP_ASKS_CLIENT");
        if (ask != nullptr && strcmp(ask, "1") == 0) {
            const bool valid = &vr::VR_IsInterfaceVersionValid != nullptr &&
                               vr::VR_IsInterfaceVersionValid(vr::IVRSystem_Version);
            Log("client during Cleanup:", valid ? "valid" : "not valid");
        }
        initialised = false;
    }

    vr::EVRInitError IsInterfaceVersionValid(const char* version) override {
        Log("IsInterfaceVersionValid", version);
#if defined(FAKE_RUNTIME_REJECTS_SYSTEM)
        if (strcmp(version, vr::IVRSystem_Version) == 0) {
            return vr::VRInitError_Init_InterfaceNotFound;
        }
#endif
        return Find(version) != nullptr ? vr::VRInitError_None
                                        : vr::VRInitError_Init_InterfaceNotFound;
    }

    void* GetGenericInterface(const char* version, vr::EVRInitError* error) override {
        Log("GetGenericInterface", version);
        if (!initialised) {
            *error = vr::VRInitError_Init_NotInitialized;
            return nullptr;
        }
        void* found = Find(version);
        *error = found != nullptr ? vr::VRInitError_None : vr::VRInitError_Init_InterfaceNotFound;
        return found;
    }

    bool BIsHmdPresent() override {
        Log("BIsHmdPresent");
        const char* present = getenv("STNVR_FAKE_HMD_PRESENT");
        return present == nullptr || strcmp(present, "0") != 0;
    }

    const char* GetEnglishStringForHmdError(vr::EVRInitError) override {
        return "runtime's description";
    }
    const char* GetIDForVRInitError(vr::EVRInitError) override {
        return "runtime's symbol";
    }

private:
    static void* Find(const char* version) {
        for (int i = 0; i < 5; ++i) {
            if (strcmp(version, kVersions[i]) == 0) {
                return g_interfaces[i];
            }
        }
        return nullptr;
    }

    bool initialised = false;
};

FakeClientCore g_core;

}  // namespace

#if defined(FAKE_RUNTIME_NO_FACTORY)
extern "C" __attribute__((visibility("default"))) void* VRClientCoreFactoryMisspelt(const char*,
                                                                                    int*) {
    return &g_core;
}
#else
extern "C" __attribute__((visibility("default"))) void* VRClientCoreFactory(const char* name,
                                                                            int* returnCode) {
    Log("factory", name);
#if defined(FAKE_RUNTIME_NULL_CORE)
    *returnCode = vr::VRInitError_Init_InterfaceNotFound;
    return nullptr;
#else
    if (strcmp(name, vr::IVRClientCore_Version) != 0) {
        *returnCode = vr::VRInitError_Init_InterfaceNotFound;
        return nullptr;
    }
    return &g_core;
#endif
}
#endif
