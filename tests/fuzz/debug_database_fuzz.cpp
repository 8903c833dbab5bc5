// The debug database's reader of its key file. The input is the file's text. What it parses to
// must keep the file's rules (keys and values trimmed, one line each, keys without '=' and not
// comments), must read back the same when written out as "key = value" lines, and must be what
// the database answers after loading the text as a file.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "fuzz_input.h"
#include "hostcore/debug.h"

namespace {

using fuzzinput::Check;
using hostcore::debug::DebugDatabase;

bool Trimmed(const std::string& s) {
    const auto space = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    return s.empty() || (!space(s.front()) && !space(s.back()));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The database reads the file this names when it is first used.
    unsetenv("STEREON_DEBUG_DB");
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
        Check(key.find_first_of("=\n") == std::string::npos, "key holds '=' or spans lines", key);
        Check(value.find('\n') == std::string::npos, "value spans lines", value);
        Check(text.find(key) != std::string::npos, "key not in the text", key);
        Check(text.find(value) != std::string::npos, "value not in the text", value);
        written += key + " = " + value + "\n";
    }
    Check(DebugDatabase::Parse(written) == entries, "entries do not read back as written");

    // The file reader is the same parse; entries the program set would win, and there are none.
    DebugDatabase& database = DebugDatabase::Instance();
    Check(database.LoadFile(fuzzinput::AsFile(data, size)), "the key file cannot be loaded");
    for (const auto& entry : entries) {
        Check(database.HasEntry(entry.first), "key missing after LoadFile", entry.first);
        Check(database.GetEntry(entry.first, std::string("\x01 none")) == entry.second,
              "value differs after LoadFile", entry.first);
    }
    return 0;
}
