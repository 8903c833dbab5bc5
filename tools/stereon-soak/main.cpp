// stereon-soak: the library as a host runs it for a long time, against the simulated headset.
// Two phases, each measured by what the process holds before and after:
//   cycles  Init, a client that plays a few frames, Stop; again and again.
//   storm   host threads sending frames as fast as they can while another thread adds and
//           removes clients (the active one included) and a third restarts the library now
//           and then.
// Prints resident memory, threads and open descriptors at the start and the end of each phase
// and exits 1 when one grew past its bound. Everything is the host's public surface: the
// exported service, host-memory frames of the host stand-in.
#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "GB/Device.h"
#include "IStereonService.h"
#include "StereonExports.h"
#include "VF/VideoFrame.h"
#include "hostcore/classref.h"
#include "simvr/simvr_control.h"
#include "simvr/simvr_setup.h"

namespace {

using FrameRef = hostcore::classref::InterfaceRef<MF::IVideoFrame>;
using Clock = std::chrono::steady_clock;

struct Usage {
    long residentKiB = 0;
    int threads = 0;
    int descriptors = 0;
};

int CountEntries(const char* directory) {
    int count = 0;
    if (DIR* dir = opendir(directory)) {
        while (const dirent* entry = readdir(dir)) {
            count += entry->d_name[0] != '.' ? 1 : 0;
        }
        closedir(dir);
    }
    return count;
}

Usage Measure() {
    Usage usage;
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmRSS:") == 0) {
            usage.residentKiB = std::strtol(line.c_str() + 6, nullptr, 10);
        }
    }
    usage.threads = CountEntries("/proc/self/task");
    // The directory's own descriptor, open while it is read, is not counted.
    usage.descriptors = CountEntries("/proc/self/fd") - 1;
    return usage;
}

// The end of a phase as it settles: the host stand-in's idle workers and a stopped render thread
// leave a moment after `Stop` returns (longer under a sanitizer), so extra threads or descriptors
// get up to five seconds to go before they count.
Usage MeasureSettled(const Usage& start) {
    Usage end = Measure();
    for (int i = 0; i < 100 && (end.threads > start.threads || end.descriptors > start.descriptors);
         ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        end = Measure();
    }
    return end;
}

FrameRef MakeFrame(int width, int height, std::uint8_t shade) {
    FrameRef frame;
    if (VF::CreateHostVideoFrame(frame, hostmediatypes::kPixelFormat_ARGB_4444_8u, width, height) !=
        VF::kCreateResult_OK) {
        return FrameRef();
    }
    const hostcore::classref::InterfaceRef<VF::IVideoFrameMemoryAccess> memory =
        frame.QueryInterface<VF::IVideoFrameMemoryAccess>();
    const hostcore::classref::InterfaceRef<VF::IVideoFrame2DPixelMemoryAccess> rows =
        frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    if (memory && rows) {
        std::memset(
            memory->GetPixels(), shade,
            static_cast<std::size_t>(rows->GetRowBytes()) * static_cast<std::size_t>(height));
    }
    return frame;
}

struct Options {
    int cycles = 1000;
    double stormSeconds = 600.0;
    int senders = 2;
    // Growth allowed from the start to the end of a phase. Memory settles over the first
    // cycles (driver caches, the pool's workers), so the start is taken after a warm-up.
    long residentBoundKiB = 32 * 1024;
    int threadBound = 0;
    int descriptorBound = 0;
};

bool Parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--cycles" && hasValue) {
            options.cycles = std::atoi(argv[++i]);
        } else if (arg == "--storm-seconds" && hasValue) {
            options.stormSeconds = std::atof(argv[++i]);
        } else if (arg == "--senders" && hasValue) {
            options.senders = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--memory-bound-mib" && hasValue) {
            options.residentBoundKiB = std::atol(argv[++i]) * 1024;
        } else {
            std::fprintf(stderr,
                         "usage: stereon-soak [--cycles N (1000)] [--storm-seconds S (600)]\n"
                         "                    [--senders N (2)] [--memory-bound-mib M (32)]\n");
            return false;
        }
    }
    return true;
}

bool Report(const char* phase, const Usage& start, const Usage& end, const Options& options,
            const std::string& extra) {
    const long grown = end.residentKiB - start.residentKiB;
    const bool ok = grown <= options.residentBoundKiB &&
                    end.threads - start.threads <= options.threadBound &&
                    end.descriptors - start.descriptors <= options.descriptorBound;
    std::printf(
        "%-6s resident %ld -> %ld KiB (%+ld, bound +%ld), threads %d -> %d, descriptors %d -> %d"
        "%s: %s\n",
        phase, start.residentKiB, end.residentKiB, grown, options.residentBoundKiB, start.threads,
        end.threads, start.descriptors, end.descriptors, extra.c_str(), ok ? "flat" : "GREW");
    if (end.descriptors > start.descriptors) {
        // What is open now, so that a grown count names its file.
        if (DIR* dir = opendir("/proc/self/fd")) {
            while (const dirent* entry = readdir(dir)) {
                char target[512] = {};
                const std::string link = std::string("/proc/self/fd/") + entry->d_name;
                if (entry->d_name[0] != '.' &&
                    readlink(link.c_str(), target, sizeof(target) - 1) > 0) {
                    std::printf("       descriptor %s: %s\n", entry->d_name, target);
                }
            }
            closedir(dir);
        }
    }
    std::fflush(stdout);
    return ok;
}

class Soak {
public:
    explicit Soak(const boost::shared_ptr<GB::Device>& device) : device(device) {}

