// Reading a fuzz input as a stream of little-endian values, stopping the run on a broken
// invariant, and a scratch file for targets whose code reads files. Past the end of the input
// every value reads as zero.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace fuzzinput {

// Aborts with `what` (and `detail`, when given) when `condition` fails, so that libFuzzer keeps
// the input.
inline void Check(bool condition, const char* target, const char* what,
                  const char* detail = nullptr) {
    if (!condition) {
        if (detail != nullptr) {
            std::fprintf(stderr, "%s: %s [%s]\n", target, what, detail);
        } else {
            std::fprintf(stderr, "%s: %s\n", target, what);
        }
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

// A file without a name, reached through its descriptor, so that nothing is left behind however
// the run ends. In memory where there is a place for it: it is written for every input.
class ScratchFile {
public:
    explicit ScratchFile(const char* target) : target(target) {
        std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        name = name + "/stereon-" + target + "-XXXXXX";
        descriptor = mkstemp(&name[0]);
        Check(descriptor >= 0, target, "cannot make the scratch file");
        unlink(name.c_str());
        path = "/proc/self/fd/" + std::to_string(descriptor);
    }
    const std::string& Path() const { return path; }
    // The file then holds exactly these bytes.
    void Write(const std::uint8_t* data, std::size_t size) const {
        Check(ftruncate(descriptor, 0) == 0 &&
                  pwrite(descriptor, data, size, 0) == static_cast<ssize_t>(size),
              target, "cannot write the scratch file");
    }

private:
    const char* target;
    int descriptor = -1;
    std::string path;
};

}  // namespace fuzzinput
