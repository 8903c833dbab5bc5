// What the headset sees: the two eye targets and the background drawn into them, and the
// per-frame exchange of poses and events with the runtime. Used on the render thread only,
// but for the view orientation and the two host callbacks, which host threads set at any time.
#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "ModelCache.h"
#include "StereonTypes.h"
#include "hostmediatypes/PixelAspectRatio.h"
#include "stnvr/vr_types.h"

namespace vr {
class IVRSystem;
}

namespace STN {

class HMDManager;
class IEventInterpreter;
class IGraphicsContext;
class IMesh;
class IRenderTarget;
class IShader;
class ITexture;
class IVRPanelManager;
class OpenVRManager;
class TheaterMode;

class Scene {
public:
    typedef boost::function<void(float yaw, float pitch, float roll)> ViewChangedCallback;
    typedef boost::function<bool(float& seconds, float& red, float& green, float& blue,
                                 float& alpha)>
        FadeCallback;
    typedef std::array<float, 4> Rect;

    struct TrackedDeviceState {
        bool poseValid = false;
        std::uint32_t modelAttempts = 0;
        boost::shared_ptr<Model> model;
        vr::TrackedDevicePose_t pose = {};
        Matrix4 deviceToWorld = Matrix4::Identity();
        vr::ETrackedDeviceClass deviceClass = vr::TrackedDeviceClass_Invalid;
        vr::VRControllerState_t controllerState = {};
    };

    Scene() = default;
    // Releases the GL objects; the render context (or one of its share group) must be current.
    ~Scene();

    // With the context current. False only when the context or the runtime's system is
    // missing.
    bool Init(const boost::shared_ptr<IGraphicsContext>& context,
              const boost::shared_ptr<OpenVRManager>& openVRManager,
              const boost::shared_ptr<IVRPanelManager>& panels, std::uint32_t hmdType);

    void SetVideoFrame(const boost::shared_ptr<ITexture>& texture, bool flip, bool swap,
                       hostmediatypes::PixelAspectRatio aspect);
    void SetTheaterActive(bool active);
    // Indices into the sub-rectangle table; the field of view in degrees.
    void SetStereoLayout(std::int32_t leftIndex, std::int32_t rightIndex,
                         std::uint32_t horizontalDegrees, std::uint32_t verticalDegrees);

    // Draws, resolves and submits both eyes; nothing while the headset isn't worn.
    void RenderFrame();
    void UpdateFade();
    // Waits for the compositor's next frame and tells the host where the head is.
    void UpdatePoses();
    // True while the render thread is inside the compositor's wait for poses or its Submit; any
    // thread may ask.
    bool WaitingOnCompositor() const { return waitingOnCompositor.load(); }
    void PollEvents();
    // False once the runtime connection has ended (the runtime quit), when nothing paces the
    // render loop any more.
    bool RuntimeConnected() const;

    const boost::shared_ptr<HMDManager>& GetHMDManager() const { return hmdManager; }
    void SetViewOrientation(float yawDegrees, float pitchDegrees) {
        viewYaw.store(yawDegrees, std::memory_order_relaxed);
        viewPitch.store(pitchDegrees, std::memory_order_relaxed);
    }
    void GetViewOrientation(float& yawDegrees, float& pitchDegrees) const {
        yawDegrees = viewYaw.load(std::memory_order_relaxed);
        pitchDegrees = viewPitch.load(std::memory_order_relaxed);
    }
    // From any thread. The render thread picks the new callback up before its next call; a
    // call already under way finishes with the old one.
    void SetViewChangedCallback(const ViewChangedCallback& callback);
    void SetFadeCallback(const FadeCallback& callback);
    void SetEventInterpreter(const boost::shared_ptr<IEventInterpreter>& interpreter) {
        eventInterpreter = interpreter;
    }

    // Frame state the render loop writes directly.
    bool showPlaceholder = false;

    // Read access for the render thread's owner and for tests.
    const Rect& GetFOVRect() const { return fovRect; }
    const Rect& GetUVRect() const { return uvRect; }
    const std::vector<TrackedDeviceState>& GetDevices() const { return devices; }
    const Matrix4& GetViewMatrix() const { return viewMatrix; }
    bool IsTheaterEnabled() const { return theaterEnabled; }
    const boost::shared_ptr<IRenderTarget>& GetTarget(int eye) const {
        return eye == 0 ? leftTarget : rightTarget;
    }

