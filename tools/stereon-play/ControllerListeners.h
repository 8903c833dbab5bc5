// The host's side of the controllers: a listener on each controller the library lists, which
// keeps what it heard for the summary, asks for the controller's pointer ray to be drawn where
// the controller points, and answers a press it takes up with a buzz.
#pragma once

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <vector>

#include "IControllerManager.h"
#include "IStereonService.h"

namespace stnplay {

class ControllerListeners {
public:
    // Each press taken up is answered with this train of haptic pulses.
    static constexpr std::uint32_t kPulseRepeats = 2;
    static constexpr std::uint32_t kPulseMicroseconds = 2000;
    static constexpr std::uint32_t kPulseIntervalMs = 40;

    ControllerListeners();
    ~ControllerListeners();

    // From the head pose callback, on the render thread: listens to the controllers the library
    // listed since the last call. A controller is listed during the frame it first appears in,
    // after this callback, so its listener hears it from the next frame on.
    void OnRenderThread(STN::IStereonService& service);
    // Haptic pulse trains asked for so far.
    std::uint64_t PulseTrains() const { return trains.load(); }
    // Each controller in list order: its hand and family now, the buttons heard with the hand
    // they came from, how many poses were heard, and the pointer of the last valid one.
    nlohmann::json Describe() const;
    // Stops listening and lets the controllers go, before the library stops.
    void Detach();

    ControllerListeners(const ControllerListeners&) = delete;
    ControllerListeners& operator=(const ControllerListeners&) = delete;

private:
    class Listener;
    struct Entry {
        boost::shared_ptr<STN::IControllerManager> controller;
        boost::shared_ptr<Listener> listener;
    };

    mutable std::mutex mutex;
    std::vector<Entry> entries;  // by the library's list index
    bool detached = false;
    std::atomic<std::uint64_t> trains{0};
};

}  // namespace stnplay
