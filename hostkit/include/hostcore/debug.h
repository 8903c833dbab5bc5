#pragma once

// Debug services: the debug database of settings, trace output, the assertion policy,
// debugger detection and name demangling.

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace hostcore {
namespace debug {

// Key/value settings. Values come from the text file named by the environment variable
// STEREON_DEBUG_DB, read at first use, and from entries the program sets; a set entry wins
// over the file. File syntax: one "key = value" (or "key=value") per line, "#" starts a
// comment line, whitespace around key and value is trimmed, a later line wins over an earlier
// one, lines without "=" or with an empty key are ignored.
class DebugDatabase {
public:
    static DebugDatabase& Instance();

    // The entry's text, or defaultText when there is none.
    std::string GetEntry(const std::string& key, const std::string& defaultText) const;
    bool HasEntry(const std::string& key) const;

    void SetEntry(const std::string& key, const std::string& value);
    void RemoveEntry(const std::string& key);  // removes a set entry; the file's stays
    void ClearEntries();                       // removes all set entries

    // Replaces the file entries with those of path; false (and no file entries) when it cannot
    // be read. An empty path clears the file entries.
    bool LoadFile(const std::string& path);
    // Reads the file named by STEREON_DEBUG_DB again (no variable: no file entries).
    bool Reload();

    // Parses file text into entries, as LoadFile does.
    static std::map<std::string, std::string> Parse(const std::string& text);

private:
    DebugDatabase();
    mutable std::mutex mutex;
    std::map<std::string, std::string> fileEntries;
    std::map<std::string, std::string> setEntries;
};

// Trace levels: a line of level L for a category is written when the category's configured
// level is L or more. Nothing is enabled by default. The environment variable STEREON_TRACE
// ("STN=5,GB=2"; "*=3" sets every category without its own setting) is read at first use.
void Trace(const char* category, int level, const std::string& message);
bool TraceEnabled(const char* category, int level);
// Moves whenever the trace configuration changes; never 0, so a site can start from 0.
std::uint32_t TraceChangeCount();

void SetTraceLevel(const char* category, int level);  // level <= 0 turns the category off
void ResetTraceLevels();                              // everything off
bool ConfigureTraceFromString(const std::string& text);

// Where trace lines go: stderr unless a sink is installed. The sink receives the whole line
// without a line end. An empty function restores stderr.
using TraceSink = std::function<void(const std::string& line)>;
void SetTraceSink(TraceSink sink);

// "<threadId> <category> <level> message".
std::string FormatTraceLine(std::uint64_t threadId, const char* category, int level,
                            const std::string& message);

// Cached enable test for one trace site: asks TraceEnabled again only when TraceChangeCount
// has moved since the last time.
class TraceSite {
public:
    TraceSite(const char* category, int level) : category(category), level(level) {}
    bool Enabled() {
        const std::uint32_t now = TraceChangeCount();
        if (cachedCount.load(std::memory_order_acquire) != now) {
            cachedEnabled.store(TraceEnabled(category, level), std::memory_order_relaxed);
            cachedCount.store(now, std::memory_order_release);
        }
        return cachedEnabled.load(std::memory_order_relaxed);
    }
    void Write(const std::string& message) {
        if (Enabled()) {
            Trace(category, level, message);
        }
    }

private:
    const char* category;
    int level;
    std::atomic<std::uint32_t> cachedCount{0};
    std::atomic<bool> cachedEnabled{false};
};

// The assertion dialog, as a policy for a process nobody sits in front of: the assertion is
// recorded, written as a trace line of category "ASSERT", level 1 (always, whatever the trace
// levels), and the answer is false, so the caller never breaks.
bool BreakAfterAssertDialog(const char* message, const char* expression, const char* file, int line,
                            const char* function);

struct AssertionRecord {
    std::string message;
    std::string expression;
    std::string file;
    int line;
    std::string function;
    std::uint64_t threadId;
};
std::vector<AssertionRecord> RecordedAssertions();
void ClearRecordedAssertions();

// True when a tracer (debugger) is attached to this process.
bool IsDebuggerAttached();

// The readable form of a mangled type or symbol name; the input itself when it cannot be
// demangled; "" for null.
std::string DemangleName(const char* mangledName);

}  // namespace debug
}  // namespace hostcore
