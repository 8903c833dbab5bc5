// The library driven as a host drives it: loaded with dlopen, started on a device of the host
// stand-in, connected to the simulated runtime through the OpenVR client. What the runtime
// recorded, the usage events, the threads of the process and the machine lock are what is
// looked at.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
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
#include "gl_error_check.h"
#include "host_library.h"
#include "hostcore/classref.h"
#include "hostcore/config.h"
#include "hostcore/debug.h"
#include "hostcore/threads.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"
#include "x_server.h"

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

// The named threads of this process by their kernel ids.
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

// A second host in its own process (lock_holder). Unless it is told to stop, it ends as it goes
// without letting anything go, as a crashed host would.
class ChildHost {
public:
    ChildHost() : ready(::testing::TempDir() + "stereon-child-ready-" + std::to_string(getpid())) {
        std::remove(ready.c_str());
        std::signal(SIGPIPE, SIG_IGN);  // a child that has gone fails the write, not this process
        input = popen(
            ("'" + std::string(STEREON_LOCK_HOLDER) + "' '" + STEREON_LIBRARY + "' '" + ready + "'")
                .c_str(),
            "w");
    }
    ~ChildHost() {
        End("die");
        std::remove(ready.c_str());
    }
    ChildHost(const ChildHost&) = delete;
    ChildHost& operator=(const ChildHost&) = delete;

