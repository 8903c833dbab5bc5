// The library driven as a host drives it: loaded with dlopen, started on a device of the host
// stand-in, connected to the simulated runtime through the OpenVR client. What the runtime
// recorded, the usage events, the threads of the process and the machine lock are what is
// looked at.
#include <gtest/gtest.h>

#include <dirent.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/thread/thread.hpp>

#include "GB/Device.h"
#include "IControllerManager.h"
#include "MF/VideoFrame.h"
#include "MachineLock.h"
#include "VF/VideoFrame.h"
#include "host_library.h"
#include "hostcore/classref.h"
#include "hostcore/config.h"
#include "hostcore/debug.h"
#include "hostcore/threads.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"
#include "x_server.h"

extern char** environ;

namespace {

using hostcore::config::LoggedEvent;
using hostcore::config::UsageLogger;
using FrameRef = hostcore::classref::InterfaceRef<MF::IVideoFrame>;

stntest::HostLibrary& Library() {
    static stntest::HostLibrary library;
    return library;
}

// Polls until the condition holds, for a minute at most.
template <typename Condition>
bool WaitUntil(Condition condition) {
    for (int i = 0; i < 6000 && !condition(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

// Waits until the render thread has asked the runtime for poses `count` more times.
bool FramesPass(std::uint64_t count) {
    const std::uint64_t target = simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES) + count;
    return WaitUntil([target] { return simvr_count_calls(SIMVR_CALL_WAIT_GET_POSES) >= target; });
}

// The names of the threads of this process that the host stand-in started by name, by their
// kernel ids.
std::map<std::uint64_t, std::string> NamedThreads() {
    std::map<std::uint64_t, std::string> threads;
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) {
        return threads;
    }
    while (dirent* entry = readdir(dir)) {
        const std::uint64_t tid = std::strtoull(entry->d_name, nullptr, 10);
        const std::string name = tid != 0 ? hostcore::threads::FindThreadName(tid) : "";
        if (!name.empty()) {
            threads[tid] = name;
        }
    }
    closedir(dir);
    return threads;
}

// The kernel id of the render thread; 0 while there is none.
std::uint64_t RenderThreadId() {
    for (const auto& thread : NamedThreads()) {
        if (thread.second == "STN::RenderThread") {
            return thread.first;
        }
    }
    return 0;
}

// The thread registers its name once it runs, which may be a moment after Init returned.
bool RenderThreadStarts() {
    return WaitUntil([] { return RenderThreadId() != 0; });
}

std::vector<LoggedEvent> EventsNamed(const std::string& name) {
    std::vector<LoggedEvent> result;
    for (const LoggedEvent& event : UsageLogger::Get()->Events()) {
        if (event.name == name) {
            result.push_back(event);
        }
    }
    return result;
}

std::vector<std::string> InitializationReasons() {
    std::vector<std::string> reasons;
    for (const LoggedEvent& event : EventsNamed("vidariumvr_initialization")) {
        reasons.push_back(event.Value("result") + ":" + event.Value("reason"));
    }
    return reasons;
}

// The settings and chaperone calls the simulated runtime recorded, in order, as text.
std::vector<std::string> SettingsAndChaperoneCalls() {
    std::vector<std::string> calls;
    for (std::uint32_t i = 0; i < simvr_get_call_count(); ++i) {
        simvr_call call;
        if (simvr_get_call(i, &call) != 1) {
            ADD_FAILURE() << "call " << i << " of the log is missing";
            break;
        }
        switch (call.kind) {
            case SIMVR_CALL_SETTINGS_SYNC:
                calls.push_back("Sync " + std::to_string(call.int_value));
                break;
            case SIMVR_CALL_SETTINGS_SET:
                calls.push_back(std::string(call.section) + "/" + call.key + "=" +
                                std::to_string(call.int_value) + " type " +
                                std::to_string(call.value_type));
                break;
            case SIMVR_CALL_CHAPERONE:
                calls.push_back(std::string(call.text) + " " + std::to_string(call.int_value));
                break;
            default:
                break;
        }
    }
    return calls;
}

// The mutexes each lock text is taken on, and the threads taking it, in the whole process
// while installed. The record outlives the observer, which may still run on another thread
// while it is being removed.
class LockRecorder {
public:
    struct Taken {
        std::set<const hostcore::threads::RecursiveMutex*> mutexes;
        std::set<std::uint64_t> threads;
    };

    LockRecorder() : record(std::make_shared<Record>()) {
        const std::shared_ptr<Record> target = record;
        hostcore::threads::SetLockObserver([target](const hostcore::threads::LockNotice& notice) {
            if (notice.event == hostcore::threads::LockEvent::kAcquired &&
                notice.lockText != nullptr) {
                std::lock_guard<std::mutex> lock(target->mutex);
                Taken& taken = target->taken[notice.lockText];
                taken.mutexes.insert(notice.mutex);
                taken.threads.insert(notice.threadId);
            }
        });
    }
    ~LockRecorder() { hostcore::threads::SetLockObserver(hostcore::threads::LockObserver()); }
    LockRecorder(const LockRecorder&) = delete;
    LockRecorder& operator=(const LockRecorder&) = delete;

    Taken Of(const std::string& text) const {
        std::lock_guard<std::mutex> lock(record->mutex);
        const auto found = record->taken.find(text);
        return found == record->taken.end() ? Taken() : found->second;
    }

    // Waits, for a minute at most, until a lock with this text has been taken and its mutex is
    // free again. The mutex must still exist: its owner is kept alive by the caller.
    bool WaitUntilTakenAndFree(const std::string& text) const {
        return WaitUntil([&] {
            const Taken taken = Of(text);
            return !taken.mutexes.empty() && (*taken.mutexes.begin())->OwnerText() == nullptr;
        });
    }

private:
    struct Record {
        std::mutex mutex;
        std::map<std::string, Taken> taken;
    };
    std::shared_ptr<Record> record;
};

// A second host in its own process (lock_holder), holding the headset once started. Unless it
// quits, it is killed as it goes, as a crashed host would be.
class ChildHost {
public:
    // True once it has started the library and said so.
    bool Start() {
        int toChild[2];
        int fromChild[2];
        if (pipe(toChild) != 0 || pipe(fromChild) != 0) {
            return false;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, toChild[0], 0);
        posix_spawn_file_actions_adddup2(&actions, fromChild[1], 1);
        posix_spawn_file_actions_addclose(&actions, toChild[1]);
        posix_spawn_file_actions_addclose(&actions, fromChild[0]);
        char* argv[] = {const_cast<char*>(STEREON_LOCK_HOLDER), const_cast<char*>(STEREON_LIBRARY),
                        nullptr};
        const int rc = posix_spawn(&pid, STEREON_LOCK_HOLDER, &actions, nullptr, argv, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(toChild[0]);
        close(fromChild[1]);
        input = toChild[1];
        output = fromChild[0];
        return rc == 0 && ReadLine() == "ready";
    }
    // A line of its answer; "" when it ended or said nothing for a minute.
    std::string ReadLine() {
        std::string line;
        for (;;) {
            pollfd fd = {output, POLLIN, 0};
            if (poll(&fd, 1, 60000) <= 0) {
                return line;
            }
            char c = 0;
            if (read(output, &c, 1) != 1 || c == '\n') {
                return line;
            }
            line += c;
        }
    }
    // Ends its input, on which it removes its client, which stops everything, and exits; true
    // when it said it stopped and exited cleanly.
    bool Quit() {
        close(input);
        input = -1;
        const bool stopped = ReadLine() == "stopped 0";
        int status = 0;
        waitpid(pid, &status, 0);
        pid = 0;
        return stopped && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    ~ChildHost() {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        if (input >= 0) {
            close(input);
        }
        if (output >= 0) {
            close(output);
        }
    }

private:
    pid_t pid = 0;
    int input = -1;
    int output = -1;
};

class ServiceSystemTest : public stereon::test::SimulatedHeadsetTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(Library().Load(STEREON_LIBRARY)) << Library().error;
        ASSERT_NO_FATAL_FAILURE(SimulatedHeadsetTest::SetUp());
        UsageLogger::SetPresent(true);
        UsageLogger::Get()->Clear();
        hostcore::debug::ClearRecordedAssertions();
        std::string reason;
        device = GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
        ASSERT_TRUE(device) << reason;
    }
    void TearDown() override {
        hostcore::debug::SetTraceSink(hostcore::debug::TraceSink());
        hostcore::debug::ResetTraceLevels();
        device.reset();
        SimulatedHeadsetTest::TearDown();
    }

    // Nothing of a run is left: no thread, no runtime connection, no machine lock.
    static void ExpectNothingRunning() {
        EXPECT_EQ(RenderThreadId(), 0u);
        EXPECT_EQ(simvr_is_initialized(), 0);
        EXPECT_FALSE(STN::MachineLock().IsTaken());
    }

    static boost::shared_ptr<GB::Device> DeviceWithoutContext(std::int32_t kind) {
        GB::Device::Parts parts;
        parts.name = "No GL";
        return boost::shared_ptr<GB::Device>(new GB::Device(kind, parts));
    }

    static FrameRef HostFrame() {
        FrameRef frame;
        EXPECT_EQ(VF::CreateHostVideoFrame(frame, hostmediatypes::kPixelFormat_ARGB_4444_8u, 4, 2),
                  VF::kCreateResult_OK);
        return frame;
    }

    static FrameRef GpuFrame(const boost::shared_ptr<GB::Device>& on,
                             hostmediatypes::PixelFormat format) {
        FrameRef frame;
        EXPECT_EQ(VF::CreateGPUVideoFrame(
                      frame, on, format, 4, 2, hostmediatypes::kPixelAspectRatio_Square,
                      MF::kFieldType_Progressive, MF::Point(), hostmediatypes::color::ColorSpace(),
                      0, 0, boost::shared_ptr<GB::CompletionEvent>(), boost::function<void()>()),
                  VF::kCreateResult_OK);
        return frame;
    }

    boost::shared_ptr<GB::Device> device;
};

TEST_F(ServiceSystemTest, ExportsAreTheOnlyWayIn) {
    EXPECT_EQ(dlsym(Library().handle, "_ZN3STN14StereonService8InstanceEv"), nullptr);
    EXPECT_EQ(dlsym(Library().handle, "_ZN3STN12RenderThread4StopEv"), nullptr);
    EXPECT_TRUE(Library().isVRPossible());
    simvr_set_hmd_present(0);
    EXPECT_FALSE(Library().isVRPossible());
}

// Every call of a service whose library is not running, before the first Init and after a Stop:
// the answers of a service without a scene, and nothing handed over then is used later.
TEST_F(ServiceSystemTest, CallsWhileStoppedGiveTheirAnswersAndKeepNothing) {
    struct AddedCounter : STN::IControllerAddedCallback {
        void OnControllerAdded(boost::shared_ptr<STN::IControllerManager>) override { ++calls; }
        std::atomic<int> calls{0};
    };
    const auto added = boost::make_shared<AddedCounter>();
    const auto fadeQuestions = std::make_shared<std::atomic<int>>(0);
    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    ASSERT_TRUE(service);
    const auto expectLookingAhead = [&] {
        float yaw = 1.0f, pitch = 1.0f;
        service->GetViewOrientation(yaw, pitch);
        EXPECT_TRUE(yaw == 0.0f && pitch == 0.0f) << yaw << ", " << pitch;
    };
    const auto callWhileStopped = [&](const char* when) {
        SCOPED_TRACE(when);
        EXPECT_FALSE(service->IsInitialized());
        EXPECT_FALSE(service->SetHMDPoseCallback(7, [](float, float, float) {}));
        EXPECT_FALSE(service->ResetHMDPoseCallback(7));
        EXPECT_FALSE(service->UpdateVideoTexture(7, HostFrame()));
        EXPECT_FALSE(service->GetHMDManager());
        EXPECT_FALSE(service->GetController(0));
        EXPECT_FALSE(service->GetController(0xffffffffu));
        EXPECT_EQ(service->GetHMDType(), 3);
        EXPECT_FALSE(service->GetPanelManager());
        EXPECT_TRUE(service->GetControllerFeedback());
        service->SetControllerAddedCallback(added);
        service->SetFadeCallback([fadeQuestions](float&, float&, float&, float&, float&) {
            ++*fadeQuestions;
            return false;
        });
        service->SetViewOrientation(30.0f, 40.0f);
        expectLookingAhead();
        service->SetVideoLayout(1, 2, 180, 180);
        service->AddClient(7);
        service->RemoveClient(7);
        EXPECT_FALSE(service->IsInitialized());
        ExpectNothingRunning();
    };

    callWhileStopped("before Init");
    for (int run = 0; run < 2; ++run) {
        ASSERT_TRUE(service->Init(device));
        service->AddClient(1);
        ASSERT_TRUE(service->SetHMDPoseCallback(1, [](float, float, float) {}));
        EXPECT_TRUE(service->UpdateVideoTexture(1, HostFrame()));
        // Three frames on, nothing given while stopped has been used.
        ASSERT_TRUE(FramesPass(3));
        EXPECT_EQ(*fadeQuestions, 0);
        EXPECT_EQ(added->calls, 0);
        expectLookingAhead();
        service->RemoveClient(1);
        callWhileStopped("after Stop");
    }
}

// One host's run from start to stop: one start, only the active client served, the stop with
// the last client, and every lock taken under its text, on one mutex, by the thread meant to.
TEST_F(ServiceSystemTest, ARunServesTheActiveClientAndStopsWithTheLastOne) {
    const LockRecorder locks;
    const std::uint64_t hostThread = hostcore::threads::GetCurrentThreadID();
    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    ASSERT_TRUE(service);
    EXPECT_EQ(Library().getService(), service);

    // The answers before Init are CallsWhileStoppedGiveTheirAnswersAndKeepNothing's; without a
    // device nothing starts.
    EXPECT_FALSE(service->Init(boost::shared_ptr<GB::Device>()));
    EXPECT_TRUE(InitializationReasons().empty());

    ASSERT_TRUE(service->Init(device));
    EXPECT_TRUE(service->IsInitialized());
    EXPECT_TRUE(service->Init(device));  // once is enough
    EXPECT_EQ(simvr_get_init_count(), 1);
    EXPECT_EQ(InitializationReasons(), std::vector<std::string>{"Success:Success"});
    ASSERT_TRUE(RenderThreadStarts());
    const std::uint64_t renderThread = RenderThreadId();
    EXPECT_TRUE(STN::MachineLock().IsTaken());

    service->AddClient(1);
    service->AddClient(2);
    service->AddClient(1);
    EXPECT_TRUE(service->SetHMDPoseCallback(1, [](float, float, float) {}));
    EXPECT_FALSE(service->SetHMDPoseCallback(2, [](float, float, float) {}));
    service->SetVideoLayout(1, 2, 180, 180);
    EXPECT_TRUE(service->UpdateVideoTexture(1, HostFrame()));
    // Once the render thread has drawn two more frames it has taken that one over; a null frame
    // is then the host's error, reported by the exception, and nothing is published.
    EXPECT_TRUE(FramesPass(2));
    EXPECT_THROW(service->UpdateVideoTexture(1, FrameRef()),
                 hostcore::classref::NullInterfaceException);
    EXPECT_FALSE(service->UpdateVideoTexture(2, HostFrame()));  // not the active client
    // A GPU frame of the same kind restarts nothing; its 8-bit BGRA is no format the upload
    // takes, so it is refused.
    EXPECT_FALSE(service->UpdateVideoTexture(
        1, GpuFrame(device, hostmediatypes::kPixelFormat_BGRA_4444_8u)));
    EXPECT_EQ(simvr_get_init_count(), 1);

    service->RemoveClient(2);
    EXPECT_TRUE(service->IsInitialized());  // a client is left
    EXPECT_TRUE(service->ResetHMDPoseCallback(1));
    EXPECT_FALSE(service->ResetHMDPoseCallback(1));
    service->RemoveClient(1);
    EXPECT_FALSE(service->IsInitialized());
    ExpectNothingRunning();
    EXPECT_EQ(simvr_get_cleanup_count(), 1);

    // The run's summary. The frame was published, not dropped as one arriving while another is
    // pending.
    const std::vector<LoggedEvent> metrics = EventsNamed("vidariumvr_instance_metrics");
    ASSERT_GE(metrics.size(), 1u);
    EXPECT_EQ(metrics[0].Value("GPUDeviceName"), device->GetName());
    EXPECT_EQ(metrics[0].Value("HMDDeviceName"), "lighthouse");
    EXPECT_EQ(metrics[0].Value("StereoscopicSideBySideFramesPlayed"), "1");
    EXPECT_EQ(metrics[0].Value("InstancesAdded"), "2");
    EXPECT_EQ(metrics[0].Value("InstancesRemoved"), "2");

    // A Stop on a stopped object still reports, with the record emptied.
    UsageLogger::Get()->Clear();
    service->RemoveClient(99);
    const std::vector<LoggedEvent> empty = EventsNamed("vidariumvr_instance_metrics");
    ASSERT_EQ(empty.size(), 1u);
    EXPECT_EQ(empty[0].Value("GPUDeviceName"), "");
    EXPECT_EQ(empty[0].Value("HMDDeviceName"), "");
    EXPECT_EQ(empty[0].Value("InstancesAdded"), "0");
    EXPECT_EQ(empty[0].Value("MaxFrameAreaDimensions"), "");

    // The stop that ResetHMDPoseCallback deferred keeps the render thread object, and with it
    // its mutexes, alive until it has run, and would stop the next case's run instead: wait for
    // it. It finds nothing running, so it neither reports nor disconnects again.
    ASSERT_TRUE(locks.WaitUntilTakenAndFree("Clear."));
    EXPECT_EQ(EventsNamed("vidariumvr_instance_metrics").size(), 1u);
    EXPECT_EQ(simvr_get_cleanup_count(), 1);

    // Each text on one mutex, and from the threads that are meant to take it.
    const auto mutexOf = [&locks](const char* text) {
        const LockRecorder::Taken taken = locks.Of(text);
        EXPECT_EQ(taken.mutexes.size(), 1u) << text;
        return taken.mutexes.empty() ? nullptr : *taken.mutexes.begin();
    };
    const std::set<std::uint64_t> onHost = {hostThread};

    // The frame hand-over: the host's frame and pose-callback calls and the drawing exclude each
    // other on one mutex.
    const hostcore::threads::RecursiveMutex* frameMutex = mutexOf("Render video texture.");
    ASSERT_NE(frameMutex, nullptr);
    EXPECT_EQ(locks.Of("Render video texture.").threads, std::set<std::uint64_t>{renderThread});
    for (const char* text :
         {"Set HMD Pose callback.", "Update video texture.", "Reset HMD Pose callback."}) {
        EXPECT_EQ(mutexOf(text), frameMutex) << text;
        EXPECT_EQ(locks.Of(text).threads, onHost) << text;
    }

    // Start and the deferred stop are serialised on a mutex of their own.
    const hostcore::threads::RecursiveMutex* lifecycleMutex = mutexOf("Init.");
    ASSERT_NE(lifecycleMutex, nullptr);
    EXPECT_EQ(mutexOf("Clear."), lifecycleMutex);
    EXPECT_NE(lifecycleMutex, frameMutex);
    EXPECT_EQ(locks.Of("Init.").threads, onHost);
    EXPECT_EQ(locks.Of("Clear.").threads.count(hostThread), 0u);  // on the executor's thread

    // The runtime connection has its own lock.
    const hostcore::threads::RecursiveMutex* runtimeMutex = mutexOf("OpenVRManager::Init");
    ASSERT_NE(runtimeMutex, nullptr);
    EXPECT_EQ(mutexOf("OpenVRManager::Shutdown"), runtimeMutex);
    EXPECT_NE(runtimeMutex, frameMutex);
    EXPECT_NE(runtimeMutex, lifecycleMutex);
    EXPECT_EQ(locks.Of("OpenVRManager::Init").threads, onHost);
}

TEST_F(ServiceSystemTest, RuntimeSettingsAndChaperoneAreWrittenAtStart) {
    const std::vector<std::string> settingsWrites = {
        "Sync 0",
        "userinterface/StatusAlwaysOnTop=0 type 1",
        "collisionBounds/CollisionBoundsGroundPerimeterOn=0 type 1",
        "collisionBounds/CollisionBoundsCenterMarkerOn=0 type 1",
        "collisionBounds/CollisionBoundsPlaySpaceOn=0 type 1",
        "collisionBounds/CollisionBoundsColorGammaA=0 type 2",
        "Sync 0",
    };
    const std::string chaperoneWrite = "ForceBoundsVisible 0";
    std::vector<std::string> allWrites = settingsWrites;
    allWrites.push_back(chaperoneWrite);

    // A runtime without one of the two interfaces still starts; the other one's writes go on.
    struct Case {
        const char* withdrawn;  // null: none
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {nullptr, allWrites},
        {"IVRSettings_002", {chaperoneWrite}},
        {"IVRChaperone_003", settingsWrites},
    };
    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.withdrawn == nullptr ? "all there" : c.withdrawn);
        UsageLogger::Get()->Clear();
        simvr_clear_calls();
        if (c.withdrawn != nullptr) {
            ASSERT_EQ(simvr_set_interface_enabled(c.withdrawn, 0), 1);
        }
        EXPECT_TRUE(service->Init(device));
        EXPECT_EQ(InitializationReasons(), std::vector<std::string>{"Success:Success"});
        EXPECT_EQ(SettingsAndChaperoneCalls(), c.expected);
        EXPECT_TRUE(RenderThreadStarts());
        service->RemoveClient(1);
        if (c.withdrawn != nullptr) {
            simvr_set_interface_enabled(c.withdrawn, 1);
        }
        ExpectNothingRunning();
    }
}

