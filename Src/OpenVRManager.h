// The module's one connection to the OpenVR runtime: starts and ends it, holds the interfaces
// the rest of the module uses, and the lock under which device walks, model loads and haptic
// pulses talk to the runtime.
#pragma once

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <string>

#include "StereonTypes.h"
#include "hostcore/threads.h"
#include "stnvr/vr_interfaces.h"
#include "stnvr/vr_types.h"

namespace vr {
class COpenVRContext;
}

namespace STN {

// The process-wide cache of runtime interfaces; it drops its pointers whenever the client's
// init token changes, so a pointer of an earlier connection is never handed out.
vr::COpenVRContext& InterfaceCache();

class OpenVRManager {
public:
    // Destroys the manager the way Shutdown ends the connection.
    struct Deleter {
        void operator()(OpenVRManager* manager) const;
    };

    // The live manager, or a new one. Constructing it touches nothing of OpenVR.
    static boost::shared_ptr<OpenVRManager> Instance();

    // Connects as a scene application. True when connected (at once, `error` untouched, if it
    // already was); false with the runtime shut down and the reason sent as a usage event.
    bool Init(vr::EVRInitError& error);
    // Ends the connection and unloads the runtime; harmless when there is none.
    void Shutdown();
    // Ends the connection but leaves the runtime loaded until the next Shutdown or Init: for a
    // thread stalled in the runtime, which the ending releases and which still has to find its
    // way out of the runtime's code.
    void EndConnection();

    void Lock();
    void Unlock();
    // Holds the lock for a scope.
    class ScopedLock {
    public:
        explicit ScopedLock(OpenVRManager& manager) : manager(manager) { manager.Lock(); }
        ~ScopedLock() { manager.Unlock(); }
        ScopedLock(const ScopedLock&) = delete;
        ScopedLock& operator=(const ScopedLock&) = delete;

    private:
        OpenVRManager& manager;
    };

    // No lock: null while disconnected. Atomic, because `Stop` may end a connection while the
    // render thread is still inside the runtime's wait for poses.
    vr::IVRSystem* GetSystem() const { return system; }
    vr::IVRRenderModels* GetRenderModels() const { return renderModels; }
    vr::IVRCompositor* GetCompositor() const { return compositor; }

    // A device's string property; empty when `system` is null or the runtime has no value.
    static std::string GetStringProperty(vr::IVRSystem* system,
                                         vr::TrackedDeviceIndex_t deviceIndex,
                                         vr::ETrackedDeviceProperty property);

    OpenVRManager(const OpenVRManager&) = delete;
    OpenVRManager& operator=(const OpenVRManager&) = delete;

private:
    OpenVRManager() = default;
    ~OpenVRManager();

    void Clear();

    std::atomic<vr::IVRSystem*> system{nullptr};
    std::atomic<vr::IVRRenderModels*> renderModels{nullptr};
    std::atomic<vr::IVRCompositor*> compositor{nullptr};
    hostcore::threads::RecursiveMutex mutex;
    // Under the mutex: EndConnection left the runtime loaded.
    bool unloadPending = false;
};

// OpenVR's row-major 3x4 pose as a column-major matrix with the bottom row 0, 0, 0, 1.
Matrix4 ToMatrix4(const vr::HmdMatrix34_t& matrix);
// OpenVR's row-major 4x4 matrix, transposed.
Matrix4 ToMatrix4(const vr::HmdMatrix44_t& matrix);

}  // namespace STN
