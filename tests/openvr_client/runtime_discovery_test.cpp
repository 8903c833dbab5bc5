// Where the client looks for the runtime: the registry file, its content, and the environment.
#include <filesystem>
#include <fstream>
#include <string>

#include "runtime_sandbox.h"
#include "stnvr/vr_client.h"

namespace fs = std::filesystem;

using RuntimeDiscovery = RuntimeSandbox;

// A file that is no registry counts as none; of a registry only the first runtime entry counts,
// and a runtime counts as installed when its directory exists, whether or not it loads (no
// bin/linux64, no library there, or a file that is no library). What real registries hold
// besides (CRLF, comments, doubled and back slashes, null and unknown keys) is tolerated. Only a
// runtime that connects is ever loaded.
TEST_F(RuntimeDiscovery, RegistryTextDecidesWhichRuntimeIsFound) {
    EXPECT_EQ(InitError(), vr::VRInitError_Init_PathRegistryNotFound);

    const std::string good = MakeRuntime("good", FAKE_RUNTIME_OK);
    const std::string missing = Dir() + "/missing";
    const std::string plainFile = Dir() + "/plain-file";
    std::ofstream(plainFile) << "x";
    const std::string noBin = Dir() + "/no-bin";
    fs::create_directories(noBin + "/bin");
    const std::string noLibrary = MakeRuntime("no-library", nullptr);
    fs::copy_file(FAKE_RUNTIME_OK, noLibrary + "/bin/vrclient.so");  // in the wrong place
    const std::string garbage = MakeRuntime("garbage", nullptr);
    std::ofstream(garbage + "/bin/linux64/vrclient.so") << "\x7f"
                                                           "ELF but not really";
    std::string mangled = good + "/";
    mangled.insert(mangled.rfind('/', mangled.size() - 2), "\\\\");
    const std::string valid = RegistryFor(good);
    const int noRegistry = vr::VRInitError_Init_PathRegistryNotFound;
    const int notFound = vr::VRInitError_Init_InstallationNotFound;
    const struct {
        std::string text;
        int error;
    } cases[] = {
        {"", noRegistry},
        {"not json at all", noRegistry},
        {valid.substr(0, valid.size() / 2), noRegistry},
        {"[\"" + good + "\"]", noRegistry},
        {"\"" + good + "\"", noRegistry},
        {"null", noRegistry},
        {valid + "}", noRegistry},
        {std::string("{\"runtime\": [\"\xff\xfe\"]}"), noRegistry},
        {"{\"runtime\": [\"" + good + "\", \"" + missing + "\"]}", vr::VRInitError_None},
        {"{\"runtime\": [\"" + missing + "\", \"" + good + "\"]}", notFound},
        {"{\"runtime\": [\"" + plainFile + "\"]}", notFound},
        {"{\"runtime\": []}", notFound},
        {"{\"config\": [\"/tmp\"]}", notFound},
        {"{\"runtime\": \"" + good + "\"}", notFound},
        {"{\"runtime\": [42]}", notFound},
        {"{\"runtime\": [\"" + good + "\", {}]}", notFound},
        {RegistryFor(noBin), vr::VRInitError_Init_InstallationCorrupt},
        {RegistryFor(noLibrary), vr::VRInitError_Init_VRClientDLLNotFound},
        {RegistryFor(garbage), vr::VRInitError_Init_VRClientDLLNotFound},
        {"{\r\n  // written by hand\r\n  \"runtime\" : [ \"" + mangled +
             "\" ],\r\n  \"external_drivers\" : null,\r\n  \"something\" : {\"a\": 1},\r\n"
             "  \"version\" : 1\r\n}\r\n",
         vr::VRInitError_None},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("registry text: " + c.text);
        WriteRegistry(c.text);
        ClearLog();
        const uint32_t token = vr::VR_GetInitToken();
        EXPECT_EQ(InitError(), c.error);
        EXPECT_EQ(vr::VR_GetInitToken() != token, c.error == vr::VRInitError_None);
        const bool installed = c.error != noRegistry && c.error != notFound;
        EXPECT_EQ(vr::VR_IsRuntimeInstalled(), installed);
        EXPECT_EQ(vr::VR_RuntimePath() != nullptr, installed);
        EXPECT_EQ(vr::VR_IsHmdPresent(), c.error == vr::VRInitError_None);
        EXPECT_EQ(Log().empty(), c.error != vr::VRInitError_None);
        vr::VR_Shutdown();
    }
}

