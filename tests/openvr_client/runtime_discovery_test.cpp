// Where the client looks for the runtime: the registry file, its content, and the environment.
#include <filesystem>
#include <fstream>
#include <string>

#include "runtime_sandbox.h"
#include "stnvr/vr_client.h"

namespace fs = std::filesystem;

using RuntimeDiscovery = RuntimeSandbox;

TEST_F(RuntimeDiscovery, MissingUnreadableOrUnusableRegistryIsNotFound) {
    EXPECT_EQ(InitError(), vr::VRInitError_Init_PathRegistryNotFound);

    const std::string root = MakeRuntime("rt", FAKE_RUNTIME_OK);
    const std::string valid = RegistryFor(root);
    const std::string cases[] = {
        "",                                            // empty
        "not json at all",                             // not JSON
        valid.substr(0, valid.size() / 2),             // cut short
        "[\"" + root + "\"]",                          // an array, not an object
        "\"" + root + "\"",                            // a bare string
        "null",                                        // null
        valid + "}",                                   // trailing garbage
        std::string("{\"runtime\": [\"\xff\xfe\"]}"),  // not UTF-8
    };
    for (const std::string& text : cases) {
        SCOPED_TRACE("registry text: " + text);
        WriteRegistry(text);
        EXPECT_EQ(InitError(), vr::VRInitError_Init_PathRegistryNotFound);
        EXPECT_FALSE(vr::VR_IsRuntimeInstalled());
        EXPECT_EQ(vr::VR_RuntimePath(), nullptr);
        EXPECT_FALSE(vr::VR_IsHmdPresent());
    }
    EXPECT_TRUE(Log().empty()) << "no runtime may be loaded through a broken registry";

    // A directory where the file should be cannot be read as one.
    fs::remove(ConfigHome() + "/openvr/openvrpaths.vrpath");
    fs::create_directories(ConfigHome() + "/openvr/openvrpaths.vrpath");
    EXPECT_EQ(InitError(), vr::VRInitError_Init_PathRegistryNotFound);
    EXPECT_FALSE(vr::VR_IsRuntimeInstalled());
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

TEST_F(RuntimeDiscovery, OnlyTheFirstRuntimeEntryCounts) {
    const std::string good = MakeRuntime("good", FAKE_RUNTIME_OK);
    const std::string missing = Dir() + "/missing";
    const std::string plainFile = Dir() + "/plain-file";
    std::ofstream(plainFile) << "x";
    struct Case {
        const char* what;
        std::string text;
        int error;
    };
    const Case cases[] = {
        {"first is good", "{\"runtime\": [\"" + good + "\", \"" + missing + "\"]}",
         vr::VRInitError_None},
        {"only the second is good", "{\"runtime\": [\"" + missing + "\", \"" + good + "\"]}",
         vr::VRInitError_Init_InstallationNotFound},
        {"first is a file", "{\"runtime\": [\"" + plainFile + "\"]}",
         vr::VRInitError_Init_InstallationNotFound},
        {"empty list", "{\"runtime\": []}", vr::VRInitError_Init_InstallationNotFound},
        {"no runtime key", "{\"config\": [\"/tmp\"]}", vr::VRInitError_Init_InstallationNotFound},
        {"not an array", "{\"runtime\": \"" + good + "\"}",
         vr::VRInitError_Init_InstallationNotFound},
        {"not strings", "{\"runtime\": [42]}", vr::VRInitError_Init_InstallationNotFound},
        {"mixed types", "{\"runtime\": [\"" + good + "\", {}]}",
         vr::VRInitError_Init_InstallationNotFound},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        WriteRegistry(c.text);
        EXPECT_EQ(InitError(), c.error);
        EXPECT_EQ(vr::VR_IsRuntimeInstalled(), c.error == vr::VRInitError_None);
        vr::VR_Shutdown();
    }
}

TEST_F(RuntimeDiscovery, ToleratesWhatRealRegistriesContain) {
    const std::string root = MakeRuntime("rt", FAKE_RUNTIME_OK);
    // CRLF line ends, comments, a trailing separator, doubled and back slashes, null drivers,
    // unknown keys.
    std::string mangled = root + "/";
    mangled.insert(mangled.rfind('/', mangled.size() - 2), "\\\\");
    WriteRegistry("{\r\n  // written by hand\r\n  \"runtime\" : [ \"" + mangled +
                  "\" ],\r\n  \"external_drivers\" : null,\r\n  \"something\" : {\"a\": 1},\r\n"
                  "  \"version\" : 1\r\n}\r\n");
    EXPECT_EQ(InitError(), vr::VRInitError_None);
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

TEST_F(RuntimeDiscovery, InstalledMeansTheDirectoryExistsNotThatItLoads) {
    const std::string root = Dir() + "/bare";
    fs::create_directories(root);
    WriteRegistry(RegistryFor(root));
    EXPECT_TRUE(vr::VR_IsRuntimeInstalled());
    EXPECT_STREQ(vr::VR_RuntimePath(), root.c_str());
    EXPECT_EQ(InitError(), vr::VRInitError_Init_InstallationCorrupt);
}
