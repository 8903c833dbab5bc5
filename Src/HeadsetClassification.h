// Which headset and controller family a runtime's tracking system name stands for.
#pragma once

#include <cstdint>
#include <string>

namespace STN {

struct HeadsetClassification {
    std::int32_t hmdType;
    // The controller family that picks the event interpreter.
    std::int32_t controllerFamily;
};

// Exact, case-sensitive comparison. Any other name counts as a Rift, with a trace line of
// category "STN" at level 4.
HeadsetClassification ClassifyHeadset(const std::string& trackingSystemName);

}  // namespace STN
