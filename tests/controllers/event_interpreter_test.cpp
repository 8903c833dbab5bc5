// The event interpreters and haptics against the simulated runtime through the real client:
// hands, logical buttons, grip offsets and recovery for each headset family, the host's
// listener and added-callback, and the pulses the runtime records.
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "ControllerFeedback.h"
#include "ControllerManager.h"
#include "IControllerListener.h"
#include "IEventInterpreter.h"
#include "OpenVRManager.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"

namespace {

using STN::ControllerManager;
using STN::IEventInterpreter;
using STN::Matrix4;

// Families as the headset classification gives them to CreateEventInterpreter.
const std::uint32_t kVive = 1;
const std::uint32_t kWinMR = 2;
const std::uint32_t kRift = 3;

struct Heard {
    std::string what;
    std::uint32_t button;
    Matrix4 pose;
};

class Recorder final : public STN::IControllerListener {
public:
    void OnButtonUp(const boost::shared_ptr<STN::IControllerManager>&, std::uint32_t button,
                    const Matrix4& pose) override {
        heard.push_back({"up", button, pose});
    }
    bool OnButtonDown(const boost::shared_ptr<STN::IControllerManager>& controller,
                      std::uint32_t button, const Matrix4& pose) override {
        heard.push_back({"down", button, pose});
        if (dropSelfOnPress) {
            controller->SetListener(boost::shared_ptr<STN::IControllerListener>());
        }
        return true;
    }
    void OnPoseUpdate(const boost::shared_ptr<STN::IControllerManager>&, bool,
                      const Matrix4& pose) override {
        heard.push_back({"pose", 0, pose});
    }
    std::vector<Matrix4> GetPointerMatrices(const boost::shared_ptr<STN::IControllerManager>&,
                                            const Matrix4&) override {
        return {};
    }

    std::vector<Heard> heard;
    bool dropSelfOnPress = false;
};

class AddedRecorder final : public STN::IControllerAddedCallback {
public:
    explicit AddedRecorder(IEventInterpreter* interpreter) : interpreter(interpreter) {}
    void OnControllerAdded(boost::shared_ptr<STN::IControllerManager> controller) override {
        added.push_back(controller);
        // Told before the list has it.
        listedWhenTold.push_back(bool(interpreter->GetController(std::uint32_t(added.size() - 1))));
    }
    IEventInterpreter* interpreter;
    std::vector<boost::shared_ptr<STN::IControllerManager>> added;
    std::vector<bool> listedWhenTold;
};

class InterpreterTest : public stereon::test::SimulatedHeadsetTest {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(SimulatedHeadsetTest::SetUp());
        openVR = STN::OpenVRManager::Instance();
        vr::EVRInitError initError = vr::VRInitError_None;
        ASSERT_TRUE(openVR->Init(initError)) << initError;
    }
    void TearDown() override {
        interpreter.reset();
        STN::ReleaseControllerFeedback();
        openVR->Shutdown();
        openVR.reset();
        SimulatedHeadsetTest::TearDown();
    }

