#include "StereonService.h"

#include <boost/weak_ptr.hpp>

#include "ControllerFeedback.h"
#include "ControllerManager.h"
#include "GB/Device.h"
#include "HMDManager.h"
#include "IEventInterpreter.h"
#include "MF/VideoFrame.h"
#include "RenderThread.h"
#include "Scene.h"
#include "VF/VideoFrame.h"
#include "VRPanelManager.h"
#include "hostcore/classref.h"

namespace STN {

namespace {

StereonService* serviceRaw = nullptr;
boost::weak_ptr<IStereonService> serviceWeak;

}  // namespace

void StereonService::Deleter::operator()(StereonService* service) const {
    delete service;
}

boost::shared_ptr<IStereonService> StereonService::Instance() {
    // No lock: the host calls this from its main thread.
    boost::shared_ptr<IStereonService> live = serviceWeak.lock();
    if (live) {
        return live;
    }
    StereonService* service = new StereonService();
    live = boost::shared_ptr<IStereonService>(service, Deleter());
    serviceWeak = live;
    serviceRaw = service;
    return live;
}

StereonService::StereonService() : renderThread(RenderThread::Instance()) {}

StereonService::~StereonService() {
    if (serviceRaw == this) {
        serviceRaw = nullptr;
    }
}

bool StereonService::IsInitialized() {
    return renderThread ? renderThread->IsInitialized() : false;
}

bool StereonService::Init(boost::shared_ptr<GB::Device> device) {
    return renderThread ? renderThread->Init(device) : false;
}

void StereonService::AddClient(ClientHandle client) {
    if (renderThread) {
        renderThread->AddClient(client);
    }
}

void StereonService::RemoveClient(ClientHandle client) {
    if (renderThread) {
        renderThread->RemoveClient(client);
    }
}

bool StereonService::SetHMDPoseCallback(ClientHandle client, HMDPoseCallback callback) {
    if (!renderThread) {
        return false;
    }
    return renderThread->SetHMDPoseCallback(client, callback);
}

bool StereonService::ResetHMDPoseCallback(ClientHandle client) {
    return renderThread ? renderThread->ResetHMDPoseCallback(client) : false;
}

bool StereonService::UpdateVideoTexture(
    ClientHandle client, const hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) {
    // True so that the host keeps sending frames.
    if (!renderThread) {
        return true;
    }
    // A frame made on a device of another kind restarts everything on that device.
    if (frame) {
        void* raw = nullptr;
        if (frame->QueryFrameInterface(VF::IGPUDeviceVideoFrame::kInterfaceID, &raw) >= 0 &&
            raw != nullptr) {
            const hostcore::classref::InterfaceRef<VF::IGPUDeviceVideoFrame> gpuFrame =
                hostcore::classref::InterfaceRef<VF::IGPUDeviceVideoFrame>::Adopt(
                    static_cast<VF::IGPUDeviceVideoFrame*>(raw));
            renderThread->EnsureDevice(gpuFrame->GetDevice());
        }
    }
    return renderThread->UpdateVideoTexture(client, frame, projection, stereoLayout, horizontalFov,
                                            verticalFov);
}

boost::shared_ptr<IHMDManager> StereonService::GetHMDManager() {
    const boost::shared_ptr<Scene> scene = RenderThread::CurrentScene();
    return scene ? boost::shared_ptr<IHMDManager>(scene->GetHMDManager())
                 : boost::shared_ptr<IHMDManager>();
}

boost::shared_ptr<IControllerManager> StereonService::GetController(std::uint32_t index) {
    const boost::shared_ptr<IEventInterpreter> interpreter =
        RenderThread::CurrentEventInterpreter();
    return interpreter ? boost::shared_ptr<IControllerManager>(interpreter->GetController(index))
                       : boost::shared_ptr<IControllerManager>();
}

// Unknown, treated as a Rift, while there is no scene.
std::int32_t StereonService::GetHMDType() {
    const boost::shared_ptr<IHMDManager> manager = GetHMDManager();
    return manager ? manager->GetHMDType() : kHMDTypeUnknown;
}

boost::shared_ptr<IVRPanelManager> StereonService::GetPanelManager() {
    return RenderThread::CurrentPanelManager();
}

boost::shared_ptr<IControllerFeedback> StereonService::GetControllerFeedback() {
    // Works without a render thread; its pulses reach a runtime once one is connected.
    return STN::GetControllerFeedback();
}

void StereonService::SetControllerAddedCallback(
    boost::shared_ptr<IControllerAddedCallback> callback) {
    if (const boost::shared_ptr<IEventInterpreter> interpreter =
            RenderThread::CurrentEventInterpreter()) {
        interpreter->SetControllerAddedCallback(callback);
    }
}

void StereonService::SetFadeCallback(FadeCallback callback) {
    // No lock: the render thread reads it once per frame.
    if (const boost::shared_ptr<Scene> scene = RenderThread::CurrentScene()) {
        scene->SetFadeCallback(callback);
    }
}

void StereonService::GetViewOrientation(float& yawDegrees, float& pitchDegrees) {
    yawDegrees = 0.0f;
    pitchDegrees = 0.0f;
    if (const boost::shared_ptr<Scene> scene = RenderThread::CurrentScene()) {
        scene->GetViewOrientation(yawDegrees, pitchDegrees);
    }
}

void StereonService::SetViewOrientation(float yawDegrees, float pitchDegrees) {
    // No lock: two floats the render thread reads each frame.
    if (const boost::shared_ptr<Scene> scene = RenderThread::CurrentScene()) {
        scene->SetViewOrientation(yawDegrees, pitchDegrees);
    }
}

void StereonService::SetVideoLayout(VideoProjection newProjection, StereoLayout newStereoLayout,
                                    std::uint32_t newHorizontalFov, std::uint32_t newVerticalFov) {
    projection = newProjection;
    stereoLayout = newStereoLayout;
    horizontalFov = newHorizontalFov;
    verticalFov = newVerticalFov;
}

}  // namespace STN
