// The library's two exported entry points.
#include "StereonExports.h"

#include "StereonService.h"
#include "stnvr/vr_client.h"

namespace STN {

boost::shared_ptr<IStereonService> GetStereonServiceInstance() {
    return StereonService::Instance();
}

bool IsVRPossible() {
    return vr::VR_IsHmdPresent();
}

}  // namespace STN
