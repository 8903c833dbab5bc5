// Upload: a host-memory 'argb' frame through IStereonService::UpdateVideoTexture until the
// texture holds it, beside memcpy of the same bytes and beside bare glTexSubImage2D transfers of
// the same bytes: as B, G, R, A (GL_BGRA with GL_UNSIGNED_BYTE, and as
// GL_UNSIGNED_INT_8_8_8_8_REV), which the driver reorders into the RGBA8 texture, and in the
// order the texture stores (GL_RGBA, red and blue put back by the swizzle), as the library sends
// them. "bare-best" is the fastest of the three in the run. Every GL side ends the same way: the
// uploading context (the library's own, or one of the benchmark's for the bare cases) flushes and
// lets go, then a third context of the same share group reads the texture's first texel, which
// changes every run. That read both proves the upload landed and waits for it. Done once with
// the render loop held between frames (tiny eyes, the runtime unpaced) and once with it drawing
// eyes of the delivery size at the refresh rate.
#include <GL/glew.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ITexture.h"
#include "MF/VideoFrame.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenGL/TextureOGL.h"
#include "ScopedContextLock.h"
#include "UploadSynchronizer.h"
#include "alloc_counter.h"
#include "bench.h"
#include "library_session.h"

namespace stereon_bench {

namespace {

// How a bare case hands the frame's bytes to GL, and whether its texture's swizzle swaps red and
// blue back, as the library's does for host frames.
struct Transfer {
    const char* name;
    GLenum format;
    GLenum type;
    bool swizzled;
};

// The first is the library's own transfer: its allocations are compared with the library's.
const Transfer kTransfers[] = {{"bare-rgba", GL_RGBA, GL_UNSIGNED_BYTE, true},
                               {"bare-bgra", GL_BGRA, GL_UNSIGNED_BYTE, false},
                               {"bare-rev", GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, false}};
constexpr std::size_t kBareCases = sizeof(kTransfers) / sizeof(kTransfers[0]);
constexpr std::size_t kBareBgra = 1;

// The first texel of a texture as stored (R, G, B, A bytes), read through a framebuffer. The read
// waits for the upload; which order the texture hands to samplers is asked afterwards.
std::uint32_t ReadFirstStoredTexel(GLuint framebuffer, GLuint texture) {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    std::uint32_t texel = 0;
    glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, &texel);
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    return texel;
}

// A stored texel as a sampler reads it, as the native ARGB word of the host frame: through the
// texture's swizzle, which either keeps the stored order or swaps red and blue.
std::uint32_t SampledTexel(GLuint texture, std::uint32_t stored) {
    GLint red = GL_RED;
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_R, &red);
    glBindTexture(GL_TEXTURE_2D, 0);
    const std::uint8_t* bytes = reinterpret_cast<const std::uint8_t*>(&stored);
    // The stored bytes are R, G, B, A, or B, G, R, A under a swapping swizzle; the ARGB word lies
    // in memory as B, G, R, A.
    const bool swapped = red == GL_BLUE;
    const std::uint32_t r = swapped ? bytes[2] : bytes[0];
    const std::uint32_t b = swapped ? bytes[0] : bytes[2];
    return static_cast<std::uint32_t>(bytes[3]) << 24 | r << 16 |
           static_cast<std::uint32_t>(bytes[1]) << 8 | b;
}

// Bare upload of the frame into `texture` with the transfer and the library's row length, then
// the flush the library's upload ends with.
void BareUpload(const HostFrame& frame, GLuint texture, const Transfer& transfer) {
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, frame.rowBytes / 4);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, frame.width, frame.height, transfer.format,
                    transfer.type, frame.pixels);
    glBindTexture(GL_TEXTURE_2D, 0);
    glFlush();
}

struct Sizes {
    int width;
    int height;
};

// The frame sizes uploaded while the render loop draws eyes of one size; `cases` prefixes the
// names of their cases in the JSON. With `held`, the runtime is unpaced and the loop is held in
// the compositor's wait during every case (after taking the last frame over), so that the cases
// measure the upload alone; without, the runtime is paced and each library call starts once the
// loop has taken the last frame over, just as it starts drawing.
struct Loop {
    int eyeWidth;
    int eyeHeight;
    std::vector<Sizes> sizes;
    const char* cases;
    bool held;
};

