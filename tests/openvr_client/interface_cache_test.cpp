// The init token and the interface cache: pointers from one connection are never handed out
// under another, and concurrent use of the client holds together.
#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "runtime_sandbox.h"
#include "stnvr/vr_client.h"

using InterfaceCache = RuntimeSandbox;

TEST_F(InterfaceCache, InterfacesAreFetchedOncePerConnectionAndDroppedOnShutdown) {
    WriteRegistry(RegistryFor(MakeRuntime("rt", FAKE_RUNTIME_OK)));
    const std::string fetchCompositor = "GetGenericInterface IVRCompositor_021";
    vr::COpenVRContext ownContext;
    const uint32_t before = vr::VR_GetInitToken();

    ASSERT_EQ(InitError(), vr::VRInitError_None);
    const uint32_t connected = vr::VR_GetInitToken();
    EXPECT_NE(connected, before);
    EXPECT_EQ(CountInLog("GetGenericInterface IVRSystem_017"), 1) << "VR_Init filled the cache";
    ASSERT_NE(vr::VRSystem(), nullptr);
    ASSERT_NE(vr::VRCompositor(), nullptr);
    EXPECT_EQ(vr::VRCompositor(), vr::VRCompositor());
    EXPECT_EQ(CountInLog(fetchCompositor), 1);
    EXPECT_EQ(CountInLog("GetGenericInterface IVRSystem_017"), 1);
    EXPECT_EQ(ownContext.VRCompositor(), vr::VRCompositor());
    EXPECT_EQ(CountInLog(fetchCompositor), 2) << "each context keeps its own cache";

    // Each accessor hands out the runtime's interface of its own version.
    const std::pair<const char*, void*> accessors[] = {
        {vr::IVRSystem_Version, vr::VRSystem()},
        {vr::IVRCompositor_Version, vr::VRCompositor()},
        {vr::IVRRenderModels_Version, vr::VRRenderModels()},
        {vr::IVRSettings_Version, vr::VRSettings()},
        {vr::IVRChaperone_Version, vr::VRChaperone()},
    };
    for (const auto& [version, cached] : accessors) {
        EXPECT_NE(cached, nullptr) << version;
        EXPECT_EQ(cached, vr::VR_GetGenericInterface(version, nullptr)) << version;
    }

    // Initialised again without a shutdown: the loaded runtime, with fresh pointers.
    ASSERT_EQ(InitError(), vr::VRInitError_None);
    const uint32_t again = vr::VR_GetInitToken();
    EXPECT_NE(again, connected);
    const int fetchesBefore = CountInLog(fetchCompositor);
    EXPECT_NE(vr::VRCompositor(), nullptr);
    EXPECT_NE(ownContext.VRCompositor(), nullptr);
    EXPECT_EQ(CountInLog(fetchCompositor), fetchesBefore + 2) << "fresh pointers after re-init";
    EXPECT_EQ(CountInLog("load"), 1) << "the loaded runtime is initialised again in place";

    // One shutdown ends it: the library is really unloaded and nothing cached is handed out.
    vr::VR_Shutdown();
    EXPECT_EQ(Log().back(), "unload");
    EXPECT_NE(vr::VR_GetInitToken(), again);
    EXPECT_EQ(vr::VRSystem(), nullptr);
    EXPECT_EQ(vr::VRCompositor(), nullptr);
    EXPECT_EQ(vr::VRRenderModels(), nullptr);
    EXPECT_EQ(vr::VRSettings(), nullptr);
    EXPECT_EQ(vr::VRChaperone(), nullptr);
    EXPECT_EQ(ownContext.VRCompositor(), nullptr);
}

TEST_F(InterfaceCache, FailedReInitInvalidatesTheEarlierConnectionsPointers) {
    WriteRegistry(RegistryFor(MakeRuntime("rt", FAKE_RUNTIME_OK)));
    ASSERT_EQ(InitError(), vr::VRInitError_None);
    vr::COpenVRContext context;  // a cache of its own, which VR_Init does not clear
    ASSERT_NE(context.VRCompositor(), nullptr);
    const uint32_t token = vr::VR_GetInitToken();

    // Initialising the loaded runtime again fails: the client drops it, library and all.
    SetEnv("STNVR_FAKE_INIT_FAILS", "1");
    vr::EVRInitError error = vr::VRInitError_None;
    EXPECT_EQ(vr::VR_InitInternal2(&error, vr::VRApplication_Scene, nullptr), 0u);
    EXPECT_EQ(error, vr::VRInitError_Init_HmdNotFound);
    EXPECT_EQ(Log().back(), "unload");
    EXPECT_NE(vr::VR_GetInitToken(), token) << "the earlier connection is gone";
    EXPECT_EQ(context.VRCompositor(), nullptr) << "a pointer into the unloaded library";
}

TEST_F(InterfaceCache, ConcurrentUseNeitherCrashesNorLeaksTheLibrary) {
    WriteRegistry(RegistryFor(MakeRuntime("rt", FAKE_RUNTIME_OK)));
    constexpr int kRounds = 40;
    std::atomic<bool> start{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &start] {
            while (!start.load()) {
                std::this_thread::yield();
            }
            for (int i = 0; i < kRounds; ++i) {
                const int what = (t + i) % 4;
                vr::EVRInitError error = vr::VRInitError_None;
                if (what == 0) {
                    vr::VR_Init(&error, vr::VRApplication_Scene);
                } else if (what == 1) {
                    vr::VR_Shutdown();
                } else if (what == 2) {
                    vr::VR_IsHmdPresent();
                } else {
                    vr::VRCompositor();
                    vr::VRSettings();
                }
            }
        });
    }
    start = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    vr::VR_Shutdown();
    EXPECT_EQ(vr::VRCompositor(), nullptr);
    EXPECT_EQ(CountInLog("load"), CountInLog("unload"));
    EXPECT_EQ(Log().back(), "unload");
    // Every connection that was set up was cleaned up once, or replaced by a re-init.
    EXPECT_LE(CountInLog("Cleanup"), CountInLog("Init 1 -"));
    EXPECT_GE(CountInLog("Cleanup"), 1);
}
