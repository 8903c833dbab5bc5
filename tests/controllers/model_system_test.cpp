// Controllers' render models in the eye images of the running library: where a model shows,
// its moving parts, and a model that never loads.
#include <cstring>

#include "controller_support.h"

namespace picturetest {
namespace {

constexpr int kBackground = 30;
// The Vive wand's trigger axis.
constexpr std::uint32_t kViveTriggerAxis = 1;

// Pixels (as column, row from the bottom) where two images differ.
std::vector<std::pair<int, int>> Differences(const std::vector<std::uint8_t>& a,
                                             const std::vector<std::uint8_t>& b) {
    std::vector<std::pair<int, int>> differ;
    for (int i = 0; i < kViewEye * kViewEye; ++i) {
        if (std::memcmp(&a[i * 4], &b[i * 4], 3) != 0) {
            differ.emplace_back(i % kViewEye, i / kViewEye);
        }
    }
    return differ;
}

class ModelSystemTest : public ControllerHostTest {
protected:
    int Profile() const override { return SIMVR_PROFILE_VIVE; }
    void ConfigureRuntime() override {
        ControllerHostTest::ConfigureRuntime();
        if (!rightModel.empty()) {
            simvr_set_property_string(SIMVR_DEVICE_RIGHT_CONTROLLER, 1003, rightModel.c_str());
        }
        // Only the right controller, 0.3 m ahead and 5 cm below the eyes, pointing left: its
        // side faces the viewer.
        simvr_set_device_connected(SIMVR_DEVICE_LEFT_CONTROLLER, 0);
        simvr_set_device_pose_ypr(SIMVR_DEVICE_RIGHT_CONTROLLER, 90.0f, 0.0f, 0.0f, 0.0f,
                                  kEyeHeight - 0.05f, -0.3f);
    }
    void ShowDarkSurround() {
        service->SetVideoLayout(1, 0, 360, 180);
        Show(UniformFrame(16, 8, Grey(kBackground)));
    }
    // Whether some pixel near the controller's place, a little below the middle of the eye,
    // is not the surround.
    static bool ControllerShows(std::uint32_t eye) {
        for (int column = kViewEye / 2 - 20; column < kViewEye / 2 + 20; ++column) {
            for (int row = kViewEye / 2 - 30; row < kViewEye / 2; ++row) {
                if (EyePixel(eye, column, row) != Grey(kBackground)) {
                    return true;
                }
            }
        }
        return false;
    }

    std::string rightModel;
};

TEST_F(ModelSystemTest, TheModelShowsAtItsPoseAndItsTriggerMoves) {
    ShowDarkSurround();
    Passes(4);
    HoldRenderLoop();
    const std::vector<std::uint8_t> released[2] = {EyeImage(0, kViewEye), EyeImage(1, kViewEye)};
    for (std::uint32_t eye = 0; eye < 2; ++eye) {
        EXPECT_TRUE(ControllerShows(eye)) << "eye " << eye;
        // Nothing above the eyes' level: the wand is below it.
        for (int column = 0; column < kViewEye; column += 8) {
            EXPECT_EQ(EyePixel(eye, column, kViewEye - 10), Grey(kBackground));
        }
    }
    ReleaseRenderLoop();

    // Pulling the trigger moves its part alone: pixels change, all near the trigger, which
    // hangs under the front of the wand (to the viewer's left of the grip, below it).
    simvr_set_controller_axis(SIMVR_DEVICE_RIGHT_CONTROLLER, kViveTriggerAxis, 1.0f, 0.0f);
    Passes(2);
    HoldRenderLoop();
    for (std::uint32_t eye = 0; eye < 2; ++eye) {
        SCOPED_TRACE("eye " + std::to_string(eye));
        const std::vector<std::pair<int, int>> moved =
            Differences(released[eye], EyeImage(eye, kViewEye));
        EXPECT_GE(moved.size(), 4u);
        for (const std::pair<int, int>& pixel : moved) {
            EXPECT_LT(pixel.first, kViewEye / 2 + 8) << "column " << pixel.first;
            EXPECT_LT(pixel.second, kViewEye / 2) << "row " << pixel.second;
        }
    }
    ReleaseRenderLoop();
}

TEST_F(ModelSystemTest, AModelThatNeverLoadsIsGivenUpWhileRayAndButtonsWork) {
    rightModel = "no_such_controller";
    ResetAndStart();
    ShowDarkSurround();
    const boost::shared_ptr<STN::IControllerManager> controller = WaitForController(0);
    ASSERT_TRUE(controller);
    const boost::shared_ptr<HostListener> listener = boost::make_shared<HostListener>();
    {
        std::lock_guard<std::mutex> lock(listener->mutex);
        listener->drawRay = true;
    }
    controller->SetListener(listener);
    Passes(10);
    // Asked for once and once more under the same name, then four failures end the asking.
    EXPECT_EQ(simvr_get_model_load_calls("no_such_controller"), 2);
    Passes(10);
    EXPECT_EQ(simvr_get_model_load_calls("no_such_controller"), 2);

    Push(kButtonPress, SIMVR_DEVICE_RIGHT_CONTROLLER, kButtonTrigger);
    WaitForButtons(*listener, 1);
    EXPECT_EQ(listener->Presses()[0].button, STN::kControllerButtonTrigger);
    // The ray runs left from the controller, level with it: 5 cm below the eyes at 0.3 m.
    HoldRenderLoop();
    int brightest = 0;
    EXPECT_NEAR(BrightestRow(0, 10, &brightest), kViewEye / 2 * (1.0f - 0.05f / 0.3f), 1.5f);
    EXPECT_GT(brightest, 120);
    ReleaseRenderLoop();
}

}  // namespace
}  // namespace picturetest