TEST_F(ServiceSystemTest, StartFailuresReportAndLeaveNothingRunning) {
    boost::shared_ptr<STN::IStereonService> service = Library().getService();

    struct Case {
        const char* what;
        std::function<void()> arrange;
        std::function<void()> undo;
        std::int32_t kind;
        bool withoutContext;
        const char* reason;
    };
    const std::string nowhere = home + "/nowhere";
    const std::vector<Case> cases = {
        {"runtime missing",
         [&] {
             simvr::ClearEnvironment();
             setenv("XDG_CONFIG_HOME", nowhere.c_str(), 1);
         },
         [&] { ASSERT_TRUE(simvr::InstallVrPathFile(home)); }, -1, false, "VR_Init"},
        {"version rejected", [] { simvr_set_interface_enabled("IVRSystem_017", 0); },
         [] { simvr_set_interface_enabled("IVRSystem_017", 1); }, -1, false, "VR_Init"},
        {"no headset", [] { simvr_set_hmd_present(0); }, [] { simvr_set_hmd_present(1); }, -1,
         false, "VR_Init"},
        {"path file corrupt",
         [&] {
             std::ofstream(home + "/openvr/openvrpaths.vrpath", std::ios::trunc)
                 << "{\"runtime\": [";
         },
         [&] { ASSERT_TRUE(simvr::InstallVrPathFile(home)); }, -1, false, "VR_Init"},
        {"headset in use by another application",
         // VRInitError_Driver_HmdInUse
         [] { simvr_set_init_error(205); }, [] { simvr_set_init_error(0); }, -1, false, "VR_Init"},
        {"compositor missing", [] { simvr_set_interface_enabled("IVRCompositor_021", 0); },
         [] { simvr_set_interface_enabled("IVRCompositor_021", 1); }, -1, false, "VRCompositor"},
        {"context on an OpenCL device", [] {}, [] {}, GB::kDeviceKind_OpenCL, true,
         "Render_CreateVersionedContext_OpenCL"},
        {"context on another device", [] {}, [] {}, GB::kDeviceKind_OpenCLNoSharing, true,
         "Render_CreateVersionedContext"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        UsageLogger::Get()->Clear();
        c.arrange();
        const boost::shared_ptr<GB::Device> target =
            c.withoutContext ? DeviceWithoutContext(c.kind) : device;
        EXPECT_FALSE(service->Init(target));
        c.undo();
        EXPECT_FALSE(service->IsInitialized());
        EXPECT_EQ(InitializationReasons(),
                  std::vector<std::string>{std::string("Failure:") + c.reason});
        // The Stop after the failure sent the run's summary.
        EXPECT_EQ(EventsNamed("vidariumvr_instance_metrics").size(), 1u);
        ExpectNothingRunning();
    }

    // A failure at a site that has reported once stays silent.
    EXPECT_FALSE(service->Init(DeviceWithoutContext(GB::kDeviceKind_OpenCL)));
    // The two context failures, each through its own site.
    const std::vector<hostcore::debug::AssertionRecord> assertions =
        hostcore::debug::RecordedAssertions();
    ASSERT_EQ(assertions.size(), 2u);
    for (const hostcore::debug::AssertionRecord& record : assertions) {
        EXPECT_EQ(record.message, "Failed to create RenderContext.");
        EXPECT_EQ(record.expression, "false");
        EXPECT_EQ(record.function, "STN::RenderThread::Init");
        EXPECT_EQ(record.file, "Src/RenderThread.cpp");
    }

    // Nothing was left behind that keeps the next start from working, even on a runtime
    // without render models.
    UsageLogger::Get()->Clear();
    simvr_set_interface_enabled("IVRRenderModels_005", 0);
    EXPECT_TRUE(service->Init(device));
    EXPECT_EQ(InitializationReasons(), std::vector<std::string>{"Success:Success"});
    service->RemoveClient(1);
    ExpectNothingRunning();
}

TEST_F(ServiceSystemTest, DeferredStopWaitsForAHandOver) {
    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    ASSERT_TRUE(service->Init(device));
    service->AddClient(1);
    service->AddClient(2);

    // The deferred task traces its decision: the signal that it has run.
    struct Heard {
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    const auto heard = std::make_shared<Heard>();
    hostcore::debug::SetTraceSink([heard](const std::string& line) {
        std::lock_guard<std::mutex> lock(heard->mutex);
        heard->lines.push_back(line);
    });
    hostcore::debug::SetTraceLevel("STN", 5);
    const auto waitForDecision = [heard](const std::string& text) {
        return WaitUntil([&] {
            std::lock_guard<std::mutex> lock(heard->mutex);
            return std::any_of(
                heard->lines.begin(), heard->lines.end(),
                [&](const std::string& line) { return line.find(text) != std::string::npos; });
        });
    };

    // Client 1 lets go and client 2 takes over before the deferred task runs: nothing stops.
    ASSERT_TRUE(service->SetHMDPoseCallback(1, [](float, float, float) {}));
    ASSERT_TRUE(service->ResetHMDPoseCallback(1));
    ASSERT_TRUE(service->SetHMDPoseCallback(2, [](float, float, float) {}));
    ASSERT_TRUE(waitForDecision("Deferred stop: nothing to stop"));
    EXPECT_TRUE(service->IsInitialized());
    EXPECT_TRUE(RenderThreadStarts());

    // Nobody takes over: everything stops although both clients are still listed.
    ASSERT_TRUE(service->ResetHMDPoseCallback(2));
    EXPECT_TRUE(waitForDecision("Deferred stop: no client took the headset over"));
    // The flag drops at the start of the stop; the runtime and the lock go at its end.
    EXPECT_TRUE(WaitUntil([&] {
        return !service->IsInitialized() && simvr_is_initialized() == 0 &&
               !STN::MachineLock().IsTaken();
    }));
    ExpectNothingRunning();

    // The service stays usable: clients survive a stop.
    ASSERT_TRUE(service->Init(device));
    EXPECT_TRUE(service->SetHMDPoseCallback(1, [](float, float, float) {}));
    service->RemoveClient(1);
    EXPECT_TRUE(service->IsInitialized());
    service->RemoveClient(2);
    ExpectNothingRunning();
}

// The binding of the context current at the last submit the runtime took, and whether it could
// read that image back; -1 when there was none.
std::pair<int, int> LastSubmit() {
    std::pair<int, int> last(-1, -1);
    for (std::uint32_t i = 0; i < simvr_get_call_count(); ++i) {
        simvr_call call;
        if (simvr_get_call(i, &call) == 1 && call.kind == SIMVR_CALL_SUBMIT && call.result == 0) {
            last = {call.gl_context, static_cast<int>(call.int_value)};
        }
    }
    return last;
}

// Each start on a service of its own; every stop, by the last client or by dropping the
// service, leaves no thread and no connection behind.
TEST_F(ServiceSystemTest, EachStartMakesItsContextsOnThePlatformOfTheMoment) {
    const stereon::test::XServer server;
    ASSERT_FALSE(server.Display().empty()) << server.Error();
    simvr_set_readback(1);
    const std::size_t threadsBefore = NamedThreads().size();
    struct Start {
        const char* display;
        int binding;
    };
    // GLX while a display opens, EGL without one or when it does not open, and back.
    const Start starts[] = {{nullptr, SIMVR_GL_CONTEXT_EGL},
                            {server.Display().c_str(), SIMVR_GL_CONTEXT_GLX},
                            {":4711", SIMVR_GL_CONTEXT_EGL},
                            {server.Display().c_str(), SIMVR_GL_CONTEXT_GLX}};
    for (const Start& start : starts) {
        SCOPED_TRACE(start.display != nullptr ? start.display : "no DISPLAY");
        const stereon::test::ScopedEnvironment display("DISPLAY", start.display);
        boost::shared_ptr<STN::IStereonService> service = Library().getService();
        ASSERT_TRUE(service->Init(device));
        service->AddClient(1);
        simvr_clear_calls();
        EXPECT_TRUE(FramesPass(2));
        EXPECT_EQ(LastSubmit(), std::make_pair(start.binding, int(SIMVR_READBACK_DONE)));
        if (start.binding == SIMVR_GL_CONTEXT_EGL && start.display != nullptr) {
            service.reset();  // dropping the service stops everything too
        } else {
            service->RemoveClient(1);
        }
        ExpectNothingRunning();
    }
    EXPECT_EQ(NamedThreads().size(), threadsBefore);
    EXPECT_EQ(simvr_get_init_count(), 4);
    EXPECT_EQ(simvr_get_cleanup_count(), 4);
}

TEST_F(ServiceSystemTest, PriorityKeySetsTheRenderThreadsPriority) {
    hostcore::debug::DebugDatabase& database = hostcore::debug::DebugDatabase::Instance();
    const char kKey[] = "VidfariumVR.RenderThreadPriority";
    // Only what this case sets, and nothing of it left afterwards.
    struct Restore {
        hostcore::debug::DebugDatabase& database;
        const char* key;
        ~Restore() {
            database.RemoveEntry(key);
            database.Reload();
        }
    } restore{database, kKey};
    database.LoadFile("");

    struct Case {
        const char* text;  // null: not set
        int priority;
    };
    const Case cases[] = {
        {nullptr, hostcore::threads::kThreadPriorityHighest},
        {"1", hostcore::threads::kThreadPriorityAboveNormal},
        {"2", hostcore::threads::kThreadPriorityHighest},
        {"12", hostcore::threads::kThreadPriorityNormal},
        {"", hostcore::threads::kThreadPriorityNormal},  // set but empty reads as 0
    };
    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text == nullptr ? "not set" : std::string("\"") + c.text + "\"");
        if (c.text == nullptr) {
            database.RemoveEntry(kKey);
        } else {
            database.SetEntry(kKey, c.text);
        }
        ASSERT_TRUE(service->Init(device));
        ASSERT_TRUE(RenderThreadStarts());
        int requested = -1;
        EXPECT_TRUE(hostcore::threads::FindThreadPriority(RenderThreadId(), &requested, nullptr));
        EXPECT_EQ(requested, c.priority);
        service->RemoveClient(1);
        ExpectNothingRunning();
    }
}

