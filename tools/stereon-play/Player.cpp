#include "Player.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "ContactSheet.h"
#include "ControllerListeners.h"
#include "ControllerScript.h"
#include "GB/Device.h"
#include "HostApp/ApplicationType.h"
#include "IStereonService.h"
#include "Progress.h"
#include "ShowMonitor.h"
#include "StatusPanel.h"
#include "StereonExports.h"
#include "VF/VideoFrame.h"

namespace stnplay {

namespace {

std::atomic<bool> stopRequested(false);

constexpr STN::ClientHandle kClient = 1;
constexpr std::int64_t kPatternFrames = 300;
constexpr std::size_t kMoments = 4;

STN::VideoProjection ProjectionValue(const std::string& name) {
    return name == "flat" ? STN::kVideoProjectionFlat : STN::kVideoProjectionEquirectangular;
}

STN::StereoLayout LayoutValue(const std::string& name) {
    if (name == "over-under") {
        return STN::kStereoLayoutOverUnder;
    }
    if (name == "side-by-side") {
        return STN::kStereoLayoutSideBySide;
    }
    return STN::kStereoLayoutMonoscopic;
}

bool MakeDirectories(const std::string& path, std::string& error) {
    std::string partial;
    for (std::size_t i = 0; i <= path.size(); ++i) {
        if (i == path.size() || (path[i] == '/' && i > 0)) {
            partial = path.substr(0, i);
            if (mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST) {
                error = "cannot create " + partial + ": " + std::strerror(errno);
                return false;
            }
        }
    }
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        error = path + " is not a directory";
        return false;
    }
    return true;
}

// Exchanges the two halves of a host frame in place, so that a file that stores the right eye
// first reaches the library with the left eye in the top or left half, where it takes it. The
// library has no setting for the order of the eyes; the host owns the pixels.
bool SwapEyeHalves(const hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame,
                   const std::string& layout) {
    const auto rows = frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    const auto memory = frame.QueryInterface<VF::IVideoFrameMemoryAccess>();
    if (!rows || !memory || memory->GetPixels() == nullptr) {
        return false;
    }
    const MF::Rect bounds = frame->GetBounds();
    const std::size_t width = static_cast<std::size_t>(bounds.width);
    const std::size_t height = static_cast<std::size_t>(bounds.height);
    const std::size_t rowBytes = static_cast<std::size_t>(rows->GetRowBytes());
    if (bounds.width <= 0 || bounds.height <= 0 || rowBytes < width * 4 ||
        memory->GetSizeInBytes() < rowBytes * height) {
        return false;
    }
    std::uint8_t* pixels = static_cast<std::uint8_t*>(memory->GetPixels());
    // An odd middle row or column belongs to neither eye and stays where it is.
    if (layout == "over-under") {
        const std::size_t half = height / 2;
        const std::size_t other = height - half;
        for (std::size_t y = 0; y < half; ++y) {
            std::swap_ranges(pixels + y * rowBytes, pixels + y * rowBytes + width * 4,
                             pixels + (y + other) * rowBytes);
        }
    } else if (layout == "side-by-side") {
        const std::size_t half = width / 2 * 4;
        const std::size_t other = (width - width / 2) * 4;
        for (std::size_t y = 0; y < height; ++y) {
            std::uint8_t* row = pixels + y * rowBytes;
            std::swap_ranges(row, row + half, row + other);
        }
    }
    return true;
}

nlohmann::json LatencySummary(std::vector<double> latencies) {
    nlohmann::json result;
    result["definition"] =
        "milliseconds from the start of the host's UpdateVideoTexture call for a frame to the "
        "left eye's Submit that first showed it, read from the simulated runtime's call log "
        "(polled every millisecond); the render thread takes a waiting frame after each "
        "WaitGetPoses";
    result["count"] = latencies.size();
    if (latencies.empty()) {
        result["mean"] = nullptr;
        result["median"] = nullptr;
        result["p95"] = nullptr;
        result["max"] = nullptr;
        return result;
    }
    double sum = 0.0;
    for (double value : latencies) {
        sum += value;
    }
    std::sort(latencies.begin(), latencies.end());
    result["mean"] = sum / latencies.size();
    result["median"] = latencies[latencies.size() / 2];
    result["p95"] = latencies[std::min(latencies.size() - 1, latencies.size() * 95 / 100)];
    result["max"] = latencies.back();
    return result;
}

}  // namespace

void RequestStop() {
    stopRequested = true;
}

