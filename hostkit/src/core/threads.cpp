#include "hostcore/threads.h"

#include "hostcore/debug.h"

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#if defined(__linux__)
#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace hostcore {
namespace threads {

std::uint64_t GetCurrentThreadID() {
#if defined(__linux__)
    static thread_local const std::uint64_t id = static_cast<std::uint64_t>(::syscall(SYS_gettid));
    return id;
#else
    static std::atomic<std::uint64_t> next{1};
    static thread_local const std::uint64_t id = next.fetch_add(1);
    return id;
#endif
}

// ---------------------------------------------------------------------------------------------
// RecursiveMutex

namespace {

std::atomic<bool> observerInstalled{false};
std::shared_ptr<const LockObserver> observer;  // read and written with atomic_load/atomic_store

void Notify(LockEvent event, const RecursiveMutex* mutex, const char* text, const char* holder) {
    if (!observerInstalled.load(std::memory_order_acquire)) {
        return;
    }
    const std::shared_ptr<const LockObserver> current = std::atomic_load(&observer);
    if (current && !current->empty()) {
        (*current)(LockNotice{event, mutex, text, holder, GetCurrentThreadID()});
    }
}

}  // namespace

void SetLockObserver(LockObserver newObserver) {
    if (newObserver.empty()) {
        observerInstalled.store(false, std::memory_order_release);
        std::atomic_store(&observer, std::shared_ptr<const LockObserver>());
        return;
    }
    std::atomic_store(&observer, std::shared_ptr<const LockObserver>(
                                     std::make_shared<LockObserver>(newObserver)));
    observerInstalled.store(true, std::memory_order_release);
}

void RecursiveMutex::Lock(const char* lockText) {
    if (!mutex.try_lock()) {
        Notify(LockEvent::kContended, this, lockText, ownerText.load(std::memory_order_acquire));
        mutex.lock();
    }
    if (depth++ == 0) {
        ownerText.store(lockText, std::memory_order_release);
        ownerThread.store(GetCurrentThreadID(), std::memory_order_release);
    }
    Notify(LockEvent::kAcquired, this, lockText, nullptr);
}

bool RecursiveMutex::TryLock(const char* lockText) {
    if (!mutex.try_lock()) {
        return false;
    }
    if (depth++ == 0) {
        ownerText.store(lockText, std::memory_order_release);
        ownerThread.store(GetCurrentThreadID(), std::memory_order_release);
    }
    Notify(LockEvent::kAcquired, this, lockText, nullptr);
    return true;
}

void RecursiveMutex::Unlock() {
    // Unlocking a mutex this thread does not hold is a caller bug; report it instead of
    // corrupting the mutex.
    if (ownerThread.load(std::memory_order_acquire) != GetCurrentThreadID()) {
        debug::BreakAfterAssertDialog(
            "RecursiveMutex::Unlock by a thread that does not hold the lock", "false", __FILE__,
            __LINE__, "hostcore::threads::RecursiveMutex::Unlock");
        return;
    }
    if (--depth == 0) {
        ownerText.store(nullptr, std::memory_order_release);
        ownerThread.store(0, std::memory_order_release);
    }
    mutex.unlock();
}

// ---------------------------------------------------------------------------------------------
// Named threads

namespace {

struct ThreadInfo {
    std::string name;
    int priority;
    bool applied;
};

struct Registry {
    std::mutex mutex;
    std::map<std::uint64_t, ThreadInfo> threads;
};

Registry& Threads() {
    static Registry* registry = new Registry();  // threads may still run during static destruction
    return *registry;
}

// The first 15 bytes of name, cut back to a whole UTF-8 character.
std::string OsThreadName(const std::string& name) {
    if (name.size() <= 15) {
        return name;
    }
    std::size_t n = 15;
    while (n > 0 && (static_cast<unsigned char>(name[n]) & 0xC0) == 0x80) {
        --n;
    }
    return name.substr(0, n);
}

// Host priorities are nice steps of 5 around the thread's inherited value; lowering always works,
// raising needs a privilege this process may not have.
bool ApplyPriority(int priority) {
    if (priority == kThreadPriorityNormal) {
        return true;
    }
#if defined(__linux__)
    if (priority < kThreadPriorityIdle) {
        priority = kThreadPriorityIdle;
    } else if (priority > kThreadPriorityTimeCritical) {
        priority = kThreadPriorityTimeCritical;
    }
    const id_t tid = static_cast<id_t>(GetCurrentThreadID());
    errno = 0;
    const int base = ::getpriority(PRIO_PROCESS, tid);
    if (base == -1 && errno != 0) {
        return false;
    }
    int target = base + (kThreadPriorityNormal - priority) * 5;
    target = target < -20 ? -20 : (target > 19 ? 19 : target);
    return ::setpriority(PRIO_PROCESS, tid, target) == 0;
#else
    return false;
#endif
}

struct ThreadStart {
    std::string name;
    boost::function<void()> body;
    int priority;
    boost::function<void()> onStart;
    boost::function<void()> onExit;
};

void RunNamedThread(const std::shared_ptr<ThreadStart>& start) {
    const std::uint64_t tid = GetCurrentThreadID();
#if defined(__linux__)
    ::pthread_setname_np(::pthread_self(), OsThreadName(start->name).c_str());
#endif
    const bool applied = ApplyPriority(start->priority);
    {
        Registry& r = Threads();
        std::lock_guard<std::mutex> lock(r.mutex);
        r.threads[tid] = ThreadInfo{start->name, start->priority, applied};
    }
    struct Finish {
        const std::shared_ptr<ThreadStart>& start;
        std::uint64_t tid;
        ~Finish() {
            try {
                if (!start->onExit.empty()) {
                    start->onExit();
                }
            } catch (...) {
                debug::Trace("hostcore", 1,
                             "exception from the exit function of thread " + start->name);
            }
            Registry& r = Threads();
            std::lock_guard<std::mutex> lock(r.mutex);
            r.threads.erase(tid);
        }
    } finish{start, tid};

    try {
        if (!start->onStart.empty()) {
            start->onStart();
        }
        if (!start->body.empty()) {
            start->body();
        }
    } catch (const boost::thread_interrupted&) {
        // The normal way to end an interruptible thread.
    } catch (const std::exception& e) {
        debug::Trace("hostcore", 1, "exception ended thread " + start->name + ": " + e.what());
    } catch (...) {
        debug::Trace("hostcore", 1, "exception ended thread " + start->name);
    }
}

}  // namespace

boost::thread CreateNamedThread(const std::string& name, const boost::function<void()>& body,
                                int priority, const boost::function<void()>& onStart,
                                const boost::function<void()>& onExit,
                                const boost::thread::attributes& attributes) {
    auto start = std::make_shared<ThreadStart>(ThreadStart{name, body, priority, onStart, onExit});
    return boost::thread(attributes, [start] { RunNamedThread(start); });
}

std::string GetCurrentThreadName() {
    return FindThreadName(GetCurrentThreadID());
}

std::string FindThreadName(std::uint64_t threadId) {
    Registry& r = Threads();
    std::lock_guard<std::mutex> lock(r.mutex);
    const auto it = r.threads.find(threadId);
    return it == r.threads.end() ? std::string() : it->second.name;
}

bool FindThreadPriority(std::uint64_t threadId, int* requested, bool* applied) {
    Registry& r = Threads();
    std::lock_guard<std::mutex> lock(r.mutex);
    const auto it = r.threads.find(threadId);
    if (it == r.threads.end()) {
        return false;
    }
    if (requested != nullptr) {
        *requested = it->second.priority;
    }
    if (applied != nullptr) {
        *applied = it->second.applied;
    }
    return true;
}

// ---------------------------------------------------------------------------------------------
// Worker pool

namespace {

using Clock = std::chrono::steady_clock;

void RunGuarded(const boost::function<void()>& job, const char* what) {
    try {
        job();
    } catch (const std::exception& e) {
        debug::Trace("hostcore", 1, std::string("exception from ") + what + ": " + e.what());
    } catch (...) {
        debug::Trace("hostcore", 1, std::string("exception from ") + what);
    }
}

struct PoolState {
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<boost::function<void()>> ready;
    std::multimap<Clock::time_point, boost::function<void()>>
        delayed;  // equal times keep post order
    bool stopping = false;

