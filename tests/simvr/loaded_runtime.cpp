#include "loaded_runtime.h"

#include <dlfcn.h>

#include <stdexcept>

LoadedRuntime::LoadedRuntime(const std::string& path)
    : path_(path), handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD)) {}

LoadedRuntime::~LoadedRuntime() {
    if (handle_ != nullptr) {
        dlclose(handle_);
    }
}

void* LoadedRuntime::Symbol(const char* name) const {
    if (handle_ == nullptr) {
        throw std::runtime_error(path_ + " is not loaded, so " + name + " cannot be reached");
    }
    void* symbol = dlsym(handle_, name);
    if (symbol == nullptr) {
        throw std::runtime_error(path_ + " does not export " + name);
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