// First with the loop held, which keeps its drawing and its frame lock out of the uploads' way;
// then the same frame while the loop draws eyes of the delivery size, each library call made as
// the loop starts drawing, where the upload competes with the drawing (and its publication waits
// for the frame being drawn).
std::vector<Loop> PlanLoops(const Options& options) {
    std::vector<Loop> loops = {{16, 16, {{3840, 1920}}, "upload", true},
                               {options.deliveryEyeWidth,
                                options.deliveryEyeHeight,
                                {{3840, 1920}},
                                "upload-drawing",
                                false}};
    if (!options.quick) {
        loops[0].sizes.push_back({7680, 3840});
    }
    return loops;
}

// Two warm-up rounds give both video textures the frame's size.
constexpr int kWarmUp = 2;

// What the section's list and the printed table gather, size by size.
struct Report {
    nlohmann::json sizes = nlohmann::json::array();
    std::vector<std::vector<std::string>> table = {{"upload", "memcpy ms", "bare RGBA ms",
                                                    "bare BGRA ms", "bare REV ms", "library ms",
                                                    "lib/memcpy", "lib/bare-best", "lib/bare BGRA",
                                                    "allocs/call bare RGBA", "allocs/call lib"}};
};

// The library with the render loop running, the bare cases' uploading context and the context
// every case is read back on, all of one share group.
struct Rig {
    LibrarySession session;
    boost::shared_ptr<STN::GraphicsContextOGL> uploadContext;
    boost::shared_ptr<STN::GraphicsContextOGL> readContext;
};

bool StartRig(const Options& options, const Loop& loop, Rig& rig, nlohmann::json& section) {
    std::string error;
    if (!rig.session.Start(loop.eyeWidth, loop.eyeHeight, options.refreshHz, !loop.held, error)) {
        section["error"] = error;
        return false;
    }
    rig.uploadContext = rig.session.CreateSharedContext("BenchUploadContext");
    rig.readContext = rig.session.CreateSharedContext("BenchReadContext");
    if (!rig.uploadContext || !rig.readContext) {
        section["error"] = "no context sharing with the render context";
        return false;
    }
    section["format"] = "argb (kPixelFormat_ARGB_4444_8u)";
    nlohmann::json transfers = nlohmann::json::object();
    for (const Transfer& transfer : kTransfers) {
        transfers[transfer.name] = {{"internal_format", GL_RGBA8},
                                    {"format", transfer.format},
                                    {"type", transfer.type},
                                    {"red_blue_swizzle", transfer.swizzled}};
    }
    section["gl_transfers"] = transfers;
    return true;
}

// Textures each bare transfer takes in turn, as the library's uploads take its two video
// textures in turn: each upload writes memory the previous one did not.
constexpr std::size_t kTexturesInTurn = 2;

// What the cases of one frame size work on: the host frame, memcpy's destination, the bare
// cases' textures, and the framebuffer every GL case reads the first texel through.
struct Target {
    HostFrame frame;
    std::vector<std::uint8_t> destination;
    GLuint framebuffer = 0;
    GLuint bareTextures[kBareCases][kTexturesInTurn] = {};
};

// False when the host frame could not be made.
bool MakeTarget(const Rig& rig, const Sizes& size, Target& target) {
    if (!MakeHostFrame(size.width, size.height, target.frame)) {
        return false;
    }
    FillHostFrame(target.frame, 0xFF406080u);
    target.destination.assign(target.frame.bytes, 1);
    {
        STN::ScopedContextLock scope(rig.uploadContext);
        for (std::size_t i = 0; i < kBareCases; ++i) {
            glGenTextures(static_cast<GLsizei>(kTexturesInTurn), target.bareTextures[i]);
            for (const GLuint texture : target.bareTextures[i]) {
                glBindTexture(GL_TEXTURE_2D, texture);
                glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, size.width, size.height, 0, GL_RGBA,
                             GL_UNSIGNED_BYTE, nullptr);
                if (kTransfers[i].swizzled) {
                    const GLint order[4] = {GL_BLUE, GL_GREEN, GL_RED, GL_ALPHA};
                    glTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, order);
                }
            }
        }
        glBindTexture(GL_TEXTURE_2D, 0);
        glFinish();
    }
    {
        STN::ScopedContextLock scope(rig.readContext);
        glGenFramebuffers(1, &target.framebuffer);
    }
    return true;
}

void DeleteTarget(const Rig& rig, Target& target) {
    {
        STN::ScopedContextLock scope(rig.uploadContext);
        for (std::size_t i = 0; i < kBareCases; ++i) {
            glDeleteTextures(static_cast<GLsizei>(kTexturesInTurn), target.bareTextures[i]);
        }
    }
    {
        STN::ScopedContextLock scope(rig.readContext);
        glDeleteFramebuffers(1, &target.framebuffer);
    }
}