    // One life of the library: start, a client plays `frames` frames, stop.
    bool Cycle(int frames) {
        boost::shared_ptr<STN::IStereonService> service = STN::GetStereonServiceInstance();
        if (!service || !service->Init(device)) {
            return false;
        }
        const STN::ClientHandle client = 0x50AC;
        service->AddClient(client);
        service->SetHMDPoseCallback(client, [](float, float, float) {});
        service->SetVideoLayout(STN::kVideoProjectionEquirectangular, STN::kStereoLayoutMonoscopic,
                                360, 180);
        for (int i = 0; i < frames; ++i) {
            service->UpdateVideoTexture(client, frame);
        }
        service->ResetHMDPoseCallback(client);
        service->RemoveClient(client);
        return true;
    }

    // Senders and churn until `seconds` have passed; returns the frames sent.
    std::uint64_t Storm(double seconds, int senders, std::uint64_t& churns) {
        std::atomic<bool> stop{false};
        std::atomic<std::uint64_t> sent{0};
        std::atomic<std::uint64_t> churned{0};
        const boost::shared_ptr<STN::IStereonService> service = STN::GetStereonServiceInstance();
        std::vector<std::thread> threads;
        // Each sender is a client of its own that makes itself the active one and plays; when
        // its client was taken away (and the library stopped with it) it starts over.
        for (int s = 0; s < senders; ++s) {
            threads.emplace_back([&, s] {
                const STN::ClientHandle client = 0x5000 + static_cast<STN::ClientHandle>(s);
                while (!stop.load()) {
                    if (!service->IsInitialized()) {
                        service->Init(device);
                    }
                    service->AddClient(client);
                    service->SetHMDPoseCallback(client, [](float, float, float) {});
                    for (int i = 0; i < 20 && !stop.load(); ++i) {
                        service->UpdateVideoTexture(client, frame);
                        ++sent;
                    }
                }
            });
        }
        // Other clients come and go all the time; every twentieth round a sender's client goes,
        // active or not.
        threads.emplace_back([&] {
            for (std::uint64_t round = 1; !stop.load(); ++round) {
                const STN::ClientHandle passer = 0x6000 + round % 7;
                service->AddClient(passer);
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                service->RemoveClient(passer);
                if (round % 20 == 0) {
                    service->RemoveClient(0x5000 +
                                          static_cast<STN::ClientHandle>((round / 20) % senders));
                }
                ++churned;
            }
        });
        const Clock::time_point start = Clock::now();
        while (std::chrono::duration<double>(Clock::now() - start).count() < seconds) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        stop.store(true);
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (int s = 0; s < senders; ++s) {
            service->RemoveClient(0x5000 + static_cast<STN::ClientHandle>(s));
        }
        churns = churned.load();
        return sent.load();
    }

    FrameRef frame = MakeFrame(256, 128, 0x60);

private:
    boost::shared_ptr<GB::Device> device;
};

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!Parse(argc, argv, options)) {
        return 2;
    }
    // One malloc arena: glibc gives each new thread an arena of its own (up to eight a core), and
    // the storm's threads come and go with every restart of the library, so the default keeps
    // growing its cache of free pages for the first minutes (about 25 MB in 40 s here), which
    // would hide what the library itself keeps. With one arena a leak shows as it is.
    mallopt(M_ARENA_MAX, 1);
    setenv("EGL_PLATFORM", "surfaceless", 0);
    const std::string home = simvr::MakeTempDirectory("stereon-soak-");
    std::string error;
    if (home.empty() || !simvr::InstallVrPathFile(home, &error)) {
        std::fprintf(stderr, "stereon-soak: simulated runtime: %s\n", error.c_str());
        return 2;
    }
    simvr::ResetRuntime();
    simvr_set_render_target_size(64, 64);
    std::string reason;
    const boost::shared_ptr<GB::Device> device =
        GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    if (!device) {
        std::fprintf(stderr, "stereon-soak: no OpenCL device: %s\n", reason.c_str());
        return 2;
    }
    Soak soak(device);
    if (!soak.frame) {
        std::fprintf(stderr, "stereon-soak: no frame\n");
        return 2;
    }

    // A few lives first, so that what stays for the process (the driver's caches, the pool's
    // workers) is in the start figures.
    const int warmUp = std::min(10, std::max(1, options.cycles / 10));
    for (int i = 0; i < warmUp; ++i) {
        if (!soak.Cycle(3)) {
            std::fprintf(stderr, "stereon-soak: Init failed (another host holds the headset?)\n");
            return 2;
        }
    }
    bool flat = true;
    Usage start = Measure();
    const Clock::time_point began = Clock::now();
    for (int i = 0; i < options.cycles; ++i) {
        if (!soak.Cycle(3)) {
            std::fprintf(stderr, "stereon-soak: Init failed at cycle %d\n", i);
            return 1;
        }
    }
    char extra[96];
    std::snprintf(extra, sizeof(extra), " after %d cycles in %.0f s", options.cycles,
                  std::chrono::duration<double>(Clock::now() - began).count());
    flat = Report("cycles", start, MeasureSettled(start), options, extra) && flat;

    if (options.stormSeconds > 0.0) {
        // One storm of a tenth of the time to warm up what a storm keeps (a sender's thread
        // data), then the measured one.
        std::uint64_t churns = 0;
        soak.Storm(std::min(5.0, options.stormSeconds / 10.0), options.senders, churns);
        start = Measure();
        const std::uint64_t sent = soak.Storm(options.stormSeconds, options.senders, churns);
        std::snprintf(extra, sizeof(extra), " after %.0f s, %llu frames, %llu client changes",
                      options.stormSeconds, static_cast<unsigned long long>(sent),
                      static_cast<unsigned long long>(churns));
        flat = Report("storm", start, MeasureSettled(start), options, extra) && flat;
    }
    std::system(("rm -rf '" + home + "'").c_str());
    return flat ? 0 : 1;
}
