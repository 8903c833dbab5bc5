// GB devices on what this machine has: OpenCL through the ICD loader (PoCL here), CUDA when a
// driver is installed. The staged read-back through a device's host buffers is shown by
// PictureTest.FrameReadBackFromTheDeviceIsTurnedOver, CUDA devices by the frame system tests on
// the stand-in driver.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "GB/CudaDriver.h"
#include "GB/Device.h"
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
    }
    std::string reason;
    EXPECT_FALSE(GB::Device::Create(7, &reason));
    EXPECT_NE(reason.find("unknown device kind 7"), std::string::npos) << reason;
}

TEST(OpenCLDeviceTest, CopiesPastABufferOrWithoutOneAreRefused) {
    std::string reason;
    boost::shared_ptr<GB::Device> device = GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    REQUIRE_DEVICE(device, reason);
    const boost::shared_ptr<GB::ComputeContext>& compute = device->GetComputeContext();
    GB::HostBufferAllocator& allocator = device->GetHostBufferAllocator();
    const std::vector<std::uint8_t> bytes(4096 + 13, 0x5a);
    void* buffer = compute->AllocateBuffer(bytes.size());
    void* host = allocator.Allocate(bytes.size());
    ASSERT_NE(buffer, nullptr);
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(compute->CopyHostToBuffer(bytes.data(), buffer, bytes.size(), GB::kCopy_Wait),
              GB::kResult_OK);

    EXPECT_LT(compute->CopyBufferToHost(buffer, host, bytes.size() + 1, GB::kCopy_Wait), 0);
    EXPECT_LT(compute->CopyBufferToHost(nullptr, host, 16, GB::kCopy_Wait), 0);
    EXPECT_LT(compute->CopyHostToBuffer(bytes.data(), buffer, bytes.size() * 2, GB::kCopy_Wait), 0);
    EXPECT_LT(compute->CopyHostToBuffer(nullptr, buffer, 16, GB::kCopy_Wait), 0);
    EXPECT_EQ(allocator.Allocate(0), nullptr);
    EXPECT_EQ(compute->AllocateBuffer(0), nullptr);
    EXPECT_EQ(device->GetHostBufferMapper().Map(nullptr), nullptr);
    device->GetHostBufferMapper().Unmap(nullptr, nullptr);

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

// A library that is missing, or loads but is not a CUDA driver, is refused before any of its
// entry points is called.
TEST(CudaDeviceTest, LoaderReportsWhatIsMissing) {
    GB::cuda::Driver table{};
    std::string reason;
    EXPECT_FALSE(GB::cuda::LoadDriverTable("libstereon-no-such-driver.so", 9020, &table, &reason));
    EXPECT_NE(reason.find("cannot load the CUDA driver"), std::string::npos) << reason;
    reason.clear();
    EXPECT_FALSE(GB::cuda::LoadDriverTable("libc.so.6", 9020, &table, &reason));
    EXPECT_NE(reason.find("lacks cuInit"), std::string::npos) << reason;
    EXPECT_EQ(table.cuInit, nullptr);
}

// Another driver library (a newer build, a stand-in) is named by the environment; an empty
// name means the system's. The frame system tests skip, rather than fail, when it is not found.
TEST(CudaDeviceTest, EnvironmentNamesTheDriverLibrary) {
    for (const char* set : {static_cast<const char*>(nullptr), "", "/opt/driver/libcuda.so.1"}) {
        stereon::test::ScopedEnvironment driver("STEREON_CUDA_DRIVER", set);
        EXPECT_STREQ(GB::cuda::DriverLibraryName(),
                     set != nullptr && *set != '\0' ? set : "libcuda.so.1");
    }
}

}  // namespace
