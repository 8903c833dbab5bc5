// stereon-bench: the cost of a frame, measured against its floor in the same run. Prints a
// table per part and, with --json FILE, writes everything with the machine it ran on.
#include <GL/glew.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "GB/Device.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "alloc_counter.h"
#include "bench.h"

namespace {

using stereon_bench::Options;

const char kUsage[] =
    "usage: stereon-bench [options]\n"
    "  --quick             fewer runs, no 7680x3840 upload, shorter delivery\n"
    "  --reps N            measured runs per case (default 9, 3 with --quick)\n"
    "  --eye WxH           eye size of the frame part and its v360 peer (default 1512x1680)\n"
    "  --only LIST         parts to run, of upload,frame,panels,delivery (default all); the\n"
    "                      frame part runs FFmpeg's v360 beside the library's stereo frame\n"
    "  --host-fps F        delivery: frames the host sends per second (default 30)\n"
    "  --refresh HZ        delivery: refresh rate of the paced runtime (default 90)\n"
    "  --seconds S         delivery: how long the host sends (default 5, 3 with --quick)\n"
    "  --delivery-size WxH delivery: frame size (default 3840x1920)\n"
    "  --delivery-eye WxH  delivery: eye size (default 512x512)\n"
    "  --json FILE         also write the results as JSON; \"cases\" holds each case's median\n"
    "                      and ratios by name (BENCHMARKS.md lists the stable names)\n"
    "Environment: LP_NUM_THREADS (default: the number of cores), EGL_PLATFORM (default\n"
    "surfaceless), STEREON_GL_PLATFORM (default egl).\n";

bool ParseSize(const char* text, int& width, int& height) {
    return text != nullptr && std::sscanf(text, "%dx%d", &width, &height) == 2 && width > 0 &&
           height > 0 && width <= 8192 && height <= 8192;
}

bool ParsePositive(const char* text, double& value) {
    if (text == nullptr) {
        return false;
    }
    char* end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == '\0' && value > 0.0 && value < 1e6;
}

// False with a message for anything it does not understand.
bool ParseOptions(int argc, char** argv, Options& options, std::string& error) {
    bool repsGiven = false;
    bool secondsGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const char* next = i + 1 < argc ? argv[i + 1] : nullptr;
        double number = 0.0;
        if (arg == "--quick") {
            options.quick = true;
        } else if (arg == "--reps" && ParsePositive(next, number) && number <= 1000) {
            options.repetitions = static_cast<int>(number);
            repsGiven = true;
            ++i;
        } else if (arg == "--eye" && ParseSize(next, options.eyeWidth, options.eyeHeight)) {
            ++i;
        } else if (arg == "--delivery-size" &&
                   ParseSize(next, options.deliveryWidth, options.deliveryHeight)) {
            ++i;
        } else if (arg == "--delivery-eye" &&
                   ParseSize(next, options.deliveryEyeWidth, options.deliveryEyeHeight)) {
            ++i;
        } else if (arg == "--host-fps" && ParsePositive(next, options.hostFps) &&
                   options.hostFps <= 1000) {
            ++i;
        } else if (arg == "--refresh" && ParsePositive(next, options.refreshHz) &&
                   options.refreshHz >= 1 && options.refreshHz <= 1000) {
            ++i;
        } else if (arg == "--seconds" && ParsePositive(next, options.deliverySeconds) &&
                   options.deliverySeconds <= 600) {
            secondsGiven = true;
            ++i;
        } else if (arg == "--json" && next != nullptr) {
            options.jsonPath = next;
            ++i;
        } else if (arg == "--only" && next != nullptr) {
            options.runUpload = options.runFrame = options.runDelivery = options.runPanels = false;
            std::stringstream list(next);
            std::string part;
            while (std::getline(list, part, ',')) {
                if (part == "upload") {
                    options.runUpload = true;
                } else if (part == "frame") {
                    options.runFrame = true;
                } else if (part == "delivery") {
                    options.runDelivery = true;
                } else if (part == "panels") {
                    options.runPanels = true;
                } else {
                    error = "unknown part '" + part + "'";
                    return false;
                }
            }
            ++i;
        } else {
            error = "bad argument '" + arg + "'";
            return false;
        }
    }
    if (options.quick) {
        if (!repsGiven) {
            options.repetitions = 3;
        }
        if (!secondsGiven) {
            options.deliverySeconds = 3.0;
        }
        options.allocationSeconds = 1.0;
    }
    return true;
}

std::string CpuName() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string line;
    while (std::getline(cpuinfo, line)) {
        if (line.compare(0, 10, "model name") == 0) {
            const std::size_t colon = line.find(':');
            return colon == std::string::npos ? line : line.substr(colon + 2);
        }
    }
    return "unknown";
}

