// The picture in the headset, end to end: host frames through the service and the running render
// thread to the eye images the simulated runtime received, and what the loop does around them.
#include "picture_support.h"

#include <algorithm>

#include "IHMDManager.h"
#include "frame_bottom_up.h"
#include "frame_without.h"
#include "hostcore/threads.h"

namespace picturetest {
namespace {

using hostcore::classref::NullInterfaceException;

using stereon::test::BottomUpFrame;
using stereon::test::EmptyBoundsFrame;
using stereon::test::FrameWithout;

// Quarter centres: 45 and 135 degrees either side of ahead across the width, 22.5 and 67.5
// degrees above and below the horizon down the height. Away from an eye's centre the picture
// keeps its orientation: from 22.5 degrees down, the pixels near the side edges look about 49
// degrees to either side, those near the top and bottom edges about 47 degrees up or down (the
// directions are kept away from where texels blend). Over-under gives the left eye the upper
// half of the frame and the right eye the lower, side by side the left and right halves; a
// frame 180 degrees wide spans 90 degrees either side and leaves the back half black.
TEST_F(PictureTest, EachLayoutGivesEachEyeItsPartOfTheFrameAroundTheViewer) {
    struct Case {
        int layout, degreesWide;
        float right, up;
        int x, y;           // the eye pixel looked at
        int quarter[2][2];  // the column and row each eye shows there; -1: black
    };
    const Case cases[] = {
        {0, 360, 45.0f, -67.5f, 32, 32, {{2, 0}, {2, 0}}},
        {0, 360, -45.0f, 22.5f, 32, 32, {{1, 2}, {1, 2}}},
        {0, 360, 135.0f, 67.5f, 32, 32, {{3, 3}, {3, 3}}},
        {0, 360, -135.0f, -22.5f, 32, 32, {{0, 1}, {0, 1}}},
        {0, 360, 90.0f, -22.5f, 60, 32, {{3, 1}, {3, 1}}},
        {0, 360, 90.0f, -22.5f, 3, 32, {{2, 1}, {2, 1}}},
        {0, 360, 45.0f, -22.5f, 32, 60, {{2, 2}, {2, 2}}},
        {0, 360, 45.0f, -22.5f, 32, 3, {{2, 0}, {2, 0}}},
        // 45 degrees down is a quarter up each eye's half; 45 right is 0.625 across each half.
        {1, 360, 45.0f, -45.0f, 32, 32, {{2, 2}, {2, 0}}},
        {2, 360, 45.0f, -67.5f, 32, 32, {{1, 0}, {3, 0}}},
        // 22.5 degrees right is 0.625 across, 67.5 right 0.875.
        {0, 180, 180.0f, 0.0f, 32, 32, {{-1, -1}, {-1, -1}}},
        {0, 180, 22.5f, 67.5f, 32, 32, {{2, 3}, {2, 3}}},
        {0, 180, 67.5f, -22.5f, 32, 32, {{3, 1}, {3, 1}}},
        {0, 180, -100.0f, 0.0f, 32, 32, {{-1, -1}, {-1, -1}}},
    };
    int marker = 10;
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "layout " << c.layout << ", " << c.degreesWide
                                          << " wide, right " << c.right << ", up " << c.up);
        service->SetVideoLayout(1, c.layout, c.degreesWide, 180);
        Look(c.right, c.up);
        Show(PatternFrame(++marker));
        for (std::uint32_t eye = 0; eye < 2; ++eye) {
            const int* q = c.quarter[eye];
            const std::vector<int> expected =
                q[0] < 0 ? std::vector<int>{0, 0, 0, 255} : PatternColor(q[0], q[1], marker);
            EXPECT_EQ(EyePixel(eye, c.x, c.y), expected) << "eye " << eye;
        }
    }
}

