#include "ControllerScript.h"

#include <algorithm>

#include "stnvr/vr_types.h"

namespace stnplay {

namespace {

constexpr std::uint32_t kLeft = SIMVR_DEVICE_LEFT_CONTROLLER;
constexpr std::uint32_t kRight = SIMVR_DEVICE_RIGHT_CONTROLLER;

// Where the hands are: 25 cm below the eyes (which are 1.2 m up), 45 cm ahead of them and 15 cm
// to either side, in sight of both eyes.
constexpr float kHeight = 0.95f;
constexpr float kAhead = -0.45f;
constexpr float kSide = 0.15f;
// The right pointer sweeps from 30 degrees left of ahead to 30 degrees right of it; the left one
// points a little inwards throughout.
constexpr float kSweepFrom = 30.0f;
constexpr float kSweepTo = -30.0f;
constexpr float kLeftYaw = -10.0f;
// The thumb on the upper half of a trackpad; the lower half is the same distance down.
constexpr float kThumb = 0.6f;

// After the last step: a frame for the library to hear it, one for the haptic pulses that
// answer the press before it, and the last picture.
constexpr std::int64_t kFramesAfter = 3;
// A run of unknown length spreads the steps and the sweep over this many frames.
constexpr std::int64_t kUnknownRun = 240;

}  // namespace

ControllerScript::Action ControllerScript::Connect(std::uint32_t device) {
    return Action{Action::kConnect, device};
}

ControllerScript::Action ControllerScript::Press(std::uint32_t device, std::uint32_t button) {
    Action action{Action::kPress, device};
    action.button = button;
    return action;
}

ControllerScript::Action ControllerScript::Release(std::uint32_t device, std::uint32_t button) {
    Action action{Action::kRelease, device};
    action.button = button;
    return action;
}

ControllerScript::Action ControllerScript::Thumb(std::uint32_t device, std::uint32_t axis,
                                                 float y) {
    Action action{Action::kThumb, device};
    action.axis = axis;
    action.thumbY = y;
    return action;
}

ControllerScript::ControllerScript(const HeadsetRuntime& runtime, const std::string& headset,
                                   std::int64_t runFrames)
    : runtime(runtime), runFrames(runFrames) {
    // A Rift's Touch controller has A and menu buttons where the others have a trackpad, which
    // a Vive wand has on axis 0 and a Windows Mixed Reality controller on axis 2 (0 is its
    // thumbstick).
    const bool rift = headset == "rift";
    const std::uint32_t padAxis = headset == "wmr" ? 2 : 0;
    // Touch and Windows Mixed Reality pointers leave the controller 40 degrees below its own
    // forward axis, so those are held tipped up for the rays to run a little above level, clear
    // of the status panel below the picture.
    pitch = rift || headset == "wmr" ? 45.0f : 5.0f;

    const std::uint32_t trigger = vr::k_EButton_SteamVR_Trigger;
    const std::uint32_t pad = vr::k_EButton_SteamVR_Touchpad;
    const std::uint32_t primary = rift ? static_cast<std::uint32_t>(vr::k_EButton_A) : pad;
    const std::uint32_t secondary =
        rift ? static_cast<std::uint32_t>(vr::k_EButton_ApplicationMenu) : pad;
    Step pressPrimary = {Press(kRight, primary)};
    Step pressSecondary = {Press(kRight, secondary)};
    Step pressLeftTrigger = {Press(kLeft, trigger)};
    if (!rift) {
        // The lower half of the pad is the primary button, the upper half the secondary; the
        // thumb stays on the pad until its release has been heard.
        pressPrimary.insert(pressPrimary.begin(), Thumb(kRight, padAxis, -kThumb));
        pressSecondary.insert(pressSecondary.begin(), Thumb(kRight, padAxis, kThumb));
        pressLeftTrigger.push_back(Thumb(kRight, padAxis, 0.0f));
    }
    steps = {{Connect(kLeft)},
             {Press(kRight, trigger)},
             {Release(kRight, trigger)},
             pressPrimary,
             {Release(kRight, primary)},
             pressSecondary,
             {Release(kRight, secondary)},
             pressLeftTrigger,
             {Release(kLeft, trigger)}};

    const std::int64_t length = runFrames > 0 ? runFrames : kUnknownRun;
    spacing = static_cast<std::uint64_t>(std::max<std::int64_t>(
        1, (length - kFramesAfter - 1) / static_cast<std::int64_t>(steps.size())));
}

std::int64_t ControllerScript::FramesNeeded() const {
    return static_cast<std::int64_t>(steps.size()) + kFramesAfter;
}

void ControllerScript::Hold(std::uint32_t device, float yaw) const {
    runtime.SetDevicePose(device, yaw, pitch, device == kLeft ? -kSide : kSide, kHeight, kAhead);
}

void ControllerScript::Start() {
    Hold(kRight, kSweepFrom);
    sweptTo = kSweepFrom;
    Hold(kLeft, kLeftYaw);
    runtime.SetDeviceConnected(kRight, true);
}

void ControllerScript::Advance(std::uint64_t shown, ShowMonitor& monitor) {
    const double span = static_cast<double>(runFrames > 1 ? runFrames - 1 : kUnknownRun);
    const float yaw =
        kSweepFrom + (kSweepTo - kSweepFrom) * static_cast<float>(std::min(1.0, shown / span));
    if (yaw != sweptTo) {
        Hold(kRight, yaw);
        sweptTo = yaw;
    }
    // Step k comes at frame 1 + k * spacing at the soonest: after the first frame shown, the
    // library has seen the right controller.
    if (Finished() || shown < 1 + next * spacing ||
        (next > 0 && !monitor.FrameAfter(lastStepSequence))) {
        return;
    }
    for (const Action& action : steps[next]) {
        switch (action.kind) {
            case Action::kConnect:
                runtime.SetDeviceConnected(action.device, true);
                break;
            case Action::kThumb:
                runtime.SetControllerAxis(action.device, action.axis, 0.0f, action.thumbY);
                break;
            case Action::kPress:
            case Action::kRelease:
                runtime.PushButton(action.device, action.button, action.kind == Action::kPress);
                break;
        }
    }
    // Runtime calls from here on came after the step.
    lastStepSequence = monitor.NextSequence();
    ++next;
}

}  // namespace stnplay
