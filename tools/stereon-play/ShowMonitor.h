// Watches the simulated runtime's call log while the host plays, to tell which frames the
// headset showed, which the library dropped, and how long a shown frame took from the host's
// call to the Submit that showed it.
//
// The library keeps one frame waiting: a frame handed over while the last one has not been
// taken by the render thread yet is dropped. The render thread takes the waiting frame after
// each WaitGetPoses and shows it with that frame's Submits. So a frame counts as shown when a
// WaitGetPoses was logged after its call returned and before the next frame's call began, and
// its latency runs from the start of its call to the moment the left eye's Submit that
// followed that WaitGetPoses appeared in the log (the log is polled every millisecond).
//
// Since the log is emptied from time to time, the monitor also keeps the haptic pulses that
// went to the runtime.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "HeadsetRuntime.h"

namespace stnplay {

class ShowMonitor {
public:
    typedef std::chrono::steady_clock Clock;

    struct HapticPulse {
        std::uint32_t device;
        std::uint32_t axis;
        std::int64_t microseconds;
    };

    explicit ShowMonitor(const HeadsetRuntime& runtime);
    ~ShowMonitor();

    void Start();
    void Stop();

    // The sequence number the runtime's next call will get; taken just before and just after
    // each UpdateVideoTexture.
    std::uint64_t NextSequence();
    // Frame `index` was handed over: its call started at `callStart` and spanned the runtime
    // calls from `firstSequence` to before `endSequence`.
    void FrameDelivered(std::int64_t index, Clock::time_point callStart,
                        std::uint64_t firstSequence, std::uint64_t endSequence);

    // Waits until every delivered frame is known shown or dropped, or `timeout` passed.
    bool WaitSettled(std::chrono::milliseconds timeout);
    // Waits until a frame whose WaitGetPoses was the runtime call `sequence` or a later one had
    // its left eye submitted, or `timeout` passed: what changed before that call is in its
    // picture.
    bool WaitFrameAfter(std::uint64_t sequence, std::chrono::milliseconds timeout);
    // The same without waiting: whether such a frame has been submitted yet.
    bool FrameAfter(std::uint64_t sequence);
    // Waits until the runtime has had `count` haptic pulses, or `timeout` passed.
    bool WaitHapticPulses(std::size_t count, std::chrono::milliseconds timeout);

    std::uint64_t Delivered() const;
    std::uint64_t Shown() const;
    std::uint64_t Dropped() const;
    // Milliseconds, one a shown frame, in the order shown.
    std::vector<double> Latencies() const;
    // In the order the runtime had them.
    std::vector<HapticPulse> HapticPulses() const;

private:
    struct Entry {
        std::uint64_t sequence;
        Clock::time_point seen;
    };
    struct Frame {
        Clock::time_point callStart;
        std::uint64_t first;
        std::uint64_t end;
    };

    void Run();
    void Poll();
    void Resolve();
    bool SubmittedAfter(std::uint64_t sequence) const;

    const HeadsetRuntime& runtime;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::thread thread;
    bool stopping = false;

    std::uint32_t read = 0;          // log entries taken so far
    std::uint64_t nextSequence = 0;  // after the last entry taken
    std::deque<Entry> waits;         // WaitGetPoses
    std::deque<Entry> submits;       // Submit of the left eye
    std::deque<Frame> frames;        // delivered, not yet settled
    bool pendingTaken = false;       // ... and was taken by the WaitGetPoses `takenBy`
    std::uint64_t takenBy = 0;
    std::uint64_t lastWait = 0;  // the latest WaitGetPoses
    bool anySubmitted = false;
    std::uint64_t submittedFrame = 0;  // the WaitGetPoses before the latest left eye's Submit

    std::uint64_t delivered = 0;
    std::uint64_t shown = 0;
    std::uint64_t dropped = 0;
    std::vector<double> latencies;
    std::vector<HapticPulse> pulses;
};

}  // namespace stnplay