// The other host is already running when this one builds its service and starts: building must
// not discard the running host's lock, and giving up must not free it.
TEST_F(ServiceSystemTest, SecondProcessCannotTakeTheHeadset) {
    ChildHost other;
    ASSERT_TRUE(other.Start());

    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    EXPECT_TRUE(STN::MachineLock().IsTaken());
    EXPECT_FALSE(service->Init(device));
    EXPECT_FALSE(service->IsInitialized());
    EXPECT_TRUE(InitializationReasons().empty());  // the lock fails silently
    EXPECT_EQ(simvr_get_init_count(), 0);
    EXPECT_TRUE(STN::MachineLock().IsTaken());

    EXPECT_TRUE(other.Quit());
    ASSERT_TRUE(service->Init(device));
    service->RemoveClient(1);
    ExpectNothingRunning();
}

TEST_F(ServiceSystemTest, LockOfAKilledProcessIsClearedByTheNextStart) {
    {
        ChildHost other;  // killed as it goes, holding the lock
        ASSERT_TRUE(other.Start());
    }
    EXPECT_TRUE(STN::MachineLock().IsTaken());

    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    EXPECT_FALSE(STN::MachineLock().IsTaken());
    ASSERT_TRUE(service->Init(device));
    service->RemoveClient(1);
    ExpectNothingRunning();
}