TEST_F(RuntimeDiscovery, RegistryLocationFollowsXdgConfigHomeThenHome) {
    const std::string good = MakeRuntime("good", FAKE_RUNTIME_OK);
    const std::string home = Dir() + "/home";
    WriteRegistry(RegistryFor(good), home + "/.config");
    WriteRegistry(RegistryFor(Dir() + "/nowhere"));  // under XDG_CONFIG_HOME

    // XDG_CONFIG_HOME wins while it is set and non-empty.
    EXPECT_EQ(InitError(), vr::VRInitError_Init_InstallationNotFound);

    SetEnv("XDG_CONFIG_HOME", "");
    EXPECT_EQ(InitError(), vr::VRInitError_None);
    vr::VR_Shutdown();

    UnsetEnv("XDG_CONFIG_HOME");
    EXPECT_EQ(InitError(), vr::VRInitError_None);
    vr::VR_Shutdown();

    // With neither variable there is nowhere to look.
    UnsetEnv("HOME");
    EXPECT_EQ(InitError(), vr::VRInitError_Init_PathRegistryNotFound);
}

TEST_F(RuntimeDiscovery, VrOverrideNeedsTheOtherTwoOrARegistryAndReplacesItsRuntime) {
    const std::string root = MakeRuntime("rt", FAKE_RUNTIME_OK);

    SetEnv("VR_OVERRIDE", root);
    EXPECT_EQ(InitError(), vr::VRInitError_Init_PathRegistryNotFound) << "alone, no registry";
    SetEnv("VR_CONFIG_PATH", Dir());
    EXPECT_EQ(InitError(), vr::VRInitError_Init_PathRegistryNotFound) << "two of three";
    SetEnv("VR_LOG_PATH", Dir());
    EXPECT_EQ(InitError(), vr::VRInitError_None) << "all three replace the registry";
    EXPECT_STREQ(vr::VR_RuntimePath(), root.c_str());
    vr::VR_Shutdown();

    // The other two alone never name a runtime.
    UnsetEnv("VR_OVERRIDE");
    EXPECT_EQ(InitError(), vr::VRInitError_Init_PathRegistryNotFound);
    WriteRegistry("{}");
    EXPECT_EQ(InitError(), vr::VRInitError_Init_InstallationNotFound);

    // Alone, it replaces the runtime a registry names.
    UnsetEnv("VR_CONFIG_PATH");
    UnsetEnv("VR_LOG_PATH");
    WriteRegistry(RegistryFor(Dir() + "/stale"));
    EXPECT_EQ(InitError(), vr::VRInitError_Init_InstallationNotFound);

    SetEnv("VR_OVERRIDE", root);
    EXPECT_EQ(InitError(), vr::VRInitError_None);
    EXPECT_STREQ(vr::VR_RuntimePath(), root.c_str());
    vr::VR_Shutdown();

    // Empty counts as unset.
    SetEnv("VR_OVERRIDE", "");
    EXPECT_EQ(InitError(), vr::VRInitError_Init_InstallationNotFound);

    // And an override to nowhere fails even over a good registry.
    WriteRegistry(RegistryFor(root));
    SetEnv("VR_OVERRIDE", Dir() + "/nowhere");
    EXPECT_EQ(InitError(), vr::VRInitError_Init_InstallationNotFound);
    EXPECT_EQ(vr::VR_RuntimePath(), nullptr);
}
