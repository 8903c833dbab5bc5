#include "runtime_loader.h"

#include <utility>

#include "path_tools.h"
#include "platform_paths.h"

namespace stnvr {

vr::EVRInitError RuntimeLoader::Load(LoadedRuntime& runtime) {
    VRPathRegistry::Paths paths;
    const bool read = VRPathRegistry::GetPaths(paths);
    return Load(read, paths, runtime);
}

vr::EVRInitError RuntimeLoader::Load(bool pathsRead, const VRPathRegistry::Paths& paths,
                                     LoadedRuntime& runtime) {
    runtime.core = nullptr;
    runtime.library.Unload();
    if (!pathsRead) {
        return vr::VRInitError_Init_PathRegistryNotFound;
    }
    const std::string root = path_tools::FixSlashes(paths.runtime);
    if (!path_tools::IsDirectory(root)) {
        return vr::VRInitError_Init_InstallationNotFound;
    }
    const std::string binDirectory = platform_paths::RuntimeBinaryDirectory(root);
    if (!path_tools::IsDirectory(binDirectory)) {
        return vr::VRInitError_Init_InstallationCorrupt;
    }
    SharedLibrary library;
    if (!library.Load(path_tools::Join(binDirectory, platform_paths::RuntimeLibraryFileName()))) {
        return vr::VRInitError_Init_VRClientDLLNotFound;
    }
    const auto factory =
        reinterpret_cast<vr::VRClientCoreFactoryFn>(library.GetFunction("VRClientCoreFactory"));
    if (factory == nullptr) {
        return vr::VRInitError_Init_FactoryNotFound;
    }
    // The return code is not part of the contract; a null core is the only failure signal.
    int returnCode = 0;
    auto* core = static_cast<vr::IVRClientCore*>(factory(vr::IVRClientCore_Version, &returnCode));
    if (core == nullptr) {
        return vr::VRInitError_Init_InterfaceNotFound;
    }
    runtime.library = std::move(library);
    runtime.core = core;
    return vr::VRInitError_None;
}

std::string RuntimeLoader::InstalledRuntimePath() {
    VRPathRegistry::Paths paths;
    if (!VRPathRegistry::GetPaths(paths)) {
        return {};
    }
    if (!path_tools::IsDirectory(paths.runtime)) {
        return {};
    }
    return paths.runtime;
}

}  // namespace stnvr
