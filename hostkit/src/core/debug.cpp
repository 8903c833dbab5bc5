#include "hostcore/debug.h"

#include "hostcore/threads.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

namespace hostcore {
namespace debug {

namespace {

std::string Trim(const std::string& s) {
    const char* ws = " \t\r\n\f\v";
    const std::size_t b = s.find_first_not_of(ws);
    if (b == std::string::npos) {
        return std::string();
    }
    const std::size_t e = s.find_last_not_of(ws);
    return s.substr(b, e - b + 1);
}

std::string OrEmpty(const char* s) {
    return s == nullptr ? std::string() : std::string(s);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Debug database

DebugDatabase& DebugDatabase::Instance() {
    static DebugDatabase* instance = new DebugDatabase();  // used from threads that outlive statics
    return *instance;
}

DebugDatabase::DebugDatabase() {
    Reload();
}

std::map<std::string, std::string> DebugDatabase::Parse(const std::string& text) {
    std::map<std::string, std::string> entries;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        const std::string trimmed = Trim(line);
        if (trimmed.empty() || trimmed[0] == '#') {
            continue;
        }
        const std::size_t eq = trimmed.find('=');
        if (eq == std::string::npos) {
            continue;
        }
        const std::string key = Trim(trimmed.substr(0, eq));
        if (key.empty()) {
            continue;
        }
        entries[key] = Trim(trimmed.substr(eq + 1));
    }
    return entries;
}

bool DebugDatabase::LoadFile(const std::string& path) {
    std::map<std::string, std::string> entries;
    bool ok = true;
    if (!path.empty()) {
        std::ifstream in(path, std::ios::binary);
        if (in) {
            std::ostringstream text;
            text << in.rdbuf();
            entries = Parse(text.str());
        } else {
            ok = false;
        }
    }
    std::lock_guard<std::mutex> lock(mutex);
    fileEntries.swap(entries);
    return ok;
}

bool DebugDatabase::Reload() {
    const char* path = std::getenv("STEREON_DEBUG_DB");
    return LoadFile(path == nullptr ? std::string() : std::string(path));
}

std::string DebugDatabase::GetEntry(const std::string& key, const std::string& defaultText) const {
    std::lock_guard<std::mutex> lock(mutex);
    auto it = setEntries.find(key);
    if (it != setEntries.end()) {
        return it->second;
    }
    it = fileEntries.find(key);
    return it != fileEntries.end() ? it->second : defaultText;
}

bool DebugDatabase::HasEntry(const std::string& key) const {
    std::lock_guard<std::mutex> lock(mutex);
    return setEntries.count(key) != 0 || fileEntries.count(key) != 0;
}

void DebugDatabase::SetEntry(const std::string& key, const std::string& value) {
    std::lock_guard<std::mutex> lock(mutex);
    setEntries[key] = value;
}

void DebugDatabase::RemoveEntry(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex);
    setEntries.erase(key);
}

void DebugDatabase::ClearEntries() {
    std::lock_guard<std::mutex> lock(mutex);
    setEntries.clear();
}

// ---------------------------------------------------------------------------------------------
// Trace

namespace {

struct TraceConfig {
    std::mutex mutex;
    std::map<std::string, int> levels;
    int wildcard = 0;
    std::atomic<std::uint32_t> changeCount{1};
    std::shared_ptr<const TraceSink> sink;  // atomic_load/atomic_store
    std::mutex stderrMutex;

    TraceConfig() {
        const char* env = std::getenv("STEREON_TRACE");
        if (env != nullptr) {
            Apply(env);
        }
    }

    void Bump() {
        std::uint32_t next = changeCount.load() + 1;
        if (next == 0) {
            next = 1;  // 0 is the "never asked" value of a trace site
        }
        changeCount.store(next, std::memory_order_release);
    }

