#include "hostcore/threads.h"
#include "hostcore/debug.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace hostcore::threads;
using namespace std::chrono_literals;

// A latch with a generous deadline so that a broken executor fails the test instead of hanging it.
class Latch {
public:
    explicit Latch(int count) : count(count) {}
    void CountDown() {
        std::lock_guard<std::mutex> lock(mutex);
        if (--count <= 0) {
            cv.notify_all();
        }
    }
    bool Wait() {
        std::unique_lock<std::mutex> lock(mutex);
        return cv.wait_for(lock, 30s, [this] { return count <= 0; });
    }

private:
    std::mutex mutex;
    std::condition_variable cv;
    int count;
};

std::string OsName(std::uint64_t tid) {
    std::ifstream comm("/proc/self/task/" + std::to_string(tid) + "/comm");
    std::string name;
    std::getline(comm, name);
    return name;
}

// The system's name is cut to its 15 bytes; the full one is found while the thread lives.
TEST(NamedThreadTest, OsNameIsCutTo15BytesAndTheFullNameIsKept) {
    std::uint64_t tid = 0;
    std::string seenName, seenOsName;
    Latch running(1), release(1);
    boost::thread t = CreateNamedThread("STN::RenderThread",
                                        [&] {
                                            tid = GetCurrentThreadID();
                                            seenName = GetCurrentThreadName();
                                            seenOsName = OsName(tid);
                                            running.CountDown();
                                            release.Wait();
                                        },
                                        kThreadPriorityNormal, {}, {});
    ASSERT_TRUE(running.Wait());
    EXPECT_EQ(seenName, "STN::RenderThread");
    EXPECT_EQ(seenOsName, "STN::RenderThre");
    EXPECT_EQ(FindThreadName(tid), "STN::RenderThread");
    EXPECT_EQ(GetCurrentThreadName(), "");  // not a named thread
    release.CountDown();
    t.join();
    EXPECT_EQ(FindThreadName(tid), "");  // gone with the thread
    // An exception out of the body is swallowed, not terminate().
    CreateNamedThread("thrower", [] { throw std::runtime_error("boom"); }, 99, {}, {}).join();
}

// Nesting and waiting through the library are shown by
// OpenVRManagerTest.LockIsRecursiveAndSharedWithOtherThreads; here, one unlock of a nested hold
// still keeps the other thread out, and its notice names the holder.
TEST(RecursiveMutexTest, NestsAndReportsTextsToTheObserver) {
    RecursiveMutex m;
    Latch contended(1);
    LockNotice notice{};
    SetLockObserver([&](const LockNotice& n) {
        if (n.mutex == &m && n.event == LockEvent::kContended && notice.mutex == nullptr) {
            notice = n;
            contended.CountDown();
        }
    });
    m.Lock("VRPanelManager::Draw");
    m.Lock("Panel::Draw locking VRQuadImpl");
    std::atomic<bool> entered{false};
    std::thread other([&] {
        RecursiveMutex::ScopedLock guard(m, "Update video texture.");
        entered = true;
    });
    const bool heard = contended.Wait();
    m.Unlock();
    // Still held once, by this thread and under its first text.
    EXPECT_STREQ(m.OwnerText(), "VRPanelManager::Draw");
    EXPECT_FALSE(entered);
    m.Unlock();
    other.join();
    SetLockObserver(LockObserver());
    EXPECT_TRUE(entered);
    EXPECT_EQ(m.OwnerText(), nullptr);
    ASSERT_TRUE(heard);
    EXPECT_STREQ(notice.lockText, "Update video texture.");
    EXPECT_STREQ(notice.holderText, "VRPanelManager::Draw");
    EXPECT_NE(notice.threadId, GetCurrentThreadID());
}

TEST(RecursiveMutexTest, UnlockWithoutHoldingIsReportedAndHarmless) {
    hostcore::debug::SetTraceSink([](const std::string&) {});
    hostcore::debug::ClearRecordedAssertions();
    RecursiveMutex m;
    m.Unlock();
    EXPECT_EQ(hostcore::debug::RecordedAssertions().size(), 1u);
    m.Lock("after");
    std::thread other([&] { m.Unlock(); });  // not the holder
    other.join();
    EXPECT_EQ(hostcore::debug::RecordedAssertions().size(), 2u);
    EXPECT_STREQ(m.OwnerText(), "after");
    m.Unlock();
    EXPECT_EQ(m.OwnerText(), nullptr);
    hostcore::debug::ClearRecordedAssertions();
    hostcore::debug::SetTraceSink(nullptr);
}

// The due time of the longest delay once overflowed into the past, and the job ran at once.
TEST(ExecutorTest, TheLongestDelayMeansLaterNotAtOnce) {
    boost::shared_ptr<Executor> pool = CreateIOBoundExecutor();
    auto ran = std::make_shared<std::atomic<bool>>(false);
    ASSERT_TRUE(
        pool->PostDelayed([ran] { *ran = true; }, std::numeric_limits<std::int64_t>::max()));
    Latch later(1);
    ASSERT_TRUE(pool->PostDelayed([&] { later.CountDown(); }, 20));
    ASSERT_TRUE(later.Wait());
    EXPECT_FALSE(*ran);
}

