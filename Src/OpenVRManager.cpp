#include "OpenVRManager.h"

#include <boost/weak_ptr.hpp>

#include <mutex>
#include <vector>

#include "UsageMetrics.h"
#include "stnvr/vr_client.h"

namespace STN {

namespace {

void ReportFailure(const char* reason) {
    ReportInitializationResult("vidariumvr_initialization", "result", "Failure", "reason", reason);
}

}  // namespace

vr::COpenVRContext& InterfaceCache() {
    return vr::OpenVRInternal_ModuleContext();
}

void OpenVRManager::Deleter::operator()(OpenVRManager* manager) const {
    delete manager;
}

boost::shared_ptr<OpenVRManager> OpenVRManager::Instance() {
    // Asked from the host's threads and from haptic pulse jobs on pool workers at once: without
    // the lock, two callers that find no manager each make one, and the weak pointer is written
    // from both.
    static std::mutex* mutex = new std::mutex();  // used until the process ends
    static boost::weak_ptr<OpenVRManager> weak;
    std::lock_guard<std::mutex> lock(*mutex);
    boost::shared_ptr<OpenVRManager> live = weak.lock();
    if (live) {
        return live;
    }
    live = boost::shared_ptr<OpenVRManager>(new OpenVRManager(), Deleter());
    weak = live;
    return live;
}

OpenVRManager::~OpenVRManager() {
    Shutdown();
}

bool OpenVRManager::Init(vr::EVRInitError& error) {
    hostcore::threads::RecursiveMutex::ScopedLock lock(mutex, "OpenVRManager::Init");
    if (system != nullptr) {
        return true;
    }
    // The load below unloads a runtime that EndConnection left loaded.
    unloadPending = false;

    // Also checks the IVRSystem version; a runtime that refuses it is shut down again.
    system = vr::VR_Init(&error, vr::VRApplication_Scene);
    if (error != vr::VRInitError_None) {
        ReportFailure("VR_Init");
        Clear();
        return false;
    }

    // A runtime without render models still drives the headset.
    renderModels = InterfaceCache().VRRenderModels();

    const char* reason = "VR_GetGenericInterface";
    if (error == vr::VRInitError_None) {
        compositor = InterfaceCache().VRCompositor();
        if (compositor != nullptr) {
            return true;
        }
        reason = "VRCompositor";
    }

    ReportFailure(reason);
    vr::VR_Shutdown();
    Clear();
    return false;
}

void OpenVRManager::Shutdown() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(mutex, "OpenVRManager::Shutdown");
    // Also the unload of a runtime that EndConnection left loaded.
    if (system != nullptr || unloadPending) {
        // Cleared first: a thread that the shutdown lets out of the runtime finds no connection.
        Clear();
        vr::VR_Shutdown();
    }
    unloadPending = false;
}

void OpenVRManager::EndConnection() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(mutex, "OpenVRManager::EndConnection");
    if (system != nullptr) {
        Clear();
        vr::VR_CleanupInternal();
        unloadPending = true;
    }
}

void OpenVRManager::Lock() {
    mutex.Lock("OpenVRManager::Lock");
}

void OpenVRManager::Unlock() {
    mutex.Unlock();
}

void OpenVRManager::Clear() {
    system = nullptr;
    renderModels = nullptr;
    compositor = nullptr;
}

std::string OpenVRManager::GetStringProperty(vr::IVRSystem* system,
                                             vr::TrackedDeviceIndex_t deviceIndex,
                                             vr::ETrackedDeviceProperty property) {
    if (system == nullptr) {
        return std::string();
    }
    const std::uint32_t length =
        system->GetStringTrackedDeviceProperty(deviceIndex, property, nullptr, 0, nullptr);
    if (length == 0) {
        return std::string();
    }
    std::vector<char> buffer(length, '\0');
    system->GetStringTrackedDeviceProperty(deviceIndex, property, buffer.data(), length, nullptr);
    std::size_t end = 0;
    while (end < buffer.size() && buffer[end] != '\0') {
        ++end;
    }
    return std::string(buffer.data(), end);
}

Matrix4 ToMatrix4(const vr::HmdMatrix34_t& matrix) {
    Matrix4 result = Matrix4::Identity();
    for (int column = 0; column < 4; ++column) {
        for (int row = 0; row < 3; ++row) {
            result.m[column * 4 + row] = matrix.m[row][column];
        }
    }
    return result;
}

Matrix4 ToMatrix4(const vr::HmdMatrix44_t& matrix) {
    Matrix4 result;
    for (int column = 0; column < 4; ++column) {
        for (int row = 0; row < 4; ++row) {
            result.m[column * 4 + row] = matrix.m[row][column];
        }
    }
    return result;
}

}  // namespace STN
