#include "Progress.h"

#include <unistd.h>

namespace stnplay {

Progress::Progress(std::FILE* out)
    : out(out),
      terminal(isatty(fileno(out)) == 1),
      start(std::chrono::steady_clock::now()),
      lastPrint(start),
      lastShownTime(start) {}

void Progress::Update(std::uint64_t delivered, std::uint64_t shown, std::uint64_t dropped) {
    const auto now = std::chrono::steady_clock::now();
    // Four times a second on a terminal, every ten seconds into a file or pipe.
    const auto interval =
        terminal ? std::chrono::milliseconds(250) : std::chrono::milliseconds(10000);
    if (now - lastPrint >= interval) {
        Print(delivered, shown, dropped, false);
    }
}

void Progress::Finish(std::uint64_t delivered, std::uint64_t shown, std::uint64_t dropped) {
    Print(delivered, shown, dropped, true);
}

void Progress::Print(std::uint64_t delivered, std::uint64_t shown, std::uint64_t dropped,
                     bool last) {
    const auto now = std::chrono::steady_clock::now();
    const double span = std::chrono::duration<double>(now - (last ? start : lastShownTime)).count();
    const double rate = span > 0.0 ? (last ? shown : shown - lastShown) / span : 0.0;
    std::fprintf(out, "%sframes delivered %llu, shown %llu, dropped %llu, %.1f frames/s%s%s",
                 terminal ? "\r" : "", static_cast<unsigned long long>(delivered),
                 static_cast<unsigned long long>(shown), static_cast<unsigned long long>(dropped),
                 rate, last ? " on average" : "", terminal && !last ? "\033[K" : "\n");
    std::fflush(out);
    lastPrint = now;
    lastShown = shown;
    lastShownTime = now;
    printed = true;
}

}  // namespace stnplay
