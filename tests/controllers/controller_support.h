// A video-editing host with controllers, driving the running library against the simulated
// headset: its listener, and the start-up that switches controller input on.
#pragma once

#include <boost/make_shared.hpp>

#include <functional>
#include <mutex>

#include "HostApp/ApplicationType.h"
#include "IControllerFeedback.h"
#include "IControllerListener.h"
#include "IControllerManager.h"
#include "room_view.h"

namespace picturetest {

// The runtime's event types and button identifiers.
constexpr std::uint32_t kButtonPress = 200;
constexpr std::uint32_t kButtonUnpress = 201;
constexpr std::uint32_t kButtonA = 7;
constexpr std::uint32_t kButtonTouchpad = 32;
constexpr std::uint32_t kButtonTrigger = 33;

struct Heard {
    bool down;
    std::uint32_t button;
    std::uint32_t hand;
};

// A host's listener; calls come on the render thread, the test reads from its own.
class HostListener final : public STN::IControllerListener {
public:
    void OnButtonUp(const boost::shared_ptr<STN::IControllerManager>& controller,
                    std::uint32_t button, const STN::Matrix4&) override {
        std::lock_guard<std::mutex> lock(mutex);
        heard.push_back({false, button, controller->GetHand()});
    }
    bool OnButtonDown(const boost::shared_ptr<STN::IControllerManager>& controller,
                      std::uint32_t button, const STN::Matrix4&) override {
        std::lock_guard<std::mutex> lock(mutex);
        heard.push_back({true, button, controller->GetHand()});
        return takePress;
    }
    void OnPoseUpdate(const boost::shared_ptr<STN::IControllerManager>&, bool,
                      const STN::Matrix4& pose) override {
        std::lock_guard<std::mutex> lock(mutex);
        lastPose = pose;
    }
    std::vector<STN::Matrix4> GetPointerMatrices(const boost::shared_ptr<STN::IControllerManager>&,
                                                 const STN::Matrix4& viewProjection) override {
        std::function<void()> job;
        {
            std::lock_guard<std::mutex> lock(mutex);
            job = onRays;
        }
        if (job) {
            job();
        }
        std::lock_guard<std::mutex> lock(mutex);
        if (!drawRay) {
            return {};
        }
        return {viewProjection * lastPose};
    }

    std::vector<Heard> Presses() {
        std::lock_guard<std::mutex> lock(mutex);
        return heard;
    }
    STN::Matrix4 LastPose() {
        std::lock_guard<std::mutex> lock(mutex);
        return lastPose;
    }

    std::mutex mutex;
    std::vector<Heard> heard;
    STN::Matrix4 lastPose = STN::Matrix4::Identity();
    bool takePress = true;
    bool drawRay = false;
    // What the host does when asked for its rays, in the middle of an eye.
    std::function<void()> onRays;
};

// A pointer ray's row in a column of an eye: the brightest pixel of the column, whose red
// level is `level`.
inline int BrightestRow(std::uint32_t eye, int column, int* level) {
    int best = -1;
    *level = 0;
    for (int row = 0; row < kViewEye; ++row) {
        const int value = EyePixel(eye, column, row)[0];
        if (value > *level) {
            *level = value;
            best = row;
        }
    }
    return best;
}

class ControllerHostTest : public RoomViewTest {
protected:
    // The simulated headset's kind.
    virtual int Profile() const = 0;

    void ConfigureRuntime() override {
        RoomViewTest::ConfigureRuntime();
        simvr_set_profile(Profile());
        // Controller input is a video editor's.
        HostApp::SetApplicationType(HostApp::kApplicationTypeVideoEditor);
    }
    void TearDown() override {
        RoomViewTest::TearDown();
        HostApp::SetApplicationType(HostApp::kApplicationTypeUnknown);
    }

    // Stops the library, sets the runtime up anew (for a change to what ConfigureRuntime does)
    // and starts again.
    void ResetAndStart() {
        service->RemoveClient(kClient);
        simvr::ResetRuntime();
        simvr_set_readback(1);
        ConfigureRuntime();
        StartHost();
    }
    // The service's controller of a runtime device, once the scene has seen it.
    boost::shared_ptr<STN::IControllerManager> WaitForController(std::uint32_t listIndex) {
        for (int i = 0; i < 200 && !service->GetController(listIndex); ++i) {
            Passes(1);
        }
        return service->GetController(listIndex);
    }
    // Waits until the listener has heard `count` presses and releases.
    static void WaitForButtons(HostListener& listener, std::size_t count) {
        WaitUntil([&] { return listener.Presses().size() >= count; });
        ASSERT_EQ(listener.Presses().size(), count);
    }
    static void Push(std::uint32_t type, std::uint32_t device, std::uint32_t button) {
        ASSERT_EQ(simvr_push_button_event(type, device, button, nullptr), 1);
    }
};

}  // namespace picturetest
