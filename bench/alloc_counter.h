// Counts heap allocations anywhere in the process. The benchmark program defines malloc, calloc,
// realloc, the aligned allocators and free (alloc_counter.cpp), forwarding to glibc's own; the
// program exports them, so the library, Boost, the GL driver, the runtime and libstdc++'s
// operator new all allocate through them. Nothing else links this file.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace stereon_bench {

// Allocations made so far by the calling thread.
std::uint64_t ThreadAllocations();
// Allocations made by the thread chosen with WatchThread (kernel thread id), counted from the
// moment it was chosen; 0 stops watching. With `recordStacks`, the call stack of each of the
// watched thread's allocations is kept too (the first 8192), for WatchedAllocationSources.
std::uint64_t WatchedAllocations();
void WatchThread(pid_t tid, bool recordStacks = false);

// Where the recorded allocations came from, most frequent first: "module" (the first frame
// outside libc, libstdc++ and the counter) and, when that module is not this program, the last
// function of this program on the way in, e.g. "swrast_dri.so <- STN::GraphicsContextOGL::Flush()".
// Call after WatchThread(0); allocates.
struct AllocationSource {
    std::string where;
    std::string module;
    std::uint64_t count = 0;
};
std::vector<AllocationSource> WatchedAllocationSources();
// Stacks that were not recorded because the store was full.
std::uint64_t UnrecordedStacks();

// Calls each allocating function once (malloc, calloc, realloc, posix_memalign, aligned_alloc,
// memalign, valloc, strdup inside libc, operator new and its aligned form) and checks that each
// was counted exactly once. Returns the names of those that were not, empty when all were.
// Also loads what stack recording needs, so that loading it is never counted later.
std::vector<std::string> CheckAllocationHook();

// With STEREON_BENCH_TRACE_ALLOCATIONS set, prints a stack to stderr for each allocation of the
// calling thread while on.
void TraceThreadAllocations(bool on);
// The kernel thread id of the calling thread.
pid_t CurrentThreadId();
// The kernel thread id of this process's thread named `name` (the kernel keeps 15 characters),
// or 0 when there is none.
pid_t FindThreadByName(const char* name);

}  // namespace stereon_bench