// The measured rounds of one size, and what went wrong in any round.
struct Samples {
    std::vector<double> memcpyMs, libraryMs;
    std::vector<double> bareMs[kBareCases];
    std::uint64_t libraryAllocations = 0;
    std::uint64_t bareAllocations = 0;
    std::uint32_t mismatches = 0;
    std::uint32_t dropped = 0;
};

// One round of the cases.
struct Round {
    double copyMs = 0.0;
    double bare[kBareCases] = {};
    double library = 0.0;
    std::uint64_t allocations = 0;
    std::uint64_t allocationsBare = 0;
};

void CopyCase(Target& target, std::uint32_t marker, Round& round, Samples& samples) {
    const Clock::time_point start = Clock::now();
    std::memcpy(target.destination.data(), target.frame.pixels, target.frame.bytes);
    round.copyMs = MillisecondsSince(start);
    if (std::memcmp(target.destination.data(), &marker, sizeof marker) != 0) {
        ++samples.mismatches;
    }
}

// The first texel of `texture` as a sampler sees it, on the read context. Reading the stored
// texel waits for the upload and is timed, up to the read context's release, where `stop` is
// called; the swizzle is asked afterwards, untimed.
std::uint32_t ReadBackTexel(const Rig& rig, const Target& target, GLuint texture,
                            const std::function<void()>& stop) {
    std::uint32_t stored = 0;
    {
        STN::ScopedContextLock scope(rig.readContext);
        stored = ReadFirstStoredTexel(target.framebuffer, texture);
    }
    stop();
    STN::ScopedContextLock scope(rig.readContext);
    return SampledTexel(texture, stored);
}

// One bare transfer, into the texture whose turn it is in round `run`.
void BareCase(const Rig& rig, const Target& target, std::size_t which, int run,
              std::uint32_t marker, Round& round, Samples& samples) {
    const GLuint texture =
        target.bareTextures[which][static_cast<std::size_t>(run) % kTexturesInTurn];
    const std::uint64_t allocationsBefore = ThreadAllocations();
    const Clock::time_point start = Clock::now();
    {
        STN::ScopedContextLock scope(rig.uploadContext);
        BareUpload(target.frame, texture, kTransfers[which]);
    }
    const std::uint32_t texel = ReadBackTexel(rig, target, texture, [&] {
        round.bare[which] = MillisecondsSince(start);
        if (which == 0) {
            round.allocationsBare = ThreadAllocations() - allocationsBefore;
        }
    });
    samples.mismatches += texel != marker ? 1 : 0;
}

// UpdateVideoTexture as a host calls it, with the allocations' stacks printed when `trace` is
// on and STEREON_BENCH_TRACE_ALLOCATIONS is set. False when the render loop took no frame over
// within a second.
bool LibraryCase(Rig& rig, const Loop& loop, const Target& target, std::uint32_t marker, bool trace,
                 Round& round, Samples& samples) {
    LibrarySession& session = rig.session;
    // The render loop takes the last frame over within a refresh interval (a held loop has
    // taken it already).
    if (!loop.held && !session.WaitForHandOver(1000.0)) {
        return false;
    }
    // The texture this upload goes into; the render loop may take it over as soon as the call
    // returns.
    const boost::shared_ptr<STN::ITexture> back =
        session.GetSync()->videoTextures[session.GetSync()->backIndex];
    const STN::TextureOGL* textureOGL = dynamic_cast<STN::TextureOGL*>(back.get());
    const std::uint64_t acceptedBefore = session.AcceptedFrames();
    const std::uint64_t allocationsBefore = ThreadAllocations();
    TraceThreadAllocations(trace);
    const Clock::time_point start = Clock::now();
    session.Send(target.frame.frame);
    // Read after the call: a warm-up call gives the texture a new size, and with it a new name.
    const auto stop = [&] {
        round.library = MillisecondsSince(start);
        round.allocations = ThreadAllocations() - allocationsBefore;
        TraceThreadAllocations(false);
    };
    std::uint32_t texel = 0;
    if (textureOGL != nullptr) {
        texel = ReadBackTexel(rig, target, textureOGL->GetTexture(), stop);
    } else {
        stop();
    }
    if (session.AcceptedFrames() == acceptedBefore) {
        ++samples.dropped;
    }
    samples.mismatches += texel != marker ? 1 : 0;
    return true;
}

