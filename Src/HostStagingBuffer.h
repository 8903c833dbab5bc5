// Host memory of a device for reading a GPU frame back, freed (and unmapped first, if still
// mapped) when the scope ends.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstddef>

namespace GB {
class Device;
}

namespace STN {

class HostStagingBuffer {
public:
    // Allocates `size` bytes from the device's host-buffer allocator; check HasMemory.
    HostStagingBuffer(const boost::shared_ptr<GB::Device>& device, std::size_t size);
    ~HostStagingBuffer();
    HostStagingBuffer(const HostStagingBuffer&) = delete;
    HostStagingBuffer& operator=(const HostStagingBuffer&) = delete;

    bool HasMemory() const { return allocation != nullptr; }
    // The allocator's handle, what the device copies into.
    void* GetAllocation() const { return allocation; }
    std::size_t GetSize() const { return size; }

    // The address for the host; waits for the device's work on the buffer. Null without memory.
    void* Map();
    void Unmap();

private:
    boost::shared_ptr<GB::Device> device;
    void* allocation = nullptr;
    std::size_t size = 0;
    bool mapped = false;
    void* mappedAddress = nullptr;
};

}  // namespace STN
