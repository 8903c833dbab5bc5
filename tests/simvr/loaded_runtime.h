// The control interface of the simulated runtime that the OpenVR client loaded into this
// process, reached the way a tool beside an application reaches it: the dynamic linker is asked
// for the library already there (RTLD_NOLOAD), never to load it. An open handle keeps the
// library mapped; let it go before looking at whether the client unloaded the runtime.
#pragma once

#include <string>

class LoadedRuntime {
public:
    // Opens the library at `path` only if it is loaded; Ok() tells.
    explicit LoadedRuntime(const std::string& path);
    ~LoadedRuntime();
    LoadedRuntime(const LoadedRuntime&) = delete;
    LoadedRuntime& operator=(const LoadedRuntime&) = delete;

    bool Ok() const { return handle != nullptr; }
    // The exported symbol `name`. Throws std::runtime_error when the runtime was not loaded or
    // does not export it, so that a test fails with the reason instead of calling null.
    void* Symbol(const char* name) const;

    static bool IsLoaded(const std::string& path);

private:
    std::string path;
    void* handle = nullptr;
};

// A control function of `runtime` by its declaration in simvr_control.h, e.g.
// SIMVR(runtime, simvr_set_profile)(SIMVR_PROFILE_RIFT). The declaration only gives the type:
// the program does not link the runtime.
#define SIMVR(runtime, function) \
    (reinterpret_cast<decltype(&function)>((runtime).Symbol(#function)))
