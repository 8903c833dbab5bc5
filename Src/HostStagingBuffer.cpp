#include "HostStagingBuffer.h"

#include "GB/Device.h"

namespace STN {

HostStagingBuffer::HostStagingBuffer(const boost::shared_ptr<GB::Device>& device, std::size_t size)
    : device(device), size(size) {
    if (device && size != 0) {
        allocation = device->GetHostBufferAllocator().Allocate(size);
    }
}

HostStagingBuffer::~HostStagingBuffer() {
    Unmap();
    if (allocation != nullptr) {
        device->GetHostBufferAllocator().Free(allocation);
        allocation = nullptr;
    }
}

void* HostStagingBuffer::Map() {
    if (allocation == nullptr) {
        return nullptr;
    }
    if (!mapped) {
        mappedAddress = device->GetHostBufferMapper().Map(allocation);
        mapped = mappedAddress != nullptr;
    }
    return mappedAddress;
}

void HostStagingBuffer::Unmap() {
    if (mapped) {
        device->GetHostBufferMapper().Unmap(allocation, mappedAddress);
        mapped = false;
        mappedAddress = nullptr;
    }
}

}  // namespace STN
