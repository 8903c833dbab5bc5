#include "HapticPulses.h"

#include "OpenVRManager.h"

namespace STN {

boost::shared_ptr<hostcore::threads::AsyncThreadedSubExecutor> CreatePulseExecutor() {
    return hostcore::threads::CreateSubExecutor(hostcore::threads::CreateIOBoundExecutor(), -1);
}

void PostPulseTrain(hostcore::threads::AsyncThreadedSubExecutor& executor,
                    const boost::function<boost::function<void()>()>& makePulse,
                    std::uint32_t repeats, std::uint32_t interval) {
    executor.Post(makePulse(), 0);
    for (std::uint32_t k = 1; k < repeats; ++k) {
        executor.Post(makePulse(), static_cast<std::int64_t>(k) * interval);
    }
}

void SendHapticPulse(const boost::shared_ptr<OpenVRManager>& openVR, std::uint32_t deviceIndex,
                     std::uint32_t axis, std::uint32_t duration) {
    if (!openVR) {
        return;
    }
    OpenVRManager::ScopedLock lock(*openVR);
    if (vr::IVRSystem* system = openVR->GetSystem()) {
        system->TriggerHapticPulse(deviceIndex, axis, static_cast<unsigned short>(duration));
    }
}

}  // namespace STN