    // Called with mutex held.
    bool Apply(const std::string& text) {
        bool ok = true;
        std::istringstream in(text);
        std::string item;
        while (std::getline(in, item, ',')) {
            item = Trim(item);
            if (item.empty()) {
                continue;
            }
            const std::size_t eq = item.find('=');
            const std::string name = Trim(item.substr(0, eq));
            if (eq == std::string::npos || name.empty()) {
                ok = false;
                continue;
            }
            const std::string value = Trim(item.substr(eq + 1));
            char* end = nullptr;
            const long level = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end != '\0') {
                ok = false;
                continue;
            }
            const int clamped = level < 0 ? 0 : (level > 1000 ? 1000 : static_cast<int>(level));
            if (name == "*") {
                wildcard = clamped;
            } else {
                levels[name] = clamped;
            }
        }
        return ok;
    }
};

TraceConfig& Config() {
    static TraceConfig* config = new TraceConfig();
    return *config;
}

void WriteLine(const std::string& line) {
    TraceConfig& c = Config();
    const std::shared_ptr<const TraceSink> sink = std::atomic_load(&c.sink);
    if (sink && *sink) {
        (*sink)(line);
        return;
    }
    std::lock_guard<std::mutex> lock(c.stderrMutex);
    std::fprintf(stderr, "%s\n", line.c_str());
    std::fflush(stderr);
}

}  // namespace

std::string FormatTraceLine(std::uint64_t threadId, const char* category, int level,
                            const std::string& message) {
    std::string line;
    line.reserve(message.size() + 40);
    line += '<';
    line += std::to_string(threadId);
    line += "> <";
    line += OrEmpty(category);
    line += "> <";
    line += std::to_string(level);
    line += "> ";
    line += message;
    return line;
}

void Trace(const char* category, int level, const std::string& message) {
    WriteLine(FormatTraceLine(threads::GetCurrentThreadID(), category, level, message));
}

bool TraceEnabled(const char* category, int level) {
    if (category == nullptr) {
        return false;
    }
    TraceConfig& c = Config();
    std::lock_guard<std::mutex> lock(c.mutex);
    const auto it = c.levels.find(category);
    const int configured = it != c.levels.end() ? it->second : c.wildcard;
    return configured > 0 && level <= configured;
}

std::uint32_t TraceChangeCount() {
    return Config().changeCount.load(std::memory_order_acquire);
}

void SetTraceLevel(const char* category, int level) {
    if (category == nullptr) {
        return;
    }
    TraceConfig& c = Config();
    std::lock_guard<std::mutex> lock(c.mutex);
    c.levels[category] = level < 0 ? 0 : level;
    c.Bump();
}

void ResetTraceLevels() {
    TraceConfig& c = Config();
    std::lock_guard<std::mutex> lock(c.mutex);
    c.levels.clear();
    c.wildcard = 0;
    c.Bump();
}

bool ConfigureTraceFromString(const std::string& text) {
    TraceConfig& c = Config();
    std::lock_guard<std::mutex> lock(c.mutex);
    const bool ok = c.Apply(text);
    c.Bump();
    return ok;
}

void SetTraceSink(TraceSink sink) {
    TraceConfig& c = Config();
    if (!sink) {
        std::atomic_store(&c.sink, std::shared_ptr<const TraceSink>());
        return;
    }
    std::atomic_store(
        &c.sink, std::shared_ptr<const TraceSink>(std::make_shared<TraceSink>(std::move(sink))));
}

// ---------------------------------------------------------------------------------------------
// Assertions, debugger, names

namespace {

struct AssertionLog {
    std::mutex mutex;
    std::vector<AssertionRecord> records;
};

AssertionLog& Assertions() {
    static AssertionLog* log = new AssertionLog();
    return *log;
}

}  // namespace

bool BreakAfterAssertDialog(const char* message, const char* expression, const char* file, int line,
                            const char* function) {
    AssertionRecord record{OrEmpty(message),  OrEmpty(expression),          OrEmpty(file), line,
                           OrEmpty(function), threads::GetCurrentThreadID()};
    const std::string text = "Assertion failed: " + record.message + " (" + record.expression +
                             ") at " + record.file + ":" + std::to_string(line) + " in " +
                             record.function;
    {
        AssertionLog& log = Assertions();
        std::lock_guard<std::mutex> lock(log.mutex);
        log.records.push_back(std::move(record));
    }
    WriteLine(FormatTraceLine(threads::GetCurrentThreadID(), "ASSERT", 1, text));
    return false;
}

std::vector<AssertionRecord> RecordedAssertions() {
    AssertionLog& log = Assertions();
    std::lock_guard<std::mutex> lock(log.mutex);
    return log.records;
}

void ClearRecordedAssertions() {
    AssertionLog& log = Assertions();
    std::lock_guard<std::mutex> lock(log.mutex);
    log.records.clear();
}

bool IsDebuggerAttached() {
#if defined(__linux__)
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 10, "TracerPid:") == 0) {
            return std::strtol(line.c_str() + 10, nullptr, 10) != 0;
        }
    }
#endif
    return false;
}

std::string DemangleName(const char* mangledName) {
    if (mangledName == nullptr) {
        return std::string();
    }
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(mangledName, nullptr, nullptr, &status), std::free);
    if (status != 0 || !demangled) {
        return mangledName;
    }
    return demangled.get();
}

}  // namespace debug
}  // namespace hostcore