TEST(SubExecutorTest, UnlimitedRunsJobsTogetherAndALimitOfOneKeepsPostAndDelayOrder) {
    // One pool for everyone; a throwing job takes no worker down and an empty one is refused.
    EXPECT_EQ(CreateIOBoundExecutor(), CreateIOBoundExecutor());
    EXPECT_FALSE(CreateIOBoundExecutor()->Post(boost::function<void()>()));
    auto sub = CreateSubExecutor(CreateIOBoundExecutor(), -1);
    sub->Post([] { throw std::runtime_error("job failed"); }, 0);
    // Four jobs that each wait for all four: only a concurrent executor gets through.
    Latch all(4);
    std::atomic<int> through{0};
    for (int i = 0; i < 4; ++i) {
        sub->Post(
            [&] {
                all.CountDown();
                if (all.Wait()) {
                    ++through;
                }
            },
            0);
    }
    sub->WaitForIdle();
    EXPECT_EQ(through, 4);

    // Delayed jobs posted first run after the immediate ones, in the order they fall due.
    auto serial = CreateSubExecutor(nullptr, 1);
    std::vector<int> order, expected(52);
    std::iota(expected.begin(), expected.end(), 0);
    serial->Post([&order] { order.push_back(51); }, 600);
    serial->Post([&order] { order.push_back(50); }, 300);
    for (int i = 0; i < 50; ++i) {
        serial->Post([&order, i] { order.push_back(i); }, 0);  // unsynchronised: one at a time
    }
    serial->WaitForIdle();
    EXPECT_EQ(order, expected);
}

TEST(SubExecutorTest, ShutdownWaitsForRunningWorkDropsTheRestAndRefusesMore) {
    auto sub = CreateSubExecutor(CreateIOBoundExecutor(), 1);
    Latch started(1), release(1);
    std::atomic<bool> runningFinished{false};
    std::atomic<int> laterRan{0};
    ASSERT_TRUE(sub->Post(
        [&] {
            started.CountDown();
            release.Wait();
            runningFinished = true;
        },
        0));
    auto token = std::make_shared<int>(0);  // tells when dropped jobs have been destroyed
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(sub->Post([&, token] { ++laterRan; }, 0));
    }
    ASSERT_TRUE(sub->Post([&, token] { ++laterRan; }, 50));
    ASSERT_TRUE(started.Wait());
    EXPECT_EQ(token.use_count(), 7);

    std::atomic<bool> shutdownReturned{false};
    std::thread stopper([&] {
        sub->Shutdown();
        shutdownReturned = true;
        EXPECT_TRUE(runningFinished);  // it waited for the running job
    });
    while (!sub->IsShutdown()) {
        std::this_thread::sleep_for(1ms);
    }
    // The running job is held by the latch, so Shutdown cannot have returned.
    EXPECT_FALSE(shutdownReturned);
    EXPECT_FALSE(sub->Post([&] { ++laterRan; }, 0));
    release.CountDown();
    stopper.join();
    EXPECT_TRUE(shutdownReturned);
    EXPECT_EQ(token.use_count(), 1);  // pending and delayed jobs were destroyed, not kept
    EXPECT_FALSE(sub->Post([&] { ++laterRan; }, 0));
    sub->Shutdown();  // again: nothing to do
    sub.reset();
    EXPECT_EQ(laterRan, 0);
}

// The pool's workers join only when the pool goes; were its last holder a worker that has just
// run a job, the pool would go there, with nobody left to join that worker before the process ends.
TEST(SubExecutorTest, TheLastSubExecutorTakesThePoolWithItOnItsOwnThread) {
    const boost::weak_ptr<Executor> unheld = CreateIOBoundExecutor();
    ASSERT_TRUE(unheld.expired()) << "something else holds the pool: this case would mean nothing";
    for (int i = 0; i < 200; ++i) {
        auto sub = CreateSubExecutor(nullptr, -1);
        const boost::weak_ptr<Executor> pool = CreateIOBoundExecutor();
        Latch ran(1);
        sub->Post([&] { ran.CountDown(); }, 0);
        ASSERT_TRUE(ran.Wait());
        sub.reset();
        ASSERT_TRUE(pool.expired()) << "after " << i << " rounds";
    }
}

TEST(SubExecutorTest, ShutdownFromItsOwnJobAndDestructionOnAWorker) {
    auto sub = CreateSubExecutor(CreateIOBoundExecutor(), -1);
    Latch done(1);
    sub->Post(
        [&, sub] {
            sub->Shutdown();  // does not wait for itself
            done.CountDown();
        },
        0);
    ASSERT_TRUE(done.Wait());
    sub.reset();

    // The last reference goes away inside a job: the executor is destroyed on its own worker.
    auto owner = CreateSubExecutor(CreateIOBoundExecutor(), 1);
    Latch destroyed(1);
    auto holder = std::make_shared<boost::shared_ptr<AsyncThreadedSubExecutor>>(owner);
    boost::weak_ptr<AsyncThreadedSubExecutor> ownerWeak = owner;
    owner.reset();
    (*holder)->Post(
        [holder, &destroyed] {
            holder->reset();
            destroyed.CountDown();
        },
        0);
    holder.reset();
    ASSERT_TRUE(destroyed.Wait());
    for (int i = 0; i < 1000 && !ownerWeak.expired(); ++i) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(ownerWeak.expired());
}

}  // namespace
