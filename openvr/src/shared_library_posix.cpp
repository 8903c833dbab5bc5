#include "shared_library.h"

#include <dlfcn.h>

namespace stnvr {

bool SharedLibrary::Load(const std::string& path) {
    Unload();
    if (path.empty()) {
        return false;
    }
    handle = dlopen(path.c_str(), RTLD_LOCAL | RTLD_NOW);
    if (handle == nullptr) {
        dlerror();  // clear the pending message so it does not surface at an unrelated call
    }
    return handle != nullptr;
}

void* SharedLibrary::GetFunction(const char* name) const {
    if (handle == nullptr || name == nullptr) {
        return nullptr;
    }
    return dlsym(handle, name);
}

void SharedLibrary::Unload() {
    if (handle != nullptr) {
        dlclose(handle);
        handle = nullptr;
    }
}

}  // namespace stnvr
