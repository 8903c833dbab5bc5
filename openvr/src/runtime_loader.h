#pragma once

#include "shared_library.h"
#include "stnvr/vr_interfaces.h"
#include "vr_path_registry.h"

namespace stnvr {

// Finds the current runtime and loads its client core, the way every OpenVR application does:
// path registry and environment, `<runtime>/bin[/linux64]/vrclient*`, VRClientCoreFactory.
class RuntimeLoader {
public:
    // A loaded runtime: the library stays loaded while this lives, and `core` points into it.
    struct LoadedRuntime {
        SharedLibrary library;
        vr::IVRClientCore* core = nullptr;
    };

    // The whole procedure with the platform's registry file. On failure `runtime` is left empty
    // and nothing stays loaded.
    static vr::EVRInitError Load(LoadedRuntime& runtime);

    // From the library file on, for paths already read (`pathsRead` is GetPaths' result).
    static vr::EVRInitError Load(bool pathsRead, const VRPathRegistry::Paths& paths,
                                 LoadedRuntime& runtime);

    // The runtime directory when the paths can be read and it exists; empty otherwise.
    static std::string InstalledRuntimePath();
};

}  // namespace stnvr
