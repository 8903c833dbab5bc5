#include "alloc_counter.h"

#include <cxxabi.h>
#include <dirent.h>
#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>

// glibc's allocator under its own names; the definitions below forward to it, so memory from
// either side may be freed by the other.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void* __libc_valloc(std::size_t size);
void* __libc_pvalloc(std::size_t size);
}

namespace stereon_bench {

namespace {

thread_local std::uint64_t threadCount = 0;
thread_local pid_t threadId = 0;
// Set while the counter itself runs code that may allocate (the unwinder); those are not
// counted.
thread_local bool busy = false;
// STEREON_BENCH_TRACE_ALLOCATIONS=1 prints a stack for each allocation counted while on.
thread_local bool tracing = false;

std::atomic<pid_t> watched{0};
std::atomic<bool> recordStacks{false};
std::atomic<std::uint64_t> watchedCount{0};

// Stacks are stored without allocating: the store lives in static memory.
constexpr int kFrames = 32;
constexpr std::size_t kStacks = 8192;
struct Stack {
    int depth;
    void* frames[kFrames];
};
Stack stacks[kStacks];
std::atomic<std::size_t> stackCount{0};
std::atomic<std::uint64_t> unrecorded{0};

__attribute__((noinline)) void RecordStack() {
    const std::size_t slot = stackCount.fetch_add(1, std::memory_order_relaxed);
    if (slot >= kStacks) {
        stackCount.store(kStacks, std::memory_order_relaxed);
        unrecorded.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    stacks[slot].depth = backtrace(stacks[slot].frames, kFrames);
}

void Trace() {
    void* frames[24];
    const int count = backtrace(frames, 24);
    static const char kMark[] = "--- allocation\n";
    if (write(2, kMark, sizeof kMark - 1) > 0) {
        backtrace_symbols_fd(frames, count, 2);
    }
}

__attribute__((noinline)) void Count() {
    if (busy) {
        return;
    }
    ++threadCount;
    const pid_t target = watched.load(std::memory_order_relaxed);
    const bool isWatched = target != 0 && CurrentThreadId() == target;
    if (!tracing && !isWatched) {
        return;
    }
    busy = true;
    if (tracing) {
        Trace();
    }
    if (isWatched) {
        watchedCount.fetch_add(1, std::memory_order_relaxed);
        if (recordStacks.load(std::memory_order_relaxed)) {
            RecordStack();
        }
    }
    busy = false;
}

bool IsPowerOfTwo(std::size_t value) {
    return value != 0 && (value & (value - 1)) == 0;
}

// Function names of this program from its own symbol table (the library is linked in with
// hidden symbols, which dladdr cannot name).
class ProgramSymbols {
public:
    ProgramSymbols() {
        const int fd = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            return;
        }
        struct stat info;
        if (fstat(fd, &info) == 0 && info.st_size > static_cast<off_t>(sizeof(Elf64_Ehdr))) {
            void* image = mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ,
                               MAP_PRIVATE, fd, 0);
            if (image != MAP_FAILED) {
                Load(static_cast<const char*>(image), static_cast<std::size_t>(info.st_size));
                munmap(image, static_cast<std::size_t>(info.st_size));
            }
        }
        close(fd);
    }

    // The demangled name of the function at `address`, the program being loaded at `base`.
    std::string Name(std::uintptr_t address, std::uintptr_t base) const {
        // A position-independent program's symbols are relative to where it was loaded.
        const std::uintptr_t offset = relative ? address - base : address;
        auto next = functions.upper_bound(offset);
        if (next == functions.begin()) {
            return std::string();
        }
        --next;
        if (offset >= next->first + next->second.size) {
            return std::string();
        }
        return next->second.name;
    }

private:
    struct Function {
        std::uintptr_t size;
        std::string name;
    };

    void Load(const char* image, std::size_t size) {
        const Elf64_Ehdr* header = reinterpret_cast<const Elf64_Ehdr*>(image);
        if (std::memcmp(header->e_ident, ELFMAG, SELFMAG) != 0 ||
            header->e_ident[EI_CLASS] != ELFCLASS64 ||
            header->e_shoff + std::size_t(header->e_shnum) * sizeof(Elf64_Shdr) > size) {
            return;
        }
        relative = header->e_type == ET_DYN;
        const Elf64_Shdr* sections = reinterpret_cast<const Elf64_Shdr*>(image + header->e_shoff);
        for (int i = 0; i < header->e_shnum; ++i) {
            const Elf64_Shdr& table = sections[i];
            if (table.sh_type != SHT_SYMTAB || table.sh_link >= header->e_shnum ||
                table.sh_offset + table.sh_size > size) {
                continue;
            }
            const Elf64_Shdr& strings = sections[table.sh_link];
            if (strings.sh_offset + strings.sh_size > size) {
                continue;
            }
            const Elf64_Sym* symbols = reinterpret_cast<const Elf64_Sym*>(image + table.sh_offset);
            const std::size_t count = table.sh_size / sizeof(Elf64_Sym);
            for (std::size_t s = 0; s < count; ++s) {
                const Elf64_Sym& symbol = symbols[s];
                if (ELF64_ST_TYPE(symbol.st_info) != STT_FUNC || symbol.st_value == 0 ||
                    symbol.st_name >= strings.sh_size) {
                    continue;
                }
                const char* mangled = image + strings.sh_offset + symbol.st_name;
                int status = 0;
                char* demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
                functions[symbol.st_value] = {symbol.st_size,
                                              status == 0 && demangled ? demangled : mangled};
                std::free(demangled);
            }
        }
    }

