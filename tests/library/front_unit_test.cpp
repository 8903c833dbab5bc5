// The pieces of the service front that need neither a runtime nor GL: usage metrics and the
// machine-wide lock.
#include <gtest/gtest.h>

#include <unistd.h>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "MachineLock.h"
#include "UsageMetrics.h"
#include "hostcore/config.h"

namespace {

using hostcore::config::LoggedEvent;
using hostcore::config::UsageLogger;

std::vector<LoggedEvent> EventsNamed(const std::string& name) {
    std::vector<LoggedEvent> result;
    for (const LoggedEvent& event : UsageLogger::Get()->Events()) {
        if (event.name == name) {
            result.push_back(event);
        }
    }
    return result;
}

class UsageMetricsTest : public ::testing::Test {
protected:
    void SetUp() override {
        UsageLogger::SetPresent(true);
        UsageLogger::Get()->Clear();
        STN::UsageMetrics::Get().Clear();
    }
    void TearDown() override {
        UsageLogger::SetPresent(true);
        STN::UsageMetrics::Get().Clear();
    }
};

TEST_F(UsageMetricsTest, FrameSizesKeepTheirMaximaApartIn32BitArithmetic) {
    STN::UsageMetrics& metrics = STN::UsageMetrics::Get();
    metrics.RecordFrameSize(4000, 100);   // widest, area 400000
    metrics.RecordFrameSize(1000, 1000);  // largest area
    metrics.RecordFrameSize(500, 2000);   // tallest, same area: the first stays
    metrics.RecordFrameSize(10, 10);
    EXPECT_EQ(metrics.MaxFrameWidth, 4000u);
    EXPECT_EQ(metrics.MaxFrameHeight, 2000u);
    EXPECT_EQ(metrics.MaxFrameArea, 1000000u);
    EXPECT_EQ(metrics.MaxFrameAreaDimensions, "1000x1000");

    // Cleared, the record starts again; areas wrap as unsigned 32-bit numbers.
    metrics.Clear();
    metrics.RecordFrameSize(100, 100);
    metrics.RecordFrameSize(65536, 65537);  // 2^32 + 65536 wraps to 65536, still larger
    EXPECT_EQ(metrics.MaxFrameArea, 65536u);
    EXPECT_EQ(metrics.MaxFrameAreaDimensions, "65536x65537");
    metrics.RecordFrameSize(65536, 65536);  // wraps to 0
    EXPECT_EQ(metrics.MaxFrameAreaDimensions, "65536x65537");
}

// The events the host's usage logger receives, and silence without a logger.
TEST_F(UsageMetricsTest, EventsCarryEveryKeyInOrderAndNothingGoesWithoutALogger) {
    STN::UsageMetrics& metrics = STN::UsageMetrics::Get();
    metrics.GPUDeviceName = "Some GPU";
    metrics.HMDDeviceName = "lighthouse";
    metrics.GPUFramesPlayed = 18446744073709551615ull;
    metrics.CPUFramesPlayed = 7;
    metrics.RecordFrameSize(3840, 2160);
    metrics.StereoscopicSideBySideFramesPlayed = 1;
    metrics.StereoscopicOverUnderFramesPlayed = 2;
    metrics.MonoscopicFramesPlayed = 3;
    metrics.InstancesAdded = 4;
    metrics.InstancesRemoved = 5;
    metrics.SendInstanceMetrics();
    const std::vector<LoggedEvent> events = EventsNamed("vidariumvr_instance_metrics");
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].category, "STN");
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"GPUDeviceName", "Some GPU"},
        {"HMDDeviceName", "lighthouse"},
        {"GPUFramesPlayed", "18446744073709551615"},
        {"CPUFramesPlayed", "7"},
        {"MaxFrameWidth", "3840"},
        {"MaxFrameHeight", "2160"},
        {"MaxFrameAreaDimensions", "3840x2160"},
        {"StereoscopicSideBySideFramesPlayed", "1"},
        {"StereoscopicOverUnderFramesPlayed", "2"},
        {"MonoscopicFramesPlayed", "3"},
        {"InstancesAdded", "4"},
        {"InstancesRemoved", "5"},
    };
    EXPECT_EQ(events[0].values, expected);

    STN::ReportInitializationResult("vidariumvr_initialization", "result", "Failure", "reason",
                                    "VR_Init");
    const std::vector<LoggedEvent> initialization = EventsNamed("vidariumvr_initialization");
    ASSERT_EQ(initialization.size(), 1u);
    EXPECT_EQ(initialization[0].category, "STN");
    EXPECT_EQ(initialization[0].values, (std::vector<std::pair<std::string, std::string>>{
                                            {"result", "Failure"}, {"reason", "VR_Init"}}));

    // No logger: everything stays silent, and nothing is kept for later either.
    UsageLogger::SetPresent(false);
    STN::ReportInitializationResult("vidariumvr_initialization", "result", "Success", "reason",
                                    "Success");
    metrics.SendInstanceMetrics();
    STN::ReportInitializationResult(nullptr, nullptr, nullptr, nullptr, nullptr);
    UsageLogger::SetPresent(true);
    EXPECT_EQ(UsageLogger::Get()->Events().size(), 2u);
}

