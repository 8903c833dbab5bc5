#include <dlfcn.h>

#include "SharedLibrary.h"

namespace GB {
namespace detail {

void* OpenSharedLibrary(const char* name, std::string* error) {
    void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr && error != nullptr) {
        const char* text = dlerror();
        *error = text != nullptr ? text : "dlopen failed";
    }
    return library;
}

void* FindSymbol(void* library, const char* name) {
    return dlsym(library, name);
}

void CloseSharedLibrary(void* library) {
    if (library != nullptr) {
        dlclose(library);
    }
}

}  // namespace detail
}  // namespace GB
