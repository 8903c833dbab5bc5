// Pointing the OpenVR client at this build's simulated runtime. Nothing here links the runtime:
// a program that uses only these loads it the way an application does, through the client.
#pragma once

#include <string>

namespace simvr {

// The runtime root of this build (it holds bin/linux64/vrclient.so).
std::string RuntimeRoot();
// The runtime library itself.
std::string RuntimeLibraryPath();

// The path-registry route: writes `<configHome>/openvr/openvrpaths.vrpath` whose runtime is
// this build's, with config and log directories `<configHome>/simvr/config` and `.../log`
// (created), sets XDG_CONFIG_HOME to `configHome` and unsets VR_OVERRIDE, VR_CONFIG_PATH and
// VR_LOG_PATH so that the file decides. False, with the reason in `error`, when a directory or
// the file cannot be written.
bool InstallVrPathFile(const std::string& configHome, std::string* error = nullptr);

// The environment route: sets VR_OVERRIDE to this build's runtime and VR_CONFIG_PATH and
// VR_LOG_PATH to `<workDir>/config` and `<workDir>/log` (created). The client of 1.0.10 still
// wants a readable path registry beside them only when one of the three is missing.
bool UseEnvironment(const std::string& workDir, std::string* error = nullptr);

// Unsets VR_OVERRIDE, VR_CONFIG_PATH and VR_LOG_PATH.
void ClearEnvironment();

// A new empty directory under $TMPDIR (or /tmp) whose name starts with `prefix`; empty on
// failure.
std::string MakeTempDirectory(const std::string& prefix);

}  // namespace simvr