class MachineLockTest : public ::testing::Test {
protected:
    MachineLockTest() : lock("stn-test-" + std::to_string(getpid())) {}
    void SetUp() override { lock.Remove(); }
    void TearDown() override { lock.Remove(); }
    static boost::posix_time::ptime Soon() {
        return boost::posix_time::microsec_clock::universal_time() +
               boost::posix_time::milliseconds(50);
    }
    STN::MachineLock lock;
};

TEST_F(MachineLockTest, TakenOnceUntilReleasedAndNeverFromALiveHolder) {
    EXPECT_FALSE(lock.IsTaken());
    ASSERT_TRUE(lock.Acquire(Soon()));
    EXPECT_TRUE(lock.IsTaken());
    // The handle is closed again, yet the lock stays taken for everyone, this process included.
    EXPECT_FALSE(lock.Acquire(Soon()));
    // A second host starting up must not take the headset from a running one.
    EXPECT_FALSE(lock.RemoveAbandoned());
    EXPECT_TRUE(lock.IsTaken());
    lock.Release();
    EXPECT_FALSE(lock.IsTaken());
    // Releasing a free lock must not make it take two holders.
    lock.Release();
    EXPECT_TRUE(lock.Acquire(Soon()));
    EXPECT_FALSE(lock.Acquire(Soon()));
    lock.Release();
    // A free lock stays (a waiting process may have it open); a missing name is no lock.
    EXPECT_FALSE(lock.RemoveAbandoned());
    lock.Remove();
    EXPECT_TRUE(lock.RemoveAbandoned());
    EXPECT_TRUE(lock.Acquire(Soon()));
    lock.Release();
}

// A host stops and at once starts again, clearing abandoned locks on the way, while another
// process waits for the headset: the waiter's lock is not swapped for a new one, so only one
// of the two gets the headset.
TEST_F(MachineLockTest, AHostRestartingBesideAWaiterLeavesOneHolder) {
    ASSERT_TRUE(lock.Acquire(Soon()));
    std::atomic<bool> waiterGot{false};
    std::thread waiter([&] {
        waiterGot = STN::MachineLock(lock.Name())
                        .Acquire(boost::posix_time::microsec_clock::universal_time() +
                                 boost::posix_time::seconds(3));
    });
    // Time for the waiter to open the lock and settle into its polls; were it slower, the case
    // would prove less but not fail.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    lock.Release();
    lock.RemoveAbandoned();
    const bool restarted = lock.Acquire(boost::posix_time::microsec_clock::universal_time() +
                                        boost::posix_time::seconds(1));
    waiter.join();
    EXPECT_NE(restarted, waiterGot.load()) << "both or neither hold the headset";
}

}  // namespace
