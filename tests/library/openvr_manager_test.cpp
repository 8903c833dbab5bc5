// The runtime manager against the simulated runtime, found through the OpenVR client as a
// vendor runtime would be.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "OpenVRManager.h"
#include "hostcore/threads.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"
#include "stnvr/vr_client.h"

namespace {

class OpenVRManagerTest : public stereon::test::SimulatedHeadsetTest {
protected:
    void TearDown() override {
        vr::VR_Shutdown();
        SimulatedHeadsetTest::TearDown();
    }
    static std::string TrackingSystemName(vr::IVRSystem* system, vr::TrackedDeviceIndex_t device) {
        return STN::OpenVRManager::GetStringProperty(system, device,
                                                     vr::Prop_TrackingSystemName_String);
    }
    static void ExpectDisconnected(const boost::shared_ptr<STN::OpenVRManager>& manager) {
        EXPECT_EQ(manager->GetSystem(), nullptr);
        EXPECT_EQ(manager->GetCompositor(), nullptr);
        EXPECT_EQ(manager->GetRenderModels(), nullptr);
        EXPECT_EQ(simvr_is_initialized(), 0);
    }
};

TEST_F(OpenVRManagerTest, ConnectsOnceUntilShutDownOrDroppedAndReadsWholeProperties) {
    boost::shared_ptr<STN::OpenVRManager> manager = STN::OpenVRManager::Instance();
    ExpectDisconnected(manager);  // constructing touches nothing of the runtime
    EXPECT_EQ(simvr_get_init_count(), 0);

    vr::EVRInitError error = vr::VRInitError_Unknown;
    ASSERT_TRUE(manager->Init(error));
    EXPECT_EQ(error, vr::VRInitError_None);
    EXPECT_NE(manager->GetSystem(), nullptr);
    EXPECT_NE(manager->GetCompositor(), nullptr);
    EXPECT_NE(manager->GetRenderModels(), nullptr);
    EXPECT_EQ(simvr_get_application_type(), vr::VRApplication_Scene);

    // Connected: true at once, the error untouched, the runtime not started again.
    error = vr::VRInitError_Init_HmdNotFound;
    EXPECT_TRUE(manager->Init(error));
    EXPECT_EQ(error, vr::VRInitError_Init_HmdNotFound);
    EXPECT_EQ(simvr_get_init_count(), 1);

    manager->Shutdown();
    ExpectDisconnected(manager);
    EXPECT_EQ(simvr_get_cleanup_count(), 1);
    manager->Shutdown();  // a second one does not reach the runtime
    EXPECT_EQ(simvr_get_cleanup_count(), 1);

    // A new connection works through the new pointers, on a runtime without render models too.
    // Values of any length come back whole; a device without the property, or no system at
    // all, gives "".
    ASSERT_EQ(simvr_set_interface_enabled("IVRRenderModels_005", 0), 1);
    ASSERT_TRUE(manager->Init(error));
    EXPECT_EQ(simvr_get_init_count(), 2);
    EXPECT_EQ(manager->GetRenderModels(), nullptr);
    vr::IVRSystem* system = manager->GetSystem();
    const std::string longName(300, 'x');
    ASSERT_EQ(simvr_set_property_string(0, vr::Prop_TrackingSystemName_String, longName.c_str()),
              1);
    EXPECT_EQ(TrackingSystemName(system, vr::k_unTrackedDeviceIndex_Hmd), longName);
    EXPECT_EQ(TrackingSystemName(system, 63), "");
    EXPECT_EQ(TrackingSystemName(nullptr, 0), "");

    // One manager for all its owners; the last one's going ends the connection, and the next
    // Instance is a new, unconnected manager.
    EXPECT_EQ(STN::OpenVRManager::Instance(), manager);
    manager.reset();
    EXPECT_EQ(simvr_is_initialized(), 0);
    EXPECT_EQ(simvr_get_cleanup_count(), 2);
    manager = STN::OpenVRManager::Instance();
    ASSERT_TRUE(manager);
    ExpectDisconnected(manager);
}

// Haptic pulse jobs ask for the manager on several pool workers at once, often when none is
// alive: they must all get one and the same.
TEST_F(OpenVRManagerTest, ThreadsAskingAtOnceShareOneManager) {
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> ready{0};
        std::vector<boost::shared_ptr<STN::OpenVRManager>> got(8);
        std::vector<std::thread> threads;
        for (auto& slot : got) {
            threads.emplace_back([&ready, &slot] {
                ++ready;
                while (ready.load() < 8) {
                    std::this_thread::yield();
                }
                slot = STN::OpenVRManager::Instance();
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (const auto& manager : got) {
            ASSERT_EQ(manager, got[0]) << "round " << round;
        }
    }
}

TEST_F(OpenVRManagerTest, LockIsRecursiveAndSharedWithOtherThreads) {
    boost::shared_ptr<STN::OpenVRManager> manager = STN::OpenVRManager::Instance();
    manager->Lock();
    manager->Lock();
    // Init takes the same lock on this thread without blocking.
    vr::EVRInitError error = vr::VRInitError_None;
    EXPECT_TRUE(manager->Init(error));
    // The other thread's Shutdown finds the lock held (the lock observer says so) and waits.
    std::promise<void> contended;
    std::future<void> contendedSeen = contended.get_future();
    std::atomic<bool> told{false};
    hostcore::threads::SetLockObserver([&](const hostcore::threads::LockNotice& notice) {
        if (notice.event == hostcore::threads::LockEvent::kContended &&
            notice.lockText != nullptr &&
            std::string(notice.lockText) == "OpenVRManager::Shutdown" && !told.exchange(true)) {
            contended.set_value();
        }
    });
    std::atomic<bool> shutDown{false};
    std::thread other([&] {
        manager->Shutdown();
        shutDown = true;
    });
    EXPECT_EQ(contendedSeen.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    hostcore::threads::SetLockObserver(hostcore::threads::LockObserver());
    EXPECT_FALSE(shutDown);  // waits for this thread's hold
    EXPECT_NE(manager->GetSystem(), nullptr);
    manager->Unlock();
    manager->Unlock();
    other.join();
    EXPECT_TRUE(shutDown);
    ExpectDisconnected(manager);
}

}  // namespace
