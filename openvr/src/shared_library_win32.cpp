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
    handle = reinterpret_cast<void*>(
        LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    return handle != nullptr;
}

void* SharedLibrary::GetFunction(const char* name) const {
    if (handle == nullptr || name == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}

void SharedLibrary::Unload() {
    if (handle != nullptr) {
        FreeLibrary(static_cast<HMODULE>(handle));
        handle = nullptr;
    }
}

}  // namespace stnvr
