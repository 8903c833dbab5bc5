// Counts heap allocations made through operator new anywhere in the process. The benchmark
// program replaces the global operator new and delete (alloc_counter.cpp); nothing else links it.
#pragma once

#include <sys/types.h>
#include <cstdint>

namespace stereon_bench {

// Allocations made so far by the calling thread.
std::uint64_t ThreadAllocations();
// Allocations made so far by the thread chosen with WatchThread (kernel thread id), counted
// from the moment it was chosen.
std::uint64_t WatchedAllocations();
void WatchThread(pid_t tid);
// With STEREON_BENCH_TRACE_ALLOCATIONS set, prints a stack to stderr for each allocation of the
// calling thread while on.
void TraceThreadAllocations(bool on);
// The kernel thread id of the calling thread.
pid_t CurrentThreadId();
// The kernel thread id of this process's thread named `name` (the kernel keeps 15 characters),
// or 0 when there is none.
pid_t FindThreadByName(const char* name);

}  // namespace stereon_bench
