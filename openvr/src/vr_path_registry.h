#pragma once

#include <string>
#include <vector>

namespace stnvr {

// The per-user OpenVR path registry (`openvrpaths.vrpath`): the runtime, config and log
// directories, most recent first.
class VRPathRegistry {
public:
    // The three directories the loader works with, after the environment overrides.
    struct Paths {
        std::string runtime;
        std::string config;
        std::string log;
    };

    // Reads the registry file. False when the file is missing, unreadable, empty, not JSON, or
    // not a JSON object; nothing is kept then.
    bool LoadFromFile(const std::string& path);

    // Parses registry text. Same rules as LoadFromFile. A list whose value is not an array of
    // strings is ignored, as if the key were absent.
    bool LoadFromText(const std::string& text);

    const std::vector<std::string>& RuntimePaths() const { return runtime; }
    const std::vector<std::string>& ConfigPaths() const { return config; }
    const std::vector<std::string>& LogPaths() const { return log; }
    const std::vector<std::string>& ExternalDrivers() const { return externalDrivers; }

    // Reads the platform's registry file and applies VR_OVERRIDE, VR_CONFIG_PATH and
    // VR_LOG_PATH (each one when non-empty). Succeeds when the file loaded, or when all three
    // variables are set; `paths` is filled either way, with empty strings where nothing is known.
    static bool GetPaths(Paths& paths);

    // As GetPaths, with the registry file named explicitly.
    static bool GetPaths(const std::string& registryFile, Paths& paths);

private:
    std::vector<std::string> runtime;
    std::vector<std::string> config;
    std::vector<std::string> log;
    std::vector<std::string> externalDrivers;
};

}  // namespace stnvr
