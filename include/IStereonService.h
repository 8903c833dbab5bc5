// The service a host drives: start-up on its GPU device, its clients, the video it plays and
// the objects through which it reaches the headset, panels and controllers.
//
// A run lasts from a successful Init to the next stop. The library stops when RemoveClient leaves
// the client list empty; 100 ms after ResetHMDPoseCallback unless a client is active again by
// then (the deferred stop, on a worker thread); when Init fails; when a frame of another device
// kind restarts it; and when the last reference to the service goes. The stop takes everything of
// the run with it: the HMD and panel managers, the panels, the controllers, and the callbacks,
// listeners and view orientation handed to it. The client list, the video layout and the device
// stay.
//
// Not running (before the first Init, after a stop): IsInitialized, SetHMDPoseCallback,
// ResetHMDPoseCallback and UpdateVideoTexture (GPU frames aside, see there) answer false; the
// getters answer an empty pointer, 0 or kHMDTypeUnknown; the setters drop what they are given,
// and nothing of it reaches a later run. AddClient, RemoveClient, SetVideoLayout and
// GetControllerFeedback work as always.
//
// Threads: any host thread, unless a call says otherwise. Calls marked "run-scoped" read the
// run's objects without a lock: make them on the render thread (from a callback) or where no
// Init or stop can be under way on another thread. The host's callbacks and listeners are called
// on the render thread ("STN::RenderThread"). They must not throw: an exception ends the render
// thread, and the library then shows nothing until it is stopped. They must not cause a stop
// (RemoveClient of the last client, a frame of another device kind, letting go of the last
// service reference): the stop waits for the render thread to end.
//
// Exceptions: UpdateVideoTexture alone throws on its own account; every other failure is
// answered with false or an empty pointer. Allocation and thread-creation failures pass through.
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

// Called on the render thread once a pass of the render loop while the head pose is valid and
// the headset is not idle, after IHMDListener::OnHMDPose. Degrees: yaw (to the right) and pitch
// (up) of the head less those of SetViewOrientation, yaw not wrapped to +-180; roll clockwise
// (the runtime's counter-clockwise roll negated).
typedef boost::function<void(float yaw, float pitch, float roll)> HMDPoseCallback;
// Asked on the render thread once a pass while the runtime is connected, also while the headset
// is idle (the passes then follow each other without pause). True: the filled-in duration and
// colour go to the compositor's FadeToColor; false: nothing happens.
typedef boost::function<bool(float& seconds, float& red, float& green, float& blue, float& alpha)>
    FadeCallback;