    // True once its start has returned, and with it the headset is its own: the lock alone is
    // taken a moment before its holder is written down, when another start would still count
    // it as abandoned.
    bool Started() const {
        return input != nullptr && WaitUntil([this] { return std::ifstream(ready).good(); }) &&
               STN::MachineLock().IsTaken();
    }
    // True when it stopped everything and exited cleanly.
    bool Stop() { return End("stop") == 0; }

private:
    int End(const char* command) {
        if (input == nullptr) {
            return -1;
        }
        std::fprintf(input, "%s\n", command);
        const int status = pclose(input);
        input = nullptr;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    const std::string ready;
    FILE* input = nullptr;
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

    // Keeps the trace from here on, with "STN" at level 5, where the deferred stop says what it
    // decided: the signal that it has run.
    void HearTrace() {
        const std::shared_ptr<TraceLines> target = trace;
        hostcore::debug::SetTraceSink([target](const std::string& line) {
            testsupport::FailOnGLError(line);  // as the test main's sink, which this replaces
            std::lock_guard<std::mutex> lock(target->mutex);
            target->lines.push_back(line);
        });
        hostcore::debug::SetTraceLevel("STN", 5);
    }
    void ForgetTrace() {
        std::lock_guard<std::mutex> lock(trace->mutex);
        trace->lines.clear();
    }
    // Waits, for a minute at most, until a line heard holds the text.
    bool TraceSays(const std::string& text) {
        return WaitUntil([&] {
            std::lock_guard<std::mutex> lock(trace->mutex);
            return std::any_of(
                trace->lines.begin(), trace->lines.end(),
                [&](const std::string& line) { return line.find(text) != std::string::npos; });
        });
    }

    struct TraceLines {
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    std::shared_ptr<TraceLines> trace = std::make_shared<TraceLines>();
    boost::shared_ptr<GB::Device> device;
};

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

// One host's run: reached through the two exports alone, one start, only the active client
// served. When the active client lets go, the stop is deferred and says what it decided: another
// client taking the headset over meanwhile keeps the run; nobody taking it over ends it, with the
// run's summary. The service stays usable, its clients survive the stop, and the last client's
// going stops the next run.
TEST_F(ServiceSystemTest, ARunServesTheActiveClientUntilNoneHoldsTheHeadsetOrTheLastOneGoes) {
    EXPECT_EQ(dlsym(Library().handle, "_ZN3STN14StereonService8InstanceEv"), nullptr);
    EXPECT_EQ(dlsym(Library().handle, "_ZN3STN12RenderThread4StopEv"), nullptr);
    EXPECT_TRUE(Library().isVRPossible());
    HearTrace();
    boost::shared_ptr<STN::IStereonService> service = Library().getService();
    ASSERT_TRUE(service);
    EXPECT_EQ(Library().getService(), service);
    // Without a device nothing starts.
    EXPECT_FALSE(service->Init(boost::shared_ptr<GB::Device>()));
    EXPECT_TRUE(InitializationReasons().empty());

    ASSERT_TRUE(service->Init(device));
    EXPECT_TRUE(service->Init(device));  // once is enough
    EXPECT_EQ(simvr_get_init_count(), 1);
    EXPECT_EQ(InitializationReasons(), std::vector<std::string>{"Success:Success"});
    EXPECT_TRUE(STN::MachineLock().IsTaken());

    service->AddClient(1);
    service->AddClient(2);
    service->AddClient(1);
    EXPECT_TRUE(service->SetHMDPoseCallback(1, [](float, float, float) {}));
    EXPECT_FALSE(service->SetHMDPoseCallback(2, [](float, float, float) {}));
    service->SetVideoLayout(1, 2, 180, 180);
    EXPECT_TRUE(service->UpdateVideoTexture(1, HostFrame()));
    EXPECT_FALSE(service->UpdateVideoTexture(2, HostFrame()));  // not the active client
    EXPECT_TRUE(FramesPass(2));

    // Client 1 lets go and client 2 takes over before the deferred task runs: nothing stops.
    ASSERT_TRUE(service->ResetHMDPoseCallback(1));
    EXPECT_FALSE(service->ResetHMDPoseCallback(1));
    ASSERT_TRUE(service->SetHMDPoseCallback(2, [](float, float, float) {}));
    ASSERT_TRUE(TraceSays("Deferred stop: nothing to stop"));
    EXPECT_TRUE(service->IsInitialized());
    // The render thread runs at the highest priority (a debug key may ask for another).
    ASSERT_TRUE(RenderThreadStarts());
    int priority = -1;
    EXPECT_TRUE(hostcore::threads::FindThreadPriority(RenderThreadId(), &priority, nullptr));
    EXPECT_EQ(priority, hostcore::threads::kThreadPriorityHighest);
    // Nobody takes over: everything stops although both clients are still listed. The flag
    // drops at the start of the stop; the runtime and the lock go at its end.
    ASSERT_TRUE(service->ResetHMDPoseCallback(2));
    EXPECT_TRUE(TraceSays("Deferred stop: no client took the headset over"));
    EXPECT_TRUE(WaitUntil([&] {
        return !service->IsInitialized() && simvr_is_initialized() == 0 &&
               !STN::MachineLock().IsTaken();
    }));
    ExpectNothingRunning();
    EXPECT_EQ(simvr_get_cleanup_count(), 1);
    // The run's summary. The frame was published, not dropped as one arriving while another is
    // pending.
    const std::vector<LoggedEvent> metrics = EventsNamed("vidariumvr_instance_metrics");
    ASSERT_EQ(metrics.size(), 1u);
    EXPECT_EQ(metrics[0].Value("GPUDeviceName"), device->GetName());
    EXPECT_EQ(metrics[0].Value("HMDDeviceName"), "lighthouse");
    EXPECT_EQ(metrics[0].Value("StereoscopicSideBySideFramesPlayed"), "1");
    EXPECT_EQ(metrics[0].Value("InstancesAdded"), "2");

    ASSERT_TRUE(service->Init(device));
    EXPECT_TRUE(service->SetHMDPoseCallback(1, [](float, float, float) {}));
    service->RemoveClient(1);
    EXPECT_TRUE(service->IsInitialized());  // a client is left
    // Client 2 takes the headset, lets it go and leaves before the deferred stop runs: that stop
    // comes after the library has stopped and must not stop it again (a second report, and the
    // machine lock let go from under whoever holds it now).
    ForgetTrace();
    ASSERT_TRUE(service->SetHMDPoseCallback(2, [](float, float, float) {}));
    ASSERT_TRUE(service->ResetHMDPoseCallback(2));
    service->RemoveClient(2);
    EXPECT_FALSE(service->IsInitialized());
    ASSERT_TRUE(TraceSays("Deferred stop: nothing to stop"));
    ExpectNothingRunning();
    EXPECT_EQ(simvr_get_cleanup_count(), 2);
    const std::vector<LoggedEvent> second = EventsNamed("vidariumvr_instance_metrics");
    ASSERT_EQ(second.size(), 2u);
    EXPECT_EQ(second[1].Value("InstancesRemoved"), "2");

    // A Stop on a stopped object still reports, with the record emptied.
    UsageLogger::Get()->Clear();
    service->RemoveClient(99);
    const std::vector<LoggedEvent> empty = EventsNamed("vidariumvr_instance_metrics");
    ASSERT_EQ(empty.size(), 1u);
    EXPECT_EQ(empty[0].Value("HMDDeviceName"), "");
    EXPECT_EQ(empty[0].Value("InstancesAdded"), "0");

    simvr_set_hmd_present(0);
    EXPECT_FALSE(Library().isVRPossible());
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
        std::int32_t kind;  // of a device without a context; -1: the fixture's device
        const char* reason;
    };
    const std::string nowhere = home + "/nowhere";
    const std::vector<Case> cases = {
        {"runtime missing",
         [&] {
             simvr::ClearEnvironment();
             setenv("XDG_CONFIG_HOME", nowhere.c_str(), 1);
         },
         [&] { ASSERT_TRUE(simvr::InstallVrPathFile(home)); }, -1, "VR_Init"},
        {"version rejected", [] { simvr_set_interface_enabled("IVRSystem_017", 0); },
         [] { simvr_set_interface_enabled("IVRSystem_017", 1); }, -1, "VR_Init"},
        {"no headset", [] { simvr_set_hmd_present(0); }, [] { simvr_set_hmd_present(1); }, -1,
         "VR_Init"},
        {"path file corrupt",
         [&] {
             std::ofstream(home + "/openvr/openvrpaths.vrpath", std::ios::trunc)
                 << "{\"runtime\": [";
         },
         [&] { ASSERT_TRUE(simvr::InstallVrPathFile(home)); }, -1, "VR_Init"},
        {"headset in use by another application",
         // VRInitError_Driver_HmdInUse
         [] { simvr_set_init_error(205); }, [] { simvr_set_init_error(0); }, -1, "VR_Init"},
        {"compositor missing", [] { simvr_set_interface_enabled("IVRCompositor_021", 0); },
         [] { simvr_set_interface_enabled("IVRCompositor_021", 1); }, -1, "VRCompositor"},
        {"context on an OpenCL device", [] {}, [] {}, GB::kDeviceKind_OpenCL,
         "Render_CreateVersionedContext_OpenCL"},
        {"context on another device", [] {}, [] {}, GB::kDeviceKind_OpenCLNoSharing,
         "Render_CreateVersionedContext"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        UsageLogger::Get()->Clear();
        c.arrange();
        const boost::shared_ptr<GB::Device> target =
            c.kind < 0 ? device : DeviceWithoutContext(c.kind);
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
        EXPECT_EQ(record.file, "Src/RenderThread.cpp");  // not the build machine's path
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

// Another host, already running when this one builds its service and starts: building must not
// discard the running host's lock, and giving up must not free it. Once that host has stopped,
// this one starts; a host killed while it holds the lock leaves it to the next start to clear.
TEST_F(ServiceSystemTest, AnotherProcessKeepsTheHeadsetUntilItStopsOrDies) {
    {
        ChildHost other;
        ASSERT_TRUE(other.Started());
        boost::shared_ptr<STN::IStereonService> service = Library().getService();
        EXPECT_TRUE(STN::MachineLock().IsTaken());
        EXPECT_FALSE(service->Init(device));
        EXPECT_TRUE(InitializationReasons().empty());  // the lock fails silently
        EXPECT_EQ(simvr_get_init_count(), 0);
        EXPECT_TRUE(STN::MachineLock().IsTaken());

        EXPECT_TRUE(other.Stop());
        ASSERT_TRUE(service->Init(device));
        service->RemoveClient(1);
        ExpectNothingRunning();
    }
    {
        ChildHost other;  // ends as it goes, holding the lock
        ASSERT_TRUE(other.Started());
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
