// Delivery: a host sending frames at a set rate into the simulated runtime paced at a set
// refresh rate, through the running render thread.
//
// Which Submit first shows a frame comes from the runtime's call log and the library's hand-over:
// a frame the library takes becomes pending at the end of its UpdateVideoTexture, under the lock
// the render loop holds from taking a frame over to its Submits, so the first left-eye Submit
// logged after the call returned shows it. Only when the render loop had already taken the frame
// over by then could an earlier Submit, logged during the call, be the one; such frames are
// counted as uncertain and given the later Submit. The Submit's time is when a watcher polling
// the log first saw it, so the latency is an upper bound by one poll gap, which is reported.
//
// The pixels check this: every frame is one flat colour that names it, and around every
// kCheckEvery-th frame's hand-over the runtime reads the left eye back (the read-back runs on the
// render thread, so those frames are left out of the timings). Then, without read-back, the render
// thread's heap allocations per pass at steady state, and where they come from.
#include <algorithm>
#include <atomic>
#include <cstdio>
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

constexpr std::uint32_t kCheckEvery = 8;
constexpr std::uint32_t kNoIndex = ~0u;

// A log entry as the watcher saw it: logged after `notBefore`, and by `seen`.
struct Entry {
    std::int32_t kind;
    std::uint32_t eye;
    std::int32_t result;
    std::uint64_t frame;
    Clock::time_point notBefore;
    Clock::time_point seen;
};

bool IsLeftSubmit(const Entry& entry) {
    return entry.kind == SIMVR_CALL_SUBMIT && entry.eye == 0 && entry.result == 0;
}

// A left-eye image read back: the Submit it came from and the frame it shows (-1: none).
struct Check {
    std::uint32_t index;
    std::int64_t shows;
};

// Polls the runtime's call log, stamping each new entry, and reads back left-eye images while
// armed.
class LogWatcher {
public:
    explicit LogWatcher(std::size_t capacity) {
        entries.reserve(capacity);
        checks.reserve(4096);
    }
    ~LogWatcher() { Stop(); }

    void Start() {
        thread = std::thread([this] { Run(); });
    }
    void Stop() {
        stop = true;
        if (thread.joinable()) {
            thread.join();
        }
        if (armed) {
            simvr_set_readback(0);
            armed = false;
        }
    }
    // Read-back on until the first left-eye Submit logged at or after the index given to Until.
    void Arm() {
        until = kNoIndex;
        armed = true;
        simvr_set_readback(1);
    }
    void Until(std::uint32_t index) { until = index; }
    bool Armed() const { return armed; }

