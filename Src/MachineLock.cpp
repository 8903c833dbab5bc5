#include "MachineLock.h"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/permissions.hpp>
#include <boost/interprocess/shared_memory_object.hpp>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#else
#include <signal.h>
#include <unistd.h>
#endif

namespace STN {

namespace ipc = boost::interprocess;

const char MachineLock::kDefaultName[] = "STN";

namespace {

// The lock word and the room the named mutex takes in shared memory; the holder's process
// identifier follows the lock word.
const ipc::offset_t kObjectSize = 12;

std::uint32_t* LockWord(void* address) {
    return static_cast<std::uint32_t*>(address);
}
std::uint32_t* HolderWord(void* address) {
    return static_cast<std::uint32_t*>(address) + 1;
}

std::uint32_t CurrentProcess() {
#ifdef _WIN32
    return static_cast<std::uint32_t>(GetCurrentProcessId());
#else
    return static_cast<std::uint32_t>(getpid());
#endif
}

bool ProcessIsAlive(std::uint32_t process) {
#ifdef _WIN32
    HANDLE handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
    if (handle == nullptr) {
        return GetLastError() == ERROR_ACCESS_DENIED;
    }
    DWORD code = 0;
    const bool alive = GetExitCodeProcess(handle, &code) && code == STILL_ACTIVE;
    CloseHandle(handle);
    return alive;
#else
    return kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM;
#endif
}

ipc::shared_memory_object OpenOrCreate(const std::string& name) {
    ipc::permissions everyone;
    everyone.set_unrestricted();
    ipc::shared_memory_object object(ipc::open_or_create, name.c_str(), ipc::read_write, everyone);
    ipc::offset_t size = 0;
    if (!object.get_size(size) || size < kObjectSize) {
        object.truncate(kObjectSize);  // new pages read as zero: free
    }
    return object;
}

bool CompareExchange(std::uint32_t* address, std::uint32_t expected, std::uint32_t desired) {
    return __atomic_compare_exchange_n(address, &expected, desired, false, __ATOMIC_ACQ_REL,
                                       __ATOMIC_ACQUIRE);
}

}  // namespace

MachineLock::MachineLock(const std::string& name) : name(name) {}

bool MachineLock::Acquire() const {
    return Acquire(boost::posix_time::microsec_clock::universal_time() +
                   boost::posix_time::microseconds(kTimeoutMicroseconds));
}

bool MachineLock::Acquire(const boost::posix_time::ptime& deadline) const {
    try {
        ipc::shared_memory_object object = OpenOrCreate(name);
        ipc::mapped_region region(object, ipc::read_write, 0, kObjectSize);
        void* word = region.get_address();
        // Spin a little, then back off to short sleeps: the holder keeps the lock for a whole
        // run, so a waiter mostly waits out its deadline.
        for (unsigned attempt = 0;; ++attempt) {
            if (CompareExchange(LockWord(word), 0, 1)) {
                __atomic_store_n(HolderWord(word), CurrentProcess(), __ATOMIC_RELEASE);
                return true;
            }
            if (boost::posix_time::microsec_clock::universal_time() >= deadline) {
                return false;
            }
            if (attempt < 16) {
                std::this_thread::yield();
            } else {
                const unsigned step = attempt < 64 ? attempt - 15 : 50;
                std::this_thread::sleep_for(std::chrono::microseconds(200 * step));
            }
        }
    } catch (const ipc::interprocess_exception&) {
        return false;
    }
}

void MachineLock::Release() const {
    try {
        ipc::shared_memory_object object = OpenOrCreate(name);
        ipc::mapped_region region(object, ipc::read_write, 0, kObjectSize);
        void* word = region.get_address();
        __atomic_store_n(HolderWord(word), 0u, __ATOMIC_RELEASE);
        CompareExchange(LockWord(word), 1, 0);
    } catch (const ipc::interprocess_exception&) {
    }
}

void MachineLock::Remove() const {
    ipc::shared_memory_object::remove(name.c_str());
}

bool MachineLock::RemoveAbandoned() const {
    try {
        ipc::shared_memory_object object(ipc::open_only, name.c_str(), ipc::read_only);
        ipc::offset_t size = 0;
        if (object.get_size(size) && size >= kObjectSize) {
            ipc::mapped_region region(object, ipc::read_only, 0, kObjectSize);
            void* word = region.get_address();
            // A free lock stays: a process waiting for it has this object open and would take
            // it there, while the next Acquire here made a new one; both would hold the headset.
            if (__atomic_load_n(LockWord(word), __ATOMIC_ACQUIRE) == 0) {
                return false;
            }
            const std::uint32_t holder = __atomic_load_n(HolderWord(word), __ATOMIC_ACQUIRE);
            // A holder of 0 is a lock taken by a build that did not record its process: it
            // cannot be told from an abandoned one.
            if (holder != 0 && ProcessIsAlive(holder)) {
                return false;
            }
        }
    } catch (const ipc::interprocess_exception&) {
        // No object, or one that cannot be read: nothing a live host could be holding.
    }
    Remove();
    return true;
}

bool MachineLock::IsTaken() const {
    try {
        ipc::shared_memory_object object(ipc::open_only, name.c_str(), ipc::read_only);
        ipc::offset_t size = 0;
        if (!object.get_size(size) || size < kObjectSize) {
            return false;
        }
        ipc::mapped_region region(object, ipc::read_only, 0, kObjectSize);
        return __atomic_load_n(static_cast<const std::uint32_t*>(region.get_address()),
                               __ATOMIC_ACQUIRE) == 1;
    } catch (const ipc::interprocess_exception&) {
        return false;
    }
}

}  // namespace STN
