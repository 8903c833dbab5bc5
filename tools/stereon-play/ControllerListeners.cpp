#include "ControllerListeners.h"

#include <cmath>
#include <string>

#include "IControllerFeedback.h"
#include "IControllerListener.h"

namespace stnplay {

namespace {

const char* HandName(std::uint32_t hand) {
    switch (hand) {
        case STN::kHandRight:
            return "right";
        case STN::kHandLeft:
            return "left";
        default:
            return "unassigned";
    }
}

const char* FamilyName(std::uint32_t family) {
    switch (family) {
        case STN::kControllerFamilyRift:
            return "rift";
        case STN::kControllerFamilyVive:
            return "vive";
        case STN::kControllerFamilyWindowsMR:
            return "windows-mr";
        default:
            return "unknown";
    }
}

const char* ButtonName(std::uint32_t button) {
    switch (button) {
        case STN::kControllerButtonTrigger:
            return "trigger";
        case STN::kControllerButtonPrimary:
            return "primary";
        case STN::kControllerButtonSecondary:
            return "secondary";
        default:
            return "none";
    }
}

}  // namespace

class ControllerListeners::Listener : public STN::IControllerListener {
public:
    Listener(const boost::shared_ptr<STN::IControllerFeedback>& feedback,
             std::atomic<std::uint64_t>& trains)
        : feedback(feedback), trains(trains) {}

    void OnButtonUp(const boost::shared_ptr<STN::IControllerManager>& controller,
                    std::uint32_t button, const STN::Matrix4&) override {
        Record(controller, false, button);
    }

    bool OnButtonDown(const boost::shared_ptr<STN::IControllerManager>& controller,
                      std::uint32_t button, const STN::Matrix4&) override {
        Record(controller, true, button);
        // The player has a use for the three buttons it knows; anything else it leaves alone.
        const bool taken = button != STN::kControllerButtonNone;
        if (taken) {
            std::lock_guard<std::mutex> lock(mutex);
            buzzWanted = true;
        }
        return taken;
    }

    void OnPoseUpdate(const boost::shared_ptr<STN::IControllerManager>&, bool poseValid,
                      const STN::Matrix4& pose) override {
        bool buzz = false;
        {
            std::lock_guard<std::mutex> lock(mutex);
            ++poseUpdates;
            valid = poseValid;
            if (poseValid) {
                last = pose;
            }
            buzz = buzzWanted;
            buzzWanted = false;
        }
        // The feedback buzzes the controller of the last press taken up, which the library
        // notes only after OnButtonDown has returned; asked from inside it, the buzz would go to
        // the controller pressed before. So it goes out with the next pose.
        if (buzz && feedback) {
            feedback->TriggerHapticPulse(kPulseRepeats, kPulseMicroseconds, kPulseIntervalMs, 0);
            ++trains;
        }
    }

    std::vector<STN::Matrix4> GetPointerMatrices(const boost::shared_ptr<STN::IControllerManager>&,
                                                 const STN::Matrix4& viewProjection) override {
        std::lock_guard<std::mutex> lock(mutex);
        if (!valid) {
            return {};
        }
        return {viewProjection * last};
    }

    // The buttons heard, the poses counted and where the last valid pose pointed.
    void Describe(nlohmann::json& into) const {
        std::lock_guard<std::mutex> lock(mutex);
        nlohmann::json buttons = nlohmann::json::array();
        for (const Heard& event : heard) {
            buttons.push_back({{"event", event.down ? "down" : "up"},
                               {"button", ButtonName(event.button)},
                               {"hand", HandName(event.hand)}});
        }
        into["buttons"] = buttons;
        into["pose_updates"] = poseUpdates;
        if (poseUpdates == 0) {
            into["pointer"] = nullptr;
            return;
        }
        // The ray runs along the pose's -Z from its origin.
        const float* m = last.m;
        const float length = std::sqrt(m[8] * m[8] + m[9] * m[9] + m[10] * m[10]);
        into["pointer"] = {
            {"origin", {m[12], m[13], m[14]}},
            {"direction", {-m[8] / length, -m[9] / length, -m[10] / length}},
        };
    }

private:
    struct Heard {
        bool down;
        std::uint32_t button;
        std::uint32_t hand;
    };

    void Record(const boost::shared_ptr<STN::IControllerManager>& controller, bool down,
                std::uint32_t button) {
        const std::uint32_t hand = controller ? controller->GetHand() : STN::kHandUnassigned;
        std::lock_guard<std::mutex> lock(mutex);
        heard.push_back(Heard{down, button, hand});
    }

    const boost::shared_ptr<STN::IControllerFeedback> feedback;
    std::atomic<std::uint64_t>& trains;
    mutable std::mutex mutex;
    std::vector<Heard> heard;
    std::uint64_t poseUpdates = 0;
    bool valid = false;
    STN::Matrix4 last = STN::Matrix4::Identity();
    bool buzzWanted = false;
};

ControllerListeners::ControllerListeners() = default;

ControllerListeners::~ControllerListeners() {
    Detach();
}

void ControllerListeners::OnRenderThread(STN::IStereonService& service) {
    std::lock_guard<std::mutex> lock(mutex);
    if (detached) {
        return;
    }
    for (std::uint32_t i = 0;; ++i) {
        const boost::shared_ptr<STN::IControllerManager> controller = service.GetController(i);
        if (!controller) {
            break;
        }
        if (i < entries.size() && entries[i].controller == controller) {
            continue;
        }
        // New, or a blank that took the place of a controller that fell silent (which hears
        // nothing more): listened to all the same, it speaks once it has a hand.
        const boost::shared_ptr<Listener> listener(
            new Listener(service.GetControllerFeedback(), trains));
        controller->SetListener(listener);
        const Entry entry{controller, listener};
        if (i < entries.size()) {
            entries[i] = entry;
        } else {
            entries.push_back(entry);
        }
    }
}

nlohmann::json ControllerListeners::Describe() const {
    std::lock_guard<std::mutex> lock(mutex);
    nlohmann::json result = nlohmann::json::array();
    for (const Entry& entry : entries) {
        nlohmann::json described;
        described["hand"] = HandName(entry.controller->GetHand());
        described["family"] = FamilyName(entry.controller->GetControllerType());
        entry.listener->Describe(described);
        result.push_back(described);
    }
    return result;
}

void ControllerListeners::Detach() {
    std::vector<Entry> released;
    {
        std::lock_guard<std::mutex> lock(mutex);
        detached = true;
        released.swap(entries);
    }
    for (const Entry& entry : released) {
        entry.controller->SetListener(boost::shared_ptr<STN::IControllerListener>());
    }
}

}  // namespace stnplay
