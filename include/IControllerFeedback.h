// Haptic feedback on the controller the user is holding, without knowing which one it is: the
// pulses go to the device of the last button press that a listener took up (OnButtonDown
// returned true), or to device 0 before any. The service hands it out at any time, also before
// Init or after a failed one (IStereonService::GetControllerFeedback). Every call may come from
// any thread.
//
// The object the service hands out gets the runtime at Init, and it alone follows the presses.
// Each stop lets it go (so does an Init that fails once it holds the headset lock), and the
// next call hands out a fresh one, back at device 0: ask again after a stop. A train posted before
// its object had a runtime is dropped whole; an object kept from before a stop stays safe to call
// and pulses its last device whenever a runtime is connected.
#pragma once

#include <cstdint>

namespace STN {

class IControllerFeedback {
public:
    // As IControllerManager's: `repeats` pulses (0 counts as 1) of `duration` microseconds (low
    // 16 bits only), `interval` milliseconds apart, sent from a worker thread; returns at once.
    virtual void TriggerHapticPulseOn(std::uint32_t deviceIndex, std::uint32_t repeats,
                                      std::uint32_t duration, std::uint32_t interval,
                                      std::uint32_t axis) = 0;
    // The same on the device of the last press taken up.
    virtual void TriggerHapticPulse(std::uint32_t repeats, std::uint32_t duration,
                                    std::uint32_t interval, std::uint32_t axis) = 0;

protected:
    ~IControllerFeedback() = default;
};

}  // namespace STN
