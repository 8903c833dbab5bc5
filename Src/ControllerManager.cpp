#include "ControllerManager.h"

#include <boost/bind/bind.hpp>

#include "HapticPulses.h"
#include "IControllerListener.h"
#include "OpenVRManager.h"

namespace STN {

namespace {

// The runtime is looked up when the pulse goes out, so a train outlives a reconnection.
void PulseOnCurrentRuntime(std::uint32_t deviceIndex, std::uint32_t axis, std::uint32_t duration) {
    SendHapticPulse(OpenVRManager::Instance(), deviceIndex, axis, duration);
}

boost::function<void()> MakePulse(std::uint32_t deviceIndex, std::uint32_t axis,
                                  std::uint32_t duration) {
    return boost::bind(&PulseOnCurrentRuntime, deviceIndex, axis, duration);
}

}  // namespace

ControllerManager::ControllerManager() : executor(CreatePulseExecutor()) {}

ControllerManager::~ControllerManager() {
    executor->Shutdown();
    executor.reset();
}

void ControllerManager::TriggerHapticPulseOn(std::uint32_t device, std::uint32_t repeats,
                                             std::uint32_t duration, std::uint32_t interval,
                                             std::uint32_t axis) {
    PostPulseTrain(*executor, boost::bind(&MakePulse, device, axis, duration), repeats, interval);
}

void ControllerManager::TriggerHapticPulse(std::uint32_t repeats, std::uint32_t duration,
                                           std::uint32_t interval, std::uint32_t axis) {
    TriggerHapticPulseOn(deviceIndex.load(), repeats, duration, interval, axis);
}

void ControllerManager::SetListener(boost::shared_ptr<IControllerListener> newListener) {
    std::lock_guard<std::mutex> guard(listenerMutex);
    listener.swap(newListener);
    // The old listener goes when this call returns, outside the lock.
}

boost::shared_ptr<IControllerListener> ControllerManager::GetListener() const {
    std::lock_guard<std::mutex> guard(listenerMutex);
    return listener;
}

void ControllerManager::GetAxisLayout(ControllerAxisLayout* layout) {
    if (layout == nullptr) {
        return;
    }
    layout->trackpadAxis = trackpadAxis.load();
    layout->triggerAxis = triggerAxis.load();
    layout->joystickAxis = joystickAxis.load();
    layout->hand = hand.load();
}

}  // namespace STN
