#include "client_core_state.h"

#include "init_error_names.h"

namespace stnvr {

ClientCoreState& ClientCoreState::Instance() {
    // Never destroyed: a runtime still loaded at exit must not be unloaded while other static
    // destructors may be calling into it.
    static ClientCoreState* const instance = new ClientCoreState();
    return *instance;
}

uint32_t ClientCoreState::Init(vr::EVRInitError* error, vr::EVRApplicationType type,
                               const char* startupInfo) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    vr::EVRInitError result = vr::VRInitError_None;
    // Initialising again reuses the loaded runtime, so its library is not loaded twice and
    // left behind by the one unload of the next shutdown.
    const bool reused = runtime.core != nullptr;
    if (!reused) {
        result = RuntimeLoader::Load(runtime);
    }
    if (result == vr::VRInitError_None) {
        result = runtime.core->Init(type, startupInfo);
    }
    if (error != nullptr) {
        *error = result;
    }
    if (result != vr::VRInitError_None) {
        // A failed Init is not cleaned up: the runtime never started.
        runtime.core = nullptr;
        runtime.library.Unload();
        if (reused) {
            // The connection that was open went with the library: pointers fetched under it
            // must not be handed out again.
            ++token;
        }
        return 0;
    }
    return ++token;
}

void ClientCoreState::Shutdown() {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    Cleanup();
    runtime.library.Unload();
}

void ClientCoreState::Cleanup() {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    if (runtime.core != nullptr) {
        // The runtime is still the loaded one while it cleans up, as in the public client.
        runtime.core->Cleanup();
        runtime.core = nullptr;
    }
    ++token;
}

bool ClientCoreState::IsHmdPresent() {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    if (runtime.core != nullptr) {
        return runtime.core->BIsHmdPresent();
    }
    // Loaded only to ask: dropped again without Cleanup, since Init was never called.
    RuntimeLoader::LoadedRuntime probe;
    if (RuntimeLoader::Load(probe) != vr::VRInitError_None) {
        return false;
    }
    const bool present = probe.core->BIsHmdPresent();
    probe.core = nullptr;
    probe.library.Unload();
    return present;
}

bool ClientCoreState::IsRuntimeInstalled() {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    if (runtime.core != nullptr) {
        return true;
    }
    return !RuntimeLoader::InstalledRuntimePath().empty();
}

const char* ClientCoreState::RuntimePath() {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    std::string path = RuntimeLoader::InstalledRuntimePath();
    if (path.empty()) {
        return nullptr;
    }
    runtimePath = std::move(path);
    return runtimePath.c_str();
}

void* ClientCoreState::GetGenericInterface(const char* version, vr::EVRInitError* error) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    vr::EVRInitError local = vr::VRInitError_None;
    vr::EVRInitError& result = error != nullptr ? *error : local;
    if (runtime.core == nullptr) {
        result = vr::VRInitError_Init_NotInitialized;
        return nullptr;
    }
    if (version == nullptr) {
        result = vr::VRInitError_Init_InvalidInterface;
        return nullptr;
    }
    result = vr::VRInitError_None;
    return runtime.core->GetGenericInterface(version, &result);
}

bool ClientCoreState::IsInterfaceVersionValid(const char* version) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    if (runtime.core == nullptr || version == nullptr) {
        return false;
    }
    return runtime.core->IsInterfaceVersionValid(version) == vr::VRInitError_None;
}

const char* ClientCoreState::ErrorSymbol(vr::EVRInitError error) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    if (runtime.core != nullptr) {
        if (const char* symbol = runtime.core->GetIDForVRInitError(error)) {
            return symbol;
        }
    }
    return init_error_names::Symbol(error);
}

const char* ClientCoreState::ErrorDescription(vr::EVRInitError error) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    if (runtime.core != nullptr) {
        if (const char* text = runtime.core->GetEnglishStringForHmdError(error)) {
            return text;
        }
    }
    return init_error_names::EnglishDescription(error);
}

}  // namespace stnvr
