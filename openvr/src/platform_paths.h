#pragma once

#include <string>

namespace stnvr {

// Where this platform keeps the OpenVR path registry and the runtime's client library.
namespace platform_paths {

// The per-user settings directory the path registry lives under; empty when it cannot be
// determined.
std::string AppSettingsDirectory();

// Full name of `openvrpaths.vrpath`; empty when there is no settings directory.
std::string RegistryFilePath();

// The directory under a runtime root that holds the client library.
std::string RuntimeBinaryDirectory(const std::string& runtimeRoot);

// File name of the client library inside RuntimeBinaryDirectory.
const char* RuntimeLibraryFileName();

}  // namespace platform_paths
}  // namespace stnvr
