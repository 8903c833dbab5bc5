#include "path_tools.h"
#include "platform_paths.h"

namespace stnvr {
namespace platform_paths {

std::string AppSettingsDirectory() {
    const std::string xdg = path_tools::GetEnvironmentVariable("XDG_CONFIG_HOME");
    if (!xdg.empty()) {
        return xdg;
    }
    const std::string home = path_tools::GetEnvironmentVariable("HOME");
    if (home.empty()) {
        return {};
    }
    return path_tools::Join(home, ".config");
}

std::string RegistryFilePath() {
    const std::string base = AppSettingsDirectory();
    if (base.empty()) {
        return {};
    }
    return path_tools::FixSlashes(
        path_tools::Join(path_tools::Join(base, "openvr"), "openvrpaths.vrpath"));
}

std::string RuntimeBinaryDirectory(const std::string& runtimeRoot) {
    // Runtimes ship their 64-bit Linux client in a subdirectory, the 32-bit one directly in bin.
    if (sizeof(void*) == 8) {
        return path_tools::Join(path_tools::Join(runtimeRoot, "bin"), "linux64");
    }
    return path_tools::Join(runtimeRoot, "bin");
}

const char* RuntimeLibraryFileName() {
    return "vrclient.so";
}

}  // namespace platform_paths
}  // namespace stnvr