// The warm-up rounds, then the measured ones. Every round writes a new marker into the frame's
// first texel, which each case checks it delivered, in the order a sampler reads.
bool MeasureRounds(const Options& options, const Loop& loop, Rig& rig, Target& target,
                   Samples& samples, nlohmann::json& section) {
    const int rounds = kWarmUp + options.repetitions;
    const int cases = static_cast<int>(kBareCases) + 2;
    for (int run = 0; run < rounds; ++run) {
        const std::uint32_t marker = 0xFF000000u | static_cast<std::uint32_t>(run * 7919 + 1);
        std::memcpy(target.frame.pixels, &marker, sizeof marker);
        Round round;
        // Each case runs first in turn, so that none always finds the source bytes in the
        // cache another one left them in.
        for (int step = 0; step < cases; ++step) {
            const int which = (step + run) % cases;
            if (loop.held && !rig.session.HoldLoop(1000.0)) {
                section["error"] = "the render loop took no frame over within a second";
                return false;
            }
            if (which == 0) {
                CopyCase(target, marker, round, samples);
            } else if (which <= static_cast<int>(kBareCases)) {
                BareCase(rig, target, static_cast<std::size_t>(which - 1), run, marker, round,
                         samples);
            } else if (!LibraryCase(rig, loop, target, marker, run == rounds - 1, round, samples)) {
                section["error"] = "the render loop took no frame over within a second";
                return false;
            }
        }
        if (run >= kWarmUp) {
            samples.memcpyMs.push_back(round.copyMs);
            for (std::size_t i = 0; i < kBareCases; ++i) {
                samples.bareMs[i].push_back(round.bare[i]);
            }
            samples.libraryMs.push_back(round.library);
            samples.libraryAllocations += round.allocations;
            samples.bareAllocations += round.allocationsBare;
        }
    }
    return true;
}

struct Sources {
    std::vector<AllocationSource> library;
    std::vector<AllocationSource> bare;
};

// One more call of the library and of the bare transfer it makes, untimed, with the
// allocations' stacks recorded.
Sources TraceSources(Rig& rig, const Target& target) {
    Sources sources;
    if (rig.session.WaitForHandOver(1000.0)) {
        WatchThread(CurrentThreadId(), true);
        rig.session.Send(target.frame.frame);
        WatchThread(0);
        sources.library = WatchedAllocationSources();
    }
    // Making the context current is part of both, as it is of the timed cases.
    WatchThread(CurrentThreadId(), true);
    {
        STN::ScopedContextLock scope(rig.uploadContext);
        BareUpload(target.frame, target.bareTextures[0][0], kTransfers[0]);
    }
    WatchThread(0);
    sources.bare = WatchedAllocationSources();
    return sources;
}

// The library against its floors.
struct Figures {
    Summary copy;
    Summary bare[kBareCases];
    Summary library;
    std::size_t bestBare = 0;  // the fastest bare transfer
    double perBest = 0.0;
    double perBgra = 0.0;
    double perCopy = 0.0;
    double allocationsPerCall = 0.0;
    double bareAllocationsPerCall = 0.0;
};

double Ratio(double numerator, double denominator) {
    return denominator > 0 ? numerator / denominator : 0.0;
}

Figures ComputeFigures(const Options& options, const Samples& samples) {
    Figures figures;
    figures.copy = Summarize(samples.memcpyMs);
    for (std::size_t i = 0; i < kBareCases; ++i) {
        figures.bare[i] = Summarize(samples.bareMs[i]);
        if (figures.bare[i].median < figures.bare[figures.bestBare].median) {
            figures.bestBare = i;
        }
    }
    figures.library = Summarize(samples.libraryMs);
    figures.perBest = Ratio(figures.library.median, figures.bare[figures.bestBare].median);
    figures.perBgra = Ratio(figures.library.median, figures.bare[kBareBgra].median);
    figures.perCopy = Ratio(figures.library.median, figures.copy.median);
    figures.allocationsPerCall =
        Ratio(double(samples.libraryAllocations), double(options.repetitions));
    figures.bareAllocationsPerCall =
        Ratio(double(samples.bareAllocations), double(options.repetitions));
    return figures;
}

