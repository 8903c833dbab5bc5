#include <windows.h>

#include "SharedLibrary.h"

namespace GB {
namespace detail {

void* OpenSharedLibrary(const char* name, std::string* error) {
    HMODULE library = LoadLibraryA(name);
    if (library == nullptr && error != nullptr) {
        const DWORD code = GetLastError();
        char* text = nullptr;
        FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                           FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                       reinterpret_cast<LPSTR>(&text), 0, nullptr);
        *error = text != nullptr ? text : "LoadLibraryA failed";
        if (text != nullptr) {
            LocalFree(text);
        }
    }
    return reinterpret_cast<void*>(library);
}

void* FindSymbol(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void CloseSharedLibrary(void* library) {
    if (library != nullptr) {
        FreeLibrary(static_cast<HMODULE>(library));
    }
}

}  // namespace detail
}  // namespace GB
