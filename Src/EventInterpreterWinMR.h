// Windows Mixed Reality controllers: hands from the runtime's roles, and after 1000 empty
// answers by elimination; trigger and the trackpad's two halves; the controllers' pointer
// offsets. A controller that falls silent is cleared out as on the Vive.
#pragma once

#include "IEventInterpreter.h"

namespace STN {

class EventInterpreterWinMR : public IEventInterpreter {
public:
    EventInterpreterWinMR();

protected:
    std::uint32_t TranslateButton(const vr::VREvent_t& event, const vr::VRControllerState_t& state,
                                  const boost::shared_ptr<ControllerManager>& controller) override;
    void SetUpNewController(vr::IVRSystem* system, ControllerManager& controller) override;
    void RevisitController(vr::IVRSystem* system, ControllerManager& controller) override;
    bool RecoverControllers() override;

private:
    void DetectRole(vr::IVRSystem* system, ControllerManager& controller);
};

}  // namespace STN
