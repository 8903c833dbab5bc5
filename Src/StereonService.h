// The service the host drives: a thin forwarding object in front of the one RenderThread. It
// keeps only the video layout the host set last.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>

#include "IStereonService.h"

namespace STN {

class RenderThread;

class StereonService : public IStereonService {
public:
    // The only way the service is destroyed: when the host drops its last reference.
    struct Deleter {
        void operator()(StereonService* service) const;
    };

    // The live service, or a new one in front of the render-thread singleton.
    static boost::shared_ptr<IStereonService> Instance();

    bool IsInitialized() override;
    bool Init(boost::shared_ptr<GB::Device> device) override;
    void AddClient(ClientHandle client) override;
    void RemoveClient(ClientHandle client) override;
    bool SetHMDPoseCallback(ClientHandle client, HMDPoseCallback callback) override;
    bool ResetHMDPoseCallback(ClientHandle client) override;
    bool UpdateVideoTexture(
        ClientHandle client,
        const hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) override;
    boost::shared_ptr<IHMDManager> GetHMDManager() override;
    boost::shared_ptr<IControllerManager> GetController(std::uint32_t index) override;
    std::int32_t GetHMDType() override;
    boost::shared_ptr<IVRPanelManager> GetPanelManager() override;
    boost::shared_ptr<IControllerFeedback> GetControllerFeedback() override;
    void SetControllerAddedCallback(boost::shared_ptr<IControllerAddedCallback> callback) override;
    void SetFadeCallback(FadeCallback callback) override;
    void GetViewOrientation(float& yawDegrees, float& pitchDegrees) override;
    void SetViewOrientation(float yawDegrees, float pitchDegrees) override;
    void SetVideoLayout(VideoProjection projection, StereoLayout stereoLayout,
                        std::uint32_t horizontalFov, std::uint32_t verticalFov) override;

    StereonService(const StereonService&) = delete;
    StereonService& operator=(const StereonService&) = delete;

private:
    StereonService();
    virtual ~StereonService();

    boost::shared_ptr<RenderThread> renderThread;
    boost::shared_ptr<void> reserved;  // never assigned
    VideoProjection projection = kVideoProjectionEquirectangular;
    StereoLayout stereoLayout = kStereoLayoutMonoscopic;
    std::uint32_t horizontalFov = 360;
    std::uint32_t verticalFov = 180;
};

}  // namespace STN