    // Workers drain ready jobs before leaving; delayed jobs not yet due are dropped.
    void WorkerLoop() {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            const Clock::time_point now = Clock::now();
            while (!delayed.empty() && delayed.begin()->first <= now) {
                ready.push_back(std::move(delayed.begin()->second));
                delayed.erase(delayed.begin());
            }
            if (!ready.empty()) {
                boost::function<void()> job = std::move(ready.front());
                ready.pop_front();
                lock.unlock();
                RunGuarded(job, "an executor job");
                job.clear();  // release what the job holds before taking the lock again
                lock.lock();
                continue;
            }
            if (stopping) {
                break;
            }
            if (delayed.empty()) {
                wake.wait(lock);
            } else {
                const Clock::time_point due =
                    delayed.begin()->first;  // the node may go while we wait
                wake.wait_until(lock, due);
            }
        }
        std::multimap<Clock::time_point, boost::function<void()>> dropped;
        dropped.swap(delayed);
        lock.unlock();
    }
};

// Workers of a pool that its own worker let go (it cannot join itself). They finish their last
// job and leave on their own; the process joins them when it exits, so that none is still
// leaving while the libraries' exit handlers run (a thread that had used GL freeing its state
// while the GL library's own handler frees it too crashed a host at exit).
std::mutex& OrphanMutex() {
    static std::mutex* mutex = new std::mutex();
    return *mutex;
}

std::vector<boost::thread>& Orphans() {
    static std::vector<boost::thread>* orphans = new std::vector<boost::thread>();
    return *orphans;
}

void JoinOrphans() {
    std::vector<boost::thread> leaving;
    {
        std::lock_guard<std::mutex> lock(OrphanMutex());
        leaving.swap(Orphans());
    }
    const boost::thread::id self = boost::this_thread::get_id();
    for (boost::thread& t : leaving) {
        if (t.get_id() == self) {
            t.detach();
        } else if (t.joinable()) {
            t.join();
        }
    }
}

void KeepOrphan(boost::thread&& thread) {
    static const bool registered = std::atexit(&JoinOrphans) == 0;
    (void)registered;
    std::lock_guard<std::mutex> lock(OrphanMutex());
    Orphans().push_back(std::move(thread));
}

class WorkerPool : public Executor {
public:
    explicit WorkerPool(int threadCount) : state(std::make_shared<PoolState>()) {
        for (int i = 0; i < threadCount; ++i) {
            std::shared_ptr<PoolState> s = state;
            workers.emplace_back(CreateNamedThread("hostcore::IOWorker", [s] { s->WorkerLoop(); },
                                                   kThreadPriorityNormal, {}, {}));
        }
    }

