#include "StereonService.h"

#include <boost/weak_ptr.hpp>

#include "GB/Device.h"
#include "MF/VideoFrame.h"
#include "RenderThread.h"
#include "VF/VideoFrame.h"
#include "hostcore/classref.h"

namespace STN {

namespace {

StereonService* serviceRaw = nullptr;
boost::weak_ptr<IStereonService> serviceWeak;

// Headset kind reported when there is no scene: unknown, treated as a Rift.
const std::int32_t kHMDTypeUnknown = 3;

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

// TODO(headset manager): the scene's IHMDManager when RenderThread::CurrentScene() has one.
boost::shared_ptr<IHMDManager> StereonService::GetHMDManager() {
    return boost::shared_ptr<IHMDManager>();
}

// TODO(event interpreters): the scene's interpreter's GetController(index).
boost::shared_ptr<IControllerManager> StereonService::GetController(std::uint32_t index) {
    static_cast<void>(index);
    return boost::shared_ptr<IControllerManager>();
}

// TODO(headset manager): IHMDManager::GetHMDType of the scene's manager.
std::int32_t StereonService::GetHMDType() {
    return kHMDTypeUnknown;
}

boost::shared_ptr<IVRPanelManager> StereonService::GetPanelManager() {
    // TODO(panel manager): the render thread's VRPanelManager, read without a lock.
    return boost::shared_ptr<IVRPanelManager>();
}

boost::shared_ptr<IControllerFeedback> StereonService::GetControllerFeedback() {
    // TODO(controller feedback): the free function GetControllerFeedback(), which works
    // without a render thread.
    return boost::shared_ptr<IControllerFeedback>();
}

void StereonService::SetControllerAddedCallback(
    boost::shared_ptr<IControllerAddedCallback> callback) {
    // TODO(event interpreters): the scene's interpreter's SetControllerAddedCallback.
    static_cast<void>(callback);
}

void StereonService::SetFadeCallback(FadeCallback callback) {
    // TODO(scene): store into the current scene.
    static_cast<void>(callback);
}

void StereonService::GetViewOrientation(float& yawDegrees, float& pitchDegrees) {
    // TODO(scene): the scene's two floats when RenderThread::CurrentScene() has a scene.
    yawDegrees = 0.0f;
    pitchDegrees = 0.0f;
}

void StereonService::SetViewOrientation(float yawDegrees, float pitchDegrees) {
    // TODO(scene): write the scene's two floats, no lock.
    static_cast<void>(yawDegrees);
    static_cast<void>(pitchDegrees);
}

void StereonService::SetVideoLayout(VideoProjection newProjection, StereoLayout newStereoLayout,
                                    std::uint32_t newHorizontalFov, std::uint32_t newVerticalFov) {
    projection = newProjection;
    stereoLayout = newStereoLayout;
    horizontalFov = newHorizontalFov;
    verticalFov = newVerticalFov;
}

}  // namespace STN
