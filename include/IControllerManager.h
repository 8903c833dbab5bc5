// One tracked controller as the host sees it: which family and hand it is, which of its axes
// are the trackpad, trigger and joystick, the listener that hears its buttons and poses, and
// haptic pulses on it.
//
// The service hands them out by list index (IStereonService::GetController), in the order the
// render thread first met the controllers; the list starts empty at each Init and an index keeps
// its place until the stop. When a controller falls silent and another takes over, its entry is
// replaced by a blank one (no hand, family unknown, no device) and the old object, which a host
// may still hold, keeps working detached from input. Every call here may come from any thread,
// also after the stop: a kept object still answers and pulses its device whenever a runtime is
// connected.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>

#include "StereonTypes.h"

namespace STN {

class IControllerListener;

// Hands, as GetHand and ControllerAxisLayout::hand give them.
enum : std::uint32_t {
    kHandRight = 0,
    kHandLeft = 1,
    kHandUnassigned = 15,
};

// Hardware families, as GetControllerType gives them.
enum : std::uint32_t {
    kControllerFamilyRift = 0,
    kControllerFamilyVive = 1,
    kControllerFamilyWindowsMR = 2,
    kControllerFamilyUnknown = 3,
};

// The buttons a listener hears. Primary is the Rift's A button and the lower half of a Vive or
// Windows Mixed Reality trackpad; secondary is the Rift's menu button and the pad's upper half.
// Anything else pressed is reported as kControllerButtonNone.
enum : std::uint32_t {
    kControllerButtonNone = 0,
    kControllerButtonTrigger = 1,
    kControllerButtonPrimary = 2,
    kControllerButtonSecondary = 3,
};

// Indices into the runtime's five controller axes; 0xFFFFFFFF where the controller has no such
// axis.
struct ControllerAxisLayout {
    std::uint32_t trackpadAxis;
    std::uint32_t triggerAxis;
    std::uint32_t joystickAxis;
    std::uint32_t hand;
};

class IControllerManager {
public:
    // kControllerFamily...; the headset's family decides it.
    virtual std::uint32_t GetControllerType() = 0;
    // kHand...; may change from kHandUnassigned once the runtime tells the controller's role.
    virtual std::uint32_t GetHand() = 0;
    // A train of `repeats` pulses (0 counts as 1) of `duration` microseconds on runtime device
    // `deviceIndex` and axis `axis`, the first at once, the others `interval` milliseconds apart.
    // Only the low 16 bits of `duration` count (70000 sends 4464). Returns at once: the pulses go
    // out on a worker thread, each to the runtime connected when it goes, and a train cannot be
    // cancelled. Pulses to a device that has gone, or while no runtime is connected, are lost
    // without a word.
    virtual void TriggerHapticPulseOn(std::uint32_t deviceIndex, std::uint32_t repeats,
                                      std::uint32_t duration, std::uint32_t interval,
                                      std::uint32_t axis) = 0;
    // The same on this controller's own device (none for a blank one: lost).
    virtual void TriggerHapticPulse(std::uint32_t repeats, std::uint32_t duration,
                                    std::uint32_t interval, std::uint32_t axis) = 0;
    // Replaces the listener; an empty pointer silences the controller. A call under way on the
    // render thread finishes with the listener it started with, which may then be released
    // there; a listener may replace itself from inside its own call.
    virtual void SetListener(boost::shared_ptr<IControllerListener> listener) = 0;
    // Fills all four fields; does nothing for a null pointer.
    virtual void GetAxisLayout(ControllerAxisLayout* layout) = 0;

protected:
    // Not deleted through this interface.
    ~IControllerManager() = default;
};

// Told on the render thread of each controller as it first appears, before the service lists
// it (IStereonService::SetControllerAddedCallback). The runtime's lock is held during the call:
// do not wait there for anything that talks to the runtime, and do not call back into the
// service. Must not throw: that ends the render thread.
class IControllerAddedCallback {
public:
    virtual void OnControllerAdded(boost::shared_ptr<IControllerManager> controller) = 0;

protected:
    ~IControllerAddedCallback() = default;
};

}  // namespace STN
