// One tracked controller: its runtime device, hand, family and axes, the host's listener, and
// the haptic pulses sent to it from a worker of its own. The event interpreters create, fill and
// replace these objects on the render thread and alone decide hand and axes; the host reads and
// pulses them from its threads. Drawing does not go through here.
#pragma once

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "IControllerManager.h"
#include "hostcore/threads.h"

namespace STN {

class ControllerManager final : public IControllerManager {
public:
    ControllerManager();
    // Stops the pulse worker (pulses not yet sent are lost) and lets the listener go. Must not
    // run under the runtime's lock: a pulse under way may be waiting for it.
    ~ControllerManager();

    std::uint32_t GetControllerType() override { return controllerType.load(); }
    std::uint32_t GetHand() override { return hand.load(); }
    void TriggerHapticPulseOn(std::uint32_t deviceIndex, std::uint32_t repeats,
                              std::uint32_t duration, std::uint32_t interval,
                              std::uint32_t axis) override;
    void TriggerHapticPulse(std::uint32_t repeats, std::uint32_t duration, std::uint32_t interval,
                            std::uint32_t axis) override;
    void SetListener(boost::shared_ptr<IControllerListener> newListener) override;
    void GetAxisLayout(ControllerAxisLayout* layout) override;

    void SetControllerType(std::uint32_t type) { controllerType.store(type); }
    void SetHand(std::uint32_t newHand) { hand.store(newHand); }
    void SetDeviceIndex(std::uint32_t index) { deviceIndex.store(index); }
    // A copy, so a call made with it survives a SetListener on another thread.
    boost::shared_ptr<IControllerListener> GetListener() const;
    // Blocks until every pulse posted so far has gone to the runtime.
    void WaitForPulses() { executor->WaitForIdle(); }

    // Render-thread state of the event interpreters.
    bool valid = false;
    std::uint32_t roleAttempts = 0;
    std::uint32_t updateCount = 0;
    // Written by the interpreters on the render thread, read by the host at any time.
    std::atomic<std::uint32_t> trackpadAxis{0xFFFFFFFFu};
    std::atomic<std::uint32_t> triggerAxis{0xFFFFFFFFu};
    std::atomic<std::uint32_t> joystickAxis{0xFFFFFFFFu};
    std::atomic<std::uint32_t> hand{kHandUnassigned};
    std::atomic<std::uint32_t> deviceIndex{0xFFFFFFFFu};

    ControllerManager(const ControllerManager&) = delete;
    ControllerManager& operator=(const ControllerManager&) = delete;

private:
    mutable std::mutex listenerMutex;
    boost::shared_ptr<IControllerListener> listener;
    std::atomic<std::uint32_t> controllerType{kControllerFamilyUnknown};
    boost::shared_ptr<hostcore::threads::AsyncThreadedSubExecutor> executor;
};

}  // namespace STN