// The lock is the last thing a stop lets go of: a host starting in another process while this
// one's render thread is still ending must not get the headset.
TEST_F(ServiceSystemTest, MachineLockIsHeldUntilTheStopHasEnded) {
    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    ASSERT_TRUE(service->Init(device));
    service->AddClient(1);

    // The pose callback, once armed, holds the render thread until the stop asks it to end,
    // then looks at the lock from there and lets the stop go on.
    struct Seen {
        std::atomic<bool> armed{false};
        std::promise<void> entered;
        std::atomic<int> stopAsked{-1};
        std::atomic<int> lockTaken{-1};
    };
    const std::shared_ptr<Seen> seen = std::make_shared<Seen>();
    ASSERT_TRUE(service->SetHMDPoseCallback(1, [seen](float, float, float) {
        if (!seen->armed.exchange(false)) {
            return;
        }
        seen->entered.set_value();
        for (int i = 0; i < 60000 && !boost::this_thread::interruption_requested(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        seen->stopAsked = boost::this_thread::interruption_requested() ? 1 : 0;
        seen->lockTaken = STN::MachineLock().IsTaken() ? 1 : 0;
    }));
    std::future<void> entered = seen->entered.get_future();
    seen->armed = true;
    ASSERT_EQ(entered.wait_for(std::chrono::seconds(120)), std::future_status::ready)
        << "the render thread never called back";

    service->RemoveClient(1);
    EXPECT_EQ(seen->stopAsked.load(), 1) << "the stop never asked the render thread to end";
    EXPECT_EQ(seen->lockTaken.load(), 1) << "the lock went before the render thread ended";
    ExpectNothingRunning();
}

}  // namespace
