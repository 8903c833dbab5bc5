#pragma once

#include "stnvr/vr_types.h"

namespace stnvr {

// The client's own names for init errors, used while no runtime is loaded to ask.
namespace init_error_names {

// The enumerator's name, e.g. "VRInitError_Init_HmdNotFound"; for a value the client does not
// know, "Unknown error (<value>)" in a per-thread buffer.
const char* Symbol(vr::EVRInitError error);

// OpenVR's English text with the value, e.g. "Hmd Not Found (108)"; "Unknown error (<value>)"
// for a value without one, in the same per-thread buffer as above.
const char* EnglishDescription(vr::EVRInitError error);

}  // namespace init_error_names
}  // namespace stnvr
