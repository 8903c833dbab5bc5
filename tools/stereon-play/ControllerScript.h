// The user of --controllers: holds the simulated headset's two controllers in front of and below
// the eyes, sweeps the right one's pointer across the view over the run and presses buttons at
// set moments. It is driven from the player's loop by the frames shown, never by the clock: a
// step waits until the headset has shown a frame begun after the step before it, so that the
// library has polled that step's events before the next step changes the controller's state
// (a trackpad press means the half of the pad the thumb is on when the library reads it).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "HeadsetRuntime.h"
#include "ShowMonitor.h"

namespace stnplay {

class ControllerScript {
public:
    // `headset` is the simulated headset's kind; `runFrames` how many frames the run will show,
    // or -1 when that is not known.
    ControllerScript(const HeadsetRuntime& runtime, const std::string& headset,
                     std::int64_t runFrames);

    // Before the library starts: switches the right controller on where it is held. The left
    // one follows in the first step, once the library has seen the right one, as when a user
    // switches on the right controller first (a Vive's hands go by the order they appear in).
    void Start();
    // After each frame handed over, with the frames shown so far.
    void Advance(std::uint64_t shown, ShowMonitor& monitor);
    bool Finished() const { return next == steps.size(); }

    // The shortest run in which every step gets its frame, with a few frames left for what the
    // last one sets off.
    std::int64_t FramesNeeded() const;

private:
    struct Action {
        enum Kind { kConnect, kThumb, kPress, kRelease } kind;
        std::uint32_t device;
        std::uint32_t button = 0;  // EVRButtonId, for kPress and kRelease
        std::uint32_t axis = 0;    // the trackpad's, for kThumb
        float thumbY = 0.0f;       // where the thumb is on it, for kThumb; 0 lifts the thumb
    };
    typedef std::vector<Action> Step;
    static Action Connect(std::uint32_t device);
    static Action Press(std::uint32_t device, std::uint32_t button);
    static Action Release(std::uint32_t device, std::uint32_t button);
    static Action Thumb(std::uint32_t device, std::uint32_t axis, float y);

    void Hold(std::uint32_t device, float yaw) const;

    const HeadsetRuntime& runtime;
    const std::int64_t runFrames;
    std::vector<Step> steps;
    float pitch = 0.0f;  // how far up both controllers are tipped
    std::size_t next = 0;
    std::uint64_t lastStepSequence = 0;
    std::uint64_t spacing = 1;  // frames from one step to the next
    float sweptTo = 1000.0f;    // the right controller's yaw last set
};

}  // namespace stnplay
