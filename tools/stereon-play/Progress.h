// The progress line while a run plays: rewritten in place on a terminal, otherwise a line now
// and then, so that a log does not fill up.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>

namespace stnplay {

class Progress {
public:
    explicit Progress(std::FILE* out);

    void Update(std::uint64_t delivered, std::uint64_t shown, std::uint64_t dropped);
    // The last line, always written.
    void Finish(std::uint64_t delivered, std::uint64_t shown, std::uint64_t dropped);

private:
    void Print(std::uint64_t delivered, std::uint64_t shown, std::uint64_t dropped, bool last);

    std::FILE* out;
    bool terminal;
    std::chrono::steady_clock::time_point start;
    std::chrono::steady_clock::time_point lastPrint;
    std::uint64_t lastShown = 0;
    std::chrono::steady_clock::time_point lastShownTime;
    bool printed = false;
};

}  // namespace stnplay
