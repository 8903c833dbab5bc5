#include "alloc_counter.h"

#include <dirent.h>
#include <execinfo.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

namespace stereon_bench {

namespace {

thread_local std::uint64_t threadCount = 0;
thread_local pid_t threadId = 0;
std::atomic<pid_t> watched{0};
std::atomic<std::uint64_t> watchedCount{0};
// Where allocations come from, for finding them: STEREON_BENCH_TRACE_ALLOCATIONS=1 prints a
// stack for each allocation counted while tracing is on.
thread_local bool tracing = false;
thread_local bool inTrace = false;

void Trace() {
    inTrace = true;
    void* frames[24];
    const int count = backtrace(frames, 24);
    static const char kMark[] = "--- allocation\n";
    if (write(2, kMark, sizeof kMark - 1) > 0) {
        backtrace_symbols_fd(frames, count, 2);
    }
    inTrace = false;
}

void Count() {
    ++threadCount;
    if (tracing && !inTrace) {
        Trace();
    }
    const pid_t target = watched.load(std::memory_order_relaxed);
    if (target != 0 && CurrentThreadId() == target) {
        watchedCount.fetch_add(1, std::memory_order_relaxed);
    }
}

void* Allocate(std::size_t size, std::size_t alignment) {
    Count();
    if (size == 0) {
        size = 1;
    }
    void* memory = nullptr;
    if (alignment <= alignof(std::max_align_t)) {
        memory = std::malloc(size);
    } else if (posix_memalign(&memory, alignment, size) != 0) {
        memory = nullptr;
    }
    return memory;
}

}  // namespace

std::uint64_t ThreadAllocations() {
    return threadCount;
}

std::uint64_t WatchedAllocations() {
    return watchedCount.load(std::memory_order_relaxed);
}

void TraceThreadAllocations(bool on) {
    static const bool wanted = std::getenv("STEREON_BENCH_TRACE_ALLOCATIONS") != nullptr;
    tracing = on && wanted;
}

void WatchThread(pid_t tid) {
    watchedCount.store(0, std::memory_order_relaxed);
    watched.store(tid, std::memory_order_relaxed);
}

pid_t CurrentThreadId() {
    if (threadId == 0) {
        threadId = static_cast<pid_t>(syscall(SYS_gettid));
    }
    return threadId;
}

pid_t FindThreadByName(const char* name) {
    DIR* tasks = opendir("/proc/self/task");
    if (tasks == nullptr) {
        return 0;
    }
    pid_t found = 0;
    while (dirent* entry = readdir(tasks)) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        const std::string path = std::string("/proc/self/task/") + entry->d_name + "/comm";
        FILE* file = std::fopen(path.c_str(), "r");
        if (file == nullptr) {
            continue;
        }
        char comm[64] = {};
        if (std::fgets(comm, sizeof comm, file) != nullptr) {
            comm[std::strcspn(comm, "\n")] = '\0';
            if (std::strncmp(comm, name, 15) == 0 && comm[0] != '\0') {
                found = static_cast<pid_t>(std::atoi(entry->d_name));
            }
        }
        std::fclose(file);
        if (found != 0) {
            break;
        }
    }
    closedir(tasks);
    return found;
}

}  // namespace stereon_bench

// The replacements. Each allocating form counts once; deletes only free.
void* operator new(std::size_t size) {
    void* memory = stereon_bench::Allocate(size, 0);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return stereon_bench::Allocate(size, 0);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return stereon_bench::Allocate(size, 0);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    void* memory = stereon_bench::Allocate(size, static_cast<std::size_t>(alignment));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return operator new(size, alignment);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
