// Vive wands: the first controller to appear is the right hand and the second the left,
// whatever the user holds; trigger and the trackpad's two halves; no pointer offset. A wand that
// falls silent is cleared out so that its hand is free for the next one.
#pragma once

#include "IEventInterpreter.h"

namespace STN {

class EventInterpreterVive : public IEventInterpreter {
protected:
    std::uint32_t TranslateButton(const vr::VREvent_t& event, const vr::VRControllerState_t& state,
                                  const boost::shared_ptr<ControllerManager>& controller) override;
    void SetUpNewController(vr::IVRSystem* system, ControllerManager& controller) override;
    bool RecoverControllers() override;
};

}  // namespace STN
