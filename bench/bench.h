// Shared pieces of stereon-bench: options, statistics, timing, the simulated runtime's home and
// the table printer. Each part of the benchmark fills its own section of the JSON report.
#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "alloc_counter.h"

namespace stereon_bench {

struct Options {
    bool quick = false;
    int repetitions = 9;
    int eyeWidth = 1512;
    int eyeHeight = 1680;
    bool runUpload = true;
    bool runFrame = true;
    bool runDelivery = true;
    bool runPanels = true;
    double hostFps = 30.0;
    double refreshHz = 90.0;
    double deliverySeconds = 5.0;
    int deliveryWidth = 3840;
    int deliveryHeight = 1920;
    // Small by default: this part is about pacing and latency, and llvmpipe draws full-size
    // eyes far slower than any refresh rate.
    int deliveryEyeWidth = 512;
    int deliveryEyeHeight = 512;
    double allocationSeconds = 2.0;
    std::string jsonPath;
};

struct Summary {
    std::size_t count = 0;
    double median = 0.0;
    double mad = 0.0;  // median absolute deviation from the median
    double min = 0.0;
    double max = 0.0;
};

Summary Summarize(std::vector<double> values);
// Nearest-rank percentile, p in [0, 100]; 0 for no values.
double Percentile(std::vector<double> values, double p);
nlohmann::json ToJson(const Summary& summary);
// [{"where", "module", "count"}], most frequent first; counts divided by `per` when given.
nlohmann::json ToJson(const std::vector<AllocationSource>& sources, double per = 1.0);
// Who asked for an allocation, from the module it came from: "GL driver" (Mesa, LLVM, the GL and
// EGL dispatch), "runtime" (the OpenVR runtime) or "library" (this program, which links the
// library, and everything else it loads: the host stand-in, Boost).
std::string AllocationCategory(const std::string& module);
// "12.3 ms ±0.4 (11.9-13.0)"
std::string FormatMs(const Summary& summary);

using Clock = std::chrono::steady_clock;
inline double MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// A private home for the simulated runtime: the path registry points the OpenVR client at this
// build's runtime. Removed, and the runtime reset, on destruction.
class RuntimeHome {
public:
    RuntimeHome();
    ~RuntimeHome();
    RuntimeHome(const RuntimeHome&) = delete;
    RuntimeHome& operator=(const RuntimeHome&) = delete;
    bool ok() const { return !home.empty(); }
    const std::string& error() const { return reason; }

private:
    std::string home;
    std::string reason;
};

// Adds a case to the section's "cases": its median in ms and its ratios, each named
// "<this>/<other>" (e.g. "library/memcpy"). main gathers every part's cases into the report's
// top-level "cases"; BENCHMARKS.md and the README say which names are stable.
void AddCase(nlohmann::json& section, const std::string& name, double medianMs,
             const nlohmann::json& ratios = nlohmann::json::object());

// Prints a table with a header row, columns padded to their widest cell.
void PrintTable(const std::string& title, const std::vector<std::vector<std::string>>& rows);
std::string Fixed(double value, int decimals);

// The parts. Each returns its JSON section; a part that cannot run says why in
// section["error"] and returns false.
bool RunUploadBenchmark(const Options& options, nlohmann::json& section);
bool RunFrameBenchmark(const Options& options, nlohmann::json& section);
bool RunDeliveryBenchmark(const Options& options, nlohmann::json& section);
bool RunPanelBenchmark(const Options& options, nlohmann::json& section);

}  // namespace stereon_bench
