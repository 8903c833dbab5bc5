#include "path_tools.h"
#include "platform_paths.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <shlobj.h>

namespace stnvr {
namespace platform_paths {

std::string AppSettingsDirectory() {
    wchar_t wide[MAX_PATH] = {};
    if (FAILED(
            SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0, wide))) {
        return {};
    }
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 1) {
        return {};
    }
    std::string utf8(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide, -1, &utf8[0], bytes, nullptr, nullptr);
    utf8.resize(static_cast<size_t>(bytes) - 1);  // drop the terminator WideCharToMultiByte wrote
    return utf8;
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
    return path_tools::Join(runtimeRoot, "bin");
}

const char* RuntimeLibraryFileName() {
#if defined(_WIN64)
    return "vrclient_x64.dll";
#else
    return "vrclient.dll";
#endif
}

}  // namespace platform_paths
}  // namespace stnvr
