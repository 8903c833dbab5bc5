#include "ControllerFeedback.h"

#include <boost/bind/bind.hpp>

#include "HapticPulses.h"

namespace STN {

namespace {

std::mutex& SingletonMutex() {
    static std::mutex mutex;
    return mutex;
}

boost::shared_ptr<ControllerFeedback>& Singleton() {
    static boost::shared_ptr<ControllerFeedback> instance;
    return instance;
}

// Each pulse holds the manager it was made with, so the train keeps it alive.
boost::function<void()> MakePulse(const boost::shared_ptr<OpenVRManager>& openVR,
                                  std::uint32_t deviceIndex, std::uint32_t axis,
                                  std::uint32_t duration) {
    return boost::bind(&SendHapticPulse, openVR, deviceIndex, axis, duration);
}

}  // namespace

ControllerFeedback::ControllerFeedback() : executor(CreatePulseExecutor()) {}

ControllerFeedback::~ControllerFeedback() {
    executor->Shutdown();
    executor.reset();
}

void ControllerFeedback::TriggerHapticPulseOn(std::uint32_t deviceIndex, std::uint32_t repeats,
                                              std::uint32_t duration, std::uint32_t interval,
                                              std::uint32_t axis) {
    boost::shared_ptr<OpenVRManager> manager;
    {
        std::lock_guard<std::mutex> guard(openVRMutex);
        manager = openVR;
    }
    PostPulseTrain(*executor, boost::bind(&MakePulse, manager, deviceIndex, axis, duration),
                   repeats, interval);
}

void ControllerFeedback::TriggerHapticPulse(std::uint32_t repeats, std::uint32_t duration,
                                            std::uint32_t interval, std::uint32_t axis) {
    TriggerHapticPulseOn(activeDevice.load(), repeats, duration, interval, axis);
}

void ControllerFeedback::SetOpenVRManager(const boost::shared_ptr<OpenVRManager>& manager) {
    std::lock_guard<std::mutex> guard(openVRMutex);
    openVR = manager;
}

boost::shared_ptr<ControllerFeedback> GetControllerFeedback() {
    std::lock_guard<std::mutex> guard(SingletonMutex());
    boost::shared_ptr<ControllerFeedback>& instance = Singleton();
    if (!instance) {
        instance.reset(new ControllerFeedback());
    }
    return instance;
}

void ReleaseControllerFeedback() {
    boost::shared_ptr<ControllerFeedback> released;
    {
        std::lock_guard<std::mutex> guard(SingletonMutex());
        released.swap(Singleton());
    }
}

}  // namespace STN
