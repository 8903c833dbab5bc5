#include "UsageMetrics.h"

#include <cstdio>

#include "hostcore/config.h"

namespace STN {

namespace {

const char kCategory[] = "STN";

std::string FormatU64(std::uint64_t value) {
    char text[32];
    std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(value));
    return text;
}

std::string FormatU32(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%u", static_cast<unsigned>(value));
    return text;
}

}  // namespace

UsageMetrics& UsageMetrics::Get() {
    // Never destroyed: a deferred stop running on an executor thread may still send and clear
    // the record while the process exits and its static objects are torn down.
    static UsageMetrics* const metrics = new UsageMetrics();
    return *metrics;
}

void UsageMetrics::RecordFrameSize(std::uint32_t width, std::uint32_t height) {
    if (width > MaxFrameWidth) {
        MaxFrameWidth = width;
    }
    if (height > MaxFrameHeight) {
        MaxFrameHeight = height;
    }
    // Wraps like the counters it feeds; only a strictly larger area replaces the dimensions.
    const std::uint32_t area = width * height;
    if (area > MaxFrameArea) {
        MaxFrameArea = area;
        MaxFrameAreaDimensions = FormatU32(width) + "x" + FormatU32(height);
    }
}

void UsageMetrics::SendInstanceMetrics() const {
    const boost::shared_ptr<hostcore::config::UsageLogger> logger =
        hostcore::config::UsageLogger::Get();
    if (!logger) {
        return;
    }
    const boost::shared_ptr<hostcore::config::UsageEvent> event =
        logger->CreateUsageEvent(kCategory, "vidariumvr_instance_metrics");
    if (!event) {
        return;
    }
    event->SetValue("GPUDeviceName", GPUDeviceName);
    event->SetValue("HMDDeviceName", HMDDeviceName);
    event->SetValue("GPUFramesPlayed", FormatU64(GPUFramesPlayed));
    event->SetValue("CPUFramesPlayed", FormatU64(CPUFramesPlayed));
    event->SetValue("MaxFrameWidth", FormatU32(MaxFrameWidth));
    event->SetValue("MaxFrameHeight", FormatU32(MaxFrameHeight));
    event->SetValue("MaxFrameAreaDimensions", MaxFrameAreaDimensions);
    event->SetValue("StereoscopicSideBySideFramesPlayed",
                    FormatU64(StereoscopicSideBySideFramesPlayed));
    event->SetValue("StereoscopicOverUnderFramesPlayed",
                    FormatU64(StereoscopicOverUnderFramesPlayed));
    event->SetValue("MonoscopicFramesPlayed", FormatU64(MonoscopicFramesPlayed));
    event->SetValue("InstancesAdded", FormatU64(InstancesAdded));
    event->SetValue("InstancesRemoved", FormatU64(InstancesRemoved));
}

void UsageMetrics::Clear() {
    for (std::string* text : {&GPUDeviceName, &HMDDeviceName, &MaxFrameAreaDimensions}) {
        text->clear();
    }
    for (std::atomic<std::uint32_t>* size : {&MaxFrameWidth, &MaxFrameHeight, &MaxFrameArea}) {
        *size = 0;
    }
    for (std::atomic<std::uint64_t>* count :
         {&GPUFramesPlayed, &CPUFramesPlayed, &StereoscopicSideBySideFramesPlayed,
          &StereoscopicOverUnderFramesPlayed, &MonoscopicFramesPlayed, &InstancesAdded,
          &InstancesRemoved}) {
        *count = 0;
    }
}

void ReportInitializationResult(const char* eventName, const char* key1, const char* value1,
                                const char* key2, const char* value2) {
    const boost::shared_ptr<hostcore::config::UsageLogger> logger =
        hostcore::config::UsageLogger::Get();
    if (!logger) {
        return;
    }
    const boost::shared_ptr<hostcore::config::UsageEvent> event =
        logger->CreateUsageEvent(kCategory, eventName != nullptr ? eventName : "");
    if (!event) {
        return;
    }
    event->SetValue(key1 != nullptr ? key1 : "", value1 != nullptr ? value1 : "");
    event->SetValue(key2 != nullptr ? key2 : "", value2 != nullptr ? value2 : "");
}

}  // namespace STN
