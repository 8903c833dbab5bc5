// Haptic pulses on the controller the user holds: the device of the last press a listener took
// up. One object for the process, made on first use; the render thread's Init gives it the
// runtime and its Stop lets it go, after which the next use makes a fresh one.
#pragma once

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "IControllerFeedback.h"
#include "hostcore/threads.h"

namespace STN {

class OpenVRManager;

class ControllerFeedback final : public IControllerFeedback {
public:
    ControllerFeedback();
    // Stops the pulse worker; pulses not yet sent are lost.
    ~ControllerFeedback();

    void TriggerHapticPulseOn(std::uint32_t deviceIndex, std::uint32_t repeats,
                              std::uint32_t duration, std::uint32_t interval,
                              std::uint32_t axis) override;
    void TriggerHapticPulse(std::uint32_t repeats, std::uint32_t duration, std::uint32_t interval,
                            std::uint32_t axis) override;

    // Pulses posted before this is called have no runtime and are dropped.
    void SetOpenVRManager(const boost::shared_ptr<OpenVRManager>& manager);
    void SetActiveDevice(std::uint32_t deviceIndex) { activeDevice.store(deviceIndex); }
    std::uint32_t GetActiveDevice() const { return activeDevice.load(); }
    // Blocks until every pulse posted so far has gone to the runtime.
    void WaitForPulses() { executor->WaitForIdle(); }

    ControllerFeedback(const ControllerFeedback&) = delete;
    ControllerFeedback& operator=(const ControllerFeedback&) = delete;

private:
    std::mutex openVRMutex;
    boost::shared_ptr<OpenVRManager> openVR;
    boost::shared_ptr<hostcore::threads::AsyncThreadedSubExecutor> executor;
    std::atomic<std::uint32_t> activeDevice{0};
};

// The process's feedback object, made on first use. Any thread.
boost::shared_ptr<ControllerFeedback> GetControllerFeedback();
// Lets the process's object go; a host holding it keeps a working object with its old runtime.
void ReleaseControllerFeedback();

}  // namespace STN
