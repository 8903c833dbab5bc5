// Controllers through the running library, as a video-editing host meets them: the service
// lists them with their hands, the listener hears presses and poses that the simulated runtime
// sends, the feedback buzzes the controller whose press the host took up, and the rays the host
// asks for show in the eye images.
#include "IHMDManager.h"
#include "controller_support.h"

namespace picturetest {
namespace {

struct Family {
    const char* name;
    int profile;
    std::uint32_t type;
    std::uint32_t primaryButton;  // a press that means kControllerButtonPrimary
    float rightGripX;             // the right hand's pointer offset across the grip
    std::int32_t hmdType;         // what the service tells the host of the headset
};

class ControllerSystemTest : public ControllerHostTest,
                             public ::testing::WithParamInterface<Family> {
protected:
    int Profile() const override { return GetParam().profile; }
};

TEST_P(ControllerSystemTest, TheHostHearsAndSeesBothHandsAndBuzzesTheOneItAnswered) {
    // The simulated runtime's controllers: device 1 held left, device 2 right. A Vive gives the
    // first wand it sees the right hand whatever the user holds.
    const boost::shared_ptr<STN::IControllerManager> first = WaitForController(0);
    const boost::shared_ptr<STN::IControllerManager> second = WaitForController(1);
    ASSERT_TRUE(first && second);
    EXPECT_FALSE(service->GetController(2));
    const bool vive = GetParam().profile == SIMVR_PROFILE_VIVE;
    EXPECT_EQ(first->GetHand(), vive ? STN::kHandRight : STN::kHandLeft);
    EXPECT_EQ(second->GetHand(), vive ? STN::kHandLeft : STN::kHandRight);
    EXPECT_EQ(first->GetControllerType(), GetParam().type);
    EXPECT_EQ(service->GetHMDType(), GetParam().hmdType);

    const boost::shared_ptr<HostListener> left = boost::make_shared<HostListener>();
    const boost::shared_ptr<HostListener> right = boost::make_shared<HostListener>();
    first->SetListener(left);
    second->SetListener(right);
    // The family's primary button on device 2, where the runtime puts the thumb on a pad's lower
    // half; then the trigger on device 1, a press the host declines.
    simvr_set_controller_axis(2, GetParam().profile == SIMVR_PROFILE_WINDOWS_MR ? 2 : 0, 0.1f,
                              -0.6f);
    Push(kButtonPress, 2, GetParam().primaryButton);
    Push(kButtonUnpress, 2, GetParam().primaryButton);
    left->takePress = false;
    Push(kButtonPress, 1, kButtonTrigger);
    WaitForButtons(*right, 2);
    WaitForButtons(*left, 1);
    const std::vector<Heard> rightHeard = right->Presses();
    EXPECT_TRUE(rightHeard[0].down);
    EXPECT_FALSE(rightHeard[1].down);
    EXPECT_EQ(rightHeard[0].button, STN::kControllerButtonPrimary);
    EXPECT_EQ(rightHeard[1].button, STN::kControllerButtonPrimary);
    EXPECT_EQ(rightHeard[0].hand, second->GetHand());
    EXPECT_EQ(left->Presses()[0].button, STN::kControllerButtonTrigger);

    // Poses arrive every frame; the one for a controller at (0.3, 1.0, -0.5) looking ahead has
    // its pointer where the family's grip offset puts it (a Vive has none).
    simvr_set_device_pose_ypr(2, 0.0f, 0.0f, 0.0f, 0.3f, 1.0f, -0.5f);
    Passes(2);
    EXPECT_NEAR(right->LastPose().m[12], 0.3f + GetParam().rightGripX, 1e-5f);

    // A dark surround; the controller 0.2 m below the eyes and 0.5 m ahead, turned to point
    // left, so that its ray crosses the view. Where the family's pointer points 40 degrees down
    // from the grip, the grip is raised as much, so every family's ray runs level.
    service->SetVideoLayout(1, 0, 360, 180);
    Show(UniformFrame(16, 8, Grey(30)));
    simvr_set_device_pose_ypr(2, 90.0f, vive ? 0.0f : 40.0f, 0.0f, 0.15f, 1.0f, -0.5f);
    Passes(2);
    int level = 0;
    HoldRenderLoop();
    BrightestRow(0, 30, &level);
    EXPECT_LT(level, 60) << "a ray before the host asked for one";
    ReleaseRenderLoop();
    {
        std::lock_guard<std::mutex> lock(right->mutex);
        right->drawRay = true;
    }
    Passes(2);
    HoldRenderLoop();
    for (std::uint32_t eye = 0; eye < 2; ++eye) {
        SCOPED_TRACE("eye " + std::to_string(eye));
        for (int column : {10, 30, 50}) {
            const int row = BrightestRow(eye, column, &level);
            // A one-pixel line between two rows shares its white between them.
            EXPECT_GT(level, 120) << "no ray in column " << column;
            // The level ray's height and distance are those of the pointer the host was given
            // (the bottom row is 0): 26 rows below the middle without a grip offset.
            const STN::Matrix4 pointer = right->LastPose();
            const float expected =
                kViewEye / 2 + kViewEye / 2 * (pointer.m[13] - kEyeHeight) / -pointer.m[14];
            EXPECT_NEAR(row, expected, 1.5f);
        }
    }
    ReleaseRenderLoop();

    // A host may send its next frame from that call, in the middle of an eye. The upload
    // leaves no context current; the rest of the frame must still be drawn and submitted, or
    // the headset keeps the last picture.
    {
        std::lock_guard<std::mutex> lock(right->mutex);
        right->onRays = [this] { Send(UniformFrame(16, 8, Grey(200))); };
    }
    Passes(3);
    HoldRenderLoop();
    for (std::uint32_t eye = 0; eye < 2; ++eye) {
        EXPECT_GT(EyePixel(eye, 30, 5)[0], 120) << "eye " << eye << " kept the old picture";
    }
    {
        std::lock_guard<std::mutex> lock(right->mutex);
        right->onRays = nullptr;
    }
    ReleaseRenderLoop();

    // The feedback goes to device 2, whose press the host took up; the runtime records the
    // train.
    simvr_clear_calls();
    service->GetControllerFeedback()->TriggerHapticPulse(2, 2500, 1, 0);
    second->TriggerHapticPulse(1, 800, 0, 0);
    WaitUntil([] { return simvr_count_calls(SIMVR_CALL_HAPTIC_PULSE) >= 3; });
    ASSERT_EQ(simvr_count_calls(SIMVR_CALL_HAPTIC_PULSE), 3u);
    for (std::uint32_t i = 0; i < simvr_get_call_count(); ++i) {
        simvr_call call;
        if (simvr_get_call(i, &call) && call.kind == SIMVR_CALL_HAPTIC_PULSE) {
            EXPECT_EQ(call.device, 2u);
        }
    }

    // After the library stops the list is empty; the feedback object and a controller the host
    // kept are detached but harmless.
    service->RemoveClient(kClient);
    EXPECT_FALSE(service->GetController(0));
    ASSERT_TRUE(service->GetControllerFeedback());
    service->GetControllerFeedback()->TriggerHapticPulse(1, 100, 0, 0);
    second->TriggerHapticPulse(1, 100, 0, 0);
    StartHost();
}

INSTANTIATE_TEST_SUITE_P(
    Families, ControllerSystemTest,
    ::testing::Values(Family{"Vive", SIMVR_PROFILE_VIVE, STN::kControllerFamilyVive,
                             kButtonTouchpad, 0.0f, STN::kHMDTypeVive},
                      Family{"WindowsMR", SIMVR_PROFILE_WINDOWS_MR, STN::kControllerFamilyWindowsMR,
                             kButtonTouchpad, -0.006f, STN::kHMDTypeWindowsMixedReality},
                      Family{"Rift", SIMVR_PROFILE_RIFT, STN::kControllerFamilyRift, kButtonA,
                             -0.00665f, STN::kHMDTypeRift}),
    [](const ::testing::TestParamInfo<Family>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace picturetest