// A headset whose eyes see further outwards than inwards, as real ones do: the left eye 60
// degrees to the left and 30 to the right, the right eye the mirror image. Straight ahead then
// lies three quarters across the left eye's image and one quarter across the right eye's; an
// eye drawn with the other's projection, or with a symmetric one, puts it elsewhere.
class AsymmetricEyesTest : public PictureTest {
protected:
    void ConfigureRuntime() override {
        simvr_set_fov(60.0f, 30.0f, 45.0f, 45.0f);
        simvr_set_ipd(0.0f);
    }
};

TEST_F(AsymmetricEyesTest, EachEyeIsDrawnWithItsOwnProjection) {
    // Left of straight ahead one colour, right of it another.
    const std::vector<int> left = {200, 40, 7, 255};
    const std::vector<int> right = {40, 200, 7, 255};
    Show(PaintedFrame(64, 8, [&](int x, int) { return x < 32 ? left : right; }));
    // 15 degrees either side of straight ahead: columns 40 and 56 of the left eye's 64, 8 and
    // 24 of the right eye's.
    EXPECT_EQ(EyePixel(0, 40, 32), left);
    EXPECT_EQ(EyePixel(0, 56, 32), right);
    EXPECT_EQ(EyePixel(1, 8, 32), left);
    EXPECT_EQ(EyePixel(1, 24, 32), right);
}

TEST_F(PictureTest, PoseCallbackTellsTheHeadRelativeToTheHostsTurnOfThePicture) {
    LookAndWait(-30.0f, 20.0f, 15.0f);
    {
        std::lock_guard<std::mutex> lock(poses->mutex);
        EXPECT_NEAR(poses->yaw, -30.0f, 1e-3f);
        EXPECT_NEAR(poses->pitch, 20.0f, 1e-3f);
        // The runtime's roll turns counter-clockwise; the callback tells it clockwise.
        EXPECT_NEAR(poses->roll, -15.0f, 1e-3f);
    }
    // The host turns the picture 90 degrees: what was 135 degrees to the left is now where the
    // head looks. The pitch moves nothing in the picture; the callback takes off both.
    Look(-45.0f, 22.5f);
    service->SetViewOrientation(90.0f, 10.0f);
    Show(PatternFrame(41));
    EXPECT_EQ(CentrePixel(0), PatternColor(0, 2, 41));
    EXPECT_EQ(CentrePixel(1), PatternColor(0, 2, 41));
    {
        std::lock_guard<std::mutex> lock(poses->mutex);
        EXPECT_NEAR(poses->yaw, -45.0f - 90.0f, 1e-3f);
        EXPECT_NEAR(poses->pitch, 22.5f - 10.0f, 1e-3f);
        EXPECT_NEAR(poses->roll, 0.0f, 1e-3f);
    }
    // An empty callback from the host: told no more.
    ASSERT_TRUE(service->SetHMDPoseCallback(kClient, STN::HMDPoseCallback()));
    Passes(2);
    const int calls = PoseCalls();
    Passes(3);
    EXPECT_EQ(PoseCalls(), calls);
}

// The picture reaches half a degree short of each pole; an odd eye size puts a pixel's centre
// exactly on the line of sight.
TEST_F(PictureTest, AlmostTheWholeHeightLeavesThinBlackCapsAtThePoles) {
    constexpr int kOddEye = 65;
    service->RemoveClient(kClient);
    simvr_set_render_target_size(kOddEye, kOddEye);
    StartHost();
    service->SetVideoLayout(1, 0, 360, 179);
    Show(PatternFrame(51));
    const struct {
        float up;
        int row;  // -1: black
    } cases[] = {{90.0f, -1}, {89.8f, -1}, {89.0f, 3}, {-89.0f, 0}, {-90.0f, -1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "up " << c.up);
        LookAndWait(45.0f, c.up);
        for (std::uint32_t eye = 0; eye < 2; ++eye) {
            const std::vector<int> pixel = EyePixel(eye, kOddEye / 2, kOddEye / 2);
            if (c.row < 0) {
                EXPECT_EQ(pixel, (std::vector<int>{0, 0, 0, 255}));
            } else {
                EXPECT_EQ(pixel[1], PatternColor(0, c.row, 51)[1]);
                EXPECT_EQ(pixel[2], 51);
            }
        }
    }
}

