// The service a host drives: start-up on its GPU device, its clients, the video it plays and
// the objects through which it reaches the headset, panels and controllers.
#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include <cstdint>

#include "StereonTypes.h"

namespace GB {
class Device;
}
namespace MF {
class IVideoFrame;
}
namespace hostcore {
namespace classref {
template <class T>
class InterfaceRef;
}
}  // namespace hostcore

namespace STN {

class IHMDManager;
class IControllerManager;
class IVRPanelManager;
class IControllerFeedback;
class IControllerAddedCallback;

// Called on the render thread with the head's orientation in degrees.
typedef boost::function<void(float yaw, float pitch, float roll)> HMDPoseCallback;
// Asked on the render thread whether to fade; fills in the duration and colour.
typedef boost::function<bool(float& seconds, float& red, float& green, float& blue, float& alpha)>
    FadeCallback;

// Host calling order: GetStereonServiceInstance, Init, AddClient, SetHMDPoseCallback (which
// makes the client the active one), SetVideoLayout when the format changes, UpdateVideoTexture
// per frame; at the end ResetHMDPoseCallback and RemoveClient. The host never deletes the
// service through this interface; dropping the last shared pointer ends it.
class IStereonService {
public:
    virtual bool IsInitialized() = 0;
    virtual bool Init(boost::shared_ptr<GB::Device> device) = 0;
    virtual void AddClient(ClientHandle client) = 0;
    virtual void RemoveClient(ClientHandle client) = 0;
    virtual bool SetHMDPoseCallback(ClientHandle client, HMDPoseCallback callback) = 0;
    virtual bool ResetHMDPoseCallback(ClientHandle client) = 0;
    virtual bool UpdateVideoTexture(
        ClientHandle client, const hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) = 0;
    virtual boost::shared_ptr<IHMDManager> GetHMDManager() = 0;
    virtual boost::shared_ptr<IControllerManager> GetController(std::uint32_t index) = 0;
    virtual std::int32_t GetHMDType() = 0;
    virtual boost::shared_ptr<IVRPanelManager> GetPanelManager() = 0;
    virtual boost::shared_ptr<IControllerFeedback> GetControllerFeedback() = 0;
    virtual void SetControllerAddedCallback(
        boost::shared_ptr<IControllerAddedCallback> callback) = 0;
    virtual void SetFadeCallback(FadeCallback callback) = 0;
    virtual void GetViewOrientation(float& yawDegrees, float& pitchDegrees) = 0;
    virtual void SetViewOrientation(float yawDegrees, float pitchDegrees) = 0;
    virtual void SetVideoLayout(VideoProjection projection, StereoLayout stereoLayout,
                                std::uint32_t horizontalFov, std::uint32_t verticalFov) = 0;

protected:
    ~IStereonService() = default;
};

}  // namespace STN
