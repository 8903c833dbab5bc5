// The host: starts the library on a GPU device of the host stand-in, hands it the source's
// frames as a video-editing host does, and writes what the headset showed.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "ContactSheet.h"
#include "ControllerListeners.h"
#include "ControllerScript.h"
#include "FrameSource.h"
#include "HeadsetRuntime.h"
#include "Options.h"
#include "Progress.h"
#include "ShowMonitor.h"
#include "StatusPanel.h"

namespace GB {
class Device;
}
namespace STN {
class IStereonService;
}

namespace stnplay {

class Player {
public:
    Player(const Options& options, FrameSource& source, HeadsetRuntime& runtime);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Plays and writes the output; the exit code, with a message in Error() when not 0.
    int Run();
    const std::string& Error() const { return error; }

private:
    // The layout the options ask for, else the source's, else the defaults.
    SourceLayout ChooseLayout() const;

    // The phases of a run, in order. Each of the first two says in `error` why it failed.
    bool OpenDevice();
    bool StartLibrary();
    void PlayFrames();
    // Waits until the pictures show what the run ended with; what the panel answered.
    nlohmann::json Settle();
    int Verdict();
    void WriteSummary(const nlohmann::json& panelSummary, double seconds);
    void StopLibrary();
    // Drops the host's hold on the device and waits until the library has let it go too.
    void LetGoOfDevice();

    std::uint64_t ShownSoFar() const;
    // How far the run is, 0 to 1: frames shown against the target, or frames handed over
    // against the source's length, whichever is further.
    double RunProgress(std::int64_t handed, std::uint64_t shownSoFar) const;

    const Options& options;
    FrameSource& source;
    HeadsetRuntime& runtime;
    std::string error;

    // Frames shown before the run ends, or -1 for the whole source; the source's length or -1.
    std::int64_t target = -1;
    std::int64_t length = -1;
    // The simulated headset's frames can be counted and its pictures read.
    bool measured = false;

    boost::shared_ptr<GB::Device> device;
    std::future<void> deviceGone;
    // Made before the service and destroyed after it: the render thread may still be in the
    // head pose callback, which reaches them, until the library has stopped.
    std::unique_ptr<StatusPanel> status;
    ControllerListeners listeners;
    std::unique_ptr<ControllerScript> script;
    boost::shared_ptr<STN::IStereonService> service;
    ShowMonitor monitor;
    ContactSheet sheet;
    std::unique_ptr<Progress> progress;

    // What the run did.
    SourceLayout current;
    bool swapping = false;
    std::uint64_t delivered = 0;
    std::uint64_t refused = 0;
    std::int64_t lastHanded = -1;
};

// Asks a run in progress to stop (from a signal handler).
void RequestStop();

}  // namespace stnplay