// With the mipmap key each frame's mipmaps are built on the upload context, beside the render
// thread's drawing: frames from a host sending as fast as it can are never drawn half built.
TEST_F(PictureTest, MipmappedFramesFromABusyHostAreNeverDrawnHalfBuilt) {
    service->RemoveClient(kClient);
    hostcore::debug::DebugDatabase::Instance().SetEntry("Stereon.UseVideoTexMipmap", "true");
    StartHost();
    const std::vector<int> red{200, 30, 30, 255};
    const std::vector<int> blue{30, 30, 200, 255};
    const FrameRef frames[2] = {PaintedFrame(1024, 512, [&](int, int) { return red; }),
                                PaintedFrame(1024, 512, [&](int, int) { return blue; })};
    Show(frames[1]);  // before it, the eyes are black
    std::atomic<bool> stop{false};
    std::atomic<int> sent{0};
    std::thread sender([&] {
        for (int i = 0; !stop; ++i) {
            EXPECT_TRUE(Send(frames[i % 2]));
            ++sent;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int look = 0; look < 12 || (sent < 20 && look < 2000); ++look) {
        Passes(1);
        HoldRenderLoop();
        for (std::uint32_t eye = 0; eye < 2; ++eye) {
            const std::vector<int> centre = CentrePixel(eye);
            EXPECT_TRUE(Near(centre, red, 2) || Near(centre, blue, 2))
                << "eye " << eye << ": " << ::testing::PrintToString(centre);
            EXPECT_EQ(EyePixel(eye, 3, 3), centre) << "eye " << eye;
        }
        ReleaseRenderLoop();
    }
    stop = true;
    sender.join();
}

TEST_F(PictureTest, FlatFootageWithoutTheaterShowsTwentyDegreeSquaresThatTurnWithTheView) {
    // With the room switched off, flat footage has the checkerboard around the viewer.
    service->RemoveClient(kClient);
    hostcore::debug::DebugDatabase::Instance().SetEntry("Stereon.EnableTheaterMode", "false");
    StartHost();
    service->SetVideoLayout(0, 2, 360, 180);  // flat footage ignores the stereo layout
    Show(PatternFrame(52));

    const std::vector<int> dark{51, 51, 51, 255};
    const std::vector<int> light{128, 128, 128, 255};
    struct Case {
        float right, up;
        bool dark;
    };
    // Squares of 20 degrees of azimuth and altitude, counted from straight ahead on the
    // horizon; each case is 10 degrees from the nearest edge.
    const Case cases[] = {{10.0f, 10.0f, true},   {30.0f, 10.0f, false}, {-10.0f, 10.0f, false},
                          {10.0f, -10.0f, false}, {10.0f, 30.0f, false}, {30.0f, 30.0f, true},
                          {-30.0f, -30.0f, true}, {50.0f, 10.0f, true},  {170.0f, 10.0f, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "right " << c.right << ", up " << c.up);
        LookAndWait(c.right, c.up);
        EXPECT_EQ(CentrePixel(0), c.dark ? dark : light);
        EXPECT_EQ(CentrePixel(1), c.dark ? dark : light);
    }
    // Turning the view by one square's width moves every square over by one.
    service->SetViewOrientation(20.0f, 0.0f);
    LookAndWait(10.0f, 10.0f);
    EXPECT_EQ(CentrePixel(0), light);
    LookAndWait(30.0f, 10.0f);
    EXPECT_EQ(CentrePixel(0), dark);
}

TEST_F(PictureTest, EachFrameSubmitsLeftThenRightThenHandsOffOnce) {
    Show(PatternFrame(71));
    simvr_clear_calls();
    Passes(6);
    HoldRenderLoop();
    // From the first wait on: wait, submit left, submit right, hand-off; the last pass may be cut
    // short by the hold.
    const int pattern[4] = {SIMVR_CALL_WAIT_GET_POSES, SIMVR_CALL_SUBMIT, SIMVR_CALL_SUBMIT,
                            SIMVR_CALL_POST_PRESENT_HANDOFF};
    std::vector<simvr_call> calls;
    for (std::uint32_t i = 0; i < simvr_get_call_count(); ++i) {
        simvr_call call;
        ASSERT_EQ(simvr_get_call(i, &call), 1);
        if (std::count(pattern, pattern + 4, call.kind) != 0 &&
            (!calls.empty() || call.kind == SIMVR_CALL_WAIT_GET_POSES)) {
            calls.push_back(call);
        }
    }
    ASSERT_GE(calls.size(), 17u) << "fewer than four whole frames";
    for (std::size_t k = 0; k < calls.size(); ++k) {
        ASSERT_EQ(calls[k].kind, pattern[k % 4]) << "call " << k;
        if (calls[k].kind == SIMVR_CALL_SUBMIT) {
            EXPECT_EQ(calls[k].eye, k % 4 == 1 ? 0u : 1u);
            EXPECT_EQ(calls[k].result, 0);
            EXPECT_EQ(calls[k].frame, calls[0].frame + k / 4);
        }
    }
}

TEST_F(PictureTest, IdleHeadsetIsNeitherDrawnNorWaitedOnButEventsArePolled) {
    Show(PatternFrame(81));
    simvr_set_activity_level(SIMVR_DEVICE_HMD, 2);
    Passes(2);  // whatever pass was under way has ended
    const std::uint64_t waits = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES);
    const std::uint64_t submits = simvr_count_calls(SIMVR_CALL_SUBMIT);
    const std::uint64_t handoffs = simvr_count_calls(SIMVR_CALL_POST_PRESENT_HANDOFF);
    ASSERT_EQ(simvr_push_button_event(200, SIMVR_DEVICE_LEFT_CONTROLLER, 33, nullptr), 1);
    // A frame still goes through and is taken over, just not drawn.
    ASSERT_TRUE(Send(PatternFrame(82)));
    Passes(3);
    EXPECT_EQ(simvr_get_pending_event_count(), 0);
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES), waits);
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_SUBMIT), submits);
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_POST_PRESENT_HANDOFF), handoffs);

    // Standby the same; back in use, drawing and waiting resume with the new frame.
    simvr_set_activity_level(SIMVR_DEVICE_HMD, 3);
    Passes(3);
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES), waits);
    simvr_set_activity_level(SIMVR_DEVICE_HMD, 1);
    Look(45.0f, -67.5f);
    Passes(2);
    EXPECT_GT(simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES), waits);
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 82));
}

