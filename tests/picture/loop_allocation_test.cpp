// The render loop allocates nothing per pass outside drawing. Every allocation of the process is
// counted while the headset is idle, when a pass draws nothing: take-over, fade, poses and
// events only.
#include <atomic>
#include <cstdlib>
#include <new>

#include "picture_support.h"

// The replacements pair malloc with free (the array forms call them); the compiler sees only the
// library's new and the free inlined into a delete.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace {
std::atomic<std::uint64_t> allocations{0};
}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace picturetest {
namespace {

TEST_F(PictureTest, IdlePassesAllocateNothing) {
    Show(PatternFrame(1));
    simvr_set_activity_level(SIMVR_DEVICE_HMD, 2);
    Passes(2);
    const std::uint64_t before = allocations;
    constexpr int kPasses = 200;
    Passes(kPasses);
    // A few stray allocations of other threads may fall in the window; one a pass may not.
    EXPECT_LT(allocations - before, static_cast<std::uint64_t>(kPasses / 4));

    // Frames handed over meanwhile are taken over without allocating either.
    const FrameRef frame = PatternFrame(2);
    ASSERT_TRUE(Send(frame));
    Passes(2);
    const std::uint64_t after = allocations;
    Passes(kPasses);
    EXPECT_LT(allocations - after, static_cast<std::uint64_t>(kPasses / 4));
}

}  // namespace
}  // namespace picturetest
