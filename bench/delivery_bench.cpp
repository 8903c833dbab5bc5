// Delivery: a host sending frames at a set rate into the simulated runtime paced at a set
// refresh rate, through the running render thread.
//
// Which Submit first shows a frame comes from the runtime's call log: a frame the library takes
// becomes pending during its UpdateVideoTexture, and the render loop takes it over at the start
// of its next pass, before that pass's Submits. Every pass ends in WaitGetPoses, logged as it
// returns, so the first left-eye Submit after a WaitGetPoses logged after the call shows it for
// certain; a left-eye Submit logged earlier, but after the call began, may have shown it, when the
// pass it belongs to took the frame over. Frames with such an earlier Submit are counted as
// uncertain and given the later one. The Submit's time is when a watcher polling the log first
// saw it, so the latency is an upper bound by one poll gap, which is reported.
//
// The pixels check this: every frame is one flat colour that names it, and around every
// kCheckEvery-th frame's hand-over the runtime reads the left eye back (the read-back runs on the
// render thread, so those frames are left out of the timings). Then, without read-back, the render
// thread's heap allocations per pass at steady state, and where they come from.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>
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

// What the watcher saw: every log entry, the read-back checks, and the read-backs lost to a later
// Submit.
struct CallLog {
    std::vector<Entry> entries;
    std::vector<Check> checks;
    std::uint32_t missedChecks = 0;
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

    // Stops and hands over everything seen.
    CallLog Finish() {
        Stop();
        return {std::move(entries), std::move(checks), missed};
    }

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
    bool accepted;  // the library took it (else it dropped it: one was pending)
    bool checked;   // read back around its hand-over
    // Log index of the left-eye Submit that first showed it for certain; with `uncertain`, the
    // earliest one that may have (from `mayShowFrom` on).
    std::uint32_t shownBy = kNoIndex;
    std::uint32_t mayShowFrom = kNoIndex;
    bool uncertain = false;
};

