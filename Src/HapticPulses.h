// The pulse trains that controllers and the controller feedback send: every pulse of a train is
// posted at once, each with its own delay, so the caller never waits and a train is never
// cancelled from here.
#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include <cstdint>

#include "hostcore/threads.h"

namespace STN {

class OpenVRManager;

// A worker of its own over the process's I/O-bound pool, with no limit on concurrency.
boost::shared_ptr<hostcore::threads::AsyncThreadedSubExecutor> CreatePulseExecutor();

// Posts `repeats` pulses (0 counts as 1), `interval` milliseconds apart, the first at once;
// `makePulse` is asked for each job, so that each can own what it needs.
void PostPulseTrain(hostcore::threads::AsyncThreadedSubExecutor& executor,
                    const boost::function<boost::function<void()>()>& makePulse,
                    std::uint32_t repeats, std::uint32_t interval);

// One pulse, under the manager's lock, when the runtime is connected; `duration` is cut to the
// runtime's 16 bits of microseconds. Nothing happens without a manager or a system.
void SendHapticPulse(const boost::shared_ptr<OpenVRManager>& openVR, std::uint32_t deviceIndex,
                     std::uint32_t axis, std::uint32_t duration);

}  // namespace STN