    // A bound interpreter of a family on the runtime's matching profile.
    void Start(std::uint32_t family) {
        simvr_set_profile(family == kVive    ? SIMVR_PROFILE_VIVE
                          : family == kWinMR ? SIMVR_PROFILE_WINDOWS_MR
                                             : SIMVR_PROFILE_RIFT);
        interpreter = STN::CreateEventInterpreter(family);
        ASSERT_TRUE(interpreter);
        interpreter->Bind(openVR);
    }
    void Update(std::uint32_t device, const Matrix4& pose = Matrix4::Identity(), int times = 1) {
        const vr::VRControllerState_t state = {};
        for (int i = 0; i < times; ++i) {
            interpreter->UpdateController(device, true, pose, state);
        }
    }
    // A press (or release) with the thumb at (x, y) on the device's trackpad, if it has one.
    void Button(std::uint32_t type, std::uint32_t device, std::uint32_t button, float x = 0.0f,
                float y = 0.0f) {
        vr::VRControllerState_t state = {};
        const boost::shared_ptr<ControllerManager> c = Find(device);
        if (c && c->trackpadAxis.load() < 5) {
            state.rAxis[c->trackpadAxis.load()] = {x, y};
        }
        vr::VREvent_t event = {};
        event.eventType = type;
        event.trackedDeviceIndex = device;
        event.data.controller.button = button;
        interpreter->HandleButtonEvent(event, Matrix4::Identity(), state);
    }
    boost::shared_ptr<ControllerManager> Find(std::uint32_t device) const {
        for (std::uint32_t i = 0;; ++i) {
            const boost::shared_ptr<ControllerManager> c = interpreter->GetController(i);
            if (!c || c->deviceIndex.load() == device) {
                return c;
            }
        }
    }
    boost::shared_ptr<Recorder> Listen(std::uint32_t device) {
        const boost::shared_ptr<Recorder> recorder = boost::make_shared<Recorder>();
        const boost::shared_ptr<ControllerManager> controller = Find(device);
        EXPECT_TRUE(controller) << "no controller for device " << device;
        if (controller) {
            controller->SetListener(recorder);
        }
        return recorder;
    }
    boost::shared_ptr<STN::OpenVRManager> openVR;
    boost::shared_ptr<IEventInterpreter> interpreter;
};

