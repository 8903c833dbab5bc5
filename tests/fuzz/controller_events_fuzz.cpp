// The controllers' event streams: what the event interpreters make of whatever a runtime says
// about its controllers and whatever presses and poses reach them. Each input drives one
// interpreter, bound through the real client path to the simulated runtime.
//
// The input: a first byte picks the family (1 + byte % 3: Vive, Windows Mixed Reality, Rift);
// with bit 7 set the runtime plays profile (byte >> 2) % 4 instead of the family's, with bit 6
// every controller gets a listener as it is added. Then up to 256 steps, each an operation byte
// and its arguments (see the loop below): the runtime's devices change, presses and poses
// (repeated, so that silent controllers are recovered) reach the interpreter, listeners come and go
// (one removes itself from inside its call), and controllers pulse.
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

using fuzzinput::Check;
using STN::ControllerManager;
using STN::Matrix4;
using Controller = boost::shared_ptr<STN::IControllerManager>;

const std::uint32_t kNoDevice = 0xFFFFFFFFu;
// The highest device index the interpreters take.
const std::uint32_t kMaxDevice = 100;

// Checks each call against the controller it was given to. Mode % 3 == 2 takes it off in its
// first call (the library calls a copy, so it may go then); mode bit 2 takes presses up.
class Listener final : public STN::IControllerListener {
public:
    Listener(STN::IControllerManager* owner, std::uint8_t mode) : owner(owner), mode(mode) {}
    void OnButtonUp(const Controller& c, std::uint32_t button, const Matrix4&) override {
        Heard(c, button);
    }
    bool OnButtonDown(const Controller& c, std::uint32_t button, const Matrix4&) override {
        Heard(c, button);
        return (mode & 4) != 0;
    }
    void OnPoseUpdate(const Controller& c, bool, const Matrix4&) override {
        Check(c.get() == owner, "a pose for another controller");
        Leave(c);
    }
    std::vector<Matrix4> GetPointerMatrices(const Controller&, const Matrix4&) override {
        return {};
    }

private:
    void Heard(const Controller& c, std::uint32_t button) {
        Check(c.get() == owner, "a button of another controller");
        Check(button <= STN::kControllerButtonSecondary, "a button value out of range");
        const std::uint32_t hand = c->GetHand();
        Check(hand == STN::kHandLeft || hand == STN::kHandRight, "a button from no hand");
        Leave(c);
    }
    void Leave(const Controller& c) {
        if (mode % 3 == 2) {
            c->SetListener(boost::shared_ptr<STN::IControllerListener>());
        }
    }
    STN::IControllerManager* owner;
    std::uint8_t mode;
};

void Listen(const Controller& controller, std::uint8_t mode) {
    controller->SetListener(mode % 3 == 0 ? boost::shared_ptr<STN::IControllerListener>()
                                          : boost::make_shared<Listener>(controller.get(), mode));
}

class ListenToNewControllers final : public STN::IControllerAddedCallback {
public:
    void OnControllerAdded(Controller controller) override { Listen(controller, 1); }
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
    return b < 200 ? b % 20u : b < 250 ? 90u + (b - 200u) % 15u : in.Word();
}

