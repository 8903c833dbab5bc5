#include "shared_library.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace stnvr {

bool SharedLibrary::Load(const std::string& path) {
    Unload();
    if (path.empty()) {
        return false;
    }
    // The narrow entry point, as the runtimes' own loaders use; the runtime's directory is
    // searched for its dependencies.
    handle_ = reinterpret_cast<void*>(
        LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    return handle_ != nullptr;
}

void* SharedLibrary::GetFunction(const char* name) const {
    if (handle_ == nullptr || name == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

void SharedLibrary::Unload() {
    if (handle_ != nullptr) {
        FreeLibrary(static_cast<HMODULE>(handle_));
        handle_ = nullptr;
    }
}

}  // namespace stnvr