    bool relative = true;
    std::map<std::uintptr_t, Function> functions;
};

std::string BaseName(const char* path) {
    if (path == nullptr) {
        return "?";
    }
    const char* slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

// Frames that belong to allocating, not to asking for memory.
bool IsAllocatorModule(const std::string& module) {
    return module.compare(0, 7, "libc.so") == 0 || module.compare(0, 12, "libstdc++.so") == 0 ||
           module.compare(0, 11, "libgcc_s.so") == 0;
}

bool IsAllocatorFunction(const char* name) {
    static const char* const kNames[] = {"malloc",        "calloc",   "realloc",
                                         "reallocarray",  "memalign", "posix_memalign",
                                         "aligned_alloc", "valloc",   "pvalloc"};
    if (name == nullptr) {
        return false;
    }
    for (const char* known : kNames) {
        if (std::strcmp(name, known) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::uint64_t ThreadAllocations() {
    return threadCount;
}

std::uint64_t WatchedAllocations() {
    return watchedCount.load(std::memory_order_relaxed);
}

void WatchThread(pid_t tid, bool withStacks) {
    watched.store(0, std::memory_order_relaxed);
    recordStacks.store(false, std::memory_order_relaxed);
    watchedCount.store(0, std::memory_order_relaxed);
    if (tid != 0) {
        stackCount.store(0, std::memory_order_relaxed);
        unrecorded.store(0, std::memory_order_relaxed);
        recordStacks.store(withStacks, std::memory_order_relaxed);
        watched.store(tid, std::memory_order_release);
    }
}

std::uint64_t UnrecordedStacks() {
    return unrecorded.load(std::memory_order_relaxed);
}

std::vector<AllocationSource> WatchedAllocationSources() {
    static const ProgramSymbols programSymbols;
    Dl_info self = {};
    dladdr(reinterpret_cast<void*>(&ThreadAllocations), &self);
    const std::string program = BaseName(self.dli_fname);
    const auto describe = [&](void* address, Dl_info& info) {
        // A return address points after the call; step back into it.
        void* const inCall = static_cast<char*>(address) - 1;
        if (dladdr(inCall, &info) == 0) {
            info = Dl_info();
        }
        return BaseName(info.dli_fname);
    };
    const auto programName = [&](void* address, const Dl_info& info) {
        const std::uintptr_t inCall = reinterpret_cast<std::uintptr_t>(address) - 1;
        const std::uintptr_t base = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
        const std::string name = programSymbols.Name(inCall, base);
        if (!name.empty()) {
            return name;
        }
        char text[32];
        std::snprintf(text, sizeof text, "+0x%zx", static_cast<std::size_t>(inCall - base));
        return program + text;
    };

    std::map<std::string, AllocationSource> sources;
    const std::size_t count = std::min(stackCount.load(std::memory_order_relaxed), kStacks);
    for (std::size_t s = 0; s < count; ++s) {
        const Stack& stack = stacks[s];
        // Frame 0 is RecordStack, frame 1 Count; then the allocating function and its callers.
        int frame = 2;
        Dl_info info = {};
        std::string module;
        for (; frame < stack.depth; ++frame) {
            module = describe(stack.frames[frame], info);
            if (!IsAllocatorModule(module) && !IsAllocatorFunction(info.dli_sname)) {
                break;
            }
        }
        AllocationSource source;
        if (frame >= stack.depth) {
            source.module = "?";
            source.where = "?";
        } else if (module == program) {
            source.module = program;
            source.where = programName(stack.frames[frame], info);
        } else {
            source.module = module;
            source.where = module;
            for (int outer = frame + 1; outer < stack.depth; ++outer) {
                Dl_info outerInfo = {};
                if (describe(stack.frames[outer], outerInfo) == program) {
                    source.where += " <- " + programName(stack.frames[outer], outerInfo);
                    break;
                }
            }
        }
        AllocationSource& entry = sources[source.where];
        entry.where = source.where;
        entry.module = source.module;
        ++entry.count;
    }
    std::vector<AllocationSource> sorted;
    for (const auto& entry : sources) {
        sorted.push_back(entry.second);
    }
    std::sort(
        sorted.begin(), sorted.end(),
        [](const AllocationSource& a, const AllocationSource& b) { return a.count > b.count; });
    return sorted;
}

std::vector<std::string> CheckAllocationHook() {
    // Through volatile pointers, so that the compiler cannot pair and drop the calls.
    void* (*volatile doMalloc)(std::size_t) = &malloc;
    void* (*volatile doCalloc)(std::size_t, std::size_t) = &calloc;
    void* (*volatile doRealloc)(void*, std::size_t) = &realloc;
    int (*volatile doPosixMemalign)(void**, std::size_t, std::size_t) = &posix_memalign;
    void* (*volatile doAlignedAlloc)(std::size_t, std::size_t) = &aligned_alloc;
    void* (*volatile doMemalign)(std::size_t, std::size_t) = &memalign;
    void* (*volatile doValloc)(std::size_t) = &valloc;
    char* (*volatile doStrdup)(const char*) = &strdup;
    void (*volatile doFree)(void*) = &free;

    // The unwinder loads on its first use; load it now, outside any count.
    void* frames[4];
    backtrace(frames, 4);

    std::vector<std::string> missed;
    const auto expectOne = [&](const char* name, const auto& allocate) {
        const std::uint64_t before = threadCount;
        allocate();
        if (threadCount - before != 1) {
            missed.push_back(name + std::string(" counted ") +
                             std::to_string(threadCount - before) + " times");
        }
    };
    expectOne("malloc", [&] { doFree(doMalloc(24)); });
    expectOne("calloc", [&] { doFree(doCalloc(3, 8)); });
    void* grown = nullptr;
    expectOne("realloc", [&] { grown = doRealloc(nullptr, 16); });
    expectOne("realloc (moving)", [&] { grown = doRealloc(grown, 1 << 20); });
    doFree(grown);
    expectOne("posix_memalign", [&] {
        void* memory = nullptr;
        if (doPosixMemalign(&memory, 64, 100) == 0) {
            doFree(memory);
        }
    });
    expectOne("aligned_alloc", [&] { doFree(doAlignedAlloc(64, 128)); });
    expectOne("memalign", [&] { doFree(doMemalign(64, 100)); });
    expectOne("valloc", [&] { doFree(doValloc(100)); });
    expectOne("strdup (inside libc)", [&] { doFree(doStrdup("stereon")); });
    void* (*volatile doNew)(std::size_t) = &::operator new;
    void* (*volatile doAlignedNew)(std::size_t, std::align_val_t) = &::operator new;
    expectOne("operator new", [&] { ::operator delete(doNew(40)); });
    expectOne("aligned operator new", [&] {
        ::operator delete(doAlignedNew(256, std::align_val_t(128)), std::align_val_t(128));
    });
    return missed;
}

void TraceThreadAllocations(bool on) {
    static const bool wanted = std::getenv("STEREON_BENCH_TRACE_ALLOCATIONS") != nullptr;
    tracing = on && wanted;
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

// The process's allocator: each allocating call counts once and goes on to glibc. libstdc++'s
// operator new and delete call these, so they need no replacement of their own.
extern "C" {

void* malloc(std::size_t size) noexcept {
    stereon_bench::Count();
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    stereon_bench::Count();
    return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    if (memory == nullptr || size != 0) {
        stereon_bench::Count();
    }
    return __libc_realloc(memory, size);
}

void* reallocarray(void* memory, std::size_t count, std::size_t size) noexcept {
    if (size != 0 && count > static_cast<std::size_t>(-1) / size) {
        errno = ENOMEM;
        return nullptr;
    }
    return realloc(memory, count * size);
}

void free(void* memory) noexcept {
    __libc_free(memory);
}

int posix_memalign(void** result, std::size_t alignment, std::size_t size) noexcept {
    if (!stereon_bench::IsPowerOfTwo(alignment) || alignment % sizeof(void*) != 0) {
        return EINVAL;
    }
    stereon_bench::Count();
    void* memory = __libc_memalign(alignment, size);
    if (memory == nullptr) {
        return ENOMEM;
    }
    *result = memory;
    return 0;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    if (!stereon_bench::IsPowerOfTwo(alignment)) {
        errno = EINVAL;
        return nullptr;
    }
    stereon_bench::Count();
    return __libc_memalign(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
    stereon_bench::Count();
    return __libc_memalign(alignment, size);
}

void* valloc(std::size_t size) noexcept {
    stereon_bench::Count();
    return __libc_valloc(size);
}

void* pvalloc(std::size_t size) noexcept {
    stereon_bench::Count();
    return __libc_pvalloc(size);
}

}  // extern "C"