Matrix4 Pose(fuzzinput::Reader& in) {
    Matrix4 pose = Matrix4::Identity();
    const int kind = in.Byte() % 3;
    if (kind == 1) {
        // Read in order: the order a call's arguments are worked out in is the compiler's.
        float offset[3];
        in.Floats(offset);
        pose.Translate(offset[0], offset[1], offset[2]);
    } else if (kind == 2) {
        in.Floats(pose.m);
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

// The list's invariants; returns its length.
std::size_t CheckList(const STN::IEventInterpreter& interpreter, std::uint32_t family,
                      std::size_t before) {
    std::set<std::uint32_t> devices;
    std::size_t count = 0;
    while (const boost::shared_ptr<ControllerManager> c =
               interpreter.GetController(static_cast<std::uint32_t>(count))) {
        ++count;
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
    Check(!home.empty() && simvr::InstallVrPathFile(home, &error), "no runtime", error);
    // The runtime's state is made on first use and torn down at exit in the reverse order:
    // made before the handler is registered, it is still there when the handler ends the
    // connection.
    simvr_reset();
    std::atexit(RemoveHome);
    openVR = STN::OpenVRManager::Instance();
    vr::EVRInitError initError = vr::VRInitError_None;
    Check(openVR->Init(initError), "Init failed", std::to_string(initError));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    struct Family {
        std::uint32_t controllers;
        int profile;
    };
    static const Family kFamilies[] = {{STN::kControllerFamilyVive, SIMVR_PROFILE_VIVE},
                                       {STN::kControllerFamilyWindowsMR, SIMVR_PROFILE_WINDOWS_MR},
                                       {STN::kControllerFamilyRift, SIMVR_PROFILE_RIFT}};
    fuzzinput::Reader in(data, size);
    const std::uint8_t header = in.Byte();
    const Family& family = kFamilies[header % 3];
    simvr_set_profile((header & 0x80) != 0 ? (header >> 2) % 4 : family.profile);

    boost::shared_ptr<STN::IEventInterpreter> interpreter =
        STN::CreateEventInterpreter(1u + header % 3u);
    Check(interpreter != nullptr, "no interpreter for a family");
    interpreter->Bind(openVR);
    if ((header & 0x40) != 0) {
        interpreter->SetControllerAddedCallback(boost::make_shared<ListenToNewControllers>());
    }

    std::size_t count = 0;
    const auto listed = [&](std::uint8_t b) {
        return count == 0 ? boost::shared_ptr<ControllerManager>()
                          : interpreter->GetController(static_cast<std::uint32_t>(b % count));
    };
    for (int step = 0; step < 256 && !in.AtEnd(); ++step) {
        const std::uint8_t operation = in.Byte() % 11;
        if (operation == 0) {
            simvr_add_controller(in.Byte() % 4);
        } else if (operation == 6) {
            // A press, release, touch, untouch or any event type, of a button or any value.
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
        } else if (operation == 8) {
            const boost::shared_ptr<ControllerManager> c = listed(in.Byte());
            const std::uint8_t mode = in.Byte();
            if (c) {
                Listen(c, mode);
            }
        } else if (operation == 9) {
            const boost::shared_ptr<ControllerManager> c = listed(in.Byte());
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
        } else {
            // The rest work on a device: of the runtime, or a pose update (7).
            const std::uint32_t device = Device(in);
            const std::uint8_t b = in.Byte();
            if (operation == 1) {
                simvr_set_device_connected(device, b & 1);
            } else if (operation == 2) {
                simvr_set_controller_role(device, static_cast<std::int8_t>(b));
            } else if (operation == 3) {
                simvr_set_property_int32(device, vr::Prop_Axis0Type_Int32 + b % 5,
                                         static_cast<std::int8_t>(in.Byte()));
            } else if (operation == 4) {
                std::string value(in.Byte() % 24u, ' ');
                for (char& c : value) {
                    c = static_cast<char>(in.Byte() | 1u);
                }
                simvr_set_property_string(device, StringProperty(b), value.c_str());
            } else if (operation == 5) {
                simvr_remove_property(device, StringProperty(b));
            } else if (operation == 7) {
                const Matrix4 pose = Pose(in);
                const vr::VRControllerState_t state = State(in);
                for (int times = 1 + in.Byte(); times > 0; --times) {
                    interpreter->UpdateController(device, (b & 1) != 0, pose, state);
                }
            } else {
                simvr_set_activity_level(device, b % 5 - 1);
            }
        }
        count = CheckList(*interpreter, family.controllers, count);
    }
    // The controllers wait for their pulses as they go.
    interpreter.reset();
    STN::ReleaseControllerFeedback();
    return 0;
}
