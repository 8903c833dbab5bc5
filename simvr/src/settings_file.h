// The runtime's settings on disk, where and as SteamVR keeps them: `steamvr.vrsettings` in the
// config directory, a JSON object of sections, each an object of keys and values.
#pragma once

#include <string>

#include "runtime_state.h"

namespace simvr {

// The settings file under the config directory that the path registry and VR_CONFIG_PATH name,
// as the client resolved them to find this runtime; empty when no config directory is known.
std::string SettingsFilePath();

enum class SettingsFileRead {
    Missing,     // no file, or an empty one
    Loaded,      // `typed` and `unread` hold what it said
    Unreadable,  // there, but not a JSON object
};

// Reads the file at `path` into `typed` (values IVRSettings can hand out) and `unread` (all
// others, as JSON text). Never throws.
SettingsFileRead ReadSettingsFile(const std::string& path, SettingsSections* typed,
                                  UnreadSettings* unread);

// Writes both to `path` in one piece: into a file beside it, then renamed over it, so that a
// failed write leaves the old file whole. False when it could not be written. Never throws.
bool WriteSettingsFile(const std::string& path, const SettingsSections& typed,
                       const UnreadSettings& unread);

}  // namespace simvr