SourceLayout Player::ChooseLayout() const {
    const SourceLayout fromSource = source.Layout();
    SourceLayout chosen;
    chosen.projection = !options.projection.empty()      ? options.projection
                        : !fromSource.projection.empty() ? fromSource.projection
                                                         : "equirect";
    chosen.layout = !options.layout.empty()      ? options.layout
                    : !fromSource.layout.empty() ? fromSource.layout
                                                 : "mono";
    if (options.horizontalFov != 0) {
        chosen.horizontalFov = options.horizontalFov;
        chosen.verticalFov = options.verticalFov;
    } else if (fromSource.horizontalFov != 0 && chosen.projection == fromSource.projection) {
        chosen.horizontalFov = fromSource.horizontalFov;
        chosen.verticalFov = fromSource.verticalFov;
    } else if (chosen.projection == "flat") {
        chosen.horizontalFov = 90;
        chosen.verticalFov = 50;
    } else {
        chosen.horizontalFov = 360;
        chosen.verticalFov = 180;
    }
    return chosen;
}

Player::Player(const Options& options, FrameSource& source, HeadsetRuntime& runtime)
    : options(options), source(source), runtime(runtime), monitor(runtime), sheet(kMoments) {}

Player::~Player() = default;

int Player::Run() {
    if (!options.outDir.empty() && !MakeDirectories(options.outDir, error)) {
        return kExitUsage;
    }
    if (!OpenDevice()) {
        return kExitFailure;
    }
    target = options.frames > 0                ? options.frames
             : source.Name() == "test pattern" ? kPatternFrames
                                               : -1;
    length = source.FrameCount();
    measured = runtime.Simulated();
    if (!StartLibrary()) {
        return runtime.Simulated() ? kExitFailure : kExitNoRuntime;
    }
    const auto start = std::chrono::steady_clock::now();
    PlayFrames();
    const nlohmann::json panelSummary = Settle();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    progress->Finish(delivered, ShownSoFar(), measured ? monitor.Dropped() : 0);
    const int exitCode = Verdict();
    if (!options.outDir.empty()) {
        WriteSummary(panelSummary, seconds);
    }
    StopLibrary();
    return exitCode;
}

bool Player::OpenDevice() {
    std::string reason;
    boost::shared_ptr<GB::Device> created = GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    if (!created) {
        created = GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
    }
    if (!created) {
        error = "no GPU device to start the library on: " + reason;
        return false;
    }
    // The library lets the device go on a thread of its own a moment after the last client
    // left; the host waits for that before it exits, so that none of it runs during the exit.
    const auto released = std::make_shared<std::promise<void>>();
    deviceGone = released->get_future();
    device.reset(created.get(), [created, released](GB::Device*) mutable {
        created.reset();
        released->set_value();
    });
    return true;
}

void Player::LetGoOfDevice() {
    device.reset();
    if (deviceGone.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        std::fprintf(stderr, "stereon-play: the library still holds the GPU device\n");
    }
}

bool Player::StartLibrary() {
    if (options.panel) {
        status.reset(new StatusPanel(source.Name(), source.FrameRate()));
    }
    if (options.controllers && runtime.Simulated()) {
        const std::int64_t runFrames =
            length > 0 && (target < 0 || length < target) ? length : target;
        script.reset(new ControllerScript(runtime, options.headset, runFrames));
        script->Start();
    }
    // A video editor is the kind of host the library takes controller input for.
    HostApp::SetApplicationType(HostApp::kApplicationTypeVideoEditor);
    service = STN::GetStereonServiceInstance();
    if (!service || !service->Init(device)) {
        error = "the library did not start on " + runtime.Description() +
                " (is another host using the headset, or did the runtime refuse?)";
        service.reset();
        LetGoOfDevice();
        return false;
    }
    service->AddClient(kClient);
    STN::IStereonService* const library = service.get();
    StatusPanel* const panel = status.get();
    ControllerListeners* const heard = &listeners;
    service->SetHMDPoseCallback(kClient, [library, panel, heard](float, float, float) {
        // The render context is current here, as making a panel needs.
        if (panel != nullptr) {
            panel->OnRenderThread(*library);
        }
        heard->OnRenderThread(*library);
    });
    if (status) {
        status->Start();
    }
    if (measured) {
        monitor.Start();
    }
    return true;
}

std::uint64_t Player::ShownSoFar() const {
    return measured ? monitor.Shown() : delivered;
}

double Player::RunProgress(std::int64_t handed, std::uint64_t shownSoFar) const {
    double fraction = -1.0;
    if (target > 0) {
        fraction = static_cast<double>(shownSoFar) / static_cast<double>(target);
    }
    if (length > 0) {
        fraction = std::max(fraction, static_cast<double>(handed) / length);
    }
    return std::min(1.0, fraction);
}

