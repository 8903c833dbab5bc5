// Delivery: a host sending frames at a set rate into the simulated runtime paced at a set
// refresh rate, through the running render thread. Each frame is one flat colour that names it;
// the runtime reads each submitted eye back, and a watcher thread notes when a new left-eye
// image appears and which frame it shows. Then, with read-back off, the render thread's heap
// allocations per pass at steady state.
#include <algorithm>
#include <atomic>
#include <map>
#include <thread>
#include <vector>

#include "MF/VideoFrame.h"
#include "alloc_counter.h"
#include "bench.h"
#include "library_session.h"
#include "simvr/simvr_control.h"

namespace stereon_bench {

namespace {

// Frame n as a native ARGB word: red and green hold its number, blue a fixed mark.
constexpr std::uint32_t kMarkBlue = 0x5A;
std::uint32_t FrameColor(std::uint32_t n) {
    return 0xFF000000u | (n & 0xFFu) << 16 | ((n >> 8) & 0xFFu) << 8 | kMarkBlue;
}

struct Sighting {
    Clock::time_point when;
    std::uint64_t compositorFrame;
    std::uint32_t number;
};

// Watches the left eye's last submitted image until stopped.
class Watcher {
public:
    void Start() {
        thread = std::thread([this] { Run(); });
    }
    void Stop() {
        stop = true;
        if (thread.joinable()) {
            thread.join();
        }
    }
    const std::vector<Sighting>& Sightings() const { return sightings; }
    std::uint64_t Images() const { return images; }

private:
    void Run() {
        sightings.reserve(16384);
        std::uint64_t lastFrame = ~0ull;
        while (!stop) {
            std::uint32_t width = 0, height = 0;
            std::uint64_t frame = 0;
            if (simvr_get_eye_image_info(0, &width, &height, &frame) == 1 && frame != lastFrame) {
                const Clock::time_point when = Clock::now();
                std::uint8_t rgba[4] = {};
                std::uint64_t again = 0;
                // A newer image may land between the two reads; then look again.
                if (simvr_get_eye_pixel(0, width / 2, height / 2, rgba) == 1 &&
                    simvr_get_eye_image_info(0, nullptr, nullptr, &again) == 1 && again == frame) {
                    lastFrame = frame;
                    ++images;
                    if (rgba[2] == kMarkBlue && rgba[3] == 255) {
                        sightings.push_back(
                            {when, frame, static_cast<std::uint32_t>(rgba[0] | rgba[1] << 8)});
                    }
                    continue;
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(250));
        }
    }

    std::thread thread;
    std::atomic<bool> stop{false};
    std::vector<Sighting> sightings;
    std::uint64_t images = 0;
};

struct Sent {
    Clock::time_point when;
    std::uint64_t compositorFrame;
    double callMs;
    // A frame was still pending when the call began, so this one was refused at once (unless
    // the render loop took the other over in between).
    bool refused;
};

}  // namespace

bool RunDeliveryBenchmark(const Options& options, nlohmann::json& section) {
    LibrarySession session;
    std::string error;
    if (!session.Start(options.deliveryEyeWidth, options.deliveryEyeHeight, options.refreshHz, true,
                       error)) {
        section["error"] = error;
        return false;
    }
    HostFrame frames[2];
    for (HostFrame& frame : frames) {
        if (!MakeHostFrame(options.deliveryWidth, options.deliveryHeight, frame)) {
            section["error"] = "cannot make a host frame";
            return false;
        }
    }
    simvr_set_readback(1);
    simvr_set_call_log_capacity(0);

    // Frames 0 and 1 give both video textures their size and are not counted.
    const std::uint32_t warmUp = 2;
    const std::uint32_t count =
        warmUp + static_cast<std::uint32_t>(options.deliverySeconds * options.hostFps);
    const double periodMs = 1000.0 / options.hostFps;
    const double refreshMs = 1000.0 / options.refreshHz;
    std::vector<Sent> sent(count);
    std::uint32_t late = 0;
    std::uint32_t failed = 0;

    // The runtime's read-back allocates on the render thread; seeing it proves the counter
    // sees that thread.
    // The thread names itself once it runs, which may be a moment after Init returned.
    pid_t renderThread = 0;
    for (int attempt = 0; attempt < 100 && renderThread == 0; ++attempt) {
        renderThread = FindThreadByName("STN::RenderThread");
        if (renderThread == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    WatchThread(renderThread);
    Watcher watcher;
    watcher.Start();
    const std::uint64_t waitsBefore = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES);
    const std::uint64_t vsyncBefore = simvr_get_frame_index();
    FillHostFrame(frames[0], FrameColor(0));
    const Clock::time_point start = Clock::now();
    for (std::uint32_t n = 0; n < count; ++n) {
        const Clock::time_point due =
            start + std::chrono::duration_cast<Clock::duration>(
                        std::chrono::duration<double, std::milli>(periodMs * n));
        if (Clock::now() > due + std::chrono::milliseconds(1)) {
            ++late;
        }
        std::this_thread::sleep_until(due);
        Sent& record = sent[n];
        record.when = Clock::now();
        record.compositorFrame = simvr_get_frame_index();
        record.refused = session.Pending();
        if (!session.Send(frames[n % 2].frame)) {
            ++failed;
        }
        record.callMs = MillisecondsSince(record.when);
        // The next frame is painted now, off the clock of its own call.
        if (n + 1 < count) {
            FillHostFrame(frames[(n + 1) % 2], FrameColor(n + 1));
        }
    }
    const double sendingSeconds = MillisecondsSince(start) / 1000.0;
    // Long enough for the last frame to be taken over and drawn.
    std::this_thread::sleep_for(std::chrono::milliseconds(300 + static_cast<int>(refreshMs * 4)));
    watcher.Stop();
    const std::uint64_t waits = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES) - waitsBefore;
    const std::uint64_t readBackAllocations = WatchedAllocations();
    WatchThread(0);
    const std::uint64_t vsyncs = simvr_get_frame_index() - vsyncBefore;
    simvr_set_readback(0);

    // The first sighting of each counted frame.
    std::map<std::uint32_t, Sighting> firstSeen;
    for (const Sighting& sighting : watcher.Sightings()) {
        if (sighting.number >= warmUp && sighting.number < count) {
            firstSeen.emplace(sighting.number, sighting);
        }
    }
    std::vector<double> latencyMs, latencyIntervals, latencyVsyncs, callMs;
    std::uint32_t refused = 0;
    for (std::uint32_t n = warmUp; n < count; ++n) {
        if (sent[n].refused) {
            ++refused;
        } else {
            callMs.push_back(sent[n].callMs);
        }
        const auto seen = firstSeen.find(n);
        if (seen == firstSeen.end()) {
            continue;
        }
        const double ms =
            std::chrono::duration<double, std::milli>(seen->second.when - sent[n].when).count();
        latencyMs.push_back(ms);
        latencyIntervals.push_back(ms / refreshMs);
        latencyVsyncs.push_back(
            static_cast<double>(seen->second.compositorFrame - sent[n].compositorFrame));
    }
    const std::uint32_t delivered = count - warmUp;
    const std::uint32_t shown = static_cast<std::uint32_t>(firstSeen.size());

    // Steady state with read-back off (the runtime's read-back allocates): the render thread's
    // allocations per pass while the host keeps sending.
    double allocationsPerPass = -1.0;
    double hostAllocationsPerCall = 0.0;
    std::uint64_t passes = 0;
    if (renderThread != 0) {
        WatchThread(renderThread);
        const std::uint64_t passesBefore = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES);
        const std::uint32_t allocationFrames =
            std::max(1u, static_cast<std::uint32_t>(options.allocationSeconds * options.hostFps));
        std::uint64_t hostAllocations = 0;
        const Clock::time_point allocationStart = Clock::now();
        for (std::uint32_t n = 0; n < allocationFrames; ++n) {
            std::this_thread::sleep_until(
                allocationStart + std::chrono::duration_cast<Clock::duration>(
                                      std::chrono::duration<double, std::milli>(periodMs * n)));
            const std::uint64_t before = ThreadAllocations();
            session.Send(frames[n % 2].frame);
            hostAllocations += ThreadAllocations() - before;
        }
        passes = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES) - passesBefore;
        const std::uint64_t allocations = WatchedAllocations();
        WatchThread(0);
        allocationsPerPass = passes > 0 ? double(allocations) / double(passes) : 0.0;
        hostAllocationsPerCall = double(hostAllocations) / allocationFrames;
    }

