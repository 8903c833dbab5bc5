#include "HeadsetClassification.h"

#include "IHMDManager.h"
#include "hostcore/debug.h"

namespace STN {

HeadsetClassification ClassifyHeadset(const std::string& trackingSystemName) {
    if (trackingSystemName == "lighthouse") {
        return {kHMDTypeVive, 1};
    }
    if (trackingSystemName == "oculus") {
        return {kHMDTypeRift, 3};
    }
    if (trackingSystemName == "holographic") {
        return {kHMDTypeWindowsMixedReality, 2};
    }
    static hostcore::debug::TraceSite site("STN", 4);
    site.Write("Warning: unrecognized HMD type (" + trackingSystemName + "), assuming Rift.");
    return {kHMDTypeUnknown, 3};
}

}  // namespace STN
