#include "HostApp/ApplicationType.h"

#include <atomic>

namespace HostApp {

namespace {
std::atomic<int> applicationType{kApplicationTypeUnknown};
}  // namespace

int GetApplicationType() {
    return applicationType.load(std::memory_order_acquire);
}

void SetApplicationType(int type) {
    applicationType.store(type, std::memory_order_release);
}

}  // namespace HostApp
