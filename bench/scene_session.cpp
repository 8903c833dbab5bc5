#include "scene_session.h"

#include "GB/Device.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenVRManager.h"
#include "ShaderRegistry.h"
#include "simvr/simvr_control.h"
#include "stnvr/vr_client.h"

namespace stereon_bench {

SceneSession::SceneSession(const Options& options) {
    if (!home.ok()) {
        error = "simulated runtime: " + home.error();
        return;
    }
    simvr_set_render_target_size(static_cast<std::uint32_t>(options.eyeWidth),
                                 static_cast<std::uint32_t>(options.eyeHeight));
    simvr_set_paced(0);
    // Without controllers in either part: the frame part compares the picture with a probe that
    // draws the video alone, which has none, and in the panel part they would add the same cost
    // to every case and flatten the ratios against the eye without panels.
    simvr_set_device_connected(SIMVR_DEVICE_LEFT_CONTROLLER, 0);
    simvr_set_device_connected(SIMVR_DEVICE_RIGHT_CONTROLLER, 0);
    std::string reason;
    device = GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
    if (!device) {
        error = "no host device: " + reason;
        return;
    }
    context = STN::CreateGraphicsContext("RenderContext");
    context->BindDevice(device);
    if (!context->CreateVersionedContext(4, boost::shared_ptr<STN::IGraphicsContext>())) {
        error = "no OpenGL 4 context";
        return;
    }
    context->MakeCurrentAndLock();
    locked = true;
    STN::ShaderRegistry::Instance().SetGraphicsContext(context);
    openVR = STN::OpenVRManager::Instance();
    vr::EVRInitError initError = vr::VRInitError_None;
    if (!openVR->Init(initError)) {
        error = "the runtime did not start: " + std::to_string(initError);
    }
}

SceneSession::~SceneSession() {
    if (locked) {
        STN::ShaderRegistry::DestroyInstance();
        context->UnlockAndRelease();
    }
    if (openVR) {
        openVR->Shutdown();
        openVR.reset();
        vr::VR_Shutdown();
    }
}

}  // namespace stereon_bench
