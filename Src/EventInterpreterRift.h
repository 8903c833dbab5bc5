// Rift controllers: hands from the runtime's roles, asked again on every event until known;
// trigger, A and menu buttons; the Touch controllers' pointer offsets.
#pragma once

#include "IEventInterpreter.h"

namespace STN {

class EventInterpreterRift : public IEventInterpreter {
public:
    // Builds the pointer offsets as well.
    void Bind(const boost::shared_ptr<OpenVRManager>& manager) override;

protected:
    std::uint32_t TranslateButton(const vr::VREvent_t& event, const vr::VRControllerState_t& state,
                                  const boost::shared_ptr<ControllerManager>& controller) override;
    void SetUpNewController(vr::IVRSystem* system, ControllerManager& controller) override;
    void RevisitController(vr::IVRSystem* system, ControllerManager& controller) override;
};

}  // namespace STN