// A host frame whose upload, once done, waits before it is published: the library asks for its
// pixel aspect ratio in between.
class FrameHeldBeforePublishing : public FrameWithout {
public:
    FrameHeldBeforePublishing(const FrameRef& inner, std::promise<void>& reached,
                              std::shared_future<void> release)
        : FrameWithout(inner, VF::ICompletionEventVideoFrame::kInterfaceID),
          reached(reached),
          release(std::move(release)) {}
    hostmediatypes::PixelAspectRatio GetPixelAspectRatio() const override {
        reached.set_value();
        release.wait();
        return FrameWithout::GetPixelAspectRatio();
    }

private:
    std::promise<void>& reached;
    std::shared_future<void> release;
};

// A frame sent while the last is still pending, or by a second sender while an upload is under
// way (another host thread, or a client taking the headset over), is dropped and counts nowhere:
// the second sender must not write the texture the first upload filled and is about to publish.
TEST_F(PictureTest, ASecondSenderDuringAnUploadDropsItsFrame) {
    Look(45.0f, -67.5f);
    HoldRenderLoop();
    ASSERT_TRUE(Send(PatternFrame(61)));
    EXPECT_TRUE(Send(PatternFrame(62, 32, 16)));  // not yet taken over: larger, yet dropped
    ReleaseRenderLoop();
    Passes(2);
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 61));

    std::promise<void> reached;
    std::promise<void> release;
    const FrameRef held = FrameRef::Retain(
        new FrameHeldBeforePublishing(PatternFrame(63), reached, release.get_future().share()));
    std::thread first([&] { EXPECT_TRUE(Send(held)); });
    reached.get_future().wait();
    EXPECT_TRUE(Send(PatternFrame(64)));  // answers at once: dropped
    release.set_value();
    first.join();
    Passes(2);
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 63));
    Show(PatternFrame(65));
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 65));

    service->RemoveClient(kClient);
    EXPECT_EQ(Metric("CPUFramesPlayed"), "3");
    EXPECT_EQ(Metric("MonoscopicFramesPlayed"), "3");
    EXPECT_EQ(Metric("MaxFrameAreaDimensions"), "16x8");
}

