#include "simvr/simvr_paths.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

namespace simvr {

namespace {

void SetError(std::string* error, const std::string& text) {
    if (error != nullptr) {
        *error = text;
    }
}

// mkdir -p; true when the directory exists afterwards.
bool MakeDirectories(const std::string& path, std::string* error) {
    std::string partial;
    size_t start = 0;
    while (start <= path.size()) {
        const size_t slash = path.find('/', start);
        const size_t end = slash == std::string::npos ? path.size() : slash;
        partial = path.substr(0, end);
        if (!partial.empty() && mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) {
            SetError(error, "cannot create " + partial + ": " + std::strerror(errno));
            return false;
        }
        if (slash == std::string::npos) {
            break;
        }
        start = slash + 1;
    }
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        SetError(error, path + " is not a directory");
        return false;
    }
    return true;
}

}  // namespace

std::string RuntimeRoot() {
    return SIMVR_RUNTIME_ROOT;
}

std::string RuntimeLibraryPath() {
    return RuntimeRoot() + "/bin/linux64/vrclient.so";
}

bool InstallVrPathFile(const std::string& configHome, std::string* error) {
    if (configHome.empty()) {
        SetError(error, "no config home given");
        return false;
    }
    const std::string config = configHome + "/simvr/config";
    const std::string log = configHome + "/simvr/log";
    if (!MakeDirectories(configHome + "/openvr", error) || !MakeDirectories(config, error) ||
        !MakeDirectories(log, error)) {
        return false;
    }
    const nlohmann::json registry = {
        {"runtime", {RuntimeRoot()}},  {"config", {config}},    {"log", {log}},
        {"external_drivers", nullptr}, {"jsonid", "vrpathreg"}, {"version", 1}};
    const std::string path = configHome + "/openvr/openvrpaths.vrpath";
    std::ofstream file(path, std::ios::trunc);
    file << registry.dump(1, '\t') << '\n';
    file.close();
    if (!file) {
        SetError(error, "cannot write " + path);
        return false;
    }
    ClearEnvironment();
    setenv("XDG_CONFIG_HOME", configHome.c_str(), 1);
    return true;
}

bool UseEnvironment(const std::string& workDir, std::string* error) {
    const std::string config = workDir + "/config";
    const std::string log = workDir + "/log";
    if (workDir.empty() || !MakeDirectories(config, error) || !MakeDirectories(log, error)) {
        if (workDir.empty()) {
            SetError(error, "no work directory given");
        }
        return false;
    }
    setenv("VR_OVERRIDE", RuntimeRoot().c_str(), 1);
    setenv("VR_CONFIG_PATH", config.c_str(), 1);
    setenv("VR_LOG_PATH", log.c_str(), 1);
    return true;
}

void ClearEnvironment() {
    unsetenv("VR_OVERRIDE");
    unsetenv("VR_CONFIG_PATH");
    unsetenv("VR_LOG_PATH");
}

std::string MakeTempDirectory(const std::string& prefix) {
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/" + prefix + "XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    return mkdtemp(buffer.data()) != nullptr ? std::string(buffer.data()) : std::string();
}

}  // namespace simvr
