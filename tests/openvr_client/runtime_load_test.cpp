// Loading the runtime library: every failure step with its error, what the client does with
// the runtime on the way, and the presence probe.
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "runtime_sandbox.h"
#include "stnvr/vr_client.h"

namespace fs = std::filesystem;

using RuntimeLoad = RuntimeSandbox;
using Lines = std::vector<std::string>;

// Each way a runtime library fails the connection: the error passed on, the runtime cleaned up
// only once its Init succeeded, the library unloaded and no connection left behind. The presence
// probe of the same library fails the same way until there is a core to ask.
TEST_F(RuntimeLoad, RuntimeThatFailsTheConnectionIsUnloadedWithItsError) {
    const Lines probe{"load", "factory IVRClientCore_003", "BIsHmdPresent", "unload"};
    struct Case {
        const char* library;
        int error;
        Lines log;
        bool present;
    };
    const Case cases[] = {
        {FAKE_RUNTIME_NO_FACTORY, vr::VRInitError_Init_FactoryNotFound, {"load", "unload"}, false},
        {FAKE_RUNTIME_NULL_CORE,
         vr::VRInitError_Init_InterfaceNotFound,
         {"load", "factory IVRClientCore_003", "unload"},
         false},
        {FAKE_RUNTIME_INIT_FAILS,
         vr::VRInitError_Init_HmdNotFound,
         {"load", "factory IVRClientCore_003", "Init 1 -", "unload"},
         true},
        // The runtime refuses our IVRSystem version: shut down with 105.
        {FAKE_RUNTIME_REJECTS_SYSTEM,
         vr::VRInitError_Init_InterfaceNotFound,
         {"load", "factory IVRClientCore_003", "Init 1 -", "IsInterfaceVersionValid IVRSystem_017",
          "Cleanup", "unload"},
         true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.library);
        WriteRegistry(RegistryFor(MakeRuntime(fs::path(c.library).stem().string(), c.library)));
        ClearLog();
        const uint32_t token = vr::VR_GetInitToken();
        EXPECT_EQ(InitError(), c.error);
        EXPECT_EQ(Log(), c.log);
        if (c.log[c.log.size() - 2] != "Cleanup") {
            EXPECT_EQ(vr::VR_GetInitToken(), token) << "a failed init is no new connection";
        }
        vr::EVRInitError error = vr::VRInitError_None;
        EXPECT_EQ(vr::VR_GetGenericInterface(vr::IVRSystem_Version, &error), nullptr);
        EXPECT_EQ(error, vr::VRInitError_Init_NotInitialized);
        EXPECT_FALSE(vr::VR_IsInterfaceVersionValid(vr::IVRCompositor_Version));
        EXPECT_EQ(vr::VRCompositor(), nullptr);

        ClearLog();
        EXPECT_EQ(vr::VR_IsHmdPresent(), c.present);
        EXPECT_EQ(Log(), c.present ? probe : c.log);
    }
}

TEST_F(RuntimeLoad, SuccessfulInitAndShutdownTalkToTheRuntimeInOrder) {
    WriteRegistry(RegistryFor(MakeRuntime("rt", FAKE_RUNTIME_OK)));
    vr::EVRInitError error = vr::VRInitError_Unknown;
    vr::IVRSystem* system = vr::VR_Init(&error, vr::VRApplication_Overlay, "startup-info");
    EXPECT_EQ(error, vr::VRInitError_None);
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system, vr::VR_GetGenericInterface(vr::IVRSystem_Version, &error));
    EXPECT_TRUE(vr::VR_IsInterfaceVersionValid(vr::IVRCompositor_Version));
    EXPECT_FALSE(vr::VR_IsInterfaceVersionValid("IVRCompositor_999"));
    EXPECT_FALSE(vr::VR_IsInterfaceVersionValid(nullptr));

    EXPECT_EQ(vr::VR_GetGenericInterface("IVRNothing_001", &error), nullptr);
    EXPECT_EQ(error, vr::VRInitError_Init_InterfaceNotFound) << "the runtime's own answer";
    EXPECT_EQ(vr::VR_GetGenericInterface(nullptr, &error), nullptr);
    EXPECT_EQ(error, vr::VRInitError_Init_InvalidInterface);

    vr::VR_Shutdown();
    const Lines log = Log();
    ASSERT_GE(log.size(), 5u);
    EXPECT_EQ((Lines{log[0], log[1], log[2], log[3]}),
              (Lines{"load", "factory IVRClientCore_003", "Init 2 startup-info",
                     "IsInterfaceVersionValid IVRSystem_017"}));
    EXPECT_EQ((Lines{log[log.size() - 2], log.back()}), (Lines{"Cleanup", "unload"}));

    // Shutting down again does not reach the gone runtime.
    vr::VR_Shutdown();
    EXPECT_EQ(Log().size(), log.size());
}

