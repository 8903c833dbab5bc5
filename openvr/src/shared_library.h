#pragma once

#include <string>

namespace stnvr {

// A loaded shared library; unloads it when destroyed unless Release() handed the handle on.
class SharedLibrary {
public:
    SharedLibrary() = default;
    ~SharedLibrary();
    SharedLibrary(SharedLibrary&& other) noexcept;
    SharedLibrary& operator=(SharedLibrary&& other) noexcept;
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;

    // Loads `path` (UTF-8) with immediate binding and local symbols. False when it cannot be
    // loaded; a library loaded before is unloaded first.
    bool Load(const std::string& path);

    // Null when not loaded or when the library does not export `name`.
    void* GetFunction(const char* name) const;

    void Unload();

    bool IsLoaded() const { return handle != nullptr; }

private:
    void* handle = nullptr;
};

}  // namespace stnvr
