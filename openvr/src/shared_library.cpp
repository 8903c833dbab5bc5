#include "shared_library.h"

#include <utility>

namespace stnvr {

SharedLibrary::~SharedLibrary() {
    Unload();
}

SharedLibrary::SharedLibrary(SharedLibrary&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)) {}

SharedLibrary& SharedLibrary::operator=(SharedLibrary&& other) noexcept {
    if (this != &other) {
        Unload();
        handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
}

}  // namespace stnvr
