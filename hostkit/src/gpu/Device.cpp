#include "GB/Device.h"

#include <utility>

#include "DeviceBackends.h"
#include "GB/OffscreenGL.h"

namespace GB {

Device::Device(std::int32_t kind, Parts parts)
    : DeviceKind(kind),
      name(std::move(parts.name)),
      shareWithOpenGL(parts.shareWithOpenGL),
      extensions(std::move(parts.extensions)),
      compute(std::move(parts.compute)),
      allocator(std::move(parts.allocator)),
      mapper(std::move(parts.mapper)),
      glDevice(parts.glDevice),
      glContext(parts.glContext) {}

void Device::AcquireExclusiveAccess() {
    exclusive.lock();
    if (compute) {
        compute->Enter();
    }
}

void Device::ReleaseExclusiveAccess() {
    if (compute) {
        compute->Leave();
    }
    exclusive.unlock();
}

Device::~Device() {
    // The compute context may wrap the GL context (interop), so it goes first.
    mapper.reset();
    allocator.reset();
    compute.reset();
    offscreen::DestroyContext(static_cast<EGLDisplay>(glDevice),
                              static_cast<EGLContext>(glContext));
}

boost::shared_ptr<Device> Device::Create(std::int32_t kind, std::string* reason) {
    switch (kind) {
        case kDeviceKind_CUDA:
            return detail::CreateCudaDevice(reason);
        case kDeviceKind_OpenCL:
        case kDeviceKind_OpenCLNoSharing:
            return detail::CreateOpenCLDevice(kind, reason);
        default:
            if (reason != nullptr) {
                *reason = "unknown device kind " + std::to_string(kind);
            }
            return boost::shared_ptr<Device>();
    }
}

}  // namespace GB
