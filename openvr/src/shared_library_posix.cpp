#include "shared_library.h"

#include <dlfcn.h>

namespace stnvr {

bool SharedLibrary::Load(const std::string& path) {
    Unload();
    if (path.empty()) {
        return false;
    }
    handle_ = dlopen(path.c_str(), RTLD_LOCAL | RTLD_NOW);
    if (handle_ == nullptr) {
        dlerror();  // clear the pending message so it does not surface at an unrelated call
    }
    return handle_ != nullptr;
}

void* SharedLibrary::GetFunction(const char* name) const {
    if (handle_ == nullptr || name == nullptr) {
        return nullptr;
    }
    return dlsym(handle_, name);
}

void SharedLibrary::Unload() {
    if (handle_ != nullptr) {
        dlclose(handle_);
        handle_ = nullptr;
    }
}

}  // namespace stnvr