void Player::PlayFrames() {
    const std::uint64_t momentEvery =
        static_cast<std::uint64_t>(std::max<std::int64_t>(1, (target > 0 ? target : 240) / 4));
    progress.reset(new Progress(stdout));
    std::printf("stereon-play: %s into the %s\n", source.Name().c_str(),
                runtime.Description().c_str());

    bool layoutSet = false;
    bool swapFailed = false;
    std::string foreignStereo;
    std::uint64_t nextMoment = momentEvery;
    const double rate = source.FrameRate();
    const auto start = std::chrono::steady_clock::now();
    hostcore::classref::InterfaceRef<MF::IVideoFrame> frame;
    // The run ends at the target of frames shown or at the end of the source, the sooner.
    for (std::int64_t index = 0; !stopRequested; ++index) {
        if (target > 0 && static_cast<std::int64_t>(ShownSoFar()) >= target) {
            break;
        }
        if (!source.Next(frame)) {
            break;
        }
        const SourceLayout fromSource = source.Layout();
        const SourceLayout wanted = ChooseLayout();
        if (fromSource.foreignStereo != foreignStereo) {
            foreignStereo = fromSource.foreignStereo;
            if (!foreignStereo.empty() && options.layout.empty()) {
                std::fprintf(stderr,
                             "stereon-play: warning: %s holds its eyes as %s, which the library "
                             "cannot show; it plays as mono (--layout chooses another)\n",
                             source.Name().c_str(), foreignStereo.c_str());
            }
        }
        // The order of the eyes belongs to the source's own layout; another layout asked for
        // on the command line reads the frame afresh.
        const bool swap = fromSource.rightEyeFirst && wanted.layout == fromSource.layout &&
                          wanted.layout != "mono";
        if (swap != swapping) {
            swapping = swap;
            if (swap) {
                std::printf(
                    "stereon-play: %s stores the right eye first; its halves are "
                    "exchanged before each frame is handed over\n",
                    source.Name().c_str());
            }
        }
        if (swap && !SwapEyeHalves(frame, wanted.layout) && !swapFailed) {
            swapFailed = true;
            std::fprintf(stderr,
                         "stereon-play: warning: cannot reach the pixels of a frame to put its "
                         "left eye first; the eyes of such frames are swapped\n");
        }
        if (!layoutSet || wanted.projection != current.projection ||
            wanted.layout != current.layout || wanted.horizontalFov != current.horizontalFov ||
            wanted.verticalFov != current.verticalFov) {
            service->SetVideoLayout(ProjectionValue(wanted.projection), LayoutValue(wanted.layout),
                                    wanted.horizontalFov, wanted.verticalFov);
            current = wanted;
            layoutSet = true;
        }
        if (options.rate == "file") {
            std::this_thread::sleep_until(
                start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                            std::chrono::duration<double>(index / rate)));
        }
        const std::uint64_t first = measured ? monitor.NextSequence() : 0;
        const auto callStart = ShowMonitor::Clock::now();
        const bool accepted = service->UpdateVideoTexture(kClient, frame);
        const std::uint64_t end = measured ? monitor.NextSequence() : 0;
        if (!accepted) {
            ++refused;
            continue;
        }
        ++delivered;
        lastHanded = index;
        if (status) {
            status->Show(index, RunProgress(index + 1, ShownSoFar()));
        }
        if (measured) {
            monitor.FrameDelivered(index, callStart, first, end);
            if (options.rate == "headset") {
                monitor.WaitSettled(std::chrono::milliseconds(2000));
            }
            if (monitor.Shown() >= nextMoment) {
                sheet.Add(runtime.CopyEye(0), runtime.CopyEye(1));
                nextMoment += momentEvery;
            }
            if (script) {
                script->Advance(monitor.Shown(), monitor);
            }
        }
        progress->Update(delivered, ShownSoFar(), measured ? monitor.Dropped() : 0);
    }
}