// Ending the connection for a thread stalled in the runtime: the runtime cleans up at once but
// stays loaded, since that thread is still on its way out of its code; the next shutdown, or a
// new connection, unloads it.
TEST_F(RuntimeLoad, CleanupAloneKeepsTheRuntimeLoadedUntilTheNextShutdownOrInit) {
    WriteRegistry(RegistryFor(MakeRuntime("rt", FAKE_RUNTIME_OK)));
    ASSERT_EQ(InitError(), vr::VRInitError_None);
    const std::uint32_t token = vr::VR_GetInitToken();
    ClearLog();
    vr::VR_CleanupInternal();
    EXPECT_EQ(Log(), (Lines{"Cleanup"}));
    EXPECT_NE(vr::VR_GetInitToken(), token) << "pointers of the ended connection stay valid";
    EXPECT_FALSE(vr::VR_IsInterfaceVersionValid(vr::IVRSystem_Version));
    vr::VR_Shutdown();
    EXPECT_EQ(Log(), (Lines{"Cleanup", "unload"}));

    ASSERT_EQ(InitError(), vr::VRInitError_None);
    vr::VR_CleanupInternal();
    ClearLog();
    ASSERT_EQ(InitError(), vr::VRInitError_None);
    const Lines log = Log();
    ASSERT_GE(log.size(), 2u);
    EXPECT_EQ((Lines{log[0], log[1]}), (Lines{"unload", "load"})) << "loaded twice";
    vr::VR_Shutdown();
}

TEST_F(RuntimeLoad, RuntimeIsStillTheClientsWhileItCleansUp) {
    WriteRegistry(RegistryFor(MakeRuntime("rt", FAKE_RUNTIME_OK)));
    ASSERT_EQ(InitError(), vr::VRInitError_None);
    SetEnv("STNVR_FAKE_CLEANUP_ASKS_CLIENT", "1");
    ClearLog();
    vr::VR_Shutdown();
    EXPECT_EQ(Log(), (Lines{"Cleanup", "IsInterfaceVersionValid IVRSystem_017",
                            "client during Cleanup: valid", "unload"}));
    EXPECT_FALSE(vr::VR_IsInterfaceVersionValid(vr::IVRSystem_Version));
}

// The probe where no runtime is found is among the discovery cases, and the probe of a runtime
// that fails the connection in the case above.
TEST_F(RuntimeLoad, ErrorNamesComeFromTheRuntimeWhenOneIsLoaded) {
    EXPECT_STREQ(vr::VR_GetVRInitErrorAsSymbol(vr::VRInitError_Init_PathRegistryNotFound),
                 "VRInitError_Init_PathRegistryNotFound");
    EXPECT_STREQ(
        vr::VR_GetVRInitErrorAsEnglishDescription(vr::VRInitError_Init_VRClientDLLNotFound),
        "vrclient Shared Lib Not Found (102)");
    // 210 is a hole in the enumeration.
    EXPECT_STREQ(vr::VR_GetVRInitErrorAsSymbol(static_cast<vr::EVRInitError>(210)),
                 "Unknown error (210)");
    EXPECT_STREQ(vr::VR_GetVRInitErrorAsEnglishDescription(static_cast<vr::EVRInitError>(-7)),
                 "Unknown error (-7)");

    WriteRegistry(RegistryFor(MakeRuntime("rt", FAKE_RUNTIME_OK)));
    ASSERT_EQ(InitError(), vr::VRInitError_None);
    EXPECT_STREQ(vr::VR_GetVRInitErrorAsSymbol(vr::VRInitError_None), "runtime's symbol");
    EXPECT_STREQ(vr::VR_GetVRInitErrorAsEnglishDescription(vr::VRInitError_None),
                 "runtime's description");
}

TEST_F(RuntimeLoad, PresenceProbeLoadsAsksAndUnloadsWithoutConnecting) {
    WriteRegistry(RegistryFor(MakeRuntime("rt", FAKE_RUNTIME_OK)));
    const uint32_t token = vr::VR_GetInitToken();
    EXPECT_TRUE(vr::VR_IsHmdPresent());
    EXPECT_EQ(Log(), (Lines{"load", "factory IVRClientCore_003", "BIsHmdPresent", "unload"}));
    EXPECT_EQ(vr::VR_GetInitToken(), token) << "the probe made no connection";
    SetEnv("STNVR_FAKE_HMD_PRESENT", "0");
    EXPECT_FALSE(vr::VR_IsHmdPresent()) << "the runtime's answer is passed on";

    // With a connection, the initialised runtime is asked in place.
    ASSERT_EQ(InitError(), vr::VRInitError_None);
    ClearLog();
    EXPECT_FALSE(vr::VR_IsHmdPresent());
    EXPECT_EQ(Log(), (Lines{"BIsHmdPresent"}));
}