    ~WorkerPool() override {
        {
            std::lock_guard<std::mutex> lock(state->mutex);
            state->stopping = true;
        }
        state->wake.notify_all();
        // The last holder may be a job on one of our own workers; that worker finishes on its own
        // and is joined at exit.
        const boost::thread::id self = boost::this_thread::get_id();
        for (boost::thread& t : workers) {
            if (t.get_id() == self) {
                KeepOrphan(std::move(t));
            } else if (t.joinable()) {
                t.join();
            }
        }
    }

    bool Post(const boost::function<void()>& job) override {
        if (job.empty()) {
            return false;
        }
        {
            std::lock_guard<std::mutex> lock(state->mutex);
            if (state->stopping) {
                return false;
            }
            state->ready.push_back(job);
        }
        state->wake.notify_one();
        return true;
    }

    bool PostDelayed(const boost::function<void()>& job, std::int64_t delayMilliseconds) override {
        if (delayMilliseconds <= 0) {
            return Post(job);
        }
        if (job.empty()) {
            return false;
        }
        // A century is "never" here, and keeps the due time from overflowing the clock.
        constexpr std::int64_t kLongestDelay = 100LL * 365 * 24 * 3600 * 1000;
        const std::chrono::milliseconds delay(std::min(delayMilliseconds, kLongestDelay));
        {
            std::lock_guard<std::mutex> lock(state->mutex);
            if (state->stopping) {
                return false;
            }
            state->delayed.emplace(Clock::now() + delay, job);
        }
        // Wake everyone: the one that wakes must be able to shorten its wait.
        state->wake.notify_all();
        return true;
    }

private:
    std::shared_ptr<PoolState> state;
    std::vector<boost::thread> workers;
};

constexpr int kIOWorkers = 4;

}  // namespace

boost::shared_ptr<Executor> CreateIOBoundExecutor() {
    static std::mutex* mutex = new std::mutex();
    static boost::weak_ptr<Executor>* pool = new boost::weak_ptr<Executor>();
    std::lock_guard<std::mutex> lock(*mutex);
    boost::shared_ptr<Executor> current = pool->lock();
    if (!current) {
        current = boost::make_shared<WorkerPool>(kIOWorkers);
        *pool = current;
    }
    return current;
}

// ---------------------------------------------------------------------------------------------
// Sub-executor

namespace {

struct SubState;
thread_local const SubState* currentSub = nullptr;

struct SubState : std::enable_shared_from_this<SubState> {
    SubState(boost::shared_ptr<Executor> base, int maxConcurrency)
        : base(std::move(base)), max(maxConcurrency) {}

