#pragma once

#include <stdint.h>

#include <atomic>
#include <mutex>
#include <string>

#include "runtime_loader.h"
#include "stnvr/vr_interfaces.h"

namespace stnvr {

// The process-wide connection to the runtime: its library, its client core and the init
// token. Every operation holds one recursive lock, so the runtime can call back into the
// client from inside Init or Cleanup. Shutdown keeps the core until its Cleanup has returned,
// so such calls still reach the runtime that is cleaning up.
class ClientCoreState {
public:
    static ClientCoreState& Instance();

    uint32_t Init(vr::EVRInitError* error, vr::EVRApplicationType type, const char* startupInfo);
    void Shutdown();
    // Shutdown without the unload; the library goes with the next Shutdown or Init.
    void Cleanup();
    bool IsHmdPresent();
    bool IsRuntimeInstalled();
    const char* RuntimePath();
    void* GetGenericInterface(const char* version, vr::EVRInitError* error);
    bool IsInterfaceVersionValid(const char* version);
    const char* ErrorSymbol(vr::EVRInitError error);
    const char* ErrorDescription(vr::EVRInitError error);
    uint32_t Token() const { return token.load(); }

private:
    ClientCoreState() = default;

    std::recursive_mutex mutex;
    RuntimeLoader::LoadedRuntime runtime;
    std::atomic<uint32_t> token{0};
    std::string runtimePath;
};

}  // namespace stnvr