// Frames the library cannot take leave the picture on show and nothing locked or half
// published; a frame stored bottom up shows upright.
TEST_F(PictureTest, BadFramesAreRefusedAndBottomUpFramesShowUpright) {
    Look(45.0f, -67.5f);
    Show(PatternFrame(91));
    // No frame, or no memory interface: the host's error, reported by the exception.
    EXPECT_THROW(Send(FrameRef()), NullInterfaceException);
    for (const hostcore::classref::InterfaceID& id :
         {VF::IVideoFrame2DPixelMemoryAccess::kInterfaceID,
          VF::IVideoFrameMemoryAccess::kInterfaceID}) {
        EXPECT_THROW(Send(FrameRef::Retain(new FrameWithout(PatternFrame(92), id))),
                     NullInterfaceException);
    }
    // Wider than any GL texture, and no width at all: refused, with no GL error.
    FrameRef wide;
    ASSERT_EQ(VF::CreateHostVideoFrame(wide, hostmediatypes::kPixelFormat_ARGB_4444_8u, 1 << 17, 2),
              VF::kCreateResult_OK);
    EXPECT_FALSE(Send(wide));
    EXPECT_FALSE(Send(FrameRef::Retain(new EmptyBoundsFrame(PatternFrame(93)))));
    Passes(2);
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 91));

    // The same picture stored bottom up: the same cell in view, not its mirror; a top-down
    // frame after it is upright again.
    Show(FrameRef::Retain(new BottomUpFrame(PatternFrame(94))));
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 94));
    Show(PatternFrame(95));
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 95));
}

TEST_F(PictureTest, HeadsetThatDisconnectsAndReturnsIsFollowedAgain) {
    Look(45.0f, -67.5f);
    Show(PatternFrame(61));

    // Gone: no pose reaches the host, but the loop, the frames and the picture go on.
    simvr_set_device_pose_valid(SIMVR_DEVICE_HMD, 0);
    simvr_set_device_connected(SIMVR_DEVICE_HMD, 0);
    simvr_push_event(101 /* VREvent_TrackedDeviceDeactivated */, SIMVR_DEVICE_HMD, nullptr, 0);
    Passes(2);
    const int whileGone = PoseCalls();
    Show(PatternFrame(62));
    EXPECT_EQ(PoseCalls(), whileGone);

    // Back, looking elsewhere: followed from its new pose.
    simvr_set_device_connected(SIMVR_DEVICE_HMD, 1);
    simvr_set_device_pose_valid(SIMVR_DEVICE_HMD, 1);
    simvr_push_event(100 /* VREvent_TrackedDeviceActivated */, SIMVR_DEVICE_HMD, nullptr, 0);
    LookAndWait(45.0f + 90.0f, -67.5f);
    EXPECT_GT(PoseCalls(), whileGone);
    EXPECT_EQ(CentrePixel(0), PatternColor(3, 0, 62));
}

