#pragma once

// Threads, locks and executors.

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace hostcore {
namespace threads {

// The operating system's identifier of the calling thread (the kernel thread id on Linux).
std::uint64_t GetCurrentThreadID();

// A recursive mutex whose every Lock names its site ("VRPanelManager::Draw"). The text must
// outlive the lock (a string literal). The process-wide lock observer, when installed, sees
// each acquisition and each wait for a mutex another thread holds.
class RecursiveMutex {
public:
    RecursiveMutex() = default;
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    void Lock(const char* lockText);
    bool TryLock(const char* lockText);
    void Unlock();

    // Site text of the outermost hold, or null when the mutex is free. A diagnostic snapshot.
    const char* OwnerText() const { return ownerText.load(std::memory_order_acquire); }
    std::uint64_t OwnerThread() const { return ownerThread.load(std::memory_order_acquire); }

    // Scoped guard: locks with a text, unlocks at the end of the scope.
    class ScopedLock {
    public:
        ScopedLock(RecursiveMutex& mutex, const char* lockText) : mutex(mutex) {
            mutex.Lock(lockText);
        }
        ~ScopedLock() { mutex.Unlock(); }
        ScopedLock(const ScopedLock&) = delete;
        ScopedLock& operator=(const ScopedLock&) = delete;

    private:
        RecursiveMutex& mutex;
    };

private:
    std::recursive_mutex mutex;
    int depth = 0;  // guarded by mutex
    std::atomic<const char*> ownerText{nullptr};
    std::atomic<std::uint64_t> ownerThread{0};
};

// Lock diagnostics. kContended comes before the caller blocks on a mutex held by another
// thread (with the holder's text in holderText); kAcquired after every successful lock.
enum class LockEvent { kContended, kAcquired };
struct LockNotice {
    LockEvent event;
    const RecursiveMutex* mutex;
    const char* lockText;    // the caller's text
    const char* holderText;  // the holder's text for kContended, else null
    std::uint64_t threadId;
};
using LockObserver = boost::function<void(const LockNotice&)>;
// Installs the observer (an empty function removes it). It runs on the locking thread and must
// not lock the mutex it is told about.
void SetLockObserver(LockObserver observer);

// Host thread priorities: 0 lowest, 3 normal, 6 highest. What the host passes for its render
// threads is 3, 4 or 5.
enum ThreadPriority {
    kThreadPriorityIdle = 0,
    kThreadPriorityLowest = 1,
    kThreadPriorityBelowNormal = 2,
    kThreadPriorityNormal = 3,
    kThreadPriorityAboveNormal = 4,
    kThreadPriorityHighest = 5,
    kThreadPriorityTimeCritical = 6,
};

// Starts a thread that runs onStart, body, then onExit (each only when not empty; onExit also
// when body ends by an exception or an interruption). The operating system's name is the first
// 15 bytes of name, the Linux limit; the full name is kept for GetCurrentThreadName and
// FindThreadName. Priority is applied as far as the process may (nice values on Linux);
// a priority it may not set is left at the default and never fails the call. An exception
// other than interruption that leaves body is traced and swallowed.
boost::thread CreateNamedThread(
    const std::string& name, const boost::function<void()>& body, int priority,
    const boost::function<void()>& onStart, const boost::function<void()>& onExit,
    const boost::thread::attributes& attributes = boost::thread::attributes());

// The full name of the calling thread, or of the thread with the given identifier, when it was
// started by CreateNamedThread and is still running; "" otherwise.
std::string GetCurrentThreadName();
std::string FindThreadName(std::uint64_t threadId);
// The priority the thread asked for and whether it could be applied; false when not found.
bool FindThreadPriority(std::uint64_t threadId, int* requested, bool* applied);

// Something that runs jobs on threads of its own.
class Executor {
public:
    virtual ~Executor() = default;
    // Runs job on a worker as soon as one is free; false when the executor no longer accepts work.
    virtual bool Post(const boost::function<void()>& job) = 0;
    // Runs job no earlier than delayMilliseconds from now.
    virtual bool PostDelayed(const boost::function<void()>& job,
                             std::int64_t delayMilliseconds) = 0;
};

// The process's pool for work that mostly waits. Every call returns the same pool while anyone
// holds it; it and its workers go away with the last holder.
boost::shared_ptr<Executor> CreateIOBoundExecutor();

// A view on an executor that runs at most maxConcurrency of its jobs at a time (any value of 0
// or less: no limit), in the order they became due.
//
// Post(job, delay): the job runs after at least delay milliseconds (0: at once). Returns false,
// and drops the job, after Shutdown.
// Shutdown(): from then on posts are refused; jobs not yet started (delayed ones included) are
// dropped, and their functions destroyed, at once; then it waits for jobs already running to
// finish. Called from one of its own jobs, it does not wait for that job. Idempotent; the
// destructor calls it.
// WaitForIdle(): blocks until no job of this executor is queued, delayed or running (not
// counting the calling job when called from one).
class AsyncThreadedSubExecutor {
public:
    virtual ~AsyncThreadedSubExecutor() = default;
    virtual bool Post(const boost::function<void()>& job, std::int64_t delayMilliseconds) = 0;
    virtual void Shutdown() = 0;
    virtual void WaitForIdle() = 0;
    virtual bool IsShutdown() const = 0;
    virtual int MaxConcurrency() const = 0;
};

// A null executor means the I/O-bound pool.
boost::shared_ptr<AsyncThreadedSubExecutor> CreateSubExecutor(
    const boost::shared_ptr<Executor>& executor, int maxConcurrency);

}  // namespace threads
}  // namespace hostcore
