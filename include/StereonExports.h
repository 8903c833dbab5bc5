// The two entry points the library exports. A host either links the library or loads it at run
// time and looks the two functions up; everything else is reached through IStereonService.
#pragma once

#include <boost/shared_ptr.hpp>

#include "IStereonService.h"

namespace STN {

// The service singleton: the live one while anybody holds it, else a new one (with the default
// video layout). Never empty. Takes no lock of its own: call it from one thread, the host's main
// thread. A new one first waits for the last one's teardown, which a deferred stop may still be
// running (about 100 ms after the last ResetHMDPoseCallback, plus the stop itself).
STEREON_API boost::shared_ptr<IStereonService> GetStereonServiceInstance();

// Whether the OpenVR runtime reports a headset. Loads nothing of the library's own and takes no
// lock of it; false when no runtime can be loaded. Any thread, any time, running or not.
STEREON_API bool IsVRPossible();

// The names a host looks up after loading the library (the Itanium C++ names of the two
// functions above).
#if !defined(_WIN32)
#define STEREON_GET_SERVICE_SYMBOL "_ZN3STN25GetStereonServiceInstanceEv"
#define STEREON_IS_VR_POSSIBLE_SYMBOL "_ZN3STN12IsVRPossibleEv"
#endif
typedef boost::shared_ptr<IStereonService> (*GetStereonServiceInstanceFunction)();
typedef bool (*IsVRPossibleFunction)();

}  // namespace STN