    boost::shared_ptr<Executor> base;
    const int max;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<boost::function<void()>> pending;
    std::map<std::uint64_t, boost::function<void()>> delayed;
    std::uint64_t nextId = 1;
    int running = 0;
    bool shutdown = false;

    bool Post(const boost::function<void()>& job, std::int64_t delayMilliseconds) {
        if (job.empty()) {
            return false;
        }
        std::unique_lock<std::mutex> lock(mutex);
        if (shutdown) {
            return false;
        }
        if (delayMilliseconds <= 0) {
            pending.push_back(job);
            Pump();
            return true;
        }
        const std::uint64_t id = nextId++;
        delayed.emplace(id, job);
        // The pool keeps only a weak reference and the id; the job itself stays here so that
        // Shutdown can drop it at once.
        std::weak_ptr<SubState> weak = shared_from_this();
        if (!base->PostDelayed(
                [weak, id] {
                    if (std::shared_ptr<SubState> s = weak.lock()) {
                        s->Promote(id);
                    }
                },
                delayMilliseconds)) {
            delayed.erase(id);
            return false;
        }
        return true;
    }

    void Promote(std::uint64_t id) {
        std::lock_guard<std::mutex> lock(mutex);
        auto it = delayed.find(id);
        if (it == delayed.end()) {
            return;  // dropped by Shutdown
        }
        pending.push_back(std::move(it->second));
        delayed.erase(it);
        Pump();
    }

    // Starts pending jobs up to the limit. Called with mutex held.
    void Pump() {
        while (!shutdown && !pending.empty() && (max <= 0 || running < max)) {
            auto task = std::make_shared<boost::function<void()>>(std::move(pending.front()));
            pending.pop_front();
            ++running;
            std::shared_ptr<SubState> self = shared_from_this();
            if (!base->Post([self, task] { self->Run(*task); })) {
                --running;
                changed.notify_all();
                return;
            }
        }
    }

    void Run(boost::function<void()>& job) {
        const SubState* outer = currentSub;
        currentSub = this;
        RunGuarded(job, "a sub-executor job");
        job.clear();  // its destructors may post or shut down: not under our lock
        currentSub = outer;
        std::lock_guard<std::mutex> lock(mutex);
        --running;
        Pump();
        changed.notify_all();
    }

    int OwnRunning() const { return currentSub == this ? 1 : 0; }

    void Shutdown() {
        std::deque<boost::function<void()>> droppedPending;
        std::map<std::uint64_t, boost::function<void()>> droppedDelayed;
        std::unique_lock<std::mutex> lock(mutex);
        shutdown = true;
        droppedPending.swap(pending);
        droppedDelayed.swap(delayed);
        changed.notify_all();
        lock.unlock();
        droppedPending.clear();
        droppedDelayed.clear();
        lock.lock();
        const int own = OwnRunning();
        changed.wait(lock, [&] { return running <= own; });
    }

    void WaitForIdle() {
        std::unique_lock<std::mutex> lock(mutex);
        const int own = OwnRunning();
        changed.wait(lock, [&] { return running <= own && pending.empty() && delayed.empty(); });
    }
};

class SubExecutor : public AsyncThreadedSubExecutor {
public:
    SubExecutor(boost::shared_ptr<Executor> base, int maxConcurrency)
        : state(std::make_shared<SubState>(std::move(base), maxConcurrency)) {}
    ~SubExecutor() override {
        state->Shutdown();
        // A job that has just finished still holds the state on its worker for a moment. Were the
        // pool let go there, the worker would be left to join itself, and a process exiting
        // meanwhile would leave it unjoined; so the pool goes here, on the destroying thread.
        boost::shared_ptr<Executor> pool;
        std::lock_guard<std::mutex> lock(state->mutex);
        pool.swap(state->base);
    }

    bool Post(const boost::function<void()>& job, std::int64_t delayMilliseconds) override {
        return state->Post(job, delayMilliseconds);
    }
    void Shutdown() override { state->Shutdown(); }
    void WaitForIdle() override { state->WaitForIdle(); }
    bool IsShutdown() const override {
        std::lock_guard<std::mutex> lock(state->mutex);
        return state->shutdown;
    }
    int MaxConcurrency() const override { return state->max; }

private:
    std::shared_ptr<SubState> state;
};

}  // namespace

boost::shared_ptr<AsyncThreadedSubExecutor> CreateSubExecutor(
    const boost::shared_ptr<Executor>& executor, int maxConcurrency) {
    return boost::make_shared<SubExecutor>(executor ? executor : CreateIOBoundExecutor(),
                                           maxConcurrency);
}

}  // namespace threads
}  // namespace hostcore
