// The render thread and everything it owns: the OpenGL contexts, the scene, the video textures,
// the panel manager, and the thread named "STN::RenderThread" that draws. Host threads reach it
// through the service. This file covers its life: construction, Init, the machine-wide lock,
// the contexts, the named thread, the clients, Stop and destruction, and the thread's body.
//
// One pass of the thread: under frameMutex, apply what the host asked of the picture and take
// over a pending frame whose copy has finished (swap the textures, hand flags, eye regions and
// field of view to the scene); then, outside the mutex, draw and submit both eyes, the
// interruption point, the fade, the wait for the compositor's next frame with the poses, and the
// runtime's events. The compositor's wait is
// the only pacing. Host callbacks run on this thread and must not stop or join it.
#pragma once

#include <boost/enable_shared_from_this.hpp>
#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "IStereonService.h"
#include "StereonTypes.h"
#include "hostcore/classref.h"
#include "hostcore/messaging.h"
#include "hostcore/threads.h"
#include "hostcore/utility.h"
#include "stnvr/vr_types.h"

namespace GB {
class Device;
}
namespace MF {
class IVideoFrame;
}

namespace STN {

class IGraphicsContext;
class ITexture;
class OpenVRManager;
class Scene;
class VRPanelManager;
class IEventInterpreter;
class UploadSynchronizer;

class RenderThread : public hostcore::messaging::Listener,
                     public boost::enable_shared_from_this<RenderThread> {
public:
    struct Deleter {
        void operator()(RenderThread* renderThread) const;
    };

    // The live instance, or a new one.
    static boost::shared_ptr<RenderThread> Instance();
    // The live instance's scene; empty when there is no instance or no scene.
    static boost::shared_ptr<Scene> CurrentScene();
    // The running instance's panel manager, empty when there is none.
    static boost::shared_ptr<VRPanelManager> CurrentPanelManager();
    // The live render thread's controller input; empty without one or outside a video editor.
    static boost::shared_ptr<IEventInterpreter> CurrentEventInterpreter();
    // When the module unloads or the process exits: drops a deferred stop still waiting and
    // waits for one that runs, so that the last reference never goes on an executor thread
    // while the process tears down its libraries.
    static void FinishDeferredWorkAtExit();

    // Starts everything on the host's device: the runtime, the contexts, the scene and the
    // thread. True at once when already initialised; false, with nothing left running, when a
    // step fails or another process holds the machine lock for two seconds.
    bool Init(boost::shared_ptr<GB::Device> device);
    // Stops the thread and releases everything but the device and the clients. Repeatable.
    void Stop();

    void AddClient(ClientHandle handle);
    // Stops everything when the last client has gone (and on an empty list).
    void RemoveClient(ClientHandle handle);
    // Makes the client the active one, unless another one is.
    bool SetHMDPoseCallback(ClientHandle handle, HMDPoseCallback callback);
    // Lets go of the active client; a moment later everything stops unless another client
    // has taken over.
    bool ResetHMDPoseCallback(ClientHandle handle);
    // Restarts on a device of another kind; a device of the same kind changes nothing.
    bool EnsureDevice(const boost::shared_ptr<GB::Device>& newDevice);
    void StartRenderThread();
    // Stops when no client is active; what the deferred task does.
    void Clear();

    // A frame of the active client for the back video texture.
    bool UpdateVideoTexture(ClientHandle handle,
                            const hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame,
                            VideoProjection projection, StereoLayout stereoLayout,
                            std::uint32_t horizontalFov, std::uint32_t verticalFov);

    // For the active client only: the checkerboard instead of the picture, or theater mode on
    // or off, until the next frame's own settings arrive.
    bool ShowPlaceholder(ClientHandle handle);
    bool ShowTheaterMode(ClientHandle handle, bool show);

    // The application's suspend and resume messages are recognised; rendering goes on through
    // both on purpose.
    void ReceiveMessage(const hostcore::messaging::Message& message) override;

    bool IsInitialized() const { return initialized; }
    const boost::shared_ptr<VRPanelManager>& GetPanelManager() const { return panelManager; }
    const boost::shared_ptr<Scene>& GetScene() const { return scene; }
    const boost::shared_ptr<GB::Device>& GetDevice() const { return device; }
    // The hand-over of video frames to the drawing; lives as long as this object.
    const boost::shared_ptr<UploadSynchronizer>& GetUploadSynchronizer() const {
        return uploadSynchronizer;
    }

    RenderThread(const RenderThread&) = delete;
    RenderThread& operator=(const RenderThread&) = delete;

private:
    RenderThread();
    ~RenderThread() override;

    bool InitRendering();
    // Binds the device to `context` and creates it, sharing objects with `shareWith` if set.
    bool CreateContext(const boost::shared_ptr<IGraphicsContext>& context,
                       const boost::shared_ptr<IGraphicsContext>& shareWith);
    // Reports why the rendering could not start and stops; always false.
    bool FailInitRendering(const char* reason);

    // Counts a host thread's frame for as long as it may touch the upload context and textures.
    class UploadInFlight {
    public:
        explicit UploadInFlight(std::atomic<int>& count) : count(count) { ++count; }
        ~UploadInFlight() { --count; }
        UploadInFlight(const UploadInFlight&) = delete;
        UploadInFlight& operator=(const UploadInFlight&) = delete;

    private:
        std::atomic<int>& count;
    };

    // Host threads, the render thread and the deferred stop read these two without a common lock.
    std::atomic<bool> initialized{false};
    std::atomic<int> uploadsInFlight{0};
    // Held by the one upload under way; a frame that finds it taken is dropped.
    std::mutex uploadMutex;
    // Set by Init under lifecycleMutex; the kind is also read on the host's frame threads.
    boost::shared_ptr<GB::Device> device;
    std::atomic<std::int32_t> deviceKind{-1};
    // Host threads add and remove clients at once.
    std::mutex clientsMutex;
    hostcore::utility::SmallBlockVector<ClientHandle> clients;
    std::atomic<ClientHandle> activeClient{0};
    boost::shared_ptr<OpenVRManager> openVR;
    boost::shared_ptr<IGraphicsContext> renderContext;
    boost::shared_ptr<IGraphicsContext> uploadContext;
    boost::shared_ptr<IGraphicsContext> userInterfaceContext;
    // Whether the library's contexts share with the device's GL context, so that GPU frames of
    // an OpenCL device can be shared with OpenGL; not when they are made on GLX (the host's
    // context is EGL). Set by InitRendering, read on the host's frame threads.
    std::atomic<bool> contextsShareWithDevice{false};
    boost::shared_ptr<Scene> scene;
    boost::shared_ptr<ITexture> videoTextures[2];
    boost::shared_ptr<UploadSynchronizer> uploadSynchronizer;
    std::int32_t eyeSelector = 0;
    hostcore::classref::InterfaceRef<MF::IVideoFrame> intermediateFrame;
    std::int32_t filterMode = 1;
    bool useVideoTexMipmap = false;
    boost::shared_ptr<IEventInterpreter> eventInterpreter;
    boost::shared_ptr<VRPanelManager> panelManager;
    hostcore::threads::RecursiveMutex frameMutex;
    hostcore::threads::RecursiveMutex lifecycleMutex;
    boost::thread thread;
    bool threadStarted = false;
    boost::shared_ptr<hostcore::threads::AsyncThreadedSubExecutor> deferredExecutor;
};

}  // namespace STN
