// The library as a host meets it: loaded at run time, reached only through the two exports and
// the public headers.
#pragma once

#include <dlfcn.h>

#include <string>

#include "StereonExports.h"

namespace stntest {

struct HostLibrary {
    void* handle = nullptr;
    STN::GetStereonServiceInstanceFunction getService = nullptr;
    STN::IsVRPossibleFunction isVRPossible = nullptr;
    std::string error;

    // Loads the library once and keeps it for the life of the process, as a host does.
    bool Load(const char* path) {
        if (handle != nullptr) {
            return true;
        }
        handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            error = dlerror();
            return false;
        }
        getService = reinterpret_cast<STN::GetStereonServiceInstanceFunction>(
            dlsym(handle, STEREON_GET_SERVICE_SYMBOL));
        isVRPossible = reinterpret_cast<STN::IsVRPossibleFunction>(
            dlsym(handle, STEREON_IS_VR_POSSIBLE_SYMBOL));
        if (getService == nullptr || isVRPossible == nullptr) {
            error = "entry point missing";
            return false;
        }
        return true;
    }
};

}  // namespace stntest