double Ms(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

// Frames 0 and 1 give both video textures their size and are not counted.
constexpr std::uint32_t kWarmUp = 2;

// The library paced at the refresh rate, and the two host frames it is sent in turn.
struct Host {
    LibrarySession session;
    HostFrame frames[2];
};

bool StartHost(const Options& options, Host& host, nlohmann::json& section) {
    std::string error;
    if (!host.session.Start(options.deliveryEyeWidth, options.deliveryEyeHeight, options.refreshHz,
                            true, error)) {
        section["error"] = error;
        return false;
    }
    for (HostFrame& frame : host.frames) {
        if (!MakeHostFrame(options.deliveryWidth, options.deliveryHeight, frame)) {
            section["error"] = "cannot make a host frame";
            return false;
        }
    }
    return true;
}

// How many frames the host sends and how often, and how long the run lasts.
struct Plan {
    std::uint32_t count = 0;  // the warm-up frames included
    double periodMs = 0.0;
    double refreshMs = 0.0;
    int settleMs = 0;
    std::uint32_t capacity = 0;  // of the runtime's call log
};

Plan MakePlan(const Options& options) {
    Plan plan;
    plan.count = kWarmUp + static_cast<std::uint32_t>(options.deliverySeconds * options.hostFps);
    plan.periodMs = 1000.0 / options.hostFps;
    plan.refreshMs = 1000.0 / options.refreshHz;
    plan.settleMs = 300 + static_cast<int>(plan.refreshMs * 4);
    // Room in the log for every call of the run: a pass logs four (WaitGetPoses, two Submits,
    // PostPresentHandoff).
    const double passes =
        (options.deliverySeconds + 2.0 + plan.settleMs / 1000.0) * options.refreshHz;
    plan.capacity = static_cast<std::uint32_t>(std::min(passes * 6.0 + 4096.0, double(1u << 20)));
    return plan;
}

// An empty call log with room for the whole run, and no read-back yet.
void ResetCallLog(std::uint32_t capacity) {
    simvr_set_readback(0);
    simvr_set_call_log_capacity(capacity);
    simvr_clear_calls();
}

// The render thread's kernel id, 0 when it is not found. The thread names itself once it runs,
// which may be a moment after Init returned.
pid_t FindRenderThread() {
    pid_t renderThread = 0;
    for (int attempt = 0; attempt < 100 && renderThread == 0; ++attempt) {
        renderThread = FindThreadByName("STN::RenderThread");
        if (renderThread == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    return renderThread;
}

// The n-th tick of a clock that ticks every `periodMs` from `start`.
Clock::time_point Tick(Clock::time_point start, double periodMs, std::uint32_t n) {
    return start + std::chrono::duration_cast<Clock::duration>(
                       std::chrono::duration<double, std::milli>(periodMs * n));
}

// One UpdateVideoTexture with what the attribution needs of it. False when the call failed.
bool SendRecorded(LibrarySession& session, const HostFrame& frame, Sent& record) {
    const std::uint64_t acceptedBefore = session.AcceptedFrames();
    record.when = Clock::now();
    record.vsync = simvr_get_frame_index();
    record.begin = simvr_get_call_count();
    const bool sent = session.Send(frame.frame);
    record.callMs = MillisecondsSince(record.when);
    record.end = simvr_get_call_count();
    record.accepted = session.AcceptedFrames() != acceptedBefore;
    return sent;
}

// What the timed sending left: a record per frame, and the runtime's calls as they were seen.
struct Sending {
    std::vector<Sent> sent;
    std::uint32_t late = 0;
    std::uint32_t failed = 0;
    double seconds = 0.0;
    std::uint64_t renderThreadAllocations = 0;
    std::uint64_t vsyncs = 0;
    CallLog log;
};

// The host sends every frame of the plan at its rate, each painted in the colour that names it,
// while the log is watched and the render thread's allocations counted.
Sending SendFrames(const Plan& plan, Host& host, pid_t renderThread) {
    Sending sending;
    sending.sent.resize(plan.count);
    // The GL driver and the runtime's read-back allocate on the render thread; seeing that
    // proves the counter watches the right thread.
    WatchThread(renderThread);
    LogWatcher watcher(plan.capacity);
    watcher.Start();
    const std::uint64_t vsyncBefore = simvr_get_frame_index();
    FillHostFrame(host.frames[0], FrameColor(0));
    const Clock::time_point start = Clock::now();
    for (std::uint32_t n = 0; n < plan.count; ++n) {
        const Clock::time_point due = Tick(start, plan.periodMs, n);
        if (Clock::now() > due + std::chrono::milliseconds(1)) {
            ++sending.late;
        }
        std::this_thread::sleep_until(due);
        Sent& record = sending.sent[n];
        record.checked = n >= kWarmUp && (n - kWarmUp) % kCheckEvery == 0 && !watcher.Armed();
        if (record.checked) {
            watcher.Arm();
        }
        if (!SendRecorded(host.session, host.frames[n % 2], record)) {
            ++sending.failed;
        }
        if (record.checked) {
            watcher.Until(record.end);
        }
        // The next frame is painted now, off the clock of its own call.
        if (n + 1 < plan.count) {
            FillHostFrame(host.frames[(n + 1) % 2], FrameColor(n + 1));
        }
    }
    sending.seconds = MillisecondsSince(start) / 1000.0;
    // Long enough for the last frame to be taken over and drawn.
    std::this_thread::sleep_for(std::chrono::milliseconds(plan.settleMs));
    sending.log = watcher.Finish();
    sending.renderThreadAllocations = WatchedAllocations();
    WatchThread(0);
    sending.vsyncs = simvr_get_frame_index() - vsyncBefore;
    return sending;
}

std::uint64_t CountRenderPasses(const std::vector<Entry>& entries) {
    std::uint64_t renderPasses = 0;
    for (const Entry& entry : entries) {
        renderPasses += entry.kind == SIMVR_CALL_WAIT_GET_POSES ? 1 : 0;
    }
    return renderPasses;
}

// Gives every taken frame the first left-eye Submit of a pass that began after its call, and
// marks those that an earlier Submit, logged after the call began, may have shown.
void AttributeSubmits(const std::vector<Entry>& entries, std::vector<Sent>& sent) {
    // The left-eye Submits and the WaitGetPoses in log order, and the first at or after an index.
    std::vector<std::uint32_t> leftSubmits, waits;
    for (std::uint32_t i = 0; i < entries.size(); ++i) {
        if (IsLeftSubmit(entries[i])) {
            leftSubmits.push_back(i);
        } else if (entries[i].kind == SIMVR_CALL_WAIT_GET_POSES) {
            waits.push_back(i);
        }
    }
    const auto firstFrom = [](const std::vector<std::uint32_t>& indices, std::uint32_t index) {
        const auto found = std::lower_bound(indices.begin(), indices.end(), index);
        return found == indices.end() ? kNoIndex : *found;
    };
    for (Sent& record : sent) {
        if (!record.accepted) {
            continue;
        }
        const std::uint32_t passAfter = firstFrom(waits, record.end);
        record.shownBy = passAfter == kNoIndex ? kNoIndex : firstFrom(leftSubmits, passAfter);
        record.mayShowFrom = firstFrom(leftSubmits, record.begin);
        record.uncertain = record.mayShowFrom < record.shownBy;
    }
}

struct PixelChecks {
    std::uint32_t made = 0;
    std::uint32_t agreed = 0;
    std::uint32_t placedEarlier = 0;
    nlohmann::json disagreements = nlohmann::json::array();
};

// The pixels against the attribution: what each read-back Submit showed, and the frame the
// attribution says was on show then (the last taken frame first shown at or before it).
PixelChecks CheckPixels(const std::vector<Check>& checks, const std::vector<Sent>& sent) {
    const std::uint32_t count = static_cast<std::uint32_t>(sent.size());
    PixelChecks result;
    for (const Check& check : checks) {
        std::int64_t expected = -1;
        for (std::uint32_t n = 0; n < count; ++n) {
            if (sent[n].accepted && sent[n].shownBy != kNoIndex && sent[n].shownBy <= check.index) {
                expected = n;
            }
        }
        const bool earlierSubmit =
            check.shows >= 0 && check.shows < count && sent[check.shows].uncertain &&
            sent[check.shows].mayShowFrom <= check.index && check.index < sent[check.shows].shownBy;
        if (check.shows == expected) {
            ++result.agreed;
        } else if (earlierSubmit) {
            // An uncertain frame that an earlier Submit did show.
            ++result.agreed;
            ++result.placedEarlier;
        } else if (result.disagreements.size() < 20) {
            result.disagreements.push_back(
                {{"submit", check.index}, {"shows", check.shows}, {"attributed", expected}});
        }
    }
    result.made = static_cast<std::uint32_t>(checks.size());
    return result;
}

// The frames after the warm-up: how many were taken and shown, and the timings of those shown
// and not read back.
struct Timings {
    std::vector<double> latencyMs, latencyIntervals, latencyVsyncs, resolutionMs, callMs;
    std::uint32_t delivered = 0;
    std::uint32_t accepted = 0, shown = 0, uncertain = 0, checkedFrames = 0;
};

Timings CollectTimings(const Sending& sending, double refreshMs) {
    const std::uint32_t count = static_cast<std::uint32_t>(sending.sent.size());
    Timings timings;
    for (std::uint32_t n = kWarmUp; n < count; ++n) {
        const Sent& record = sending.sent[n];
        if (!record.accepted) {
            continue;
        }
        ++timings.accepted;
        timings.uncertain += record.uncertain ? 1 : 0;
        if (record.shownBy == kNoIndex) {
            continue;
        }
        ++timings.shown;
        if (record.checked) {
            ++timings.checkedFrames;
            continue;
        }
        const Entry& submit = sending.log.entries[record.shownBy];
        timings.callMs.push_back(record.callMs);
        const double ms = Ms(submit.seen - record.when);
        timings.latencyMs.push_back(ms);
        timings.latencyIntervals.push_back(ms / refreshMs);
        timings.latencyVsyncs.push_back(static_cast<double>(submit.frame - record.vsync));
        timings.resolutionMs.push_back(Ms(submit.seen - submit.notBefore));
    }
    timings.delivered = count - kWarmUp;
    return timings;
}

struct SteadyAllocations {
    double perPass = -1.0;  // -1: the render thread was not found
    double hostPerCall = 0.0;
    std::uint64_t passes = 0;
    std::vector<AllocationSource> sources;
    std::uint64_t unrecorded = 0;
    // Per pass, by who asked: the GL driver, the runtime, or the library and what it links.
    double perCategory[3] = {0.0, 0.0, 0.0};
};

// Steady state without read-back: the render thread's allocations per pass while the host
// keeps sending, with their stacks.
SteadyAllocations MeasureSteadyAllocations(const Options& options, const Plan& plan, Host& host,
                                           pid_t renderThread) {
    SteadyAllocations steady;
    if (renderThread == 0) {
        return steady;
    }
    WatchThread(renderThread, true);
    const std::uint64_t passesBefore = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES);
    const std::uint32_t allocationFrames =
        std::max(1u, static_cast<std::uint32_t>(options.allocationSeconds * options.hostFps));
    std::uint64_t hostAllocations = 0;
    const Clock::time_point allocationStart = Clock::now();
    for (std::uint32_t n = 0; n < allocationFrames; ++n) {
        std::this_thread::sleep_until(Tick(allocationStart, plan.periodMs, n));
        const std::uint64_t before = ThreadAllocations();
        host.session.Send(host.frames[n % 2].frame);
        hostAllocations += ThreadAllocations() - before;
    }
    steady.passes = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES) - passesBefore;
    const std::uint64_t allocations = WatchedAllocations();
    WatchThread(0);
    steady.sources = WatchedAllocationSources();
    steady.unrecorded = UnrecordedStacks();
    steady.perPass = steady.passes > 0 ? double(allocations) / double(steady.passes) : 0.0;
    steady.hostPerCall = double(hostAllocations) / allocationFrames;
    for (const AllocationSource& source : steady.sources) {
        const std::string category = AllocationCategory(source.module);
        const int slot = category == "GL driver" ? 0 : category == "runtime" ? 1 : 2;
        steady.perCategory[slot] += steady.passes > 0 ? double(source.count) / steady.passes : 0.0;
    }
    return steady;
}

// The timings as reported.
struct Figures {
    Summary call;
    Summary latency;
    Summary resolution;
    double p99Ms = 0.0;
    double medianIntervals = 0.0;
    double p99Intervals = 0.0;
    double medianVsyncs = 0.0;
    double p99Vsyncs = 0.0;
    double p99ResolutionMs = 0.0;
};

Figures SummarizeTimings(const Timings& timings) {
    Figures figures;
    figures.call = Summarize(timings.callMs);
    figures.latency = Summarize(timings.latencyMs);
    figures.resolution = Summarize(timings.resolutionMs);
    figures.p99Ms = Percentile(timings.latencyMs, 99.0);
    figures.medianIntervals = Summarize(timings.latencyIntervals).median;
    figures.p99Intervals = Percentile(timings.latencyIntervals, 99.0);
    figures.medianVsyncs = Summarize(timings.latencyVsyncs).median;
    figures.p99Vsyncs = Percentile(timings.latencyVsyncs, 99.0);
    figures.p99ResolutionMs = Percentile(timings.resolutionMs, 99.0);
    return figures;
}

// Everything the section, the table and the verdict are made of.
struct Results {
    Sending sending;
    std::uint64_t renderPasses = 0;
    PixelChecks pixels;
    Timings timings;
    SteadyAllocations steady;
    Figures figures;
};

void FillSection(const Options& options, const Results& results, nlohmann::json& section) {
    const Sending& sending = results.sending;
    const Timings& timings = results.timings;
    const PixelChecks& pixels = results.pixels;
    const SteadyAllocations& steady = results.steady;
    const Figures& figures = results.figures;
    section["host_fps"] = options.hostFps;
    section["refresh_hz"] = options.refreshHz;
    section["frame_size"] = {options.deliveryWidth, options.deliveryHeight};
    section["eye_size"] = {options.deliveryEyeWidth, options.deliveryEyeHeight};
    section["sending_seconds"] = sending.seconds;
    section["delivered"] = timings.delivered;
    section["taken"] = timings.accepted;
    section["shown"] = timings.shown;
    section["dropped"] = timings.delivered - timings.shown;
    section["dropped_while_one_was_pending"] = timings.delivered - timings.accepted;
    section["late_sends"] = sending.late;
    section["failed_calls"] = sending.failed;
    section["update_call_ms"] = ToJson(figures.call);
    section["latency_ms"] = {{"median", figures.latency.median},
                             {"p99", figures.p99Ms},
                             {"max", figures.latency.max},
                             {"count", figures.latency.count}};
    section["latency_intervals"] = {{"median", figures.medianIntervals},
                                    {"p99", figures.p99Intervals}};
    section["latency_vsyncs"] = {{"median", figures.medianVsyncs}, {"p99", figures.p99Vsyncs}};
    section["submit_time_resolution_ms"] = {{"median", figures.resolution.median},
                                            {"p99", figures.p99ResolutionMs}};
    section["attribution"] = {
        {"uncertain", timings.uncertain},       {"uncertain_shown_earlier", pixels.placedEarlier},
        {"read_back_checks", pixels.made},      {"agreed", pixels.agreed},
        {"missed", sending.log.missedChecks},   {"frames_read_back", timings.checkedFrames},
        {"disagreements", pixels.disagreements}};
    section["render_passes"] = results.renderPasses;
    section["vsyncs"] = sending.vsyncs;
    section["render_thread_allocations_per_pass"] = steady.perPass;
    section["render_thread_allocations_per_pass_by_category"] = {
        {"GL driver", steady.perCategory[0]},
        {"runtime", steady.perCategory[1]},
        {"library", steady.perCategory[2]}};
    section["render_thread_allocation_sources_per_pass"] =
        ToJson(steady.sources, static_cast<double>(steady.passes));
    section["allocation_passes"] = steady.passes;
    section["allocation_stacks_not_recorded"] = steady.unrecorded;
    section["render_thread_allocations_while_sending"] = sending.renderThreadAllocations;
    section["host_allocations_per_update"] = steady.hostPerCall;
}

void PrintResults(const Options& options, const Results& results) {
    const Sending& sending = results.sending;
    const Timings& timings = results.timings;
    const PixelChecks& pixels = results.pixels;
    const SteadyAllocations& steady = results.steady;
    const Figures& figures = results.figures;
    const std::vector<std::vector<std::string>> table = {
        {"delivery", "value"},
        {"host rate / refresh",
         Fixed(options.hostFps, 0) + " fps / " + Fixed(options.refreshHz, 0) + " Hz"},
        {"frame / eye size", std::to_string(options.deliveryWidth) + "x" +
                                 std::to_string(options.deliveryHeight) + " / " +
                                 std::to_string(options.deliveryEyeWidth) + "x" +
                                 std::to_string(options.deliveryEyeHeight)},
        {"delivered / taken / shown / dropped",
         std::to_string(timings.delivered) + " / " + std::to_string(timings.accepted) + " / " +
             std::to_string(timings.shown) + " / " +
             std::to_string(timings.delivered - timings.shown)},
        {"render passes / vsyncs",
         std::to_string(results.renderPasses) + " / " + std::to_string(sending.vsyncs)},
        {"sends later than their time (host behind its rate)", std::to_string(sending.late)},
        {"UpdateVideoTexture ms (taken frames)", FormatMs(figures.call)},
        {"latency to first Submit ms (median / p99)",
         Fixed(figures.latency.median, 1) + " / " + Fixed(figures.p99Ms, 1)},
        {"latency intervals (median / p99)",
         Fixed(figures.medianIntervals, 2) + " / " + Fixed(figures.p99Intervals, 2)},
        {"latency vsyncs (median / p99)",
         Fixed(figures.medianVsyncs, 0) + " / " + Fixed(figures.p99Vsyncs, 0)},
        {"Submit seen within ms (median / p99)",
         Fixed(figures.resolution.median, 2) + " / " + Fixed(figures.p99ResolutionMs, 2)},
        {"read-back checks agreed / made (lost)",
         std::to_string(pixels.agreed) + " / " + std::to_string(pixels.made) + " (" +
             std::to_string(sending.log.missedChecks) + ")"},
        {"frames with an uncertain first Submit", std::to_string(timings.uncertain)},
        {"render thread allocations per pass",
         steady.perPass < 0
             ? "render thread not found"
             : Fixed(steady.perPass, 2) + " (GL driver " + Fixed(steady.perCategory[0], 2) +
                   ", runtime " + Fixed(steady.perCategory[1], 2) + ", library " +
                   Fixed(steady.perCategory[2], 2) + ")"},
        {"host allocations per UpdateVideoTexture", Fixed(steady.hostPerCall, 2)}};
    PrintTable("Delivery (" + Fixed(sending.seconds, 1) + " s of sending; timings leave out the " +
                   std::to_string(timings.checkedFrames) + " frames read back)",
               table);
    for (std::size_t i = 0; i < steady.sources.size() && i < 8; ++i) {
        std::printf("  %.2f/pass  %s\n",
                    steady.passes > 0 ? double(steady.sources[i].count) / steady.passes : 0.0,
                    steady.sources[i].where.c_str());
    }
}

// The first thing that makes the run's figures untrustworthy, in section["error"].
void SetError(const Results& results, const Plan& plan, pid_t renderThread,
              nlohmann::json& section) {
    const Sending& sending = results.sending;
    const PixelChecks& pixels = results.pixels;
    if (sending.failed != 0) {
        section["error"] = std::to_string(sending.failed) + " UpdateVideoTexture calls failed";
    } else if (sending.log.entries.size() >= plan.capacity) {
        section["error"] = "the runtime's call log filled up";
    } else if (results.timings.shown == 0) {
        section["error"] = "no frame was shown";
    } else if (renderThread == 0) {
        section["error"] = "the render thread was not found by its name";
    } else if (sending.renderThreadAllocations == 0) {
        section["error"] = "the allocation counter saw nothing on the render thread";
    } else if (pixels.made == 0) {
        section["error"] = "no read-back check was made";
    } else if (pixels.agreed != pixels.made) {
        section["error"] = std::to_string(pixels.made - pixels.agreed) +
                           " read-back checks disagree with the attributed frames";
    }
}

}  // namespace

bool RunDeliveryBenchmark(const Options& options, nlohmann::json& section) {
    Host host;
    if (!StartHost(options, host, section)) {
        return false;
    }
    const Plan plan = MakePlan(options);
    ResetCallLog(plan.capacity);
    const pid_t renderThread = FindRenderThread();

    Results results;
    results.sending = SendFrames(plan, host, renderThread);
    const CallLog& log = results.sending.log;
    results.renderPasses = CountRenderPasses(log.entries);
    AttributeSubmits(log.entries, results.sending.sent);
    results.pixels = CheckPixels(log.checks, results.sending.sent);
    results.timings = CollectTimings(results.sending, plan.refreshMs);
    results.steady = MeasureSteadyAllocations(options, plan, host, renderThread);
    results.figures = SummarizeTimings(results.timings);

    FillSection(options, results, section);
    PrintResults(options, results);
    SetError(results, plan, renderThread, section);
    return !section.contains("error");
}

}  // namespace stereon_bench