nlohmann::json Player::Settle() {
    if (measured) {
        // The last frame handed over still has to reach the headset.
        monitor.WaitSettled(std::chrono::milliseconds(2000));
    }
    if (script) {
        if (!script->Finished()) {
            std::fprintf(stderr,
                         "stereon-play: warning: the run ended before the controllers had done "
                         "all they do (that takes %lld frames)\n",
                         static_cast<long long>(script->FramesNeeded()));
        }
        // The pictures show the controllers where the script left them, the press last heard
        // has been answered, and its pulses have reached the headset.
        monitor.WaitFrameAfter(monitor.NextSequence(), std::chrono::milliseconds(2000));
        monitor.WaitHapticPulses(listeners.PulseTrains() * ControllerListeners::kPulseRepeats,
                                 std::chrono::milliseconds(2000));
    }
    nlohmann::json panelSummary;
    if (status) {
        const float eye[3] = {0.0f, 1.2f, 0.0f};
        if (lastHanded >= 0) {
            status->Show(lastHanded, RunProgress(lastHanded + 1, ShownSoFar()));
        }
        // The pictures written below show the panel as it ended.
        if (status->WaitPainted(std::chrono::milliseconds(2000))) {
            if (measured) {
                monitor.WaitFrameAfter(monitor.NextSequence(), std::chrono::milliseconds(2000));
            }
        } else {
            std::fprintf(stderr, "stereon-play: warning: the status panel could not be painted\n");
        }
        // A pointer from between the eyes through the panel, three quarters across, half down.
        panelSummary = status->Describe(eye, StatusPanel::kWidth * 3 / 4, StatusPanel::kHeight / 2);
        status->Stop();
    }
    if (measured) {
        monitor.Stop();
    }
    return panelSummary;
}

int Player::Verdict() {
    const std::string sourceError = source.Error();
    if (delivered == 0) {
        error = !sourceError.empty() ? sourceError
                : refused > 0        ? "the library refused every frame"
                                     : "no frame could be decoded from " + source.Name();
        return refused > 0 ? kExitFailure : kExitBadInput;
    }
    if (!sourceError.empty()) {
        std::fprintf(stderr, "stereon-play: warning: %s\n", sourceError.c_str());
    }
    return kExitOK;
}

void Player::WriteSummary(const nlohmann::json& panelSummary, double seconds) {
    nlohmann::json summary;
    summary["source"] = source.Name();
    summary["runtime"] = runtime.Description();
    summary["projection"] = current.projection;
    summary["layout"] = current.layout;
    summary["fov"] = {current.horizontalFov, current.verticalFov};
    summary["eyes_exchanged"] = swapping;
    summary["frames"] = {
        {"delivered", delivered},
        {"shown", measured ? nlohmann::json(monitor.Shown()) : nlohmann::json()},
        {"dropped", measured ? nlohmann::json(monitor.Dropped()) : nlohmann::json()},
        {"refused", refused}};
    summary["source_frame_rate"] = source.FrameRate();
    summary["seconds"] = seconds;
    summary["latency_ms"] = measured ? LatencySummary(monitor.Latencies()) : nlohmann::json();
    nlohmann::json pictures = nlohmann::json::object();
    if (measured) {
        std::string pngError;
        if (runtime.WriteEyePng(0, options.outDir + "/left.png") &&
            runtime.WriteEyePng(1, options.outDir + "/right.png")) {
            pictures["left"] = "left.png";
            pictures["right"] = "right.png";
        } else {
            std::fprintf(stderr, "stereon-play: the headset showed no picture to write\n");
        }
        sheet.Add(runtime.CopyEye(0), runtime.CopyEye(1));
        if (sheet.Write(options.outDir + "/contact.png", pngError)) {
            pictures["contact"] = "contact.png";
        } else {
            std::fprintf(stderr, "stereon-play: %s\n", pngError.c_str());
        }
    } else {
        std::fprintf(stderr,
                     "stereon-play: a real headset's pictures cannot be read back; only the "
                     "summary is written\n");
    }
    summary["pictures"] = pictures;
    summary["panel"] = panelSummary;
    nlohmann::json pulses;
    if (measured) {
        pulses = nlohmann::json::array();
        for (const ShowMonitor::HapticPulse& pulse : monitor.HapticPulses()) {
            pulses.push_back({{"device", pulse.device},
                              {"axis", pulse.axis},
                              {"microseconds", pulse.microseconds}});
        }
    }
    summary["controllers"] = {{"listed", listeners.Describe()}, {"haptic_pulses", pulses}};
    std::ofstream file(options.outDir + "/summary.json", std::ios::trunc);
    file << summary.dump(2) << '\n';
    if (!file) {
        std::fprintf(stderr, "stereon-play: cannot write %s/summary.json\n",
                     options.outDir.c_str());
    } else {
        std::printf("stereon-play: pictures and summary in %s/\n", options.outDir.c_str());
    }
}

void Player::StopLibrary() {
    service->ResetHMDPoseCallback(kClient);
    listeners.Detach();
    service->RemoveClient(kClient);
    service.reset();
    LetGoOfDevice();
}

}  // namespace stnplay