    // Valid after Stop.
    const std::vector<Entry>& Entries() const { return entries; }
    const std::vector<Check>& Checks() const { return checks; }
    std::uint32_t MissedChecks() const { return missed; }

private:
    void Run() {
        std::uint32_t read = 0;
        Clock::time_point lastPoll = Clock::now();
        while (!stop) {
            const Clock::time_point polled = Clock::now();
            const std::uint32_t count = simvr_get_call_count();
            const Clock::time_point seen = Clock::now();
            for (; read < count; ++read) {
                simvr_call call;
                if (simvr_get_call(read, &call) != 1) {
                    break;
                }
                entries.push_back({call.kind, call.eye, call.result, call.frame, lastPoll, seen});
                if (armed && IsLeftSubmit(entries.back())) {
                    ReadBack(read, call.frame);
                    if (read >= until) {
                        simvr_set_readback(0);
                        armed = false;
                    }
                }
            }
            lastPoll = polled;
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    }

    void ReadBack(std::uint32_t index, std::uint64_t frame) {
        std::uint32_t width = 0, height = 0;
        std::uint64_t imageFrame = 0, again = 0;
        std::uint8_t rgba[4] = {};
        // A later Submit may have replaced the image already; then this one is lost.
        if (simvr_get_eye_image_info(0, &width, &height, &imageFrame) != 1 || imageFrame != frame ||
            simvr_get_eye_pixel(0, width / 2, height / 2, rgba) != 1 ||
            simvr_get_eye_image_info(0, nullptr, nullptr, &again) != 1 || again != frame) {
            ++missed;
            return;
        }
        const bool named = rgba[2] == kMarkBlue && rgba[3] == 255;
        checks.push_back({index, named ? static_cast<std::int64_t>(rgba[0] | rgba[1] << 8) : -1});
    }

    std::thread thread;
    std::atomic<bool> stop{false};
    std::atomic<bool> armed{false};
    std::atomic<std::uint32_t> until{kNoIndex};
    std::vector<Entry> entries;
    std::vector<Check> checks;
    std::uint32_t missed = 0;
};

struct Sent {
    Clock::time_point when;
    std::uint64_t vsync;  // the runtime's frame when the call began
    std::uint32_t begin;  // log size when the call began
    std::uint32_t end;    // log size after it returned
    double callMs;
    bool accepted;      // the library took it (else it dropped it: one was pending)
    bool pendingAfter;  // not yet taken over when the call had returned and `end` was read
    bool checked;       // read back around its hand-over
    std::uint32_t shownBy = kNoIndex;  // log index of the left-eye Submit that first showed it
    bool uncertain = false;
};

double Ms(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

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

    // Frames 0 and 1 give both video textures their size and are not counted.
    const std::uint32_t warmUp = 2;
    const std::uint32_t count =
        warmUp + static_cast<std::uint32_t>(options.deliverySeconds * options.hostFps);
    const double periodMs = 1000.0 / options.hostFps;
    const double refreshMs = 1000.0 / options.refreshHz;
    const int settleMs = 300 + static_cast<int>(refreshMs * 4);
    // Room in the log for every call of the run: a pass logs four (WaitGetPoses, two Submits,
    // PostPresentHandoff).
    const double passes = (options.deliverySeconds + 2.0 + settleMs / 1000.0) * options.refreshHz;
    const std::uint32_t capacity =
        static_cast<std::uint32_t>(std::min(passes * 6.0 + 4096.0, double(1u << 20)));
    simvr_set_readback(0);
    simvr_set_call_log_capacity(capacity);
    simvr_clear_calls();
    std::vector<Sent> sent(count);
    std::uint32_t late = 0;
    std::uint32_t failed = 0;

    // The thread names itself once it runs, which may be a moment after Init returned.
    pid_t renderThread = 0;
    for (int attempt = 0; attempt < 100 && renderThread == 0; ++attempt) {
        renderThread = FindThreadByName("STN::RenderThread");
        if (renderThread == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    // The GL driver and the runtime's read-back allocate on the render thread; seeing that
    // proves the counter watches the right thread.
    WatchThread(renderThread);
    LogWatcher watcher(capacity);
    watcher.Start();
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
        record.checked = n >= warmUp && (n - warmUp) % kCheckEvery == 0 && !watcher.Armed();
        if (record.checked) {
            watcher.Arm();
        }
        const std::uint64_t acceptedBefore = session.AcceptedFrames();
        record.when = Clock::now();
        record.vsync = simvr_get_frame_index();
        record.begin = simvr_get_call_count();
        if (!session.Send(frames[n % 2].frame)) {
            ++failed;
        }
        record.callMs = MillisecondsSince(record.when);
        // In this order: a frame still pending after `end` was read is taken over, and shown,
        // by a Submit logged after `end`.
        record.end = simvr_get_call_count();
        record.pendingAfter = session.Pending();
        record.accepted = session.AcceptedFrames() != acceptedBefore;
        if (record.checked) {
            watcher.Until(record.end);
        }
        // The next frame is painted now, off the clock of its own call.
        if (n + 1 < count) {
            FillHostFrame(frames[(n + 1) % 2], FrameColor(n + 1));
        }
    }
    const double sendingSeconds = MillisecondsSince(start) / 1000.0;
    // Long enough for the last frame to be taken over and drawn.
    std::this_thread::sleep_for(std::chrono::milliseconds(settleMs));
    watcher.Stop();
    const std::uint64_t sendingAllocations = WatchedAllocations();
    WatchThread(0);
    const std::uint64_t vsyncs = simvr_get_frame_index() - vsyncBefore;
    const std::vector<Entry>& entries = watcher.Entries();
    const bool logFull = entries.size() >= capacity;

    // The left-eye Submits in log order, and the first of them at or after an index.
    std::vector<std::uint32_t> leftSubmits;
    std::uint64_t renderPasses = 0;
    for (std::uint32_t i = 0; i < entries.size(); ++i) {
        if (IsLeftSubmit(entries[i])) {
            leftSubmits.push_back(i);
        }
        renderPasses += entries[i].kind == SIMVR_CALL_WAIT_GET_POSES ? 1 : 0;
    }
    const auto firstLeftSubmitFrom = [&](std::uint32_t index) {
        const auto found = std::lower_bound(leftSubmits.begin(), leftSubmits.end(), index);
        return found == leftSubmits.end() ? kNoIndex : *found;
    };
    for (Sent& record : sent) {
        if (!record.accepted) {
            continue;
        }
        record.shownBy = firstLeftSubmitFrom(record.end);
        record.uncertain = !record.pendingAfter && firstLeftSubmitFrom(record.begin) < record.end;
    }

    // The pixels against the attribution: what each read-back Submit showed, and the frame the
    // attribution says was on show then (the last taken frame first shown at or before it).
    std::uint32_t agreed = 0;
    std::uint32_t placedEarlier = 0;
    nlohmann::json disagreements = nlohmann::json::array();
    for (const Check& check : watcher.Checks()) {
        std::int64_t expected = -1;
        for (std::uint32_t n = 0; n < count; ++n) {
            if (sent[n].accepted && sent[n].shownBy != kNoIndex && sent[n].shownBy <= check.index) {
                expected = n;
            }
        }
        const bool earlierSubmit =
            check.shows >= 0 && check.shows < count && sent[check.shows].uncertain &&
            sent[check.shows].begin <= check.index && check.index < sent[check.shows].end;
        if (check.shows == expected) {
            ++agreed;
        } else if (earlierSubmit) {
            // An uncertain frame that the Submit during its call did show.
            ++agreed;
            ++placedEarlier;
        } else if (disagreements.size() < 20) {
            disagreements.push_back(
                {{"submit", check.index}, {"shows", check.shows}, {"attributed", expected}});
        }
    }
    const std::uint32_t checks = static_cast<std::uint32_t>(watcher.Checks().size());

    std::vector<double> latencyMs, latencyIntervals, latencyVsyncs, resolutionMs, callMs;
    std::uint32_t accepted = 0, shown = 0, uncertain = 0, checkedFrames = 0;
    for (std::uint32_t n = warmUp; n < count; ++n) {
        const Sent& record = sent[n];
        if (!record.accepted) {
            continue;
        }
        ++accepted;
        uncertain += record.uncertain ? 1 : 0;
        if (record.shownBy == kNoIndex) {
            continue;
        }
        ++shown;
        if (record.checked) {
            ++checkedFrames;
            continue;
        }
        const Entry& submit = entries[record.shownBy];
        callMs.push_back(record.callMs);
        const double ms = Ms(submit.seen - record.when);
        latencyMs.push_back(ms);
        latencyIntervals.push_back(ms / refreshMs);
        latencyVsyncs.push_back(static_cast<double>(submit.frame - record.vsync));
        resolutionMs.push_back(Ms(submit.seen - submit.notBefore));
    }
    const std::uint32_t delivered = count - warmUp;

    // Steady state without read-back: the render thread's allocations per pass while the host
    // keeps sending, with their stacks.
    double allocationsPerPass = -1.0;
    double hostAllocationsPerCall = 0.0;
    std::uint64_t allocationPasses = 0;
    std::vector<AllocationSource> sources;
    std::uint64_t unrecorded = 0;
    if (renderThread != 0) {
        WatchThread(renderThread, true);
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
        allocationPasses = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES) - passesBefore;
        const std::uint64_t allocations = WatchedAllocations();
        WatchThread(0);
        sources = WatchedAllocationSources();
        unrecorded = UnrecordedStacks();
        allocationsPerPass =
            allocationPasses > 0 ? double(allocations) / double(allocationPasses) : 0.0;
        hostAllocationsPerCall = double(hostAllocations) / allocationFrames;
    }
    // Per pass, by who asked: the GL driver, the runtime, or the library and what it links.
    double perCategory[3] = {0.0, 0.0, 0.0};
    for (const AllocationSource& source : sources) {
        const std::string category = AllocationCategory(source.module);
        const int slot = category == "GL driver" ? 0 : category == "runtime" ? 1 : 2;
        perCategory[slot] += allocationPasses > 0 ? double(source.count) / allocationPasses : 0.0;
    }

    const Summary call = Summarize(callMs);
    const Summary latency = Summarize(latencyMs);
    const Summary resolution = Summarize(resolutionMs);
    const double p99Ms = Percentile(latencyMs, 99.0);
    const double medianIntervals = Summarize(latencyIntervals).median;
    const double p99Intervals = Percentile(latencyIntervals, 99.0);
    const double medianVsyncs = Summarize(latencyVsyncs).median;
    const double p99Vsyncs = Percentile(latencyVsyncs, 99.0);
    section["host_fps"] = options.hostFps;
    section["refresh_hz"] = options.refreshHz;
    section["frame_size"] = {options.deliveryWidth, options.deliveryHeight};
    section["eye_size"] = {options.deliveryEyeWidth, options.deliveryEyeHeight};
    section["sending_seconds"] = sendingSeconds;
    section["delivered"] = delivered;
    section["taken"] = accepted;
    section["shown"] = shown;
    section["dropped"] = delivered - shown;
    section["dropped_while_one_was_pending"] = delivered - accepted;
    section["late_sends"] = late;
    section["failed_calls"] = failed;
    section["update_call_ms"] = ToJson(call);
    section["latency_ms"] = {
        {"median", latency.median}, {"p99", p99Ms}, {"max", latency.max}, {"count", latency.count}};
    section["latency_intervals"] = {{"median", medianIntervals}, {"p99", p99Intervals}};
    section["latency_vsyncs"] = {{"median", medianVsyncs}, {"p99", p99Vsyncs}};
    section["submit_time_resolution_ms"] = {{"median", resolution.median},
                                            {"p99", Percentile(resolutionMs, 99.0)}};
    section["attribution"] = {
        {"uncertain", uncertain},           {"uncertain_shown_during_call", placedEarlier},
        {"read_back_checks", checks},       {"agreed", agreed},
        {"missed", watcher.MissedChecks()}, {"frames_read_back", checkedFrames},
        {"disagreements", disagreements}};
    section["render_passes"] = renderPasses;
    section["vsyncs"] = vsyncs;
    section["render_thread_allocations_per_pass"] = allocationsPerPass;
    section["render_thread_allocations_per_pass_by_category"] = {
        {"GL driver", perCategory[0]}, {"runtime", perCategory[1]}, {"library", perCategory[2]}};
    section["render_thread_allocation_sources_per_pass"] =
        ToJson(sources, static_cast<double>(allocationPasses));
    section["allocation_passes"] = allocationPasses;
    section["allocation_stacks_not_recorded"] = unrecorded;
    section["render_thread_allocations_while_sending"] = sendingAllocations;
    section["host_allocations_per_update"] = hostAllocationsPerCall;

    std::vector<std::vector<std::string>> table = {
        {"delivery", "value"},
        {"host rate / refresh",
         Fixed(options.hostFps, 0) + " fps / " + Fixed(options.refreshHz, 0) + " Hz"},
        {"frame / eye size", std::to_string(options.deliveryWidth) + "x" +
                                 std::to_string(options.deliveryHeight) + " / " +
                                 std::to_string(options.deliveryEyeWidth) + "x" +
                                 std::to_string(options.deliveryEyeHeight)},
        {"delivered / taken / shown / dropped",
         std::to_string(delivered) + " / " + std::to_string(accepted) + " / " +
             std::to_string(shown) + " / " + std::to_string(delivered - shown)},
        {"render passes / vsyncs", std::to_string(renderPasses) + " / " + std::to_string(vsyncs)},
        {"sends later than their time (host behind its rate)", std::to_string(late)},
        {"UpdateVideoTexture ms (taken frames)", FormatMs(call)},
        {"latency to first Submit ms (median / p99)",
         Fixed(latency.median, 1) + " / " + Fixed(p99Ms, 1)},
        {"latency intervals (median / p99)",
         Fixed(medianIntervals, 2) + " / " + Fixed(p99Intervals, 2)},
        {"latency vsyncs (median / p99)", Fixed(medianVsyncs, 0) + " / " + Fixed(p99Vsyncs, 0)},
        {"Submit seen within ms (median / p99)",
         Fixed(resolution.median, 2) + " / " + Fixed(Percentile(resolutionMs, 99.0), 2)},
        {"read-back checks agreed / made (lost)", std::to_string(agreed) + " / " +
                                                      std::to_string(checks) + " (" +
                                                      std::to_string(watcher.MissedChecks()) + ")"},
        {"frames with an uncertain first Submit", std::to_string(uncertain)},
        {"render thread allocations per pass", allocationsPerPass < 0
                                                   ? "render thread not found"
                                                   : Fixed(allocationsPerPass, 2) + " (GL driver " +
                                                         Fixed(perCategory[0], 2) + ", runtime " +
                                                         Fixed(perCategory[1], 2) + ", library " +
                                                         Fixed(perCategory[2], 2) + ")"},
        {"host allocations per UpdateVideoTexture", Fixed(hostAllocationsPerCall, 2)}};
    PrintTable("Delivery (" + Fixed(sendingSeconds, 1) + " s of sending; timings leave out the " +
                   std::to_string(checkedFrames) + " frames read back)",
               table);
    for (std::size_t i = 0; i < sources.size() && i < 8; ++i) {
        std::printf("  %.2f/pass  %s\n",
                    allocationPasses > 0 ? double(sources[i].count) / allocationPasses : 0.0,
                    sources[i].where.c_str());
    }

    if (failed != 0) {
        section["error"] = std::to_string(failed) + " UpdateVideoTexture calls failed";
    } else if (logFull) {
        section["error"] = "the runtime's call log filled up";
    } else if (shown == 0) {
        section["error"] = "no frame was shown";
    } else if (renderThread == 0) {
        section["error"] = "the render thread was not found by its name";
    } else if (sendingAllocations == 0) {
        section["error"] = "the allocation counter saw nothing on the render thread";
    } else if (checks == 0) {
        section["error"] = "no read-back check was made";
    } else if (agreed != checks) {
        section["error"] = std::to_string(checks - agreed) +
                           " read-back checks disagree with the attributed frames";
    }
    return !section.contains("error");
}

}  // namespace stereon_bench