// The GL strings of a context like the library's own.
void DescribeGl(nlohmann::json& machine) {
    std::string reason;
    const boost::shared_ptr<GB::Device> device =
        GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
    if (!device) {
        machine["gl_error"] = reason;
        return;
    }
    const boost::shared_ptr<STN::GraphicsContextOGL> context =
        STN::CreateGraphicsContext("BenchProbe");
    context->BindDevice(device);
    if (!context->CreateVersionedContext(4, boost::shared_ptr<STN::IGraphicsContext>())) {
        machine["gl_error"] = "no OpenGL 4 context";
        return;
    }
    context->MakeCurrentAndLock();
    const auto text = [](GLenum name) {
        const GLubyte* value = glGetString(name);
        return value ? std::string(reinterpret_cast<const char*>(value)) : std::string("?");
    };
    machine["gl_renderer"] = text(GL_RENDERER);
    machine["gl_version"] = text(GL_VERSION);
    machine["gl_vendor"] = text(GL_VENDOR);
    context->UnlockAndRelease();
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::string error;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(kUsage, stdout);
            return 0;
        }
    }
    if (!ParseOptions(argc, argv, options, error)) {
        std::fprintf(stderr, "stereon-bench: %s\n%s", error.c_str(), kUsage);
        return 2;
    }
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    setenv("EGL_PLATFORM", "surfaceless", 0);
    // The upload part shares the library's textures through the device's context, which only
    // EGL contexts join; the figures are the EGL path's unless a run asks for GLX.
    setenv("STEREON_GL_PLATFORM", "egl", 0);
    setenv("LP_NUM_THREADS", std::to_string(cores).c_str(), 0);

    nlohmann::json report;
    nlohmann::json& machine = report["machine"];
    machine["cpu"] = CpuName();
    machine["cores"] = cores;
    machine["LP_NUM_THREADS"] = std::getenv("LP_NUM_THREADS");
    machine["build_type"] = STEREON_BENCH_BUILD_TYPE;
    if (const char* commit = std::getenv("STEREON_BENCH_COMMIT")) {
        machine["commit"] = commit;
    }
    char when[32] = {};
    const std::time_t now = std::time(nullptr);
    std::strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    machine["date"] = when;
    DescribeGl(machine);
    // Every figure of allocations rests on the counter; a function it misses fails the run.
    const std::vector<std::string> missed = stereon_bench::CheckAllocationHook();
    report["allocation_hook"] = {{"ok", missed.empty()}, {"missed", missed}};
    for (const std::string& miss : missed) {
        std::fprintf(stderr, "stereon-bench: allocation counter: %s\n", miss.c_str());
    }
    report["options"] = {{"quick", options.quick},
                         {"repetitions", options.repetitions},
                         {"eye", {options.eyeWidth, options.eyeHeight}},
                         {"host_fps", options.hostFps},
                         {"refresh_hz", options.refreshHz},
                         {"delivery_seconds", options.deliverySeconds},
                         {"delivery_size", {options.deliveryWidth, options.deliveryHeight}},
                         {"delivery_eye", {options.deliveryEyeWidth, options.deliveryEyeHeight}}};
    std::printf("stereon-bench on %s, %u cores; GL: %s; LP_NUM_THREADS=%s\n",
                machine["cpu"].get<std::string>().c_str(), cores,
                machine.value("gl_renderer", std::string("none")).c_str(),
                std::getenv("LP_NUM_THREADS"));

    report["cases"] = nlohmann::json::object();
    bool ok = true;
    const auto run = [&](bool wanted, const char* name,
                         bool (*part)(const Options&, nlohmann::json&)) {
        if (!wanted) {
            return;
        }
        nlohmann::json section = nlohmann::json::object();
        const stereon_bench::Clock::time_point start = stereon_bench::Clock::now();
        const bool partOk = part(options, section);
        section["wall_seconds"] = stereon_bench::MillisecondsSince(start) / 1000.0;
        if (!partOk) {
            ok = false;
            std::fprintf(stderr, "stereon-bench: %s: %s\n", name,
                         section.value("error", std::string("failed")).c_str());
        }
        // The parts' cases, gathered in one place under stable names.
        if (section.contains("cases")) {
            report["cases"].update(section["cases"]);
            section.erase("cases");
        }
        report[name] = section;
    };
    run(options.runUpload, "upload", &stereon_bench::RunUploadBenchmark);
    run(options.runFrame, "frame", &stereon_bench::RunFrameBenchmark);
    run(options.runPanels, "panels", &stereon_bench::RunPanelBenchmark);
    run(options.runDelivery, "delivery", &stereon_bench::RunDeliveryBenchmark);

    if (!options.jsonPath.empty()) {
        std::ofstream out(options.jsonPath);
        out << report.dump(2) << "\n";
        if (!out) {
            std::fprintf(stderr, "stereon-bench: cannot write %s\n", options.jsonPath.c_str());
            return 1;
        }
        std::printf("\nJSON written to %s\n", options.jsonPath.c_str());
    }
    return ok && missed.empty() ? 0 : 1;
}
