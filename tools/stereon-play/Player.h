// The host: starts the library on a GPU device of the host stand-in, hands it the source's
// frames as a video-editing host does, and writes what the headset showed.
#pragma once

#include <cstdint>
#include <string>

#include "FrameSource.h"
#include "HeadsetRuntime.h"
#include "Options.h"

namespace stnplay {

class Player {
public:
    Player(const Options& options, FrameSource& source, HeadsetRuntime& runtime)
        : options(options), source(source), runtime(runtime) {}

    // Plays and writes the output; the exit code, with a message in Error() when not 0.
    int Run();
    const std::string& Error() const { return error; }

private:
    // The layout the options ask for, else the source's, else the defaults.
    SourceLayout ChooseLayout() const;

    const Options& options;
    FrameSource& source;
    HeadsetRuntime& runtime;
    std::string error;
};

// Asks a run in progress to stop (from a signal handler).
void RequestStop();

}  // namespace stnplay