    const Summary call = Summarize(callMs);
    const Summary latency = Summarize(latencyMs);
    const double p99Ms = Percentile(latencyMs, 99.0);
    const double medianIntervals = Summarize(latencyIntervals).median;
    const double p99Intervals = Percentile(latencyIntervals, 99.0);
    section["host_fps"] = options.hostFps;
    section["refresh_hz"] = options.refreshHz;
    section["frame_size"] = {options.deliveryWidth, options.deliveryHeight};
    section["eye_size"] = {options.deliveryEyeWidth, options.deliveryEyeHeight};
    section["sending_seconds"] = sendingSeconds;
    section["delivered"] = delivered;
    section["shown"] = shown;
    section["dropped"] = delivered - shown;
    section["refused_while_pending"] = refused;
    section["late_sends"] = late;
    section["failed_calls"] = failed;
    section["update_call_ms"] = ToJson(call);
    section["latency_ms"] = {{"median", latency.median}, {"p99", p99Ms}, {"max", latency.max}};
    section["latency_intervals"] = {{"median", medianIntervals}, {"p99", p99Intervals}};
    section["latency_vsyncs"] = {{"median", Summarize(latencyVsyncs).median},
                                 {"p99", Percentile(latencyVsyncs, 99.0)}};
    section["render_passes"] = waits;
    section["vsyncs"] = vsyncs;
    section["left_eye_images_seen"] = watcher.Images();
    section["render_thread_allocations_per_pass"] = allocationsPerPass;
    section["allocation_passes"] = passes;
    section["render_thread_allocations_per_pass_with_readback"] =
        waits > 0 ? double(readBackAllocations) / double(waits) : 0.0;
    section["host_allocations_per_update"] = hostAllocationsPerCall;

