#include "RenderThread.h"

#include <boost/bind/bind.hpp>
#include <boost/optional.hpp>
#include <boost/weak_ptr.hpp>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

#include "AssertionSite.h"
#include "ControllerFeedback.h"
#include "GB/CudaDriver.h"
#include "GB/Device.h"
#include "HSL/ApplicationMessages.h"
#include "HeadsetClassification.h"
#include "HostApp/ApplicationType.h"
#include "IEventInterpreter.h"
#include "IGraphicsContext.h"
#include "ITexture.h"
#include "MF/VideoFrame.h"
#include "MachineLock.h"
#include "OpenGL/GLReleaseQueue.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenVRManager.h"
#include "Scene.h"
#include "ScopedContextLock.h"
#include "ShaderRegistry.h"
#include "UploadSynchronizer.h"
#include "UsageMetrics.h"
#include "VRPanelManager.h"
#include "VideoFrameUploader.h"
#include "hostcore/debug.h"
#include "hostmediatypes/PixelFormat.h"
#include "stnvr/vr_client.h"

namespace STN {

namespace {

// Bring-up switches for working without a headset or without rendering. Nothing sets them.
const bool skipOpenVR = false;
const bool skipRendering = false;

const char kInitFunction[] = "STN::RenderThread::Init";

// How long Stop lets the compositor's wait for poses run before it ends the connection. A
// compositor answers every frame, a few milliseconds apart; five seconds is one that has stopped.
constexpr int kStalledCompositorMs = 5000;

// How often the loop looks for frames and a stop once the runtime has gone: a headset's pace.
constexpr int kNoRuntimePassMs = 11;

// The host's threads ask for the instance while the last one may be going away on the deferred
// executor's thread; the weak pointer is read and written under the mutex only.
std::mutex instanceMutex;
boost::weak_ptr<RenderThread> instanceWeak;
// From the making of an instance to the end of its teardown, which outlives the weak pointer:
// the teardown stops the run, shuts the runtime connection down and frees the machine lock, all
// of them shared with the next instance.
bool instanceAlive = false;
std::condition_variable instanceGone;

// Returned, so that a last reference is let go outside the mutex: the teardown asks for nothing
// under it, but it does take long.
boost::shared_ptr<RenderThread> LiveInstance() {
    std::lock_guard<std::mutex> lock(instanceMutex);
    return instanceWeak.lock();
}

// Destroyed before the globals above, while the GL and OpenCL libraries are still loaded.
struct ModuleExitGuard {
    ~ModuleExitGuard() { RenderThread::FinishDeferredWorkAtExit(); }
} moduleExitGuard;

void ReportInitialization(const char* result, const char* reason) {
    ReportInitializationResult("vidariumvr_initialization", "result", result, "reason", reason);
}

int RenderThreadPriority() {
    char defaultText[16];
    std::snprintf(defaultText, sizeof defaultText, "%i", 2);
    const std::string text = hostcore::debug::DebugDatabase::Instance().GetEntry(
        "VidfariumVR.RenderThreadPriority", defaultText);
    switch (std::strtol(text.c_str(), nullptr, 10)) {
        case 1:
            return hostcore::threads::kThreadPriorityAboveNormal;
        case 2:
            return hostcore::threads::kThreadPriorityHighest;
        default:
            return hostcore::threads::kThreadPriorityNormal;
    }
}

// The thread body; see RenderThread.h. Paced by the compositor, and by a short sleep only once
// the runtime has gone.
void RenderLoop(boost::shared_ptr<IGraphicsContext> renderContext, boost::shared_ptr<Scene> scene,
                boost::shared_ptr<UploadSynchronizer> uploadSynchronizer,
                hostcore::threads::RecursiveMutex* frameMutex) {
    if (skipRendering) {
        for (;;) {
            boost::this_thread::interruption_point();
        }
    }
    // Held until the interruption unwinds this frame, so no other thread can make the render
    // context current while the thread runs.
    boost::optional<ScopedContextLock> contextScope;
    if (renderContext) {
        contextScope.emplace(renderContext);
    }
    Scene& frameScene = *scene;
    UploadSynchronizer& sync = *uploadSynchronizer;
    for (;;) {
        // A host's callback on this thread may have made another context current (a panel
        // painted from the pose callback uploads through the interface context): take ours back.
        if (renderContext) {
            renderContext->MakeCurrent();
            // What a host let go of on its own threads since the last pass (a panel it shut
            // down) is deleted here, where a context of the library's is current.
            GLReleaseQueue::Drain();
        }
        // Only the hand-over is under frameMutex, not the drawing: a host publishing its next
        // frame waits for a few assignments, never for a frame (or a compositor stalled in
        // Submit).
        boost::shared_ptr<ITexture> takenOver;
        {
            hostcore::threads::RecursiveMutex::ScopedLock lock(*frameMutex,
                                                               "Render video texture.");
            if (sync.placeholderRequested) {
                frameScene.showPlaceholder = true;
                sync.placeholderRequested = false;
            }
            if (sync.theaterRequested) {
                frameScene.SetTheaterActive(*sync.theaterRequested);
                sync.theaterRequested.reset();
            }
            // A copy the GPU has not finished stays pending; the old texture is drawn again.
            if (sync.TakeOverFrame()) {
                takenOver = sync.FrontTexture();
                frameScene.SetVideoFrame(takenOver, sync.verticalFlip, sync.redBlueSwap,
                                         sync.pixelAspectRatio);
                frameScene.showPlaceholder = sync.showPlaceholder;
                frameScene.SetTheaterActive(sync.theaterMode);
                frameScene.SetStereoLayout(sync.leftRegion, sync.rightRegion, sync.horizontalFov,
                                           sync.verticalFov);
            }
        }
        // The upload context's commands are not ordered with ours: a flush alone may leave a
        // software driver still building the new frame's mipmaps while the eyes sample them.
        if (takenOver) {
            takenOver->WaitForUse();
        }
        frameScene.RenderFrame();
        // Where Stop takes effect; and after the wait for poses, which Stop ends by shutting
        // the runtime down when the compositor has stopped answering.
        boost::this_thread::interruption_point();
        // Host callbacks run from here on, outside frameMutex.
        frameScene.UpdateFade();
        frameScene.UpdatePoses();
        boost::this_thread::interruption_point();
        frameScene.PollEvents();
        // Without a runtime (it quit) no wait paces the passes: the library stays started until
        // the host stops it, and looks for frames now and then instead of taking a whole core.
        // An interruption point, so Stop still ends the thread at once.
        if (!frameScene.RuntimeConnected()) {
            boost::this_thread::sleep_for(boost::chrono::milliseconds(kNoRuntimePassMs));
        }
    }
}

}  // namespace

void RenderThread::Deleter::operator()(RenderThread* renderThread) const {
    delete renderThread;
    std::lock_guard<std::mutex> lock(instanceMutex);
    instanceAlive = false;
    instanceGone.notify_all();
}

boost::shared_ptr<RenderThread> RenderThread::Instance() {
    std::unique_lock<std::mutex> lock(instanceMutex);
    boost::shared_ptr<RenderThread> live = instanceWeak.lock();
    if (!live) {
        // The last instance may still be tearing down on the thread that let it go (the deferred
        // stop's): a new one started meanwhile would have its runtime and machine lock taken.
        instanceGone.wait(lock, [] { return !instanceAlive; });
        live = boost::shared_ptr<RenderThread>(new RenderThread(), Deleter());
        instanceAlive = true;
        instanceWeak = live;
    }
    return live;
}

void RenderThread::FinishDeferredWorkAtExit() {
    boost::shared_ptr<RenderThread> live = LiveInstance();
    if (live && live->deferredExecutor) {
        live->deferredExecutor->Shutdown();
        live->deferredExecutor->WaitForIdle();
    }
    // If this was the last reference, the teardown runs here, on the exiting thread.
}

boost::shared_ptr<Scene> RenderThread::CurrentScene() {
    const boost::shared_ptr<RenderThread> live = LiveInstance();
    return live ? boost::atomic_load(&live->scene) : boost::shared_ptr<Scene>();
}

boost::shared_ptr<IEventInterpreter> RenderThread::CurrentEventInterpreter() {
    const boost::shared_ptr<RenderThread> live = LiveInstance();
    return live ? boost::atomic_load(&live->eventInterpreter)
                : boost::shared_ptr<IEventInterpreter>();
}

boost::shared_ptr<VRPanelManager> RenderThread::CurrentPanelManager() {
    const boost::shared_ptr<RenderThread> live = LiveInstance();
    return live ? boost::atomic_load(&live->panelManager) : boost::shared_ptr<VRPanelManager>();
}

RenderThread::RenderThread()
    : openVR(OpenVRManager::Instance()),
      deferredExecutor(
          hostcore::threads::CreateSubExecutor(hostcore::threads::CreateIOBoundExecutor(), -1)) {
    uploadSynchronizer.reset(new UploadSynchronizer());
    // A lock a crashed process left behind would otherwise keep the headset from everyone; one
    // that a running host holds stays, so that this process's Init waits and fails.
    MachineLock().RemoveAbandoned();
}

RenderThread::~RenderThread() {
    Stop();
    if (deferredExecutor) {
        deferredExecutor->Shutdown();
        deferredExecutor->WaitForIdle();
    }
}

bool RenderThread::Init(boost::shared_ptr<GB::Device> newDevice) {
    if (initialized) {
        return true;
    }
    if (!newDevice) {
        return false;
    }
    if (newDevice->DeviceKind == GB::kDeviceKind_CUDA) {
        static std::once_flag cudaLoaded;
        std::call_once(cudaLoaded,
                       [] { GB::cuda::LoadCudaDriver(GB::cuda::kRequestedDriverVersion); });
    }
    if (!MachineLock().Acquire()) {
        // Held by another process, or by another of this host's threads starting the library
        // at the same moment, in which case the library may be running by now.
        return initialized;
    }

    hostcore::threads::RecursiveMutex::ScopedLock lifecycle(lifecycleMutex, "Init.");
    if (initialized) {
        return true;  // another thread's Init got here first
    }
    device = newDevice;
    deviceKind = device->DeviceKind;
    UsageMetrics::Get().GPUDeviceName = device->GetName();

    if (!skipOpenVR) {
        vr::EVRInitError error = vr::VRInitError_None;
        if (!openVR->Init(error)) {
            Stop();
            return false;
        }
        // Keep the runtime's own overlays and the play-area bounds out of the viewer's way.
        if (vr::IVRSettings* settings = InterfaceCache().VRSettings()) {
            settings->Sync(false);
            settings->SetBool("userinterface", "StatusAlwaysOnTop", false);
            settings->SetBool("collisionBounds", "CollisionBoundsGroundPerimeterOn", false);
            settings->SetBool("collisionBounds", "CollisionBoundsCenterMarkerOn", false);
            settings->SetBool("collisionBounds", "CollisionBoundsPlaySpaceOn", false);
            settings->SetInt32("collisionBounds", "CollisionBoundsColorGammaA", 0);
            settings->Sync(false);
        }
        if (vr::IVRChaperone* chaperone = InterfaceCache().VRChaperone()) {
            chaperone->ForceBoundsVisible(false);
        }
        GetControllerFeedback()->SetOpenVRManager(openVR);
    }

    if (!skipRendering && !InitRendering()) {
        return false;
    }

    eyeSelector = 0;
    StartRenderThread();
    // Last: a host thread that sees it set may upload at once, and reads what the start wrote.
    initialized = true;
    ReportInitialization("Success", "Success");
    return true;
}

bool RenderThread::InitRendering() {
    // Chosen once for the three, which must share; a later start chooses again.
    const ContextPlatform platform = ChooseContextPlatform();
    renderContext = CreateGraphicsContext("RenderContext", platform);
    uploadContext = CreateGraphicsContext("UploadContext", platform);
    userInterfaceContext = CreateGraphicsContext("UserInterfaceContext", platform);

    // On an OpenCL device the render context shares objects with the device's GL context,
    // which a context object wraps only for that. The device's context is EGL: contexts made on
    // GLX cannot share with it, and the device's GPU frames then come through host memory.
    contextsShareWithDevice = platform == ContextPlatform::kEGL;
    const bool openCL = device->DeviceKind == GB::kDeviceKind_OpenCL;
    boost::shared_ptr<IGraphicsContext> deviceContext;
    if (openCL && contextsShareWithDevice) {
        deviceContext = CreateGraphicsContext("DeviceContext", platform);
        deviceContext->BindDevice(device);
    }
    if (!CreateContext(renderContext, deviceContext)) {
        // Two sites: each reports its first failure once, an OpenCL device's and the others'.
        if (openCL) {
            STN_ASSERT_FAILED("Failed to create RenderContext.", kInitFunction);
        } else {
            STN_ASSERT_FAILED("Failed to create RenderContext.", kInitFunction);
        }
        return FailInitRendering(openCL ? "Render_CreateVersionedContext_OpenCL"
                                        : "Render_CreateVersionedContext");
    }
    if (!CreateContext(uploadContext, renderContext)) {
        STN_ASSERT_FAILED("Failed to create UploadContext.", kInitFunction);
        return FailInitRendering("Upload_CreateVersionedContext");
    }
    if (!CreateContext(userInterfaceContext, renderContext)) {
        STN_ASSERT_FAILED("Failed to create UserInterfaceContext.", kInitFunction);
        return FailInitRendering("UserInterface_CreateVersionedContext");
    }

    bool sceneReady = false;
    {
        ScopedContextLock scope(renderContext);
        ShaderRegistry::Instance().SetGraphicsContext(renderContext);

        static const char* const kVideoTextureNames[2] = {"VideoTex0", "VideoTex1"};
        for (int i = 0; i < 2; ++i) {
            videoTextures[i] = renderContext->CreateTexture(kVideoTextureNames[i]);
            videoTextures[i]->Create(device, 1, 1, hostmediatypes::kPixelFormat_ARGB_4444_8u);
            videoTextures[i]->SetFilter(static_cast<TextureFilter>(filterMode));
        }
        uploadSynchronizer->Reset(videoTextures[0], videoTextures[1]);

        const std::string trackingSystem =
            OpenVRManager::GetStringProperty(openVR->GetSystem(), vr::k_unTrackedDeviceIndex_Hmd,
                                             vr::Prop_TrackingSystemName_String);
        UsageMetrics::Get().HMDDeviceName = trackingSystem;
        const HeadsetClassification headset = ClassifyHeadset(trackingSystem);

        // Host threads read these three without the lifecycle lock (the pose callback calls and
        // the service's getters), so they are replaced atomically here and in Stop.
        boost::atomic_store(&panelManager, boost::shared_ptr<VRPanelManager>(new VRPanelManager(
                                               renderContext, userInterfaceContext)));

        // The scene's shader kind follows the first texture, so it gets one before Init.
        boost::atomic_store(&scene, boost::shared_ptr<Scene>(new Scene()));
        scene->SetVideoFrame(videoTextures[0], false, false,
                             hostmediatypes::kPixelAspectRatio_Square);
        sceneReady = scene->Init(renderContext, openVR, panelManager,
                                 static_cast<std::uint32_t>(headset.hmdType));

        if (HostApp::GetApplicationType() == HostApp::kApplicationTypeVideoEditor) {
            boost::atomic_store(
                &eventInterpreter,
                CreateEventInterpreter(static_cast<std::uint32_t>(headset.controllerFamily)));
            if (eventInterpreter) {
                eventInterpreter->Bind(openVR);
            }
            scene->SetEventInterpreter(eventInterpreter);
        }

        renderContext->Flush();
    }
    if (!sceneReady) {
        ReportInitialization("Failure", "Scene_Init");
        Stop();
        Stop();  // finds nothing left, but still sends its (empty) usage summary
        return false;
    }
    return true;
}

bool RenderThread::CreateContext(const boost::shared_ptr<IGraphicsContext>& context,
                                 const boost::shared_ptr<IGraphicsContext>& shareWith) {
    ScopedContextLock scope(context);
    context->BindDevice(device);
    return context->CreateVersionedContext(4, shareWith);
}

bool RenderThread::FailInitRendering(const char* reason) {
    ReportInitialization("Failure", reason);
    Stop();
    return false;
}

void RenderThread::StartRenderThread() {
    if (threadStarted) {
        return;
    }
    useVideoTexMipmap = hostcore::debug::DebugDatabase::Instance().GetEntry(
                            "Stereon.UseVideoTexMipmap", "false") == "true";
    const int priority = RenderThreadPriority();
    const boost::function<void()> body =
        boost::bind(&RenderLoop, renderContext, scene, uploadSynchronizer, &frameMutex);
    thread = hostcore::threads::CreateNamedThread(
        "STN::RenderThread", body, priority, boost::function<void()>(), boost::function<void()>());
    threadStarted = true;
}

void RenderThread::Stop() {
    // The deferred stop and a host's RemoveClient can arrive together; the second waits for the
    // first and then finds nothing left to release.
    hostcore::threads::RecursiveMutex::ScopedLock lifecycle(lifecycleMutex, "Stop.");
    // Cleared first, so that a host thread's frame cannot start an upload into what is about to
    // be freed; one already under way is waited for.
    initialized = false;
    while (uploadsInFlight.load() != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (threadStarted) {
        thread.interrupt();
        // A compositor that has stopped answering holds the thread in its wait for poses or in
        // Submit for good. After kStalledCompositorMs the connection is ended, which fails the
        // call; the host's Stop is bounded by that, not by the runtime. A thread that is merely
        // drawing a slow frame is waited for.
        if (!thread.try_join_for(boost::chrono::milliseconds(kStalledCompositorMs))) {
            if (scene && scene->WaitingOnCompositor()) {
                static hostcore::debug::TraceSite site("STN", 4);
                site.Write("Warning: the compositor has not answered for " +
                           std::to_string(kStalledCompositorMs) +
                           " ms; ending the connection to free the render thread.");
                // The runtime stays loaded until the thread has left its code: the unload is
                // the Shutdown below, after the join.
                openVR->EndConnection();
            }
            thread.join();
        }
        threadStarted = false;
    }

    if (uploadContext) {
        ScopedContextLock scope(uploadContext);
        uploadContext->Finish();
    }
    if (renderContext) {
        ScopedContextLock scope(renderContext);
        renderContext->Finish();
        ShaderRegistry::DestroyInstance();
        boost::atomic_store(&scene, boost::shared_ptr<Scene>());
        boost::atomic_store(&eventInterpreter, boost::shared_ptr<IEventInterpreter>());
        // A texture registered with CUDA is unregistered as it goes, which needs the device's
        // compute context current; exclusive access makes it so.
        if (device) {
            device->AcquireExclusiveAccess();
        }
        videoTextures[0].reset();
        videoTextures[1].reset();
        uploadSynchronizer->ReleaseTextures();
        if (device) {
            device->ReleaseExclusiveAccess();
        }
        boost::atomic_store(&panelManager, boost::shared_ptr<VRPanelManager>());
        GLReleaseQueue::Drain();
    }
    renderContext.reset();
    uploadContext.reset();
    userInterfaceContext.reset();
    intermediateFrame = nullptr;

    ReleaseControllerFeedback();
    openVR->Shutdown();

    UsageMetrics::Get().SendInstanceMetrics();
    UsageMetrics::Get().Clear();

    // Frees the machine whoever took the lock: a Stop here during another process's Init
    // frees that process's lock too.
    MachineLock().Release();
}

void RenderThread::AddClient(ClientHandle handle) {
    std::lock_guard<std::mutex> lock(clientsMutex);
    if (std::find(clients.begin(), clients.end(), handle) != clients.end()) {
        return;
    }
    clients.push_back(handle);
    ++UsageMetrics::Get().InstancesAdded;
}

void RenderThread::RemoveClient(ClientHandle handle) {
    ClientHandle active = handle;
    activeClient.compare_exchange_strong(active, 0);
    bool last = false;
    {
        std::lock_guard<std::mutex> lock(clientsMutex);
        const auto found = std::find(clients.begin(), clients.end(), handle);
        if (found != clients.end()) {
            clients.erase(found);
            ++UsageMetrics::Get().InstancesRemoved;
        }
        last = clients.empty();
    }
    if (last) {
        Stop();
    }
}

bool RenderThread::SetHMDPoseCallback(ClientHandle handle, HMDPoseCallback callback) {
    if (!initialized) {
        return false;
    }
    // One step, so that of two clients asking at once only one is told it has the headset.
    ClientHandle active = 0;
    if (!activeClient.compare_exchange_strong(active, handle) && active != handle) {
        return false;
    }
    hostcore::threads::RecursiveMutex::ScopedLock lock(frameMutex, "Set HMD Pose callback.");
    if (const boost::shared_ptr<Scene> current = boost::atomic_load(&scene)) {
        current->SetViewChangedCallback(callback);
    }
    return true;
}

bool RenderThread::ResetHMDPoseCallback(ClientHandle handle) {
    ClientHandle active = handle;
    if (!initialized || !activeClient.compare_exchange_strong(active, 0)) {
        return false;
    }
    {
        hostcore::threads::RecursiveMutex::ScopedLock lock(frameMutex, "Reset HMD Pose callback.");
        if (const boost::shared_ptr<Scene> current = boost::atomic_load(&scene)) {
            current->SetViewChangedCallback(HMDPoseCallback());
        }
    }
    // The task keeps this object alive until it has run. The delay lets another client take
    // the headset over before anything is torn down.
    deferredExecutor->Post(boost::bind(&RenderThread::Clear, shared_from_this()), 100);
    return true;
}

void RenderThread::Clear() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(lifecycleMutex, "Clear.");
    const bool stop = initialized && activeClient == 0;
    // Says which way a hand-over went, for hosts that wonder why the headset stayed on or went.
    static hostcore::debug::TraceSite site("STN", 5);
    site.Write(stop ? "Deferred stop: no client took the headset over; stopping."
                    : "Deferred stop: nothing to stop (a client holds the headset, or the "
                      "library has stopped already).");
    if (stop) {
        Stop();
    }
}

bool RenderThread::EnsureDevice(const boost::shared_ptr<GB::Device>& newDevice) {
    // Without a device of our own there is nothing to restart: only Init starts the thread.
    // The kind is compared without a lock on every frame; a switch is made under the lifecycle
    // lock, where another frame thread may have made it already.
    const std::int32_t currentKind = deviceKind;
    if (!newDevice || currentKind < 0 || newDevice->DeviceKind == currentKind) {
        return true;
    }
    hostcore::threads::RecursiveMutex::ScopedLock lifecycle(lifecycleMutex, "EnsureDevice.");
    if (newDevice->DeviceKind == deviceKind) {
        return true;
    }
    Stop();
    return Init(newDevice);
}

bool RenderThread::UpdateVideoTexture(
    ClientHandle handle, const hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame,
    VideoProjection projection, StereoLayout stereoLayout, std::uint32_t horizontalFov,
    std::uint32_t verticalFov) {
    // Stop waits for an upload under way before it frees the contexts and textures; an upload
    // that starts once Stop has begun finds the library stopped.
    const UploadInFlight inFlight(uploadsInFlight);
    if (!initialized || handle != activeClient) {
        return false;
    }
    if (skipRendering) {
        return true;
    }
    // One upload at a time: the back texture, the staging frame and the filter are its own. A
    // second sender (another host thread, or a client taking the headset over meanwhile) drops
    // its frame, as behind a pending one, rather than write the texture the first is filling.
    std::unique_lock<std::mutex> uploading(uploadMutex, std::try_to_lock);
    if (!uploading.owns_lock()) {
        return true;
    }
    // The render thread has not taken the last frame yet: drop this one rather than wait.
    if (uploadSynchronizer->pending) {
        return true;
    }
    const MF::Rect bounds = frame->GetBounds();
    if (bounds.width <= 0 || bounds.height <= 0) {
        return false;
    }
    UsageMetrics::Get().RecordFrameSize(static_cast<std::uint32_t>(bounds.width),
                                        static_cast<std::uint32_t>(bounds.height));

    VideoFrameUploader uploader(uploadContext, device, *uploadSynchronizer, intermediateFrame,
                                filterMode, useVideoTexMipmap);
    bool verticalFlip = false;
    bool redBlueSwap = false;
    boost::shared_ptr<GB::CompletionEvent> completion;
    // A GPU frame that OpenGL cannot share goes through host memory.
    const bool sharedWithGL =
        device->CanShareWithOpenGL() &&
        (device->DeviceKind != GB::kDeviceKind_OpenCL || contextsShareWithDevice);
    const bool gpuPath = IsGPUPixelFormat(frame->GetPixelFormat()) &&
                         (sharedWithGL || device->DeviceKind == GB::kDeviceKind_OpenCLNoSharing);
    const bool uploaded =
        gpuPath ? uploader.UploadGpuFrame(frame, verticalFlip, redBlueSwap, completion)
                : uploader.UploadCpuFrame(frame, verticalFlip, redBlueSwap);
    if (!uploaded) {
        return false;
    }

    const hostmediatypes::PixelAspectRatio pixelAspectRatio = frame->GetPixelAspectRatio();
    hostcore::threads::RecursiveMutex::ScopedLock lock(frameMutex, "Update video texture.");
    EyeRegion leftRegion = 0;
    EyeRegion rightRegion = 0;
    if (projection == kVideoProjectionEquirectangular) {
        if (stereoLayout == kStereoLayoutOverUnder) {
            leftRegion = 1;
            rightRegion = 2;
            ++UsageMetrics::Get().StereoscopicOverUnderFramesPlayed;
        } else if (stereoLayout == kStereoLayoutSideBySide) {
            leftRegion = 3;
            rightRegion = 4;
            ++UsageMetrics::Get().StereoscopicSideBySideFramesPlayed;
        } else {
            ++UsageMetrics::Get().MonoscopicFramesPlayed;
        }
    }
    if (eyeSelector == 1) {
        rightRegion = leftRegion;
    } else if (eyeSelector == 2) {
        leftRegion = rightRegion;
    }
    UploadSynchronizer& sync = *uploadSynchronizer;
    sync.verticalFlip = verticalFlip;
    sync.redBlueSwap = redBlueSwap;
    sync.showPlaceholder = projection == kVideoProjectionFlat;
    sync.theaterMode = projection == kVideoProjectionFlat;
    sync.leftRegion = leftRegion;
    sync.rightRegion = rightRegion;
    sync.uploadEvent = completion;
    sync.horizontalFov = horizontalFov;
    sync.verticalFov = verticalFov;
    sync.pixelAspectRatio = pixelAspectRatio;
    sync.pending = true;
    return true;
}

bool RenderThread::ShowPlaceholder(ClientHandle handle) {
    if (!initialized || handle != activeClient) {
        return false;
    }
    hostcore::threads::RecursiveMutex::ScopedLock lock(frameMutex, "Show placeholder.");
    uploadSynchronizer->placeholderRequested = true;
    return true;
}

bool RenderThread::ShowTheaterMode(ClientHandle handle, bool show) {
    if (!initialized || handle != activeClient) {
        return false;
    }
    hostcore::threads::RecursiveMutex::ScopedLock lock(frameMutex, "Show theater mode.");
    uploadSynchronizer->theaterRequested = show;
    return true;
}

void RenderThread::ReceiveMessage(const hostcore::messaging::Message& message) {
    // Rendering deliberately neither pauses nor resumes with the application.
    static const hostcore::messaging::MessageID suspended =
        hostcore::messaging::HashMessageTypeNameToMessageID(
            HSL::ApplicationSuspendedMessage::kTypeName);
    static const hostcore::messaging::MessageID resumed =
        hostcore::messaging::HashMessageTypeNameToMessageID(
            HSL::ApplicationResumedMessage::kTypeName);
    const hostcore::messaging::MessageID id = message.GetMessageID();
    if (id == suspended || id == resumed) {
        return;
    }
}

}  // namespace STN
