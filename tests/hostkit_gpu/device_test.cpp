// GB devices on what this machine has: OpenCL through the ICD loader (PoCL here), CUDA when a
// driver is installed.

#include <GL/glew.h>

#include <atomic>
#include <cstring>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "GB/CudaDriver.h"
#include "GB/Device.h"
#include "GB/OffscreenGL.h"
#include "gl_test_context.h"
#include "x_server.h"

namespace {

using hostcore::utility::ImmutableString;

#define REQUIRE_DEVICE(device, reason) \
    if (!(device))                     \
    GTEST_SKIP() << "no OpenCL device: " << (reason)

TEST(OpenCLDeviceTest, DescribesItselfAndItsSharing) {
    for (std::int32_t kind : {GB::kDeviceKind_OpenCL, GB::kDeviceKind_OpenCLNoSharing}) {
        std::string reason;
        boost::shared_ptr<GB::Device> device = GB::Device::Create(kind, &reason);
        REQUIRE_DEVICE(device, reason);
        EXPECT_EQ(device->DeviceKind, kind);
        EXPECT_FALSE(device->GetName().empty());
        EXPECT_FALSE(device->GetExtensions().empty());
        for (const ImmutableString& extension : device->GetExtensions()) {
            EXPECT_EQ(extension.str().find(' '), std::string::npos) << extension.str();
            EXPECT_TRUE(device->HasExtension(ImmutableString(extension.str())));
        }
        // GL sharing needs cl_khr_gl_sharing, and kind 2 never shares.
        if (kind == GB::kDeviceKind_OpenCLNoSharing ||
            !device->HasExtension(ImmutableString("cl_khr_gl_sharing"))) {
            EXPECT_FALSE(device->CanShareWithOpenGL());
        }
        EXPECT_NE(device->GetOffscreenOpenGLDeviceHandle(), nullptr);
        EXPECT_NE(device->GetOffscreenOpenGLContextHandle(), nullptr);
        EXPECT_NE(device->GetComputeContext()->GetQueue(), nullptr);
        EXPECT_NE(device->GetComputeContext()->GetNativeContext(), nullptr);
    }
    std::string reason;
    EXPECT_FALSE(GB::Device::Create(7, &reason));
    EXPECT_NE(reason.find("unknown device kind 7"), std::string::npos) << reason;
}

TEST(OpenCLDeviceTest, ReadsBackThroughAStagingBufferWithEventsInQueueOrder) {
    std::string reason;
    boost::shared_ptr<GB::Device> device = GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    REQUIRE_DEVICE(device, reason);
    const boost::shared_ptr<GB::ComputeContext>& compute = device->GetComputeContext();

    std::vector<std::uint8_t> pattern(4096 + 13);
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        pattern[i] = static_cast<std::uint8_t>((i * 7 + 3) & 0xff);
    }
    void* buffer = compute->AllocateBuffer(pattern.size());
    ASSERT_NE(buffer, nullptr);
    ASSERT_EQ(compute->CopyHostToBuffer(pattern.data(), buffer, pattern.size(), GB::kCopy_Wait),
              GB::kResult_OK);

    GB::HostBufferAllocator& allocator = device->GetHostBufferAllocator();
    GB::HostBufferMapper& mapper = device->GetHostBufferMapper();
    void* host = allocator.Allocate(pattern.size());
    ASSERT_NE(host, nullptr);
    ASSERT_EQ(compute->CopyBufferToHost(buffer, host, pattern.size(), GB::kCopy_Async),
              GB::kResult_OK);
    // The order the upload path uses: map, take an event, wait.
    void* address = mapper.Map(host);
    ASSERT_NE(address, nullptr);
    boost::shared_ptr<GB::CompletionEvent> done = compute->CreateCompletionEvent();
    ASSERT_TRUE(done);
    EXPECT_TRUE(done->Wait());
    EXPECT_TRUE(done->IsComplete());
    EXPECT_EQ(std::memcmp(address, pattern.data(), pattern.size()), 0);
    mapper.Unmap(host, address);

    // A second copy of part of a changed buffer lands as well.
    std::vector<std::uint8_t> changed(pattern.size(), 0x5a);
    ASSERT_EQ(compute->CopyHostToBuffer(changed.data(), buffer, 100, GB::kCopy_Wait),
              GB::kResult_OK);
    ASSERT_EQ(compute->CopyBufferToHost(buffer, host, pattern.size(), GB::kCopy_Wait),
              GB::kResult_OK);
    address = mapper.Map(host);
    ASSERT_NE(address, nullptr);
    const std::uint8_t* bytes = static_cast<const std::uint8_t*>(address);
    EXPECT_EQ(bytes[0], 0x5a);
    EXPECT_EQ(bytes[99], 0x5a);
    EXPECT_EQ(bytes[100], pattern[100]);
    EXPECT_EQ(bytes[pattern.size() - 1], pattern.back());
    mapper.Unmap(host, address);