    // Yaw, pitch and roll of a pose, in degrees.
    static void HeadOrientation(const Matrix4& pose, float& yaw, float& pitch, float& roll);

    Matrix4 GetViewProjection(int eye) const;

    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

private:
    enum class Background { kVideo, kPlaceholder, kTheater };

    Matrix4 GetEyeMatrix(int eye) const;
    Matrix4 GetProjection(int eye) const;
    Background ChooseBackground() const;
    bool HeadsetIdle(vr::IVRSystem* system) const;
    void DrawEye(int eye);
    void DrawVideo(int eye, const Matrix4& inverse);
    // The frame's region for an entry of the table.
    const Rect& SubRect(std::int32_t index) const;
    // Each controller with a valid pose, drawn with its model once that has loaded; until then
    // the drawing polls the load.
    void DrawControllers(int eye);
    // Asks the cache for the device's render model; a fourth failure ends the asking.
    void LoadDeviceModel(std::uint32_t index);
    // The rays the controllers' listeners ask for, each a complete matrix.
    void DrawPointerRays(const Matrix4& viewProjection);
    // Hands the video window panel, when the host made one, what it shows of the frame.
    void FeedVideoWindow();
    bool InitShaders(bool rectangle);
    void InitVideoMesh();
    void InitPointerMesh();
    void InitTargets();
    void Shutdown();
    // Takes over callbacks that host threads have set since the last look.
    void RefreshCallbacks();

    boost::shared_ptr<IGraphicsContext> graphicsContext;
    boost::shared_ptr<OpenVRManager> openVR;
    boost::shared_ptr<ITexture> videoTexture;
    bool verticalFlip = false;
    bool redBlueSwap = false;
    hostmediatypes::PixelAspectRatio pixelAspectRatio;
    boost::shared_ptr<IMesh> videoMesh;
    boost::shared_ptr<IMesh> pointerMesh;
    std::vector<Rect> subRects;
    std::int32_t leftSubRect = 0;
    std::int32_t rightSubRect = 0;
    Rect fovRect = {{-3.1415927f, -1.5707964f, 6.2831855f, 3.1415927f}};
    Rect uvRect = {{0.0f, 0.0f, 1.0f, 1.0f}};
    boost::shared_ptr<IShader> placeholderShader;
    boost::shared_ptr<IShader> videoShader;
    boost::shared_ptr<IShader> flatShader;
    boost::shared_ptr<IRenderTarget> leftTarget;
    boost::shared_ptr<IRenderTarget> rightTarget;
    boost::shared_ptr<IVRPanelManager> panelManager;
    ModelCache models;
    std::vector<TrackedDeviceState> devices;
    // The render thread's own copies, called without a lock; copied from the host's under
    // callbackMutex only when callbackGeneration has moved, so no frame copies a callback.
    ViewChangedCallback viewChangedCallback;
    FadeCallback fadeCallback;
    std::mutex callbackMutex;
    ViewChangedCallback hostViewChangedCallback;
    FadeCallback hostFadeCallback;
    std::atomic<std::uint32_t> callbackGeneration{0};
    std::uint32_t seenCallbackGeneration = 0;
    boost::shared_ptr<IEventInterpreter> eventInterpreter;
    // Kept between eyes so that collecting rays does not allocate every frame.
    std::vector<Matrix4> pointerMatrices;
    boost::shared_ptr<HMDManager> hmdManager;
    Matrix4 viewMatrix = Matrix4::Identity();
    Matrix4 leftEyeMatrix = Matrix4::Identity();
    Matrix4 rightEyeMatrix = Matrix4::Identity();
    Matrix4 leftProjection = Matrix4::Identity();
    Matrix4 rightProjection = Matrix4::Identity();
    std::atomic<float> viewYaw{0.0f};
    std::atomic<float> viewPitch{0.0f};
    std::atomic<bool> waitingOnCompositor{false};
    Vector3 headPosition = {0.0f, 0.0f, 0.0f};
    bool theaterEnabled = true;
    bool theaterActive = false;
    boost::shared_ptr<TheaterMode> theater;
    // The theater's filter has run on the frame now on show.
    bool frameFiltered = false;
    bool initialized = false;
};

}  // namespace STN
