#include "hostcore/threads.h"
#include "hostcore/debug.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include <sys/resource.h>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
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
    bool ArriveAndWait() {
        CountDown();
        return Wait();
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

// What the system calls a thread started under `name`.
std::string OsNameOfThreadNamed(const char* name) {
    std::string seen;
    CreateNamedThread(name, [&] { seen = OsName(GetCurrentThreadID()); }, 3, {}, {}).join();
    return seen;
}

TEST(NamedThreadTest, OsNameIsCutTo15BytesWithoutSplittingACharacterAndTheFullNameIsKept) {
    std::uint64_t tid = 0;
    std::string seenName, seenOsName;
    std::vector<std::string> order;
    std::mutex orderMutex;
    auto note = [&](const char* what) {
        std::lock_guard<std::mutex> lock(orderMutex);
        order.push_back(what);
    };
    Latch running(1), release(1);
    boost::thread t = CreateNamedThread(
        "STN::RenderThread",
        [&] {
            note("body");
            tid = GetCurrentThreadID();
            seenName = GetCurrentThreadName();
            seenOsName = OsName(tid);
            running.CountDown();
            release.Wait();
        },
        kThreadPriorityNormal, [&] { note("start"); }, [&] { note("exit"); });
    ASSERT_TRUE(running.Wait());
    EXPECT_EQ(seenName, "STN::RenderThread");
    EXPECT_EQ(seenOsName, "STN::RenderThre");
    EXPECT_EQ(FindThreadName(tid), "STN::RenderThread");
    EXPECT_NE(tid, GetCurrentThreadID());
    EXPECT_EQ(GetCurrentThreadName(), "");  // not a named thread
    release.CountDown();
    t.join();
    EXPECT_EQ(order, (std::vector<std::string>{"start", "body", "exit"}));
    EXPECT_EQ(FindThreadName(tid), "");  // gone with the thread
    // The two bytes of "\xC3\xA9" are bytes 15 and 16: the whole character goes.
    EXPECT_EQ(OsNameOfThreadNamed("STN::RenderThr\xC3\xA9"
                                  "ad"),
              "STN::RenderThr");
    EXPECT_EQ(OsNameOfThreadNamed("worker"), "worker");
    EXPECT_EQ(OsNameOfThreadNamed("exactly15bytes!"), "exactly15bytes!");
}

TEST(NamedThreadTest, InterruptionEndsTheBodyAndStillRunsExit) {
    std::atomic<bool> exited{false};
    Latch started(1);
    boost::thread t = CreateNamedThread(
        "interruptible",
        [&] {
            started.CountDown();
            for (;;) {
                std::this_thread::sleep_for(5ms);
                boost::this_thread::interruption_point();
            }
        },
        kThreadPriorityNormal, {}, [&] { exited = true; });
    ASSERT_TRUE(started.Wait());
    t.interrupt();
    t.join();
    EXPECT_TRUE(exited);
}

TEST(NamedThreadTest, LowerPriorityIsAppliedAndHigherNeverFailsTheCall) {
    const int niceBefore = ::getpriority(PRIO_PROCESS, 0);
    int niceInside = 0, requested = -1;
    bool applied = false, found = false;
    CreateNamedThread("lowly",
                      [&] {
                          niceInside =
                              ::getpriority(PRIO_PROCESS, static_cast<id_t>(GetCurrentThreadID()));
                          found = FindThreadPriority(GetCurrentThreadID(), &requested, &applied);
                      },
                      kThreadPriorityLowest, {}, {})
        .join();
    ASSERT_TRUE(found);
    EXPECT_EQ(requested, kThreadPriorityLowest);
    EXPECT_TRUE(applied);
    EXPECT_EQ(niceInside, std::min(19, niceBefore + 10));

    bool ran = false;
    CreateNamedThread("eager", [&] { ran = true; }, kThreadPriorityHighest, {}, {}).join();
    EXPECT_TRUE(ran);
    // An exception out of the body is swallowed, not terminate().
    CreateNamedThread("thrower", [] { throw std::runtime_error("boom"); }, 99, {}, {}).join();
}

TEST(RecursiveMutexTest, NestsAndReportsTextsToTheObserver) {
    std::mutex noticesMutex;
    std::vector<LockNotice> notices;
    RecursiveMutex m;
    Latch contended(1);
    SetLockObserver([&](const LockNotice& n) {
        if (n.mutex == &m) {
            std::lock_guard<std::mutex> lock(noticesMutex);
            notices.push_back(n);
            if (n.event == LockEvent::kContended) {
                contended.CountDown();
            }
        }
    });

    m.Lock("VRPanelManager::Draw");
    m.Lock("Panel::Draw locking VRQuadImpl");
    EXPECT_STREQ(m.OwnerText(), "VRPanelManager::Draw");
    m.Unlock();
    EXPECT_STREQ(m.OwnerText(), "VRPanelManager::Draw");

    // Another thread waits for it: the observer hears whom it waits for.
    std::thread other([&] {
        RecursiveMutex::ScopedLock guard(m, "Update video texture.");
        EXPECT_STREQ(m.OwnerText(), "Update video texture.");
    });
    EXPECT_TRUE(contended.Wait());
    EXPECT_TRUE(m.TryLock("nested try"));
    m.Unlock();
    m.Unlock();
    other.join();
    SetLockObserver(LockObserver());
    EXPECT_EQ(m.OwnerText(), nullptr);

    std::lock_guard<std::mutex> lock(noticesMutex);
    ASSERT_GE(notices.size(), 4u);
    EXPECT_EQ(notices[0].event, LockEvent::kAcquired);
    EXPECT_STREQ(notices[0].lockText, "VRPanelManager::Draw");
    EXPECT_STREQ(notices[1].lockText, "Panel::Draw locking VRQuadImpl");
    bool sawContention = false;
    for (const LockNotice& n : notices) {
        if (n.event == LockEvent::kContended) {
            sawContention = true;
            EXPECT_STREQ(n.lockText, "Update video texture.");
            EXPECT_STREQ(n.holderText, "VRPanelManager::Draw");
            EXPECT_NE(n.threadId, GetCurrentThreadID());
        }
    }
    EXPECT_TRUE(sawContention);
    EXPECT_STREQ(notices.back().lockText, "Update video texture.");
    EXPECT_EQ(notices.back().event, LockEvent::kAcquired);
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

TEST(ExecutorTest, IOBoundPoolIsSharedAndRunsJobsOnOtherThreads) {
    boost::shared_ptr<Executor> a = CreateIOBoundExecutor();
    boost::shared_ptr<Executor> b = CreateIOBoundExecutor();
    EXPECT_EQ(a, b);

    std::mutex mutex;
    std::set<std::uint64_t> threads;
    Latch done(16);
    for (int i = 0; i < 16; ++i) {
        ASSERT_TRUE(a->Post([&] {
            {
                std::lock_guard<std::mutex> lock(mutex);
                threads.insert(GetCurrentThreadID());
            }
            done.CountDown();
        }));
    }
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(threads.count(GetCurrentThreadID()), 0u);
    EXPECT_FALSE(a->Post(boost::function<void()>()));

    // A throwing job does not take a worker down, and the longest delay means later, not at once.
    auto ran = std::make_shared<std::atomic<bool>>(false);
    ASSERT_TRUE(a->PostDelayed([ran] { *ran = true; }, std::numeric_limits<std::int64_t>::max()));
    Latch after(1);
    a->Post([] { throw std::runtime_error("job failed"); });
    a->Post([&] { after.CountDown(); });
    EXPECT_TRUE(after.Wait());
    Latch later(1);
    ASSERT_TRUE(a->PostDelayed([&] { later.CountDown(); }, 20));
    ASSERT_TRUE(later.Wait());
    EXPECT_FALSE(*ran);
}

TEST(SubExecutorTest, UnlimitedRunsJobsTogetherALimitBoundsThemAndOneKeepsPostOrder) {
    auto sub = CreateSubExecutor(CreateIOBoundExecutor(), -1);
    // Four jobs that each wait for all four: only a concurrent executor gets through.
    Latch all(4);
    std::atomic<int> through{0};
    for (int i = 0; i < 4; ++i) {
        sub->Post(
            [&] {
                if (all.ArriveAndWait()) {
                    ++through;
                }
            },
            0);
    }
    sub->WaitForIdle();
    EXPECT_EQ(through, 4);

    auto pair = CreateSubExecutor(CreateIOBoundExecutor(), 2);
    EXPECT_EQ(pair->MaxConcurrency(), 2);
    std::atomic<int> active{0}, maxActive{0};
    Latch firstTwo(2);
    for (int i = 0; i < 12; ++i) {
        pair->Post(
            [&, i] {
                const int now = ++active;
                int seen = maxActive;
                while (now > seen && !maxActive.compare_exchange_weak(seen, now)) {
                }
                if (i < 2) {
                    firstTwo.ArriveAndWait();  // the first two must overlap
                }
                std::this_thread::sleep_for(1ms);
                --active;
            },
            0);
    }
    pair->WaitForIdle();
    EXPECT_EQ(maxActive, 2);

    auto serial = CreateSubExecutor(nullptr, 1);
    std::vector<int> order;
    for (int i = 0; i < 50; ++i) {
        serial->Post([&order, i] { order.push_back(i); },
                     0);  // unsynchronised on purpose: one at a time
    }
    serial->WaitForIdle();
    ASSERT_EQ(order.size(), 50u);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(order[i], i);
    }
}

TEST(SubExecutorTest, DelayedJobsRunAfterImmediateOnes) {
    auto sub = CreateSubExecutor(CreateIOBoundExecutor(), 1);
    std::mutex mutex;
    std::vector<std::string> order;
    auto record = [&](const char* what) {
        return [&, what] {
            std::lock_guard<std::mutex> lock(mutex);
            order.push_back(what);
        };
    };
    sub->Post(record("late"), 300);
    sub->Post(record("later"), 600);
    sub->Post(record("now"), 0);
    sub->WaitForIdle();
    EXPECT_EQ(order, (std::vector<std::string>{"now", "late", "later"}));
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
    boost::weak_ptr<AsyncThreadedSubExecutor> weak = sub;
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