TEST_F(InterpreterTest, EachFamilyMapsItsButtonsToTheHostsThree) {
    struct Case {
        std::uint32_t family;
        std::uint32_t button;
        float x, y;
        std::uint32_t expected;
    };
    const std::uint32_t trigger = vr::k_EButton_SteamVR_Trigger;
    const std::uint32_t pad = vr::k_EButton_SteamVR_Touchpad;
    const Case cases[] = {
        {kVive, trigger, 0.0f, 0.0f, 1},
        {kVive, pad, 0.3f, 0.5f, 3},
        {kVive, pad, 0.3f, -0.5f, 2},
        {kVive, pad, 0.0f, 0.0f, 0},   // thumb off the pad: no half
        {kVive, pad, 0.2f, 0.05f, 2},  // the lower half reaches up to 0.05
        {kVive, vr::k_EButton_Grip, 0.3f, 0.5f, 0},
        {kVive, vr::k_EButton_A, 0.3f, 0.5f, 0},
        {kWinMR, trigger, 0.0f, 0.0f, 1},
        {kWinMR, pad, 0.0f, 0.0f, 2},  // the centre counts as the lower half here
        {kWinMR, pad, 0.1f, 0.06f, 3},
        {kWinMR, vr::k_EButton_ApplicationMenu, 0.0f, 0.0f, 0},
        {kRift, trigger, 0.0f, 0.0f, 1},
        {kRift, vr::k_EButton_A, 0.0f, 0.9f, 2},
        {kRift, vr::k_EButton_ApplicationMenu, 0.0f, 0.0f, 3},
        {kRift, pad, 0.3f, 0.5f, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("family " + std::to_string(c.family) + " button " + std::to_string(c.button) +
                     " at " + std::to_string(c.x) + ", " + std::to_string(c.y));
        Start(c.family);
        Update(SIMVR_DEVICE_LEFT_CONTROLLER);
        Update(SIMVR_DEVICE_RIGHT_CONTROLLER);
        // Both hands: the Rift's A and menu mean the same on either.
        for (std::uint32_t device : {1u, 2u}) {
            const boost::shared_ptr<Recorder> heard = Listen(device);
            Button(vr::VREvent_ButtonPress, device, c.button, c.x, c.y);
            Button(vr::VREvent_ButtonUnpress, device, c.button, c.x, c.y);
            ASSERT_EQ(heard->heard.size(), 2u);
            EXPECT_EQ(heard->heard[0].what + heard->heard[1].what, "downup");
            EXPECT_EQ(heard->heard[0].button, c.expected);
            EXPECT_EQ(heard->heard[1].button, c.expected);
        }
    }
}

TEST_F(InterpreterTest, HandsComeFromRolesOnRiftAndWindowsMixedRealityAndByOrderOnVive) {
    for (std::uint32_t family : {kVive, kWinMR, kRift}) {
        SCOPED_TRACE("family " + std::to_string(family));
        Start(family);
        // Device 1 holds the left role, device 2 the right; a third controller connects after
        // start with the left role. The first two have been tracked for a while (a newcomer
        // within their first 100 updates would clear them out as fallen silent).
        Update(1, Matrix4::Identity(), 100);
        Update(2, Matrix4::Identity(), 100);
        const int late = simvr_add_controller(vr::TrackedControllerRole_LeftHand);
        ASSERT_GT(late, 2);
        Update(std::uint32_t(late));
        const boost::shared_ptr<ControllerManager> first = interpreter->GetController(0);
        const boost::shared_ptr<ControllerManager> second = interpreter->GetController(1);
        const boost::shared_ptr<ControllerManager> third = interpreter->GetController(2);
        ASSERT_TRUE(first && second && third);
        EXPECT_FALSE(interpreter->GetController(3));
        // On a Vive the first wand to appear is the right hand, whatever the user holds, and a
        // third has no hand left. The first two and their family are ControllerSystemTest's too.
        const bool vive = family == kVive;
        EXPECT_EQ(first->GetHand(), vive ? STN::kHandRight : STN::kHandLeft);
        EXPECT_EQ(second->GetHand(), vive ? STN::kHandLeft : STN::kHandRight);
        EXPECT_EQ(third->GetHand(), vive ? STN::kHandUnassigned : STN::kHandLeft);
        // Trackpad, trigger and joystick axes as the runtime's axis types give them; of the
        // Rift's two trigger axes the last one wins.
        const std::uint32_t none = 0xFFFFFFFFu;
        const std::uint32_t axes[3][3] = {{0, 1, none}, {2, 1, 0}, {none, 2, 0}};
        STN::ControllerAxisLayout layout;
        first->GetAxisLayout(&layout);
        EXPECT_EQ(layout.hand, first->GetHand());
        EXPECT_EQ(layout.trackpadAxis, axes[family - 1][0]);
        EXPECT_EQ(layout.triggerAxis, axes[family - 1][1]);
        EXPECT_EQ(layout.joystickAxis, axes[family - 1][2]);

        // A controller that disconnects and comes back on its index keeps its entry and hand.
        const boost::shared_ptr<Recorder> heard = Listen(2);
        simvr_set_device_connected(2, 0);
        interpreter->UpdateController(2, false, Matrix4::Identity(), vr::VRControllerState_t());
        simvr_set_device_connected(2, 1);
        Update(2);
        Button(vr::VREvent_ButtonPress, 2, vr::k_EButton_SteamVR_Trigger);
        EXPECT_EQ(interpreter->GetController(1), second);
        ASSERT_FALSE(heard->heard.empty());
        EXPECT_EQ(heard->heard.back().what, "down");
        EXPECT_EQ(heard->heard.back().button, 1u);
        simvr_set_device_connected(std::uint32_t(late), 0);
    }
}

TEST_F(InterpreterTest, AControllerWithoutAHandHearsNothingUntilTheRuntimeKnowsItsRole) {
    Start(kRift);
    simvr_set_controller_role(1, vr::TrackedControllerRole_Invalid);
    Update(1);
    const boost::shared_ptr<Recorder> heard = Listen(1);
    Button(vr::VREvent_ButtonPress, 1, vr::k_EButton_A);
    Update(1);
    EXPECT_TRUE(heard->heard.empty());
    EXPECT_EQ(Find(1)->GetHand(), STN::kHandUnassigned);

    simvr_set_controller_role(1, vr::TrackedControllerRole_LeftHand);
    Button(vr::VREvent_ButtonPress, 1, vr::k_EButton_A);
    EXPECT_EQ(Find(1)->GetHand(), STN::kHandLeft);
    ASSERT_EQ(heard->heard.size(), 1u);
    EXPECT_EQ(heard->heard[0].button, 2u);
}

TEST_F(InterpreterTest, PosesCarryTheFamilysGripOffset) {
    struct Case {
        std::uint32_t family;
        std::uint32_t device;  // 1 left, 2 right on Rift and Windows Mixed Reality
        float x, y, z;
        bool turned;
    };
    const Case cases[] = {
        {kRift, 1, 0.006f, -0.025f, 0.031f, true}, {kRift, 2, -0.00665f, -0.025f, 0.031f, true},
        {kWinMR, 1, 0.006f, -0.01f, 0.042f, true}, {kWinMR, 2, -0.006f, -0.01f, 0.042f, true},
        {kVive, 1, 0.0f, 0.0f, 0.0f, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("family " + std::to_string(c.family) + " device " + std::to_string(c.device));
        Start(c.family);
        Update(c.device);
        const boost::shared_ptr<Recorder> heard = Listen(c.device);
        // At the identity pose the pointer's origin is the offset itself; at a pose moved by
        // (1, 2, 3) it moves with it.
        Update(c.device);
        Matrix4 moved = Matrix4::Identity();
        moved.Translate(1.0f, 2.0f, 3.0f);
        Update(c.device, moved);
        ASSERT_EQ(heard->heard.size(), 2u);
        const Matrix4& atIdentity = heard->heard[0].pose;
        EXPECT_NEAR(atIdentity.m[12], c.x, 1e-6f);
        EXPECT_NEAR(atIdentity.m[13], c.y, 1e-6f);
        EXPECT_NEAR(atIdentity.m[14], c.z, 1e-6f);
        EXPECT_NEAR(heard->heard[1].pose.m[14], c.z + 3.0f, 1e-5f);
        // The pointer (-Z) is turned 40 degrees down.
        const float down = std::atan2(-atIdentity.m[9], atIdentity.m[10]) * 57.29578f;
        EXPECT_NEAR(down, c.turned ? -40.0f : 0.0f, 1e-3f);
        // Buttons carry the same pose.
        Button(vr::VREvent_ButtonPress, c.device, vr::k_EButton_SteamVR_Trigger);
        ASSERT_EQ(heard->heard.size(), 3u);
        EXPECT_NEAR(heard->heard[2].pose.m[12], c.x, 1e-6f);
    }
}

TEST_F(InterpreterTest, ViveRecoversTheHandOfAWandThatFellSilent) {
    Start(kVive);
    Update(1, Matrix4::Identity(), 100);
    Update(2, Matrix4::Identity(), 100);
    const int third = simvr_add_controller(vr::TrackedControllerRole_Invalid);
    Update(std::uint32_t(third));
    const boost::shared_ptr<ControllerManager> silent = interpreter->GetController(1);
    const boost::shared_ptr<Recorder> silentHeard = Listen(2);
    const boost::shared_ptr<Recorder> thirdHeard = Listen(std::uint32_t(third));
    ASSERT_EQ(silent->GetHand(), STN::kHandLeft);

    // Each time the handless third passes 100 updates the interpreter looks for silent entries
    // (the third's arrival looked once already, and found none). The first time device 2 has
    // had 100 updates since and stays; then it goes quiet, and the second time it is cleared.
    Update(2, Matrix4::Identity(), 100);
    const std::size_t heardBeforeQuiet = silentHeard->heard.size();
    Update(1, Matrix4::Identity(), 150);
    Update(std::uint32_t(third), Matrix4::Identity(), 100);
    EXPECT_EQ(interpreter->GetController(1), silent);
    Update(1, Matrix4::Identity(), 150);
    Update(std::uint32_t(third), Matrix4::Identity(), 101);
    const boost::shared_ptr<ControllerManager> blank = interpreter->GetController(1);
    ASSERT_TRUE(blank);
    EXPECT_NE(blank, silent);
    EXPECT_FALSE(blank->valid);
    EXPECT_EQ(blank->GetHand(), STN::kHandUnassigned);
    EXPECT_EQ(blank->deviceIndex.load(), 0xFFFFFFFFu);
    // The third keeps no hand: a Vive hand is only chosen when a wand first appears.
    EXPECT_EQ(interpreter->GetController(2)->GetHand(), STN::kHandUnassigned);
    Button(vr::VREvent_ButtonPress, std::uint32_t(third), vr::k_EButton_SteamVR_Trigger);
    EXPECT_TRUE(thirdHeard->heard.empty());
    // The host's old object still works, detached from input.
    EXPECT_EQ(silent->GetHand(), STN::kHandLeft);
    silent->TriggerHapticPulse(1, 100, 0, 0);
    silent->WaitForPulses();

    // The wand comes back under a new index and takes the free hand.
    const int back = simvr_add_controller(vr::TrackedControllerRole_Invalid);
    Update(std::uint32_t(back));
    EXPECT_EQ(Find(std::uint32_t(back))->GetHand(), STN::kHandLeft);
    EXPECT_EQ(interpreter->GetController(3), Find(std::uint32_t(back)));
    EXPECT_EQ(silentHeard->heard.size(), heardBeforeQuiet);
}

TEST_F(InterpreterTest, AControllerWithoutTheFamilysAxesNeverGetsInput) {
    for (std::uint32_t family : {kVive, kWinMR}) {
        SCOPED_TRACE("family " + std::to_string(family));
        Start(family);
        const int device = simvr_add_controller(vr::TrackedControllerRole_RightHand);
        for (int axis = 0; axis < 5; ++axis) {
            simvr_set_property_int32(std::uint32_t(device), vr::Prop_Axis0Type_Int32 + axis,
                                     axis == 1 ? vr::k_eControllerAxis_Trigger : 0);
        }
        Update(std::uint32_t(device));
        const boost::shared_ptr<Recorder> heard = Listen(std::uint32_t(device));
        Update(std::uint32_t(device), Matrix4::Identity(), 300);
        Button(vr::VREvent_ButtonPress, std::uint32_t(device), vr::k_EButton_SteamVR_Trigger);
        const boost::shared_ptr<ControllerManager> controller = Find(std::uint32_t(device));
        EXPECT_FALSE(controller->valid);
        EXPECT_EQ(controller->GetHand(), STN::kHandUnassigned);
        EXPECT_EQ(controller->updateCount, 301u);
        EXPECT_TRUE(heard->heard.empty());
        simvr_set_device_connected(std::uint32_t(device), 0);
    }
}

TEST_F(InterpreterTest, WindowsMixedRealityGivesUpOnTheRoleAfterAThousandAnswers) {
    Start(kWinMR);
    // Only a left hand is listed: the newcomer without a role takes the side already taken.
    Update(1);
    ASSERT_EQ(Find(1)->GetHand(), STN::kHandLeft);
    // The left controller keeps being tracked, so that it never counts as fallen silent.
    const int unknown = simvr_add_controller(vr::TrackedControllerRole_Invalid);
    for (int i = 0; i < 999; ++i) {
        Update(std::uint32_t(unknown));
        Update(1);
    }
    EXPECT_EQ(Find(std::uint32_t(unknown))->GetHand(), STN::kHandUnassigned);
    Update(std::uint32_t(unknown));
    EXPECT_EQ(Find(std::uint32_t(unknown))->GetHand(), STN::kHandLeft);
}

TEST_F(InterpreterTest, BadInputIsDroppedAndTheHostIsToldOfNewControllersFirst) {
    Start(kRift);
    AddedRecorder added(interpreter.get());
    interpreter->SetControllerAddedCallback(
        boost::shared_ptr<STN::IControllerAddedCallback>(&added, [](void*) {}));
    Update(1);
    ASSERT_EQ(added.added.size(), 1u);
    EXPECT_FALSE(added.listedWhenTold[0]);
    EXPECT_EQ(added.added[0], boost::shared_ptr<STN::IControllerManager>(Find(1)));

    // Indices above 100 are dropped; other event types too.
    const boost::shared_ptr<Recorder> heard = Listen(1);
    Button(vr::VREvent_ButtonPress, 101, vr::k_EButton_A);
    interpreter->UpdateController(4000, true, Matrix4::Identity(), vr::VRControllerState_t());
    Button(vr::VREvent_ButtonTouch, 1, vr::k_EButton_A);
    EXPECT_FALSE(interpreter->GetController(1));
    EXPECT_EQ(added.added.size(), 1u);
    EXPECT_TRUE(heard->heard.empty());

    // A listener that removes itself during a press finishes the call and hears nothing more.
    heard->dropSelfOnPress = true;
    Button(vr::VREvent_ButtonPress, 1, vr::k_EButton_A);
    Button(vr::VREvent_ButtonUnpress, 1, vr::k_EButton_A);
    EXPECT_EQ(heard->heard.size(), 1u);

    // With the runtime gone nothing is added and nothing crashes.
    openVR->Shutdown();
    Update(2);
    Button(vr::VREvent_ButtonPress, 2, vr::k_EButton_A);
    EXPECT_EQ(added.added.size(), 1u);
    interpreter->SetControllerAddedCallback(boost::shared_ptr<STN::IControllerAddedCallback>());
}

TEST_F(InterpreterTest, PulseTrainsReachTheRuntimeAndGoNowhereWithoutIt) {
    Start(kRift);
    const boost::shared_ptr<STN::ControllerFeedback> feedback = STN::GetControllerFeedback();
    feedback->SetOpenVRManager(openVR);
    Update(1);
    simvr_clear_calls();

    // Before any press taken up (ControllerSystemTest's), the feedback buzzes device 0: three
    // pulses of 70000 us, cut to the runtime's 16 bits.
    feedback->TriggerHapticPulse(3, 70000, 1, 1);
    feedback->WaitForPulses();
    // A controller's own trains: repeats 0 is one pulse.
    const boost::shared_ptr<ControllerManager> left = Find(1);
    left->TriggerHapticPulse(0, 500, 1, 0);
    left->TriggerHapticPulseOn(5, 4, 300, 1, 0);
    left->WaitForPulses();

    std::vector<simvr_call> pulses;
    for (std::uint32_t i = 0; i < simvr_get_call_count(); ++i) {
        simvr_call call;
        if (simvr_get_call(i, &call) && call.kind == SIMVR_CALL_HAPTIC_PULSE) {
            pulses.push_back(call);
        }
    }
    ASSERT_EQ(pulses.size(), 8u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pulses[i].device, 0u);
        EXPECT_EQ(pulses[i].axis, 1u);
        EXPECT_EQ(pulses[i].int_value, 70000 % 65536);
    }
    // The last two trains ran side by side on the controller's worker.
    const auto among = [&](std::uint32_t device, int duration) {
        return std::count_if(pulses.begin() + 3, pulses.end(), [&](const simvr_call& pulse) {
            return pulse.device == device && pulse.int_value == duration;
        });
    };
    EXPECT_EQ(among(1, 500), 1);
    EXPECT_EQ(among(5, 300), 4);

    // With the runtime gone, pulses go nowhere.
    openVR->Shutdown();
    feedback->TriggerHapticPulse(2, 100, 0, 0);
    left->TriggerHapticPulse(2, 100, 0, 0);
    feedback->WaitForPulses();
    left->WaitForPulses();
    EXPECT_EQ(simvr_count_calls(SIMVR_CALL_HAPTIC_PULSE), 8u);
}

}  // namespace
