// The controllers' event streams: what the event interpreters make of whatever a runtime says
// about its controllers and whatever presses and poses reach them. Each input drives one
// interpreter, bound through the real client path to the simulated runtime, through a script.
//
// The input: a first byte picks the family (1 + byte % 3: Vive, Windows Mixed Reality, Rift),
// with bit 7 set the runtime plays another family's profile ((byte >> 2) % 4), and with bit 6
// set every controller gets a listener as it is added. Then steps, each an operation byte and
// its arguments (missing bytes read as zero): the runtime's devices change (added, connected or
// not, roles, axis types, names, activity), presses and releases of any type, device and button
// reach the interpreter, as do pose updates (repeated up to 256 times, so that silent
// controllers are recovered), listeners come and go (one removes itself from inside its call),
// and controllers pulse.
//
// Whatever comes, the list of controllers only grows, each is of the interpreter's family with
// a known hand value, a device index the interpreter accepts (or none, once recovered) that no
// other listed controller has, and axes among the five; a listener is called only for the
// controller it was given to, with one of the four button values and a hand.
#include <sanitizer/lsan_interface.h>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "ControllerFeedback.h"
#include "ControllerManager.h"
#include "IControllerListener.h"
#include "IControllerManager.h"
#include "IEventInterpreter.h"
#include "OpenVRManager.h"
#include "fuzz_input.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_paths.h"

