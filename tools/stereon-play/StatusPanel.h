// The panel stereon-play floats below the picture: what plays, the time code of the frame last
// handed over and how far the run has gone, painted each frame on a thread of the player's own,
// as a host paints its interface.
#pragma once

#include <boost/shared_ptr.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "IPanel.h"
#include "IStereonService.h"
#include "hostvirtualui/vr/VRQuad.h"

namespace stnplay {

class StatusPanel {
public:
    static constexpr std::uint32_t kWidth = 600;  // panel pixels, 1 mm each
    static constexpr std::uint32_t kHeight = 120;
    static const char* const kName;
    // Where its centre floats in the room: below the eyes (1.2 m up) and in front of them.
    static constexpr float kCentre[3] = {0.0f, 0.85f, -1.2f};

    StatusPanel(const std::string& title, double frameRate);
    ~StatusPanel();

    // From the head pose callback, on the library's render thread, where the panel's graphics
    // can be made: the first call makes the panel.
    void OnRenderThread(STN::IStereonService& service);
    void Start();
    // Frame `index` of the source was handed over; `progress` from 0 to 1, or below 0 when the
    // length of the run is not known.
    void Show(std::int64_t index, double progress);
    // Waits until the last frame given to Show is on the panel; false if it cannot be painted.
    bool WaitPainted(std::chrono::milliseconds timeout);
    // Ends the painting thread and lets the panel go; the library keeps showing it.
    void Stop();

    // The panel for the summary, with where a ray from `eye` aimed through the centre of panel
    // pixel (x, y) hits it; null if the panel was never made.
    nlohmann::json Describe(const float eye[3], std::uint32_t x, std::uint32_t y);

    // "HH:MM:SS:FF" of frame `index` at `rate` frames a second, counting whole frames.
    static std::string TimeCode(std::int64_t index, double rate);

private:
    void Run();
    void Paint(std::int64_t index, double progress);

    const std::string title;
    const double frameRate;

    std::mutex mutex;
    std::condition_variable changed;
    std::thread thread;
    bool made = false;
    bool stopping = false;
    boost::shared_ptr<STN::IPanel> panel;
    boost::shared_ptr<hostvirtualui::vr::VRQuad> quad;
    std::int64_t index = -1;
    double progress = -1.0;
    std::uint64_t wanted = 0;   // changes given to Show
    std::uint64_t painted = 0;  // ... of which the last one painted

    std::vector<std::uint8_t> image;  // B, G, R, A, top row first; the painting thread's
};

}  // namespace stnplay
