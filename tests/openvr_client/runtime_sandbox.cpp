#include "runtime_sandbox.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "stnvr/vr_client.h"

namespace fs = std::filesystem;

namespace {

const char* const kManagedVariables[] = {"XDG_CONFIG_HOME",
                                         "HOME",
                                         "VR_OVERRIDE",
                                         "VR_CONFIG_PATH",
                                         "VR_LOG_PATH",
                                         "STNVR_FAKE_RUNTIME_LOG",
                                         "STNVR_FAKE_HMD_PRESENT",
                                         "STNVR_FAKE_INIT_FAILS",
                                         "STNVR_FAKE_CLEANUP_ASKS_CLIENT"};

}  // namespace

void RuntimeSandbox::SetUp() {
    for (const char* name : kManagedVariables) {
        const char* value = getenv(name);
        savedEnv.push_back({name, {value != nullptr, value != nullptr ? value : ""}});
        UnsetEnv(name);
    }
    std::string pattern = (fs::temp_directory_path() / "stnvr-client-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
    configHome = dir + "/config";
    fs::create_directories(configHome);
    SetEnv("XDG_CONFIG_HOME", configHome);
    SetEnv("HOME", dir + "/home");
    SetEnv("STNVR_FAKE_RUNTIME_LOG", dir + "/runtime.log");
}

void RuntimeSandbox::TearDown() {
    vr::VR_Shutdown();
    for (const auto& [name, saved] : savedEnv) {
        if (saved.first) {
            SetEnv(name.c_str(), saved.second);
        } else {
            UnsetEnv(name.c_str());
        }
    }
    if (!dir.empty()) {
        std::error_code error;
        fs::permissions(dir, fs::perms::owner_all, fs::perm_options::add, error);
        fs::remove_all(dir, error);
    }
}

std::string RuntimeSandbox::MakeRuntime(const std::string& name, const char* library) {
    const fs::path root = fs::path(dir) / name;
    const fs::path bin = root / "bin" / "linux64";
    fs::create_directories(bin);
    if (library != nullptr) {
        fs::copy_file(library, bin / "vrclient.so");
    }
    return root.string();
}

void RuntimeSandbox::WriteRegistry(const std::string& text, const std::string& home) {
    const fs::path registryDir = fs::path(home.empty() ? configHome : home) / "openvr";
    fs::create_directories(registryDir);
    std::ofstream(registryDir / "openvrpaths.vrpath", std::ios::binary) << text;
}

std::string RuntimeSandbox::RegistryFor(const std::string& root) {
    return "{\n  \"config\": [\"/tmp\"],\n  \"log\": [\"/tmp\"],\n  \"runtime\": [\"" + root +
           "\"],\n  \"jsonid\": \"vrpathreg\",\n  \"version\": 1\n}\n";
}

std::vector<std::string> RuntimeSandbox::Log() const {
    std::vector<std::string> lines;
    std::ifstream in(dir + "/runtime.log");
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

int RuntimeSandbox::CountInLog(const std::string& line) const {
    int count = 0;
    for (const std::string& logged : Log()) {
        count += logged == line ? 1 : 0;
    }
    return count;
}

void RuntimeSandbox::ClearLog() const {
    std::error_code error;
    fs::remove(dir + "/runtime.log", error);
}

void RuntimeSandbox::SetEnv(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1);
}

void RuntimeSandbox::UnsetEnv(const char* name) {
    unsetenv(name);
}

int InitError() {
    vr::EVRInitError error = vr::VRInitError_Unknown;
    vr::IVRSystem* system = vr::VR_Init(&error, vr::VRApplication_Scene);
    // Whatever the outcome, a pointer comes back exactly when there is no error.
    EXPECT_EQ(system != nullptr, error == vr::VRInitError_None);
    return static_cast<int>(error);
}
