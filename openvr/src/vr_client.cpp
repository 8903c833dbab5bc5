#include "stnvr/vr_client.h"

#include "client_core_state.h"

namespace vr {

using stnvr::ClientCoreState;

IVRSystem* VR_Init(EVRInitError* peError, EVRApplicationType eApplicationType,
                   const char* pStartupInfo) {
    EVRInitError error = VRInitError_None;
    VR_InitInternal2(&error, eApplicationType, pStartupInfo);
    COpenVRContext& context = OpenVRInternal_ModuleContext();
    context.Clear();
    IVRSystem* system = nullptr;
    if (error == VRInitError_None) {
        // A runtime that cannot speak our IVRSystem is of no use: give it back at once.
        if (VR_IsInterfaceVersionValid(IVRSystem_Version)) {
            system = context.VRSystem();
        } else {
            VR_ShutdownInternal();
            error = VRInitError_Init_InterfaceNotFound;
        }
    }
    if (peError != nullptr) {
        *peError = error;
    }
    return system;
}

void VR_Shutdown() {
    VR_ShutdownInternal();
}

uint32_t VR_InitInternal2(EVRInitError* peError, EVRApplicationType eApplicationType,
                          const char* pStartupInfo) {
    return ClientCoreState::Instance().Init(peError, eApplicationType, pStartupInfo);
}

void VR_ShutdownInternal() {
    ClientCoreState::Instance().Shutdown();
}

void VR_CleanupInternal() {
    ClientCoreState::Instance().Cleanup();
}

bool VR_IsHmdPresent() {
    return ClientCoreState::Instance().IsHmdPresent();
}

bool VR_IsRuntimeInstalled() {
    return ClientCoreState::Instance().IsRuntimeInstalled();
}

const char* VR_RuntimePath() {
    return ClientCoreState::Instance().RuntimePath();
}

const char* VR_GetVRInitErrorAsSymbol(EVRInitError error) {
    return ClientCoreState::Instance().ErrorSymbol(error);
}

const char* VR_GetVRInitErrorAsEnglishDescription(EVRInitError error) {
    return ClientCoreState::Instance().ErrorDescription(error);
}

void* VR_GetGenericInterface(const char* pchInterfaceVersion, EVRInitError* peError) {
    return ClientCoreState::Instance().GetGenericInterface(pchInterfaceVersion, peError);
}

bool VR_IsInterfaceVersionValid(const char* pchInterfaceVersion) {
    return ClientCoreState::Instance().IsInterfaceVersionValid(pchInterfaceVersion);
}

uint32_t VR_GetInitToken() {
    return ClientCoreState::Instance().Token();
}

}  // namespace vr
