// What the fuzz targets share: the input read as little-endian values (zero past its end), a
// check that stops the run on a broken invariant, and the input as a file for readers of files.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace fuzzinput {

// Aborts with `what` (and `detail`) when `condition` fails, so that libFuzzer keeps the input.
inline void Check(bool condition, const char* what, const std::string& detail = std::string()) {
    if (!condition) {
        std::fprintf(stderr, "%s: %s [%s]\n", program_invocation_short_name, what, detail.c_str());
        std::abort();
    }
}

class Reader {
public:
    Reader(const std::uint8_t* data, std::size_t size) : data(data), size(size) {}
    bool AtEnd() const { return offset >= size; }
    std::uint8_t Byte() {
        const std::uint8_t value = offset < size ? data[offset] : 0;
        ++offset;
        return value;
    }
    std::uint32_t Word() {
        std::uint32_t value = 0;
        for (int shift = 0; shift < 32; shift += 8) {
            value |= static_cast<std::uint32_t>(Byte()) << shift;
        }
        return value;
    }
    std::uint64_t Word64() {
        const std::uint64_t low = Word();
        return low | static_cast<std::uint64_t>(Word()) << 32;
    }
    float Float() {
        const std::uint32_t word = Word();
        float value = 0.0f;
        std::memcpy(&value, &word, sizeof(value));
        return value;
    }
    template <std::size_t N>
    void Floats(float (&values)[N]) {
        for (float& value : values) {
            value = Float();
        }
    }

private:
    const std::uint8_t* data;
    std::size_t size;
    std::size_t offset = 0;
};

// The path of a file that holds exactly these bytes. The file has no name and is reached through
// its descriptor, so that nothing is left behind however the run ends; it is in memory where
// there is a place for it, as it is written for every input.
inline std::string AsFile(const std::uint8_t* data, std::size_t size) {
    static const int descriptor = [] {
        std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        name = name + "/stereon-" + program_invocation_short_name + "-XXXXXX";
        const int made = mkstemp(&name[0]);
        Check(made >= 0, "cannot make the scratch file");
        unlink(name.c_str());
        return made;
    }();
    Check(ftruncate(descriptor, 0) == 0 &&
              pwrite(descriptor, data, size, 0) == static_cast<ssize_t>(size),
          "cannot write the scratch file");
    return "/proc/self/fd/" + std::to_string(descriptor);
}

}  // namespace fuzzinput
