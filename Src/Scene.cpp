#include "Scene.h"

#include <cmath>

#include "ControllerManager.h"
#include "HMDManager.h"
#include "IControllerListener.h"
#include "IEventInterpreter.h"
#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IRenderTarget.h"
#include "IShader.h"
#include "ITexture.h"
#include "IVRPanelManager.h"
#include "OpenVRManager.h"
#include "ShaderRegistry.h"
#include "ShaderUniform.h"
#include "TheaterMode.h"
#include "VideoFramePanel.h"
#include "hostcore/debug.h"
#include "stnvr/vr_interfaces.h"

namespace STN {

namespace {

const float kPi = 3.14159265358979f;
const float kRadiansToDegrees = 180.0f / kPi;
const float kNearPlane = 0.1f;
const float kFarPlane = 30.0f;

bool ReadBooleanKey(const char* key, bool fallback) {
    return hostcore::debug::DebugDatabase::Instance().GetEntry(key, fallback ? "true" : "false") ==
           "true";
}

}  // namespace

Scene::~Scene() {
    Shutdown();
}

bool Scene::Init(const boost::shared_ptr<IGraphicsContext>& context,
                 const boost::shared_ptr<OpenVRManager>& openVRManager,
                 const boost::shared_ptr<IVRPanelManager>& panels, std::uint32_t hmdType) {
    if (!context) {
        return false;
    }
    if (!openVRManager || openVRManager->GetSystem() == nullptr) {
        return false;
    }
    if (!panels) {
        return false;
    }
    graphicsContext = context;
    openVR = openVRManager;
    panelManager = panels;
    hmdManager.reset(new HMDManager());
    hmdManager->SetHMDType(static_cast<std::int32_t>(hmdType));

    models.SetContext(context);
    devices.assign(vr::k_unMaxTrackedDeviceCount, TrackedDeviceState());

    // The first texture settles the sampler kind for the Scene's whole life.
    const bool rectangle = videoTexture && videoTexture->IsRectangle();
    if (!InitShaders(rectangle)) {
        return false;
    }
    InitVideoMesh();
    leftProjection = GetProjection(0);
    rightProjection = GetProjection(1);
    leftEyeMatrix = GetEyeMatrix(0);
    rightEyeMatrix = GetEyeMatrix(1);
    InitPointerMesh();
    InitTargets();
    // The headset, index 0, is not drawn.
    for (std::uint32_t index = 1; index < devices.size(); ++index) {
        vr::IVRSystem* system = openVR->GetSystem();
        if (system != nullptr && system->IsTrackedDeviceConnected(index)) {
            LoadDeviceModel(index);
        }
    }

    theaterEnabled = ReadBooleanKey("Stereon.EnableTheaterMode", theaterEnabled);
    theater.reset(new TheaterMode("SimplifiedRoom"));
    theater->Init(graphicsContext, rectangle);
    theater->SetFilterEnabled(ReadBooleanKey("Stereon.TheaterFilterEnable", true));
    initialized = true;
    return true;
}

bool Scene::InitShaders(bool rectangle) {
    ShaderRegistry& registry = ShaderRegistry::Instance();
    placeholderShader = registry.GetShader("PlaceholderShader");
    videoShader = registry.GetShader(rectangle ? "VideoShader_Rectangle" : "VideoShader");
    flatShader = registry.GetShader("FlatShader");
    // A driver that compiles none of them fails the start instead of the first draw.
    return placeholderShader && videoShader && flatShader;
}

void Scene::InitVideoMesh() {
    subRects = {Rect{{0.0f, 1.0f, 0.0f, 1.0f}}, Rect{{0.0f, 1.0f, 0.5f, 1.0f}},
                Rect{{0.0f, 1.0f, 0.0f, 0.5f}}, Rect{{0.0f, 0.5f, 0.0f, 1.0f}},
                Rect{{0.5f, 1.0f, 0.0f, 1.0f}}};
    SetStereoLayout(0, 0, 360, 180);

    // One clip-space quad; the fragment shader turns each pixel back into a direction.
    static const float kCorners[6][4] = {{-1.0f, -1.0f, 0.0f, 0.0f}, {1.0f, -1.0f, 1.0f, 0.0f},
                                         {1.0f, 1.0f, 1.0f, 1.0f},   {1.0f, 1.0f, 1.0f, 1.0f},
                                         {-1.0f, 1.0f, 0.0f, 1.0f},  {-1.0f, -1.0f, 0.0f, 0.0f}};
    videoMesh = graphicsContext->CreateMesh("VideoMesh_Full");
    videoMesh->Begin(kPrimitiveTriangles, false, true, false);
    for (const auto& c : kCorners) {
        videoMesh->AddVertex(c[0], c[1], 0.0f, 0.0f, 0.0f, 0.0f, c[2], c[3], 0.0f, 0.0f, 0.0f,
                             0.0f);
    }
    videoMesh->End();
}

void Scene::InitPointerMesh() {
    pointerMesh = graphicsContext->CreateMesh("Axes");
    pointerMesh->Begin(kPrimitiveLines, false, false, true);
    pointerMesh->AddVertex(0.0f, 0.0f, 0.0f, 0, 0, 0, 0, 0, 1.0f, 1.0f, 1.0f, 1.0f);
    pointerMesh->AddVertex(0.0f, 0.0f, -20.0f, 0, 0, 0, 0, 0, 1.0f, 1.0f, 1.0f, 1.0f);
    pointerMesh->End();
}

void Scene::InitTargets() {
    std::uint32_t width = 1024;
    std::uint32_t height = 1024;
    if (vr::IVRSystem* system = openVR->GetSystem()) {
        system->GetRecommendedRenderTargetSize(&width, &height);
    }
    leftTarget = graphicsContext->CreateRenderTarget("LeftTarget");
    rightTarget = graphicsContext->CreateRenderTarget("RightTarget");
    leftTarget->Create(static_cast<int>(width), static_cast<int>(height));
    rightTarget->Create(static_cast<int>(width), static_cast<int>(height));
}

void Scene::Shutdown() {
    for (TrackedDeviceState& device : devices) {
        device.model.reset();
    }
    devices.clear();
    models.Clear();
    if (videoMesh) {
        videoMesh->Release();
        videoMesh.reset();
    }
    if (pointerMesh) {
        pointerMesh->Release();
        pointerMesh.reset();
    }
    videoTexture.reset();
    // Shaders belong to the registry, which releases them itself; only our references go.
    placeholderShader.reset();
    videoShader.reset();
    if (leftTarget) {
        leftTarget->Release();
        leftTarget.reset();
    }
    if (rightTarget) {
        rightTarget->Release();
        rightTarget.reset();
    }
    hmdManager.reset();
    graphicsContext.reset();
    verticalFlip = false;
    redBlueSwap = false;
    if (theater) {
        theater->Shutdown();
    }
    initialized = false;
}

void Scene::SetVideoFrame(const boost::shared_ptr<ITexture>& texture, bool flip, bool swap,
                          hostmediatypes::PixelAspectRatio aspect) {
    videoTexture = texture;
    verticalFlip = flip;
    redBlueSwap = swap;
    pixelAspectRatio = aspect;
    frameFiltered = false;
}

void Scene::SetViewChangedCallback(const ViewChangedCallback& callback) {
    std::lock_guard<std::mutex> lock(callbackMutex);
    hostViewChangedCallback = callback;
    callbackGeneration.fetch_add(1, std::memory_order_release);
}

void Scene::SetFadeCallback(const FadeCallback& callback) {
    std::lock_guard<std::mutex> lock(callbackMutex);
    hostFadeCallback = callback;
    callbackGeneration.fetch_add(1, std::memory_order_release);
}

void Scene::RefreshCallbacks() {
    if (callbackGeneration.load(std::memory_order_acquire) == seenCallbackGeneration) {
        return;
    }
    std::lock_guard<std::mutex> lock(callbackMutex);
    viewChangedCallback = hostViewChangedCallback;
    fadeCallback = hostFadeCallback;
    seenCallbackGeneration = callbackGeneration.load(std::memory_order_relaxed);
}

void Scene::SetTheaterActive(bool active) {
    const bool changed = active != theaterActive;
    theaterActive = active;
    if (changed && panelManager) {
        // Panels placed from now on stay in front of the screen and above the floor.
        const Vector3 screen = theater ? theater->GetScreenPosition() : Vector3{0.0f, 0.0f, 0.0f};
        panelManager->SetPanelLimit(active, screen);
    }
}

void Scene::SetStereoLayout(std::int32_t leftIndex, std::int32_t rightIndex,
                            std::uint32_t horizontalDegrees, std::uint32_t verticalDegrees) {
    leftSubRect = leftIndex;
    rightSubRect = rightIndex;
    if (horizontalDegrees == 360 && verticalDegrees == 180) {
        fovRect = {{-3.1415927f, -1.5707964f, 6.2831855f, 3.1415927f}};
        uvRect = {{0.0f, 0.0f, 1.0f, 1.0f}};
        return;
    }
    const float h = static_cast<float>(horizontalDegrees);
    const float v = static_cast<float>(verticalDegrees);
    uvRect[2] = h / 360.0f;
    uvRect[3] = v / 180.0f;
    uvRect[0] = (1.0f - uvRect[2]) * 0.5f;
    uvRect[1] = (1.0f - uvRect[3]) * 0.5f;
    fovRect[2] = h * kPi / 180.0f;
    fovRect[3] = v * kPi / 180.0f;
    // Centred on the forward direction and the horizon; the same formula on both axes.
    fovRect[0] = (2.0f * kPi - fovRect[2]) * 0.5f - kPi;
    fovRect[1] = (2.0f * kPi - fovRect[3]) * 0.5f - kPi;
}

Matrix4 Scene::GetEyeMatrix(int eye) const {
    vr::IVRSystem* system = openVR ? openVR->GetSystem() : nullptr;
    if (system == nullptr) {
        return Matrix4::Identity();
    }
    return ToMatrix4(system->GetEyeToHeadTransform(static_cast<vr::EVREye>(eye))).Inverse();
}

Matrix4 Scene::GetProjection(int eye) const {
    vr::IVRSystem* system = openVR ? openVR->GetSystem() : nullptr;
    if (system == nullptr) {
        return Matrix4::Identity();
    }
    return ToMatrix4(
        system->GetProjectionMatrix(static_cast<vr::EVREye>(eye), kNearPlane, kFarPlane));
}

Matrix4 Scene::GetViewProjection(int eye) const {
    if (eye == 0) {
        return leftProjection * leftEyeMatrix * viewMatrix;
    }
    if (eye == 1) {
        return rightProjection * rightEyeMatrix * viewMatrix;
    }
    return Matrix4::Identity();
}

Scene::Background Scene::ChooseBackground() const {
    if (!showPlaceholder) {
        return Background::kVideo;
    }
    return theaterActive && theaterEnabled ? Background::kTheater : Background::kPlaceholder;
}

bool Scene::HeadsetIdle(vr::IVRSystem* system) const {
    const vr::EDeviceActivityLevel level =
        system->GetTrackedDeviceActivityLevel(vr::k_unTrackedDeviceIndex_Hmd);
    return level == vr::k_EDeviceActivityLevel_UserInteraction_Timeout ||
           level == vr::k_EDeviceActivityLevel_Standby;
}

bool Scene::RuntimeConnected() const {
    return openVR && openVR->GetSystem() != nullptr;
}

void Scene::RenderFrame() {
    if (!initialized) {
        return;
    }
    vr::IVRSystem* system = openVR->GetSystem();
    if (system == nullptr || HeadsetIdle(system)) {
        return;
    }
    // The room's screen shows the filtered frame. The filter runs once for each frame the room
    // shows: a frame on show for several passes keeps its filtered picture, and a frame drawn
    // around the viewer is not filtered at all. Either would give the same pixels at the cost of
    // two passes over the whole frame in every pass of the render thread.
    if (!frameFiltered && ChooseBackground() == Background::kTheater) {
        theater->UpdateBlur(videoTexture, graphicsContext);
        frameFiltered = true;
    }
    leftTarget->Bind();
    DrawEye(0);
    leftTarget->Resolve();
    rightTarget->Bind();
    DrawEye(1);
    rightTarget->Resolve();
    graphicsContext->Flush();

    const vr::Texture_t left = leftTarget->GetVRTexture();
    const vr::Texture_t right = rightTarget->GetVRTexture();
    // A compositor can stall in Submit as in its wait for poses, and Stop then ends the
    // connection: each call looks again whether there still is one.
    waitingOnCompositor = true;
    if (vr::IVRCompositor* compositor = openVR->GetCompositor()) {
        compositor->Submit(vr::Eye_Left, &left, nullptr, vr::Submit_Default);
    }
    if (vr::IVRCompositor* compositor = openVR->GetCompositor()) {
        compositor->Submit(vr::Eye_Right, &right, nullptr, vr::Submit_Default);
    }
    if (vr::IVRCompositor* compositor = openVR->GetCompositor()) {
        compositor->PostPresentHandoff();
    }
    waitingOnCompositor = false;
}

void Scene::DrawEye(int eye) {
    graphicsContext->Clear();
    Matrix4 inverse = GetViewProjection(eye).Inverse();
    // Only a yaw turns the picture; the pitch goes to the host's callback alone.
    inverse.Rotate(viewYaw.load(std::memory_order_relaxed), 0.0f, 1.0f, 0.0f);

    switch (ChooseBackground()) {
        case Background::kVideo:
            graphicsContext->SetDepthTest(false, IGraphicsContext::kDepthLess);
            graphicsContext->SetDepthWrite(false);
            graphicsContext->SetBlending(true);
            DrawVideo(eye, inverse);
            graphicsContext->SetBlending(false);
            break;
        case Background::kTheater:
            // The room is drawn with the head's own view: the host's yaw does not turn it.
            // Blending stays on for the rest of the eye.
            graphicsContext->SetBlending(true);
            graphicsContext->SetDepthTest(true, IGraphicsContext::kDepthLessEqual);
            graphicsContext->SetDepthWrite(true);
            theater->SetHeadPosition(headPosition);
            theater->Draw(eye, videoTexture, verticalFlip, redBlueSwap, pixelAspectRatio,
                          GetViewProjection(eye));
            break;
        case Background::kPlaceholder:
            graphicsContext->SetDepthTest(false, IGraphicsContext::kDepthLess);
            graphicsContext->SetDepthWrite(false);
            graphicsContext->SetBlending(false);
            placeholderShader->Bind();
            placeholderShader->SetUniformMatrix4(kUniformPlaceholderMatrix, inverse.m);
            videoMesh->Draw();
            placeholderShader->Unbind();
            break;
    }
    graphicsContext->SetDepthTest(true, IGraphicsContext::kDepthLess);
    graphicsContext->SetDepthWrite(true);
    DrawControllers(eye);
    if (!panelManager) {
        return;
    }
    FeedVideoWindow();
    DrawPointerRays(GetViewProjection(eye));
    panelManager->Draw(GetViewProjection(eye));
}

void Scene::DrawControllers(int eye) {
    for (std::uint32_t index = 0; index < devices.size(); ++index) {
        TrackedDeviceState& device = devices[index];
        if (!device.poseValid || device.deviceClass != vr::TrackedDeviceClass_Controller) {
            continue;
        }
        if (!device.model || device.model->GetState() != ModelState::Loaded) {
            LoadDeviceModel(index);
            continue;
        }
        // Fetched again for the drawing, so the moving parts show this moment's state.
        vr::VRControllerState_t state = {};
        if (vr::IVRSystem* system = openVR->GetSystem()) {
            system->GetControllerState(index, &state, sizeof(state));
        }
        device.model->Draw(state, GetViewProjection(eye) * device.deviceToWorld);
    }
}

void Scene::LoadDeviceModel(std::uint32_t index) {
    if (index >= devices.size()) {
        return;
    }
    TrackedDeviceState& device = devices[index];
    if ((device.model && device.model->GetState() == ModelState::Loaded) ||
        device.modelAttempts > 3) {
        return;
    }
    const std::string name = OpenVRManager::GetStringProperty(openVR->GetSystem(), index,
                                                              vr::Prop_RenderModelName_String);
    const boost::shared_ptr<Model> model = models.GetModel(name);
    if (!model || model->GetState() == ModelState::Failed) {
        ++device.modelAttempts;
        return;
    }
    // A load in progress costs no attempt.
    device.model = model;
}

void Scene::DrawPointerRays(const Matrix4& viewProjection) {
    if (!eventInterpreter) {
        return;
    }
    // Rays are drawn before the panels, so depth decides whether a panel hides one.
    std::vector<Matrix4>& rays = pointerMatrices;
    rays.clear();
    for (std::uint32_t i = 0;; ++i) {
        const boost::shared_ptr<ControllerManager> controller = eventInterpreter->GetController(i);
        if (!controller) {
            break;
        }
        if (controller->GetHand() == kHandUnassigned) {
            continue;
        }
        if (const boost::shared_ptr<IControllerListener> listener = controller->GetListener()) {
            const std::vector<Matrix4> more =
                listener->GetPointerMatrices(controller, viewProjection);
            rays.insert(rays.end(), more.begin(), more.end());
            // The host's answer may have painted a quad or sent a frame, which leaves no
            // context current; the rest of the frame is ours to draw.
            if (!graphicsContext->IsCurrent()) {
                graphicsContext->MakeCurrent();
            }
        }
    }
    if (rays.empty()) {
        return;
    }
    flatShader->Bind();
    for (const Matrix4& ray : rays) {
        flatShader->SetUniformMatrix4(kUniformFlatMatrix, ray.m);
        pointerMesh->Draw();
    }
    flatShader->Unbind();
}

const Scene::Rect& Scene::SubRect(std::int32_t index) const {
    // An index from outside the table reads the whole frame rather than past its end.
    return index >= 0 && static_cast<std::size_t>(index) < subRects.size()
               ? subRects[static_cast<std::size_t>(index)]
               : subRects[0];
}

void Scene::FeedVideoWindow() {
    static const std::string kVideoWindow = "EquirectPanel_EquirectWindow";
    const boost::shared_ptr<IPanel> panel = panelManager->FindPanel(kVideoWindow);
    // A static panel may carry the name too; only the video window takes the frame.
    VideoFramePanel* window = dynamic_cast<VideoFramePanel*>(panel.get());
    if (window == nullptr) {
        return;
    }
    if (theaterActive) {
        // Flat footage is on the theater screen, not in the window.
        static const float kNoSubRect[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        static const float kWholeRect[4] = {0.0f, 0.0f, 1.0f, 1.0f};
        window->SetVideoTexture(boost::shared_ptr<ITexture>(), kNoSubRect, kWholeRect, false,
                                false);
        return;
    }
    // The window shows the left eye's picture in both eyes.
    const Rect& sub = SubRect(leftSubRect);
    window->SetVideoTexture(videoTexture, sub.data(), uvRect.data(), verticalFlip, redBlueSwap);
}

void Scene::DrawVideo(int eye, const Matrix4& inverse) {
    videoShader->Bind();
    videoShader->SetUniformMatrix4(kUniformVideoMatrix, inverse.m);
    videoShader->SetUniform1i(kUniformVideoTexture0, 0);
    if (videoTexture && videoTexture->IsRectangle()) {
        videoShader->SetUniform2f(kUniformVideoFrameSize,
                                  static_cast<float>(videoTexture->GetWidth()),
                                  static_cast<float>(videoTexture->GetHeight()));
    }
    const Rect& sub = SubRect(eye == 0 ? leftSubRect : rightSubRect);
    videoShader->SetUniform4f(kUniformVideoSubRect, sub[0], sub[1], sub[2], sub[3]);
    videoShader->SetUniform4f(kUniformVideoFOVRect, fovRect[0], fovRect[1], fovRect[2], fovRect[3]);
    videoShader->SetUniform1i(kUniformVideoVerticalFlip, verticalFlip ? 1 : 0);
    videoShader->SetUniform1i(kUniformVideoRedBlueSwap, redBlueSwap ? 1 : 0);
    if (videoTexture) {
        videoTexture->Bind();
    }
    videoMesh->Draw();
    if (videoTexture) {
        videoTexture->Unbind();
    }
    videoShader->Unbind();
}

void Scene::HeadOrientation(const Matrix4& pose, float& yaw, float& pitch, float& roll) {
    float fx = pose.m[8], fy = pose.m[9], fz = pose.m[10];
    const float fLength = std::sqrt(fx * fx + fy * fy + fz * fz);
    if (fLength > 0.0f) {
        fx /= fLength;
        fy /= fLength;
        fz /= fLength;
    }
    float rx = pose.m[0], ry = pose.m[1], rz = pose.m[2];
    const float rLength = std::sqrt(rx * rx + ry * ry + rz * rz);
    if (rLength > 0.0f) {
        rx /= rLength;
        ry /= rLength;
        rz /= rLength;
    }
    const float planar = std::sqrt(fx * fx + fz * fz);
    const float px = planar > 0.0f ? fx / planar : 0.0f;
    const float pz = planar > 0.0f ? fz / planar : 1.0f;
    yaw = -std::atan2(px, pz) * kRadiansToDegrees;
    pitch = std::asin(std::fmax(-1.0f, std::fmin(1.0f, -fy))) * kRadiansToDegrees;

    Matrix4 turn = Matrix4::Identity();
    turn.Rotate(yaw, 0.0f, 1.0f, 0.0f).Rotate(-pitch, 1.0f, 0.0f, 0.0f);
    const float d = turn.At(1, 0) * rx + turn.At(1, 1) * ry + turn.At(1, 2) * rz;
    roll = -std::asin(std::fmax(-1.0f, std::fmin(1.0f, d))) * kRadiansToDegrees;
}

void Scene::UpdateFade() {
    vr::IVRCompositor* compositor = openVR ? openVR->GetCompositor() : nullptr;
    if (compositor == nullptr) {
        return;
    }
    RefreshCallbacks();
    if (!fadeCallback) {
        return;
    }
    float seconds = 0.0f, red = 0.0f, green = 0.0f, blue = 0.0f, alpha = 0.0f;
    if (fadeCallback(seconds, red, green, blue, alpha)) {
        compositor->FadeToColor(seconds, red, green, blue, alpha, false);
    }
}

void Scene::UpdatePoses() {
    if (!initialized) {
        return;
    }
    vr::IVRSystem* system = openVR->GetSystem();
    if (system == nullptr || HeadsetIdle(system)) {
        return;
    }
    vr::TrackedDevicePose_t poses[vr::k_unMaxTrackedDeviceCount] = {};
    if (vr::IVRCompositor* compositor = openVR->GetCompositor()) {
        waitingOnCompositor = true;
        compositor->WaitGetPoses(poses, vr::k_unMaxTrackedDeviceCount, nullptr, 0);
        waitingOnCompositor = false;
        // A stop that found the compositor stalled ended the connection to let this wait go:
        // the system read before it is gone with the runtime.
        system = openVR->GetSystem();
        if (system == nullptr) {
            return;
        }
    }
    for (std::uint32_t i = 0; i < vr::k_unMaxTrackedDeviceCount && i < devices.size(); ++i) {
        TrackedDeviceState& device = devices[i];
        device.poseValid = poses[i].bPoseIsValid;
        device.pose = poses[i];
        if (device.poseValid) {
            device.deviceToWorld = ToMatrix4(poses[i].mDeviceToAbsoluteTracking);
            if (device.deviceClass == vr::TrackedDeviceClass_Invalid) {
                device.deviceClass = system->GetTrackedDeviceClass(i);
            }
        }
    }

    if (!devices.empty() && devices[0].poseValid) {
        const Matrix4 head = devices[0].deviceToWorld;
        viewMatrix = head;
        headPosition = {head.m[12], head.m[13], head.m[14]};
        viewMatrix.Invert();
        if (hmdManager) {
            if (boost::shared_ptr<IHMDListener> listener = hmdManager->GetHMDListener()) {
                listener->OnHMDPose(head);
            }
        }
        RefreshCallbacks();
        if (viewChangedCallback) {
            float yaw = 0.0f, pitch = 0.0f, roll = 0.0f;
            HeadOrientation(head, yaw, pitch, roll);
            viewChangedCallback(yaw - viewYaw.load(std::memory_order_relaxed),
                                pitch - viewPitch.load(std::memory_order_relaxed), roll);
        }
    }

    for (std::uint32_t i = 0; i < devices.size(); ++i) {
        TrackedDeviceState& device = devices[i];
        if (device.deviceClass != vr::TrackedDeviceClass_Controller) {
            continue;
        }
        system->GetControllerState(i, &device.controllerState, sizeof(vr::VRControllerState_t));
        if (eventInterpreter) {
            eventInterpreter->UpdateController(i, device.poseValid, device.deviceToWorld,
                                               device.controllerState);
        }
    }
}

void Scene::PollEvents() {
    if (!openVR) {
        return;
    }
    vr::ETrackingUniverseOrigin origin = vr::TrackingUniverseStanding;
    if (vr::IVRCompositor* compositor = openVR->GetCompositor()) {
        origin = compositor->GetTrackingSpace();
    }
    vr::VREvent_t event = {};
    vr::TrackedDevicePose_t pose = {};
    while (vr::IVRSystem* system = openVR->GetSystem()) {
        if (!system->PollNextEventWithPose(origin, &event, sizeof(event), &pose)) {
            return;
        }
        if (event.eventType == vr::VREvent_Quit) {
            openVR->Shutdown();
            // A host is expected to listen before a quit can arrive; without one the quit
            // simply ends the connection.
            if (boost::shared_ptr<IHMDListener> listener =
                    hmdManager ? hmdManager->GetHMDListener() : boost::shared_ptr<IHMDListener>()) {
                listener->OnRuntimeQuit();
            }
            return;
        }
        if (event.eventType == vr::VREvent_ButtonPress ||
            event.eventType == vr::VREvent_ButtonUnpress) {
            vr::VRControllerState_t state = {};
            system->GetControllerState(event.trackedDeviceIndex, &state, sizeof(state));
            if (eventInterpreter) {
                eventInterpreter->HandleButtonEvent(
                    event, ToMatrix4(pose.mDeviceToAbsoluteTracking), state);
            }
        }
    }
}

}  // namespace STN