// Host calling order: GetStereonServiceInstance, Init, AddClient, SetHMDPoseCallback (which
// makes the client the active one), SetVideoLayout when the format changes, UpdateVideoTexture
// per frame; at the end ResetHMDPoseCallback and RemoveClient. The host never deletes the
// service through this interface; letting go of the last shared pointer stops the library, at
// once or, while a deferred stop is still due, when that has run on its worker thread.
class IStereonService {
public:
    // True from a successful Init until a stop begins.
    virtual bool IsInitialized() = 0;
    // Starts a run on `device`: the runtime connection, the GL contexts, the scene and the render
    // thread. True at once when running already, whatever the device. False for an empty device.
    // False, with nothing left running and the reason sent as the usage event
    // "vidariumvr_initialization", when the runtime cannot be connected (none, no headset, the
    // headset in use, no compositor) or the device gives no GL context (also told once to the
    // host's assertion handler). False without a word when another process has held the headset
    // for two seconds; a second Init of this host at the same moment waits as long and then
    // answers whether the library runs. Holds `device` until a later Init replaces it or the
    // service ends. May leave no GL context current on the calling thread.
    virtual bool Init(boost::shared_ptr<GB::Device> device) = 0;
    // Lists the client; one already listed is ignored. The list outlasts stops: a client stays
    // until RemoveClient, whether or not the library runs.
    virtual void AddClient(ClientHandle client) = 0;
    // Takes the client off the list. Removing the active client leaves none active but keeps its
    // pose callback running, and no stop follows while others remain: call ResetHMDPoseCallback
    // first. When the list is then empty (also for a client never added) the library stops on
    // the calling thread, which returns once everything has ended: up to five seconds more when
    // the compositor has stopped answering. That stop, running or not, frees the machine-wide
    // headset lock whoever holds it. Never on the render thread.
    virtual void RemoveClient(ClientHandle client) = 0;
    // Makes `client` the active one and hands the render thread its pose callback; an empty one
    // means no more calls, the client staying active. False when not running or while another
    // client is active. The client need not be listed. Two clients calling at once may both be
    // answered true; the later one is then active. Run-scoped.
    virtual bool SetHMDPoseCallback(ClientHandle client, HMDPoseCallback callback) = 0;
    // Lets go of the headset: clears the pose callback and leaves no client active. False when
    // not running or when `client` is not the active one. 100 ms later the library stops, the
    // clients staying listed, unless a client is active again by then; that stop also ends a run
    // that Init started again in those 100 ms. Run-scoped.
    virtual bool ResetHMDPoseCallback(ClientHandle client) = 0;
    // Hands the active client's frame to the render thread for the next frame it draws, shown as
    // the last SetVideoLayout says. True when taken, and when dropped because the frame before
    // has not been taken over yet or another thread's frame is being uploaded (frames from
    // several threads at once are not queued). False when not running (a stop under way included), when
    // `client` is not the active one, and for a frame refused: zero size, a format the upload
    // does not take, wider or taller than a GL texture, rows short, not whole pixels or past the
    // frame's memory, or a device copy that failed; the picture on show stays.
    // Throws hostcore::classref::NullInterfaceException for a null frame, or one without the
    // memory interfaces its format needs, once it gets to the upload (running, active client,
    // nothing pending, no other upload). A GPU frame whose device is of another kind than the run's first restarts
    // the library on that device, whoever the client and even while stopped after a run: the
    // active client stays active, but all the old run had is gone (set the callbacks, listeners
    // and panels again). Waits for the render thread's hand-over of a frame, not for its drawing or
    // the compositor's Submit, and leaves no GL context current on the calling thread.
    virtual bool UpdateVideoTexture(
        ClientHandle client, const hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame) = 0;
    // The run's headset manager; empty when not running. Each run has its own. Run-scoped.
    virtual boost::shared_ptr<IHMDManager> GetHMDManager() = 0;
    // The run's controller at list index `index`; empty when not running, past the end of the
    // list, and in a host whose application type is not a video editor. Run-scoped.
    virtual boost::shared_ptr<IControllerManager> GetController(std::uint32_t index) = 0;
    // The run's headset kind (kHMDType...) or what IHMDManager::SetHMDType set; kHMDTypeUnknown
    // when not running. Run-scoped.
    virtual std::int32_t GetHMDType() = 0;
    // The run's panel manager; empty when not running. Each run has its own, without the panels
    // of the run before. Run-scoped.
    virtual boost::shared_ptr<IVRPanelManager> GetPanelManager() = 0;
    // Never empty; any time. IControllerFeedback says which object gets the runtime.
    virtual boost::shared_ptr<IControllerFeedback> GetControllerFeedback() = 0;
    // Told of each controller the run meets from now on, not of those already listed; an empty
    // pointer stops it. Dropped when not running and in a host that is not a video editor.
    // Run-scoped.
    virtual void SetControllerAddedCallback(
        boost::shared_ptr<IControllerAddedCallback> callback) = 0;
    // The run's fade callback, taken up at the render thread's next pass; an empty function
    // removes it. Run-scoped.
    virtual void SetFadeCallback(FadeCallback callback) = 0;
    // What SetViewOrientation last set in this run; 0, 0 when not running. Run-scoped.
    virtual void GetViewOrientation(float& yawDegrees, float& pitchDegrees) = 0;
    // A positive yaw brings ahead the video (or checkerboard) that was that many degrees to the
    // left; the theater room, panels and controllers do not turn. The pitch turns nothing. Both
    // are taken off the angles the pose callback reports. From the next frame. Run-scoped.
    virtual void SetViewOrientation(float yawDegrees, float pitchDegrees) = 0;
    // How the frames sent from now on are shown: projection, stereo layout and the frame's field
    // of view in degrees (360 by 180 is the whole sphere; less is centred ahead, the rest black).
    // Kept by this service object, running or not, through stops; equirectangular, monoscopic,
    // 360 by 180 until set. Not synchronised with UpdateVideoTexture: call it on the thread that
    // sends the frames.
    virtual void SetVideoLayout(VideoProjection projection, StereoLayout stereoLayout,
                                std::uint32_t horizontalFov, std::uint32_t verticalFov) = 0;

protected:
    ~IStereonService() = default;
};

}  // namespace STN