namespace {

using STN::ControllerManager;
using STN::IControllerManager;
using STN::Matrix4;

const std::uint32_t kNoDevice = 0xFFFFFFFFu;
// The highest device index the interpreters take.
const std::uint32_t kMaxDevice = 100;

void Check(bool condition, const char* what) {
    fuzzinput::Check(condition, "controller_events_fuzz", what);
}

// Checks each call against the controller it was given to; may take itself off in its next call.
class Listener final : public STN::IControllerListener {
public:
    Listener(IControllerManager* owner, bool leaveOnCall, bool takeUp)
        : owner(owner), leaveOnCall(leaveOnCall), takeUp(takeUp) {}
    void OnButtonUp(const boost::shared_ptr<IControllerManager>& controller, std::uint32_t button,
                    const Matrix4&) override {
        Heard(controller, button);
    }
    bool OnButtonDown(const boost::shared_ptr<IControllerManager>& controller, std::uint32_t button,
                      const Matrix4&) override {
        Heard(controller, button);
        return takeUp;
    }
    void OnPoseUpdate(const boost::shared_ptr<IControllerManager>& controller, bool,
                      const Matrix4&) override {
        Check(controller.get() == owner, "a pose for another controller");
        Leave(controller);
    }
    std::vector<Matrix4> GetPointerMatrices(const boost::shared_ptr<IControllerManager>&,
                                            const Matrix4&) override {
        return {};
    }

private:
    void Heard(const boost::shared_ptr<IControllerManager>& controller, std::uint32_t button) {
        Check(controller.get() == owner, "a button of another controller");
        Check(button <= STN::kControllerButtonSecondary, "a button value out of range");
        const std::uint32_t hand = controller->GetHand();
        Check(hand == STN::kHandLeft || hand == STN::kHandRight, "a button from no hand");
        Leave(controller);
    }
    void Leave(const boost::shared_ptr<IControllerManager>& controller) {
        if (leaveOnCall) {
            // This object may go with the call; nothing of it is touched afterwards.
            controller->SetListener(boost::shared_ptr<STN::IControllerListener>());
        }
    }
    IControllerManager* owner;
    bool leaveOnCall;
    bool takeUp;
};

void Listen(const boost::shared_ptr<IControllerManager>& controller, std::uint8_t mode) {
    if (mode % 3 == 0) {
        controller->SetListener(boost::shared_ptr<STN::IControllerListener>());
        return;
    }
    controller->SetListener(
        boost::make_shared<Listener>(controller.get(), mode % 3 == 2, (mode & 4) != 0));
}

class ListenToNewControllers final : public STN::IControllerAddedCallback {
public:
    void OnControllerAdded(boost::shared_ptr<IControllerManager> controller) override {
        Listen(controller, 1);
    }
};

// The runtime connection, made once: loading the runtime is slow next to one input.
boost::shared_ptr<STN::OpenVRManager> openVR;
std::string home;

void RemoveHome() {
    if (openVR) {
        openVR->Shutdown();
    }
    if (!home.empty()) {
        const int status = std::system(("rm -rf '" + home + "'").c_str());
        static_cast<void>(status);
    }
}

// Devices the runtime knows, a few past them, some near and past the interpreters' limit, and
// any index at all.
std::uint32_t Device(fuzzinput::Reader& in) {
    const std::uint8_t b = in.Byte();
    if (b < 200) {
        return b % 20u;
    }
    if (b < 250) {
        return 90u + (b - 200u) % 15u;
    }
    return in.Word();
}

Matrix4 Pose(fuzzinput::Reader& in) {
    Matrix4 pose = Matrix4::Identity();
    switch (in.Byte() % 3) {
        case 1: {
            // Read in order: the order a call's arguments are worked out in is the compiler's.
            float offset[3];
            in.Floats(offset);
            pose.Translate(offset[0], offset[1], offset[2]);
            break;
        }
        case 2:
            in.Floats(pose.m);
            break;
        default:
            break;
    }
    return pose;
}

vr::VRControllerState_t State(fuzzinput::Reader& in) {
    vr::VRControllerState_t state = {};
    if (in.Byte() % 2 == 1) {
        state.unPacketNum = in.Word();
        state.ulButtonPressed = in.Word64();
        state.ulButtonTouched = in.Word64();
        const std::uint32_t axis = in.Byte() % 5u;
        state.rAxis[axis].x = in.Float();
        state.rAxis[axis].y = in.Float();
    }
    return state;
}

vr::ETrackedDeviceProperty StringProperty(std::uint8_t b) {
    static const vr::ETrackedDeviceProperty kProperties[] = {
        vr::Prop_TrackingSystemName_String, vr::Prop_ModelNumber_String,
        vr::Prop_RenderModelName_String, vr::Prop_ManufacturerName_String};
    return kProperties[b % 4];
}

boost::shared_ptr<ControllerManager> Listed(const STN::IEventInterpreter& interpreter,
                                            std::uint8_t b, std::size_t count) {
    return count == 0 ? boost::shared_ptr<ControllerManager>()
                      : interpreter.GetController(static_cast<std::uint32_t>(b % count));
}

// The list's invariants; returns its length.
std::size_t CheckList(const STN::IEventInterpreter& interpreter, std::uint32_t family,
                      std::size_t before) {
    std::set<std::uint32_t> devices;
    std::size_t count = 0;
    for (;; ++count) {
        const boost::shared_ptr<ControllerManager> c =
            interpreter.GetController(static_cast<std::uint32_t>(count));
        if (!c) {
            break;
        }
        const std::uint32_t device = c->deviceIndex.load();
        if (device != kNoDevice) {
            Check(device <= kMaxDevice, "a controller of a device the interpreter refuses");
            Check(devices.insert(device).second, "two controllers of one device");
            Check(c->GetControllerType() == family, "a controller of another family");
        }
        const std::uint32_t hand = c->GetHand();
        Check(hand == STN::kHandLeft || hand == STN::kHandRight || hand == STN::kHandUnassigned,
              "a hand value out of range");
        STN::ControllerAxisLayout axes = {};
        c->GetAxisLayout(&axes);
        for (const std::uint32_t axis : {axes.trackpadAxis, axes.triggerAxis, axes.joystickAxis}) {
            Check(axis < 5 || axis == kNoDevice, "an axis out of range");
        }
    }
    Check(count >= before, "the list of controllers shrank");
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    home = simvr::MakeTempDirectory("stn-controller-fuzz-");
    std::string error;
    if (home.empty() || !simvr::InstallVrPathFile(home, &error)) {
        std::fprintf(stderr, "controller_events_fuzz: no runtime: %s\n", error.c_str());
        std::abort();
    }
    // The runtime's state is made on first use and torn down at exit in the reverse order:
    // made before the handler is registered, it is still there when the handler ends the
    // connection.
    simvr_reset();
    std::atexit(RemoveHome);
    openVR = STN::OpenVRManager::Instance();
    vr::EVRInitError initError = vr::VRInitError_None;
    if (!openVR->Init(initError)) {
        std::fprintf(stderr, "controller_events_fuzz: Init failed with %d\n",
                     static_cast<int>(initError));
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzinput::Reader in(data, size);
    const std::uint8_t header = in.Byte();
    const std::uint32_t family = 1u + header % 3u;
    // The controllers' family constants of the Vive, Windows MR and Rift interpreters.
    const std::uint32_t controllerFamily = family == 1   ? STN::kControllerFamilyVive
                                           : family == 2 ? STN::kControllerFamilyWindowsMR
                                                         : STN::kControllerFamilyRift;
    const int matching = family == 1   ? SIMVR_PROFILE_VIVE
                         : family == 2 ? SIMVR_PROFILE_WINDOWS_MR
                                       : SIMVR_PROFILE_RIFT;
    simvr_set_profile((header & 0x80) != 0 ? (header >> 2) % 4 : matching);

    boost::shared_ptr<STN::IEventInterpreter> interpreter = STN::CreateEventInterpreter(family);
    Check(interpreter != nullptr, "no interpreter for a family");
    interpreter->Bind(openVR);
    if ((header & 0x40) != 0) {
        interpreter->SetControllerAddedCallback(boost::make_shared<ListenToNewControllers>());
    }

    std::size_t count = 0;
    for (int step = 0; step < 256 && !in.AtEnd(); ++step) {
        switch (in.Byte() % 11) {
            case 0:
                simvr_add_controller(in.Byte() % 4);
                break;
            case 1: {
                const std::uint32_t device = Device(in);
                simvr_set_device_connected(device, in.Byte() & 1);
                break;
            }
            case 2: {
                const std::uint32_t device = Device(in);
                simvr_set_controller_role(device, static_cast<std::int8_t>(in.Byte()));
                break;
            }
            case 3: {
                const std::uint32_t device = Device(in);
                const int axis = vr::Prop_Axis0Type_Int32 + in.Byte() % 5;
                simvr_set_property_int32(device, axis, static_cast<std::int8_t>(in.Byte()));
                break;
            }
            case 4: {
                const std::uint32_t device = Device(in);
                const vr::ETrackedDeviceProperty property = StringProperty(in.Byte());
                std::string value(in.Byte() % 24u, ' ');
                for (char& c : value) {
                    c = static_cast<char>(in.Byte() | 1u);
                }
                simvr_set_property_string(device, property, value.c_str());
                break;
            }
            case 5: {
                const std::uint32_t device = Device(in);
                simvr_remove_property(device, StringProperty(in.Byte()));
                break;
            }
            case 6: {
                static const std::uint32_t kTypes[] = {
                    vr::VREvent_ButtonPress, vr::VREvent_ButtonUnpress, vr::VREvent_ButtonTouch,
                    vr::VREvent_ButtonUntouch};
                const std::uint8_t kind = in.Byte();
                vr::VREvent_t event = {};
                event.eventType = kind % 5 < 4 ? kTypes[kind % 5] : in.Word();
                event.trackedDeviceIndex = Device(in);
                event.data.controller.button = (kind & 0x80) != 0 ? in.Word() : in.Byte() % 64u;
                const Matrix4 pose = Pose(in);
                interpreter->HandleButtonEvent(event, pose, State(in));
                break;
            }
            case 7: {
                const std::uint32_t device = Device(in);
                const bool valid = (in.Byte() & 1) != 0;
                const Matrix4 pose = Pose(in);
                const vr::VRControllerState_t state = State(in);
                for (int times = 1 + in.Byte(); times > 0; --times) {
                    interpreter->UpdateController(device, valid, pose, state);
                }
                break;
            }
            case 8: {
                const boost::shared_ptr<ControllerManager> c =
                    Listed(*interpreter, in.Byte(), count);
                const std::uint8_t mode = in.Byte();
                if (c) {
                    Listen(c, mode);
                }
                break;
            }
            case 9: {
                const boost::shared_ptr<ControllerManager> c =
                    Listed(*interpreter, in.Byte(), count);
                const std::uint8_t repeats = in.Byte() % 3;
                const std::uint32_t duration = in.Word();
                const std::uint8_t interval = in.Byte() % 3;
                const std::uint32_t axis = in.Byte();
                if (c) {
                    // The pulses run on the host stand-in's worker pool, whose workers may still
                    // hold a finished job's wrapper when the input ends; the per-input leak check
                    // would count it. Leaks of the pulse path are the soak's and the suites'.
                    __lsan::ScopedDisabler pulsesFinishOnTheirOwn;
                    c->TriggerHapticPulse(repeats, duration, interval, axis);
                }
                break;
            }
            default: {
                const std::uint32_t device = Device(in);
                simvr_set_activity_level(device, in.Byte() % 5 - 1);
                break;
            }
        }
        count = CheckList(*interpreter, controllerFamily, count);
    }
    // The controllers wait for their pulses as they go.
    interpreter.reset();
    STN::ReleaseControllerFeedback();
    return 0;
}
