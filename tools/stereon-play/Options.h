// The command line of stereon-play.
#pragma once

#include <cstdint>
#include <string>

namespace stnplay {

// Exit codes.
enum ExitCode : int {
    kExitOK = 0,
    kExitFailure = 1,    // the library or the device would not start
    kExitUsage = 2,      // an unknown option or a value out of range
    kExitBadInput = 3,   // the file does not exist or cannot be decoded
    kExitNoRuntime = 4,  // no headset runtime to play into
};

struct Options {
    std::string file;  // empty: the built-in test pattern
    // Layout: empty strings / zero take the file's metadata or the defaults.
    std::string projection;  // "equirect" or "flat"
    std::string layout;      // "mono", "over-under" or "side-by-side"
    std::uint32_t horizontalFov = 0;
    std::uint32_t verticalFov = 0;
    std::int64_t frames = -1;      // -1: the whole file, or the pattern's default
    std::string headset = "vive";  // vive, rift, wmr, unknown
    std::string head = "static";   // static, sweep
    std::string runtime = "auto";  // auto, simulated, openvr
    std::string rate = "file";     // file, headset
    std::uint32_t eyeWidth = 512;
    std::uint32_t eyeHeight = 512;
    std::string outDir = "stereon-play-out";
    bool panel = true;         // the status panel below the picture
    bool controllers = false;  // the simulated headset's controllers, with their script
    bool help = false;
};

// Parses argv. False with a message in `error` for anything it cannot take.
bool ParseOptions(int argc, char** argv, Options& options, std::string& error);

std::string HelpText();

}  // namespace stnplay
