// The debug database's reader of its key file. The input is the file's text. What it parses to
// must keep the file's rules (keys and values trimmed, one line each, keys without '=' and not
// comments), must read back the same when written out as "key = value" lines, and must be what
// the database answers after loading the text as a file.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "hostcore/debug.h"

namespace {

using hostcore::debug::DebugDatabase;

// A file without a name, reached through its descriptor, so that nothing is left behind
// however the run ends.
int fileDescriptor = -1;
std::string keyFile;

void Check(bool condition, const char* what, const std::string& detail = std::string()) {
    if (!condition) {
        std::fprintf(stderr, "debug_database_fuzz: %s [%s]\n", what, detail.c_str());
        std::abort();
    }
}

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

bool Trimmed(const std::string& s) {
    return s.empty() || (!IsSpace(s.front()) && !IsSpace(s.back()));
}

void WriteKeyFile(const std::uint8_t* data, std::size_t size) {
    Check(ftruncate(fileDescriptor, 0) == 0 &&
              pwrite(fileDescriptor, data, size, 0) == static_cast<ssize_t>(size),
          "cannot write the key file");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The database reads the file this names when it is first used.
    unsetenv("STEREON_DEBUG_DB");
    // In memory where there is a place for it: the file is written for every input.
    std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    name += "/stereon-debugdb-fuzz-XXXXXX";
    fileDescriptor = mkstemp(&name[0]);
    Check(fileDescriptor >= 0, "cannot make the key file");
    unlink(name.c_str());
    keyFile = "/proc/self/fd/" + std::to_string(fileDescriptor);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::map<std::string, std::string> entries = DebugDatabase::Parse(text);

    std::string written;
    for (const auto& entry : entries) {
        const std::string& key = entry.first;
        const std::string& value = entry.second;
        Check(!key.empty(), "empty key");
        Check(Trimmed(key), "key not trimmed", key);
        Check(Trimmed(value), "value not trimmed", value);
        Check(key[0] != '#', "comment line taken as a key", key);
        Check(key.find('=') == std::string::npos, "key holds '='", key);
        Check(key.find('\n') == std::string::npos, "key spans lines", key);
        Check(value.find('\n') == std::string::npos, "value spans lines", value);
        Check(text.find(key) != std::string::npos, "key not in the text", key);
        Check(text.find(value) != std::string::npos, "value not in the text", value);
        written += key + " = " + value + "\n";
    }
    Check(DebugDatabase::Parse(written) == entries, "entries do not read back as written");

    // The file reader is the same parse; entries the program set would win, and there are none.
    DebugDatabase& database = DebugDatabase::Instance();
    WriteKeyFile(data, size);
    Check(database.LoadFile(keyFile), "the key file cannot be loaded");
    for (const auto& entry : entries) {
        Check(database.HasEntry(entry.first), "key missing after LoadFile", entry.first);
        Check(database.GetEntry(entry.first, std::string("\x01 none")) == entry.second,
              "value differs after LoadFile", entry.first);
    }
    return 0;
}