TEST_F(PictureTest, QuitShutsTheRuntimeDownAndStopStillReturns) {
    struct Listener : STN::IHMDListener {
        void OnHMDPose(const STN::Matrix4&) override { ++poses; }
        void OnRuntimeQuit() override { ++quits; }
        std::atomic<int> poses{0};
        std::atomic<int> quits{0};
    };
    const boost::shared_ptr<Listener> listener(new Listener);
    const boost::shared_ptr<STN::IHMDManager> manager = service->GetHMDManager();
    ASSERT_TRUE(manager);
    // The listener is handed over while the loop is held outside the scene.
    HoldRenderLoop();
    manager->SetHMDListener(listener);
    ReleaseRenderLoop();
    Passes(2);
    EXPECT_GT(listener->poses, 0);

    ASSERT_EQ(simvr_push_quit(), 1);
    ASSERT_TRUE(WaitUntil([&] { return listener->quits > 0 && simvr_is_initialized() == 0; }));
    EXPECT_EQ(listener->quits, 1);
    EXPECT_EQ(simvr_get_cleanup_count(), 1);
    // The thread goes on without the runtime: frames are still taken.
    const std::uint64_t waits = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES);
    EXPECT_TRUE(Send(PatternFrame(101)));
    // Nothing paces its passes any more, yet it must not take a whole core until the host stops
    // it: each pass takes the frame lock once, and they come at most every few milliseconds.
    std::atomic<int> passes{0};
    hostcore::threads::SetLockObserver([&passes](const hostcore::threads::LockNotice& notice) {
        if (notice.event == hostcore::threads::LockEvent::kAcquired && notice.lockText != nullptr &&
            std::string(notice.lockText) == "Render video texture.") {
            ++passes;
        }
    });
    const auto begin = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const int counted = passes.load();
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::steady_clock::now() - begin)
                             .count();
    hostcore::threads::SetLockObserver(hostcore::threads::LockObserver());
    EXPECT_LE(counted, elapsed / 5 + 2) << "passes in " << elapsed << " ms without a runtime";

    service->RemoveClient(kClient);
    EXPECT_FALSE(service->IsInitialized());
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES), waits);
    EXPECT_EQ(listener->quits, 1);
}

// A compositor that stops answering, in its wait for poses or stalled in Submit mid-pass, holds
// neither the host's next frame (the render thread takes the frame lock for the hand-over only)
// nor its Stop, which ends the connection; the test never lets the compositor go. The host
// carries on: a new start against an answering compositor shows frames.
TEST_F(PictureTest, ACompositorThatStopsAnsweringHoldsNeitherTheNextFrameNorStop) {
    // Runs `call` on a host thread; false if it does not return while the compositor is held.
    const auto returnsWhileStalled = [](const std::function<void()>& call) {
        std::future<void> done = std::async(std::launch::async, call);
        const bool returned = done.wait_for(std::chrono::seconds(120)) == std::future_status::ready;
        if (!returned) {  // so that a failure ends here rather than in a hang
            simvr_set_wait_blocked(0);
            simvr_set_submit_blocked(0);
        }
        return returned;
    };
    Look(45.0f, -67.5f);
    for (const bool inSubmit : {false, true}) {
        SCOPED_TRACE(inSubmit ? "stalled in Submit" : "no answer to the wait");
        Show(PatternFrame(51));
        if (inSubmit) {
            simvr_set_submit_blocked(1);
            ASSERT_TRUE(WaitUntil([] { return simvr_get_blocked_submit_count() > 0; }))
                << "the render loop does not reach Submit";
        } else {
            HoldRenderLoop();
        }
        bool sent = false;
        ASSERT_TRUE(returnsWhileStalled([&] { sent = Send(PatternFrame(52)); }))
            << "the host's frame waited for the compositor";
        EXPECT_TRUE(sent);
        ASSERT_TRUE(returnsWhileStalled([&] { service->RemoveClient(kClient); }))
            << "Stop waited for good on the compositor";
        EXPECT_FALSE(service->IsInitialized());
        EXPECT_EQ(simvr_is_initialized(), 0);
        EXPECT_EQ(simvr_get_waiting_count(), 0);

        ReleaseRenderLoop();
        simvr_set_submit_blocked(0);
        StartHost();
        Show(PatternFrame(53));
        EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 53));
    }
}

