// Reading a fuzz input as a stream of little-endian values, and stopping the run on a broken
// invariant. Past the end of the input every value reads as zero.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fuzzinput {

// Aborts with `what` when `condition` fails, so that libFuzzer keeps the input.
inline void Check(bool condition, const char* target, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s: %s\n", target, what);
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

private:
    const std::uint8_t* data;
    std::size_t size;
    std::size_t offset = 0;
};

}  // namespace fuzzinput
