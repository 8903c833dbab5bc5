// Usage events for the host's usage logger: one report per initialisation attempt and one
// summary of counters per run. With no logger present all of it is silent.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace STN {

// The process-wide record of the current run. Counters are atomic: clients come and go on host
// threads while a deferred stop sends and clears the record. The texts are written by Init and
// by a frame's upload, both of which Stop waits for before it sends them.
struct UsageMetrics {
    std::string GPUDeviceName;
    std::string HMDDeviceName;
    std::atomic<std::uint64_t> GPUFramesPlayed{0};
    std::atomic<std::uint64_t> CPUFramesPlayed{0};
    std::atomic<std::uint32_t> MaxFrameWidth{0};
    std::atomic<std::uint32_t> MaxFrameHeight{0};
    std::atomic<std::uint32_t> MaxFrameArea{0};
    std::string MaxFrameAreaDimensions;
    std::atomic<std::uint64_t> StereoscopicSideBySideFramesPlayed{0};
    std::atomic<std::uint64_t> StereoscopicOverUnderFramesPlayed{0};
    std::atomic<std::uint64_t> MonoscopicFramesPlayed{0};
    std::atomic<std::uint64_t> InstancesAdded{0};
    std::atomic<std::uint64_t> InstancesRemoved{0};

    static UsageMetrics& Get();

    void RecordFrameSize(std::uint32_t width, std::uint32_t height);
    // Sends "vidariumvr_instance_metrics" with every counter.
    void SendInstanceMetrics() const;
    // Strings empty, numbers 0.
    void Clear();
};

// Sends an event of category "STN" with two keys.
void ReportInitializationResult(const char* eventName, const char* key1, const char* value1,
                                const char* key2, const char* value2);

}  // namespace STN