    std::vector<std::vector<std::string>> table = {
        {"delivery", "value"},
        {"host rate / refresh",
         Fixed(options.hostFps, 0) + " fps / " + Fixed(options.refreshHz, 0) + " Hz"},
        {"frame / eye size", std::to_string(options.deliveryWidth) + "x" +
                                 std::to_string(options.deliveryHeight) + " / " +
                                 std::to_string(options.deliveryEyeWidth) + "x" +
                                 std::to_string(options.deliveryEyeHeight)},
        {"delivered / shown / dropped", std::to_string(delivered) + " / " + std::to_string(shown) +
                                            " / " + std::to_string(delivered - shown)},
        {"render passes / vsyncs", std::to_string(waits) + " / " + std::to_string(vsyncs)},
        {"sends later than their time (host behind its rate)", std::to_string(late)},
        {"refused while one was pending", std::to_string(refused)},
        {"UpdateVideoTexture ms (uploads)", FormatMs(call)},
        {"latency ms (median / p99)", Fixed(latency.median, 1) + " / " + Fixed(p99Ms, 1)},
        {"latency intervals (median / p99)",
         Fixed(medianIntervals, 2) + " / " + Fixed(p99Intervals, 2)},
        {"render thread allocations per pass",
         allocationsPerPass < 0 ? "render thread not found" : Fixed(allocationsPerPass, 2)},
        {"host allocations per UpdateVideoTexture", Fixed(hostAllocationsPerCall, 2)}};
    PrintTable("Delivery (" + Fixed(sendingSeconds, 1) + " s of sending)", table);

    if (failed != 0) {
        section["error"] = std::to_string(failed) + " UpdateVideoTexture calls failed";
    } else if (shown == 0) {
        section["error"] = "no frame was shown";
    } else if (renderThread == 0) {
        section["error"] = "the render thread was not found by its name";
    } else if (readBackAllocations == 0) {
        section["error"] = "the allocation counter saw none of the runtime's read-back buffers";
    }
    return !section.contains("error");
}

}  // namespace stereon_bench
