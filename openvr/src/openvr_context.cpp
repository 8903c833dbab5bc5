#include <mutex>

#include "stnvr/vr_client.h"

namespace vr {

struct COpenVRContext::State {
    std::recursive_mutex mutex;
    uint32_t token = 0;
    IVRSystem* system = nullptr;
    IVRCompositor* compositor = nullptr;
    IVRRenderModels* renderModels = nullptr;
    IVRSettings* settings = nullptr;
    IVRChaperone* chaperone = nullptr;

    void ClearPointers() {
        system = nullptr;
        compositor = nullptr;
        renderModels = nullptr;
        settings = nullptr;
        chaperone = nullptr;
    }

    // Lock order: this mutex, then the client's; the client never calls into a context
    // while holding its own lock.
    template <typename Interface>
    Interface* Get(Interface* State::*slot, const char* version) {
        std::lock_guard<std::recursive_mutex> lock(mutex);
        const uint32_t current = VR_GetInitToken();
        if (current != token) {
            ClearPointers();
            token = current;
        }
        if (this->*slot == nullptr) {
            EVRInitError error = VRInitError_None;
            this->*slot = static_cast<Interface*>(VR_GetGenericInterface(version, &error));
        }
        return this->*slot;
    }
};

COpenVRContext::COpenVRContext() : state(new State()) {}

COpenVRContext::~COpenVRContext() {
    delete state;
}

IVRSystem* COpenVRContext::VRSystem() {
    return state->Get(&State::system, IVRSystem_Version);
}

IVRCompositor* COpenVRContext::VRCompositor() {
    return state->Get(&State::compositor, IVRCompositor_Version);
}

IVRRenderModels* COpenVRContext::VRRenderModels() {
    return state->Get(&State::renderModels, IVRRenderModels_Version);
}

IVRSettings* COpenVRContext::VRSettings() {
    return state->Get(&State::settings, IVRSettings_Version);
}

IVRChaperone* COpenVRContext::VRChaperone() {
    return state->Get(&State::chaperone, IVRChaperone_Version);
}

void COpenVRContext::Clear() {
    std::lock_guard<std::recursive_mutex> lock(state->mutex);
    state->ClearPointers();
}

COpenVRContext& OpenVRInternal_ModuleContext() {
    // Never destroyed, so accessors called from other static destructors stay safe.
    static COpenVRContext* const context = new COpenVRContext();
    return *context;
}

IVRSystem* VRSystem() {
    return OpenVRInternal_ModuleContext().VRSystem();
}
IVRCompositor* VRCompositor() {
    return OpenVRInternal_ModuleContext().VRCompositor();
}
IVRRenderModels* VRRenderModels() {
    return OpenVRInternal_ModuleContext().VRRenderModels();
}
IVRSettings* VRSettings() {
    return OpenVRInternal_ModuleContext().VRSettings();
}
IVRChaperone* VRChaperone() {
    return OpenVRInternal_ModuleContext().VRChaperone();
}

}  // namespace vr