// One size's entry in the section's list, its cases and row in the table, and the section's
// error when an upload did not land.
void AddResult(const Loop& loop, const Sizes& size, const HostFrame& frame, const Samples& samples,
               const Sources& sources, const Figures& figures, Report& report,
               nlohmann::json& section) {
    const std::string sizeName = std::to_string(size.width) + "x" + std::to_string(size.height);
    const std::string name =
        sizeName + ", eyes " + std::to_string(loop.eyeWidth) + "x" + std::to_string(loop.eyeHeight);
    nlohmann::json entry = {
        {"size", sizeName},
        {"render_loop_eyes", {loop.eyeWidth, loop.eyeHeight}},
        {"bytes", frame.bytes},
        {"memcpy_ms", ToJson(figures.copy)},
        {"library_ms", ToJson(figures.library)},
        {"bare_best", kTransfers[figures.bestBare].name},
        {"ratio_library_memcpy", figures.perCopy},
        {"ratio_library_bare_best", figures.perBest},
        {"ratio_library_bare_bgra", figures.perBgra},
        {"library_allocations_per_call", figures.allocationsPerCall},
        {"bare_allocations_per_call", figures.bareAllocationsPerCall},
        {"library_allocation_sources", ToJson(sources.library)},
        {"bare_allocation_sources", ToJson(sources.bare)},
        {"memcpy_gb_per_s", figures.copy.median > 0 ? frame.bytes / figures.copy.median / 1e6 : 0},
        {"texel_mismatches", samples.mismatches},
        {"dropped_calls", samples.dropped}};
    const std::string prefix = std::string(loop.cases) + "/" + sizeName + "/";
    AddCase(section, prefix + "memcpy", figures.copy.median);
    for (std::size_t i = 0; i < kBareCases; ++i) {
        entry[std::string(kTransfers[i].name) + "_ms"] = ToJson(figures.bare[i]);
        AddCase(section, prefix + kTransfers[i].name, figures.bare[i].median,
                {{std::string(kTransfers[i].name) + "/memcpy",
                  Ratio(figures.bare[i].median, figures.copy.median)}});
    }
    AddCase(
        section, prefix + "bare-best", figures.bare[figures.bestBare].median,
        {{"bare-best/memcpy", Ratio(figures.bare[figures.bestBare].median, figures.copy.median)}});
    AddCase(section, prefix + "library", figures.library.median,
            {{"library/memcpy", figures.perCopy},
             {"library/bare-best", figures.perBest},
             {"library/bare-bgra", figures.perBgra}});
    report.sizes.push_back(entry);
    report.table.push_back(
        {name, FormatMs(figures.copy), FormatMs(figures.bare[0]), FormatMs(figures.bare[1]),
         FormatMs(figures.bare[2]), FormatMs(figures.library), Fixed(figures.perCopy, 2),
         Fixed(figures.perBest, 2), Fixed(figures.perBgra, 2),
         Fixed(figures.bareAllocationsPerCall, 1), Fixed(figures.allocationsPerCall, 1)});
    if (samples.mismatches != 0 || samples.dropped != 0) {
        section["error"] = "an upload did not land: " + std::to_string(samples.mismatches) +
                           " texel mismatches, " + std::to_string(samples.dropped) +
                           " dropped calls";
    }
}

bool MeasureSize(const Options& options, const Loop& loop, const Sizes& size, Rig& rig,
                 Report& report, nlohmann::json& section) {
    Target target;
    if (!MakeTarget(rig, size, target)) {
        section["error"] = "cannot make a host frame";
        return false;
    }
    Samples samples;
    if (!MeasureRounds(options, loop, rig, target, samples, section)) {
        return false;
    }
    rig.session.ReleaseLoop();
    const Sources sources = TraceSources(rig, target);
    DeleteTarget(rig, target);
    AddResult(loop, size, target.frame, samples, sources, ComputeFigures(options, samples), report,
              section);
    return true;
}

bool MeasureLoop(const Options& options, const Loop& loop, Report& report,
                 nlohmann::json& section) {
    Rig rig;
    if (!StartRig(options, loop, rig, section)) {
        return false;
    }
    for (const Sizes& size : loop.sizes) {
        if (!MeasureSize(options, loop, size, rig, report, section)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool RunUploadBenchmark(const Options& options, nlohmann::json& section) {
    section["repetitions"] = options.repetitions;
    Report report;
    for (const Loop& loop : PlanLoops(options)) {
        if (!MeasureLoop(options, loop, report, section)) {
            return false;
        }
    }
    section["sizes"] = report.sizes;
    PrintTable("Upload (median ±MAD (min-max) over " + std::to_string(options.repetitions) +
                   " runs; each GL case flushes its uploading context and reads the first texel "
                   "back on another; bare BGRA and REV are reordered by the driver, bare RGBA "
                   "is stored as sent; bare-best is the fastest bare case)",
               report.table);
    return !section.contains("error");
}

}  // namespace stereon_bench
