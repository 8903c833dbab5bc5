#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

// Each test gets a fresh temporary directory that holds the per-user config directory (through
// XDG_CONFIG_HOME), runtime roots made from the fake runtime libraries, and the fake runtime's
// call log. The OpenVR variables are cleared, and everything is restored afterwards.
class RuntimeSandbox : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // `<sandbox>/<name>` with bin/linux64/vrclient.so copied from `library`; with a null
    // library the bin directory is made but left empty.
    std::string MakeRuntime(const std::string& name, const char* library);

    // Writes the registry file where the client looks for it, under `home`
    // (default: the sandbox's XDG_CONFIG_HOME).
    void WriteRegistry(const std::string& text, const std::string& home = {});

    // A registry whose current runtime is `root`.
    static std::string RegistryFor(const std::string& root);

    // Lines the fake runtime logged so far, and how many equal `line`.
    std::vector<std::string> Log() const;
    int CountInLog(const std::string& line) const;
    void ClearLog() const;

    static void SetEnv(const char* name, const std::string& value);
    static void UnsetEnv(const char* name);

    const std::string& Dir() const { return dir; }

private:
    std::string dir;
    std::string configHome;
    std::vector<std::pair<std::string, std::pair<bool, std::string>>> savedEnv;
};

// Calls VR_Init as a scene application and returns its error.
int InitError();
