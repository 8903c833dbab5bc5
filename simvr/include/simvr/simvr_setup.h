// Pointing the OpenVR client at this build's simulated runtime, and driving the runtime
// directly, for tests and tools that link it (so it is in the process before any VR_Init).
#pragma once

#include "simvr/simvr_paths.h"

namespace simvr {

// Puts the simulated runtime back to its defaults (simvr_reset). Call between tests.
void ResetRuntime();

}  // namespace simvr
