#include "ShowMonitor.h"

namespace stnplay {

namespace {

// Past this many entries the log is emptied, so that it never fills up on a long run.
constexpr std::uint32_t kClearAt = 8192;

}  // namespace

ShowMonitor::ShowMonitor(const HeadsetRuntime& runtime) : runtime(runtime) {}

ShowMonitor::~ShowMonitor() {
    Stop();
}

void ShowMonitor::Start() {
    if (!thread.joinable()) {
        stopping = false;
        thread = std::thread([this] { Run(); });
    }
}

void ShowMonitor::Stop() {
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    if (thread.joinable()) {
        thread.join();
    }
}

void ShowMonitor::Run() {
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopping) {
        Poll();
        Resolve();
        changed.notify_all();
        changed.wait_for(lock, std::chrono::milliseconds(1));
    }
}

void ShowMonitor::Poll() {
    const std::uint32_t count = runtime.CallCount();
    const Clock::time_point now = Clock::now();
    for (; read < count; ++read) {
        simvr_call call;
        if (!runtime.GetCall(read, call)) {
            break;
        }
        nextSequence = call.sequence + 1;
        if (call.kind == SIMVR_CALL_WAIT_GET_POSES) {
            waits.push_back(Entry{call.sequence, now});
            lastWait = call.sequence;
        } else if (call.kind == SIMVR_CALL_SUBMIT && call.eye == 0) {
            submits.push_back(Entry{call.sequence, now});
            anySubmitted = true;
            submittedFrame = lastWait;
        } else if (call.kind == SIMVR_CALL_HAPTIC_PULSE) {
            pulses.push_back(HapticPulse{call.device, call.axis, call.int_value});
        }
    }
    if (read >= kClearAt) {
        runtime.ClearCalls();
        read = 0;
    }
}

std::uint64_t ShowMonitor::NextSequence() {
    std::lock_guard<std::mutex> lock(mutex);
    Poll();
    return nextSequence;
}

void ShowMonitor::FrameDelivered(std::int64_t index, Clock::time_point callStart,
                                 std::uint64_t firstSequence, std::uint64_t endSequence) {
    (void)index;
    std::lock_guard<std::mutex> lock(mutex);
    ++delivered;
    frames.push_back(Frame{callStart, firstSequence, endSequence});
    Resolve();
}

void ShowMonitor::Resolve() {
    while (!frames.empty()) {
        // frames.front() is the frame the library holds for the render thread.
        const Frame& held = frames.front();
        if (!pendingTaken) {
            while (!waits.empty() && waits.front().sequence < held.end) {
                waits.pop_front();
            }
            const bool hasNext = frames.size() > 1;
            if (!waits.empty() && (!hasNext || waits.front().sequence < frames[1].first)) {
                pendingTaken = true;
                takenBy = waits.front().sequence;
            } else if (hasNext && nextSequence >= frames[1].first) {
                // The next frame came while this one still waited: the library dropped it.
                frames.erase(frames.begin() + 1);
                ++dropped;
                continue;
            } else {
                return;
            }
        }
        while (!submits.empty() && submits.front().sequence < takenBy) {
            submits.pop_front();
        }
        if (submits.empty()) {
            return;
        }
        latencies.push_back(
            std::chrono::duration<double, std::milli>(submits.front().seen - held.callStart)
                .count());
        ++shown;
        frames.pop_front();
        pendingTaken = false;
    }
}

bool ShowMonitor::WaitSettled(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, timeout, [this] { return frames.empty() || stopping; }) &&
           frames.empty();
}

bool ShowMonitor::SubmittedAfter(std::uint64_t sequence) const {
    return anySubmitted && submittedFrame >= sequence;
}

bool ShowMonitor::WaitFrameAfter(std::uint64_t sequence, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, timeout, [&] { return SubmittedAfter(sequence) || stopping; });
    return SubmittedAfter(sequence);
}

bool ShowMonitor::FrameAfter(std::uint64_t sequence) {
    std::lock_guard<std::mutex> lock(mutex);
    Poll();
    return SubmittedAfter(sequence);
}

bool ShowMonitor::WaitHapticPulses(std::size_t count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, timeout, [&] { return pulses.size() >= count || stopping; });
    return pulses.size() >= count;
}

std::uint64_t ShowMonitor::Delivered() const {
    std::lock_guard<std::mutex> lock(mutex);
    return delivered;
}

std::uint64_t ShowMonitor::Shown() const {
    std::lock_guard<std::mutex> lock(mutex);
    return shown;
}

std::uint64_t ShowMonitor::Dropped() const {
    std::lock_guard<std::mutex> lock(mutex);
    return dropped;
}

std::vector<double> ShowMonitor::Latencies() const {
    std::lock_guard<std::mutex> lock(mutex);
    return latencies;
}

std::vector<ShowMonitor::HapticPulse> ShowMonitor::HapticPulses() const {
    std::lock_guard<std::mutex> lock(mutex);
    return pulses;
}

}  // namespace stnplay
