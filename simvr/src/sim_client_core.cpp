#include <cstring>

#include "names.h"
#include "runtime_state.h"
#include "sim_interfaces.h"

namespace simvr {

namespace {

using Lock = std::lock_guard<std::mutex>;

SimSystem g_system;
SimCompositor g_compositor;
SimRenderModels g_renderModels;
SimSettings g_settings;
SimChaperone g_chaperone;
SimClientCore g_core;

// The interface objects by version; null for a version this runtime does not speak.
void* InterfaceFor(const char* version) {
    if (version == nullptr) {
        return nullptr;
    }
    if (std::strcmp(version, vr::IVRSystem_Version) == 0) {
        return static_cast<vr::IVRSystem*>(&g_system);
    }
    if (std::strcmp(version, vr::IVRCompositor_Version) == 0) {
        return static_cast<vr::IVRCompositor*>(&g_compositor);
    }
    if (std::strcmp(version, vr::IVRRenderModels_Version) == 0) {
        return static_cast<vr::IVRRenderModels*>(&g_renderModels);
    }
    if (std::strcmp(version, vr::IVRSettings_Version) == 0) {
        return static_cast<vr::IVRSettings*>(&g_settings);
    }
    if (std::strcmp(version, vr::IVRChaperone_Version) == 0) {
        return static_cast<vr::IVRChaperone*>(&g_chaperone);
    }
    return nullptr;
}

}  // namespace

bool IsKnownInterface(const char* version) {
    return InterfaceFor(version) != nullptr;
}

vr::EVRInitError SimClientCore::Init(vr::EVRApplicationType eApplicationType,
                                     const char* pStartupInfo) {
    State& s = State::Get();
    Lock lock(s.mutex);
    vr::EVRInitError result = vr::VRInitError_None;
    if (s.initError != 0) {
        result = vr::EVRInitError(s.initError);
    } else if (eApplicationType < vr::VRApplication_Other ||
               eApplicationType >= vr::VRApplication_Max) {
        result = vr::VRInitError_Init_InvalidApplicationType;
    } else if (!s.hmdPresent && eApplicationType != vr::VRApplication_Utility) {
        result = vr::VRInitError_Init_HmdNotFound;
    }
    if (simvr_call* call = s.Record(SIMVR_CALL_INIT, result)) {
        call->int_value = eApplicationType;
        CopyField(call->text, sizeof(call->text), pStartupInfo);
    }
    if (result != vr::VRInitError_None) {
        return result;
    }
    s.initialized = true;
    ++s.connection;
    ++s.initCount;
    s.applicationType = eApplicationType;
    s.initTime = std::chrono::steady_clock::now();
    s.lastVsync = s.initTime;
    s.frameIndex = 0;
    s.submittedThisFrame = {{false, false}};
    s.trackingSpace = vr::TrackingUniverseStanding;
    // What an earlier connection synced is there for this one.
    s.LoadSettings();
    return vr::VRInitError_None;
}

void SimClientCore::Cleanup() {
    State& s = State::Get();
    std::unique_lock<std::mutex> lock(s.mutex);
    s.Record(SIMVR_CALL_CLEANUP);
    if (s.initialized) {
        ++s.cleanupCount;
    }
    s.initialized = false;
    ++s.connection;
    // Events belong to the connection that was open.
    s.events.clear();
    // So do callers still waiting for poses: wake them, and let them leave before returning,
    // since the client unloads the library next.
    s.waitCondition.notify_all();
    s.waitCondition.wait(lock, [&] { return s.waiters == 0; });
}

vr::EVRInitError SimClientCore::IsInterfaceVersionValid(const char* pchInterfaceVersion) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (pchInterfaceVersion == nullptr) {
        return vr::VRInitError_Init_InvalidInterface;
    }
    if (InterfaceFor(pchInterfaceVersion) == nullptr ||
        s.disabledInterfaces.count(pchInterfaceVersion) != 0) {
        return vr::VRInitError_Init_InterfaceNotFound;
    }
    return vr::VRInitError_None;
}

void* SimClientCore::GetGenericInterface(const char* pchNameAndVersion, vr::EVRInitError* peError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    vr::EVRInitError error = vr::VRInitError_None;
    void* result = nullptr;
    if (!s.initialized) {
        error = vr::VRInitError_Init_NotInitialized;
    } else if (pchNameAndVersion == nullptr) {
        error = vr::VRInitError_Init_InvalidInterface;
    } else {
        // "FnTable:" tables for C callers are not provided; such a name is not found.
        result = InterfaceFor(pchNameAndVersion);
        if (result == nullptr || s.disabledInterfaces.count(pchNameAndVersion) != 0) {
            result = nullptr;
            error = vr::VRInitError_Init_InterfaceNotFound;
        }
    }
    if (peError != nullptr) {
        *peError = error;
    }
    return result;
}

bool SimClientCore::BIsHmdPresent() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.hmdPresent;
}

const char* SimClientCore::GetEnglishStringForHmdError(vr::EVRInitError eError) {
    return InitErrorDescription(eError);
}

const char* SimClientCore::GetIDForVRInitError(vr::EVRInitError eError) {
    return InitErrorId(eError);
}

}  // namespace simvr

extern "C" SIMVR_API void* VRClientCoreFactory(const char* pInterfaceName, int* pReturnCode) {
    if (pInterfaceName != nullptr && std::strcmp(pInterfaceName, vr::IVRClientCore_Version) == 0) {
        if (pReturnCode != nullptr) {
            *pReturnCode = vr::VRInitError_None;
        }
        return static_cast<vr::IVRClientCore*>(&simvr::g_core);
    }
    if (pReturnCode != nullptr) {
        *pReturnCode = vr::VRInitError_Init_InterfaceNotFound;
    }
    return nullptr;
}
