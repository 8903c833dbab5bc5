// The render thread's take-over of a published frame: it never waits for the copy, swaps the
// indices only once the copy is done, and starts over cleanly.
#include <gtest/gtest.h>

#include <atomic>

#include "GB/Device.h"
#include "UploadSynchronizer.h"

namespace {

// A copy whose end the test decides, as a device queue would report it.
class ControlledEvent : public GB::CompletionEvent {
public:
    bool IsComplete() const override { return complete.load(); }
    bool Wait() override { return complete.load(); }
    std::atomic<bool> complete{false};
};

TEST(UploadSynchronizerTest, TakesOverOnlyAFinishedCopyAndStartsOverWithNothingPending) {
    STN::UploadSynchronizer sync;
    boost::shared_ptr<ControlledEvent> event(new ControlledEvent());
    sync.uploadEvent = event;
    sync.pending = true;

    // Pass after pass while the copy runs: the old front stays and the frame stays pending.
    for (int pass = 0; pass < 3; ++pass) {
        EXPECT_FALSE(sync.TakeOverFrame());
        EXPECT_TRUE(sync.pending);
        EXPECT_EQ(sync.frontIndex, 0u);
    }

    event->complete = true;
    EXPECT_TRUE(sync.TakeOverFrame());
    EXPECT_FALSE(sync.pending);
    EXPECT_FALSE(sync.uploadEvent);
    EXPECT_EQ(sync.frontIndex, 1u);
    EXPECT_EQ(sync.backIndex, 0u);

    // A frame without GPU work is taken at once, and the indices go back.
    sync.pending = true;
    EXPECT_TRUE(sync.TakeOverFrame());
    EXPECT_EQ(sync.frontIndex, 0u);
    EXPECT_EQ(sync.backIndex, 1u);

    // A reset with the second texture in front and a copy still running starts from the first
    // texture with nothing pending; so does a release.
    sync.pending = true;
    EXPECT_TRUE(sync.TakeOverFrame());
    sync.pending = true;
    sync.uploadEvent.reset(new ControlledEvent());
    sync.Reset(boost::shared_ptr<STN::ITexture>(), boost::shared_ptr<STN::ITexture>());
    EXPECT_FALSE(sync.pending);
    EXPECT_FALSE(sync.uploadEvent);
    EXPECT_EQ(sync.frontIndex, 0u);
    EXPECT_EQ(sync.backIndex, 1u);

    sync.pending = true;
    sync.uploadEvent.reset(new ControlledEvent());
    sync.ReleaseTextures();
    EXPECT_FALSE(sync.pending);
    EXPECT_FALSE(sync.uploadEvent);
    EXPECT_FALSE(sync.TakeOverFrame());
}

}  // namespace