    // Waiting on the last of several queued copies completes everything queued before it, and
    // an event with nothing queued completes too.
    std::vector<boost::shared_ptr<GB::CompletionEvent>> events;
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(compute->CopyBufferToHost(buffer, host, pattern.size(), GB::kCopy_Async),
                  GB::kResult_OK);
        events.push_back(compute->CreateCompletionEvent());
    }
    EXPECT_TRUE(events.back()->Wait());
    for (const auto& event : events) {
        EXPECT_TRUE(event->IsComplete());
    }
    boost::shared_ptr<GB::CompletionEvent> idle = compute->CreateCompletionEvent();
    EXPECT_TRUE(idle->Wait());
    EXPECT_TRUE(idle->IsComplete());

    // Bad requests are refused, not carried out.
    EXPECT_LT(compute->CopyBufferToHost(buffer, host, pattern.size() + 1, GB::kCopy_Wait), 0);
    EXPECT_LT(compute->CopyBufferToHost(nullptr, host, 16, GB::kCopy_Wait), 0);
    EXPECT_LT(compute->CopyHostToBuffer(pattern.data(), buffer, pattern.size() * 2, GB::kCopy_Wait),
              0);
    EXPECT_LT(compute->CopyHostToBuffer(nullptr, buffer, 16, GB::kCopy_Wait), 0);
    EXPECT_EQ(allocator.Allocate(0), nullptr);
    EXPECT_EQ(compute->AllocateBuffer(0), nullptr);
    EXPECT_EQ(mapper.Map(nullptr), nullptr);
    mapper.Unmap(nullptr, nullptr);

    allocator.Free(host);
    compute->FreeBuffer(buffer);
    allocator.Free(nullptr);
    compute->FreeBuffer(nullptr);
}

TEST(OpenCLDeviceTest, ExclusiveAccessKeepsOthersOut) {
    std::string reason;
    boost::shared_ptr<GB::Device> device =
        GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
    REQUIRE_DEVICE(device, reason);
    // Two threads take it twice over, again and again. The other one inside at the same time,
    // also while a holder still has it once, is an overlap.
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    const auto work = [&] {
        for (int i = 0; i < 1000; ++i) {
            device->AcquireExclusiveAccess();
            device->AcquireExclusiveAccess();
            if (inside.fetch_add(1) != 0) {
                ++overlaps;
            }
            std::this_thread::yield();
            device->ReleaseExclusiveAccess();
            std::this_thread::yield();
            inside.fetch_sub(1);
            device->ReleaseExclusiveAccess();
        }
    };
    std::thread a(work);
    std::thread b(work);
    a.join();
    b.join();
    EXPECT_EQ(overlaps.load(), 0);
}

TEST(CudaDeviceTest, CreationFollowsTheDriversPresence) {
    std::string loadReason;
    const GB::cuda::Driver* driver =
        GB::cuda::LoadCudaDriver(GB::cuda::kRequestedDriverVersion, &loadReason);
    std::string reason;
    boost::shared_ptr<GB::Device> device = GB::Device::Create(GB::kDeviceKind_CUDA, &reason);
    if (driver == nullptr) {
        EXPECT_FALSE(device);
        EXPECT_FALSE(loadReason.empty());
        EXPECT_NE(reason.find("CUDA is not available"), std::string::npos) << reason;
        EXPECT_EQ(GB::cuda::GetCudaDriver(), nullptr);
        return;
    }
    EXPECT_EQ(GB::cuda::GetCudaDriver(), driver);
    ASSERT_TRUE(device) << reason;
    EXPECT_EQ(device->DeviceKind, GB::kDeviceKind_CUDA);
    EXPECT_FALSE(device->GetName().empty());
    // A round trip through device memory and a pinned host buffer.
    const boost::shared_ptr<GB::ComputeContext>& compute = device->GetComputeContext();
    std::vector<std::uint8_t> pattern(1000);
    std::iota(pattern.begin(), pattern.end(), 0);
    void* buffer = compute->AllocateBuffer(pattern.size());
    void* host = device->GetHostBufferAllocator().Allocate(pattern.size());
    ASSERT_NE(buffer, nullptr);
    ASSERT_NE(host, nullptr);
    ASSERT_EQ(compute->CopyHostToBuffer(pattern.data(), buffer, pattern.size(), GB::kCopy_Wait),
              GB::kResult_OK);
    ASSERT_EQ(compute->CopyBufferToHost(buffer, host, pattern.size(), GB::kCopy_Async),
              GB::kResult_OK);
    void* address = device->GetHostBufferMapper().Map(host);
    boost::shared_ptr<GB::CompletionEvent> done = compute->CreateCompletionEvent();
    EXPECT_TRUE(done->Wait());
    EXPECT_TRUE(done->IsComplete());
    EXPECT_EQ(std::memcmp(address, pattern.data(), pattern.size()), 0);
    device->GetHostBufferMapper().Unmap(host, address);
    device->GetHostBufferAllocator().Free(host);
    compute->FreeBuffer(buffer);
}

TEST(CudaDeviceTest, LoaderReportsWhatIsMissing) {
    GB::cuda::Driver table{};
    std::string reason;
    EXPECT_FALSE(GB::cuda::LoadDriverTable("libstereon-no-such-driver.so", 9020, &table, &reason));
    EXPECT_NE(reason.find("cannot load the CUDA driver"), std::string::npos) << reason;
    // A library that loads but is not a CUDA driver.
    reason.clear();
    EXPECT_FALSE(GB::cuda::LoadDriverTable("libc.so.6", 9020, &table, &reason));
    EXPECT_NE(reason.find("lacks cuInit"), std::string::npos) << reason;
    EXPECT_EQ(table.cuInit, nullptr);
    reason.clear();
    EXPECT_FALSE(GB::cuda::LoadDriverTable(nullptr, 9020, &table, &reason));
    EXPECT_FALSE(reason.empty());
}

// Another driver library (a newer build, a stand-in) is named by the environment; an empty
// name means the system's.
TEST(CudaDeviceTest, EnvironmentNamesTheDriverLibrary) {
    for (const char* set : {static_cast<const char*>(nullptr), "", "/opt/driver/libcuda.so.1"}) {
        stereon::test::ScopedEnvironment driver("STEREON_CUDA_DRIVER", set);
        EXPECT_STREQ(GB::cuda::DriverLibraryName(),
                     set != nullptr && *set != '\0' ? set : "libcuda.so.1");
    }
}

}  // namespace
