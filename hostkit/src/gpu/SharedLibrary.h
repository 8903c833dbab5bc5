#pragma once

// Opening a shared library and finding its symbols; one implementation per platform.

#include <string>

namespace GB {
namespace detail {

// The library's handle, or null with the loader's message in `error`.
void* OpenSharedLibrary(const char* name, std::string* error);
void* FindSymbol(void* library, const char* name);
void CloseSharedLibrary(void* library);

}  // namespace detail
}  // namespace GB