TEST_F(PictureTest, FramesAtFullSpeedWhileClientsComeAndGo) {
    constexpr int kFrames = 300;
    constexpr int kClientCycles = 100;
    std::atomic<int> accepted{0};
    std::thread frames([&] {
        // Two frames prepared up front: the host's frame thread only sends.
        const FrameRef pictures[2] = {PatternFrame(111), PatternFrame(112)};
        for (int i = 0; i < kFrames; ++i) {
            if (Send(pictures[i % 2])) {
                ++accepted;
            }
        }
    });
    std::thread clients([&] {
        for (int i = 0; i < kClientCycles; ++i) {
            const STN::ClientHandle other = 0x1000 + static_cast<STN::ClientHandle>(i);
            service->AddClient(other);
            // Another client cannot take the headset while one is active.
            EXPECT_FALSE(service->SetHMDPoseCallback(other, [](float, float, float) {}));
            EXPECT_FALSE(service->UpdateVideoTexture(other, FrameRef()));
            service->RemoveClient(other);
        }
    });
    frames.join();
    clients.join();
    EXPECT_EQ(accepted, kFrames);

    // The last frame sent is the one on show once the loop has caught up.
    Look(45.0f, -67.5f);
    Passes(2);
    Show(PatternFrame(113));
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 113));

    service->RemoveClient(kClient);
    EXPECT_EQ(Metric("InstancesAdded"), std::to_string(kClientCycles + 1));
    EXPECT_EQ(Metric("InstancesRemoved"), std::to_string(kClientCycles + 1));
    const int played = std::atoi(Metric("CPUFramesPlayed").c_str());
    EXPECT_GE(played, 2);
    EXPECT_LE(played, kFrames + 1);
    EXPECT_EQ(Metric("MonoscopicFramesPlayed"), Metric("CPUFramesPlayed"));
}

TEST_F(PictureTest, FramesInFlightWhileTheHostStopsAndStartsAgain) {
    SendWhileTheHostStopsAndStarts({PatternFrame(131), PatternFrame(132, 32, 16)}, [] {});
    Look(45.0f, -67.5f);
    Passes(2);
    Show(PatternFrame(133));
    EXPECT_EQ(CentrePixel(0), PatternColor(2, 0, 133));
}

// A frame on an OpenCL device that cannot share with OpenGL is read back through host memory
// and arrives bottom up, as shared device frames do: the picture is turned over on the way, and
// the eyes see what they see of the host frame of the same picture, each eye its own half. Of
// its padded rows only the picture's bytes reach the texture, and it counts as a host frame.
TEST_F(PictureTest, FrameReadBackFromTheDeviceIsTurnedOver) {
    if (device->CanShareWithOpenGL()) {
        GTEST_SKIP() << "this OpenCL device shares with OpenGL; the read-back is not taken";
    }
    const FrameRef frame =
        GpuPatternFrame(device, 120, kFrameWidth, kFrameHeight, kFrameWidth * 16 + 64);
    ASSERT_TRUE(frame);
    Look(45.0f, -67.5f);
    Show(frame);
    // The floats' 8-bit values may round one level apart through host memory.
    EXPECT_TRUE(Near(CentrePixel(0), PatternColor(2, 0, 120), 1));
    service->SetVideoLayout(1, 2, 360, 180);
    Show(frame);
    EXPECT_TRUE(Near(CentrePixel(0), PatternColor(1, 0, 120), 1));
    EXPECT_TRUE(Near(CentrePixel(1), PatternColor(3, 0, 120), 1));

    service->RemoveClient(kClient);
    EXPECT_EQ(Metric("CPUFramesPlayed"), "2");
    EXPECT_EQ(Metric("GPUFramesPlayed"), "0");
}

}  // namespace
}  // namespace picturetest
