#include "Options.h"

#include <cerrno>
#include <cstdlib>
#include <initializer_list>

namespace stnplay {

namespace {

bool OneOf(const std::string& value, std::initializer_list<const char*> choices) {
    for (const char* choice : choices) {
        if (value == choice) {
            return true;
        }
    }
    return false;
}

// A whole decimal number in [low, high].
bool ParseNumber(const std::string& text, long long low, long long high, long long& value) {
    if (text.empty() || text[0] == '-' || text[0] == '+') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const long long parsed = std::strtoll(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str() || *end != '\0' || parsed < low || parsed > high) {
        return false;
    }
    value = parsed;
    return true;
}

// "AxB" with each part in [1, high].
bool ParsePair(const std::string& text, long long highA, long long highB, std::uint32_t& a,
               std::uint32_t& b) {
    const std::size_t x = text.find('x');
    long long first = 0;
    long long second = 0;
    if (x == std::string::npos || !ParseNumber(text.substr(0, x), 1, highA, first) ||
        !ParseNumber(text.substr(x + 1), 1, highB, second)) {
        return false;
    }
    a = static_cast<std::uint32_t>(first);
    b = static_cast<std::uint32_t>(second);
    return true;
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options& options, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "-h" || arg == "--help") {
            options.help = true;
            continue;
        }
        if (arg == "--no-panel") {
            options.panel = false;
            continue;
        }
        if (arg == "--controllers") {
            options.controllers = true;
            continue;
        }
        if (arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
            if (!options.file.empty()) {
                error = "more than one file given: " + options.file + " and " + arg;
                return false;
            }
            options.file = arg;
            continue;
        }
        std::string value;
        const std::size_t equals = arg.find('=');
        if (equals != std::string::npos) {
            value = arg.substr(equals + 1);
            arg = arg.substr(0, equals);
        }
        if (!OneOf(arg, {"--projection", "--layout", "--fov", "--frames", "--headset", "--head",
                         "--runtime", "--rate", "--eye-size", "--out"})) {
            error = "unknown option " + arg + " (see --help)";
            return false;
        }
        if (equals == std::string::npos) {
            if (i + 1 >= argc) {
                error = arg + " needs a value";
                return false;
            }
            value = argv[++i];
        }
        const std::string bad = "invalid value for " + arg + ": '" + value + "'";
        if (arg == "--projection") {
            if (!OneOf(value, {"equirect", "flat"})) {
                error = bad + " (equirect or flat)";
                return false;
            }
            options.projection = value;
        } else if (arg == "--layout") {
            if (!OneOf(value, {"mono", "over-under", "side-by-side"})) {
                error = bad + " (mono, over-under or side-by-side)";
                return false;
            }
            options.layout = value;
        } else if (arg == "--fov") {
            if (!ParsePair(value, 360, 180, options.horizontalFov, options.verticalFov)) {
                error = bad + " (HxV in degrees, H 1-360, V 1-180)";
                return false;
            }
        } else if (arg == "--frames") {
            long long frames = 0;
            if (!ParseNumber(value, 1, 100000000, frames)) {
                error = bad + " (a whole number from 1)";
                return false;
            }
            options.frames = frames;
        } else if (arg == "--headset") {
            if (!OneOf(value, {"vive", "rift", "wmr", "unknown"})) {
                error = bad + " (vive, rift, wmr or unknown)";
                return false;
            }
            options.headset = value;
        } else if (arg == "--head") {
            if (!OneOf(value, {"static", "sweep"})) {
                error = bad + " (static or sweep)";
                return false;
            }
            options.head = value;
        } else if (arg == "--runtime") {
            if (!OneOf(value, {"auto", "simulated", "openvr"})) {
                error = bad + " (auto, simulated or openvr)";
                return false;
            }
            options.runtime = value;
        } else if (arg == "--rate") {
            if (!OneOf(value, {"file", "headset"})) {
                error = bad + " (file or headset)";
                return false;
            }
            options.rate = value;
        } else if (arg == "--eye-size") {
            if (!ParsePair(value, 4096, 4096, options.eyeWidth, options.eyeHeight) ||
                options.eyeWidth < 16 || options.eyeHeight < 16) {
                error = bad + " (WxH in pixels, 16-4096 each)";
                return false;
            }
        } else if (arg == "--out") {
            if (value.empty()) {
                error = bad + " (a directory)";
                return false;
            }
            options.outDir = value;
        } else {
            error = "unknown option " + arg + " (see --help)";
            return false;
        }
    }
    return true;
}

std::string HelpText() {
    return R"(Usage: stereon-play [FILE] [options]

Plays a video file, or without FILE a generated test pattern, into a VR headset through the
Stereon library, as a video-editing host does. Without a headset it plays into the simulated
runtime and writes what each eye saw.

Options:
  --projection equirect|flat   how the picture maps around the viewer (default: the file's
                               spherical metadata, else equirect; a file in a projection
                               the library cannot draw, such as cubemap, needs this option)
  --layout mono|over-under|side-by-side
                               how a frame holds the two eyes (default: the file's stereo
                               metadata, else mono); when the file says its right eye comes
                               first, the halves are exchanged before the library gets them
  --fov HxV                    field of view the picture covers, in degrees (H 1-360,
                               V 1-180; default 360x180 for equirect, 90x50 for flat)
  --frames N                   stop after N frames shown (default: the whole file; 300 for
                               the test pattern)
  --rate file|headset          hand frames over at the file's frame rate (default), or as
                               fast as the headset shows them
  --headset vive|rift|wmr|unknown
                               the simulated headset's kind (default vive)
  --head static|sweep          static looks straight ahead and level (default); sweep turns
                               the head around
  --runtime auto|simulated|openvr
                               auto (default): an installed OpenVR runtime when there is one,
                               else the simulated one; simulated; openvr: the installed one only
  --eye-size WxH               the simulated headset's eye image size (default 512x512)
  --no-panel                   no status panel: by default one floats below the picture,
                               with the file's name, the time code of the frame handed over
                               and the progress of the run, and summary.json tells where a
                               pointer ray from the viewer meets it
  --controllers                the simulated headset gets two controllers of its kind, held
                               below the picture (without it, it has none): the right one
                               sweeps its pointer ray across the view and presses its
                               trigger, then its primary and secondary buttons (a Rift's A
                               and menu buttons, else the lower and upper half of the
                               trackpad), the left one its trigger; the player buzzes each
                               press back, and summary.json lists what it heard from each
                               controller and the haptic pulses the headset got
  --out DIR                    where the pictures and summary go (default ./stereon-play-out):
                               left.png, right.png (what each eye showed last), contact.png
                               (moments of the run, left eye over right eye) and summary.json
  -h, --help                   this text

Exit codes: 0 played; 1 the library or the GPU device did not start; 2 a bad option;
3 the file does not exist, cannot be decoded, or is in a projection the library cannot draw;
4 no headset runtime.
)";
}

}  // namespace stnplay
