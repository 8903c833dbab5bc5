#include "loaded_runtime.h"

#include <dlfcn.h>

#include <stdexcept>

LoadedRuntime::LoadedRuntime(const std::string& path)
    : path(path), handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD)) {}

LoadedRuntime::~LoadedRuntime() {
    if (handle != nullptr) {
        dlclose(handle);
    }
}

void* LoadedRuntime::Symbol(const char* name) const {
    if (handle == nullptr) {
        throw std::runtime_error(path + " is not loaded, so " + name + " cannot be reached");
    }
    void* symbol = dlsym(handle, name);
    if (symbol == nullptr) {
        throw std::runtime_error(path + " does not export " + name);
    }
    return symbol;
}

bool LoadedRuntime::IsLoaded(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    if (handle == nullptr) {
        return false;
    }
    dlclose(handle);
    return true;
}
