// Haptic feedback on the controller the user is holding, without knowing which one it is: the
// pulses go to the device of the last button press that a listener took up (OnButtonDown
// returned true), or to device 0 before any. The service hands it out at any time, also before
// Init or after a failed one (IStereonService::GetControllerFeedback); its pulses reach a
// runtime only while the library is connected to one.
#pragma once

#include <cstdint>

namespace STN {

class IControllerFeedback {
public:
    // As IControllerManager's: `repeats` pulses (0 counts as 1) of `duration` microseconds (cut
    // to 65535), `interval` milliseconds apart, sent from a worker thread.
    virtual void TriggerHapticPulseOn(std::uint32_t deviceIndex, std::uint32_t repeats,
                                      std::uint32_t duration, std::uint32_t interval,
                                      std::uint32_t axis) = 0;
    virtual void TriggerHapticPulse(std::uint32_t repeats, std::uint32_t duration,
                                    std::uint32_t interval, std::uint32_t axis) = 0;

protected:
    ~IControllerFeedback() = default;
};

}  // namespace STN
