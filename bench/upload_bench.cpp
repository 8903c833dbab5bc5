// Upload: a host-memory 'argb' frame through IStereonService::UpdateVideoTexture until the
// texture holds it, beside memcpy of the same bytes and beside the bare glTexSubImage2D of the
// same bytes and format. Both GL sides end the same way: the uploading context (the library's
// own, or one of the benchmark's for the bare case) flushes and lets go, then a third context
// of the same share group reads the texture's first texel, which changes every run. That read
// both proves the upload landed and waits for it. Done once with the render loop drawing tiny
// eyes and once drawing eyes of the delivery size.
#include <GL/glew.h>

#include <cstring>
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
#include "hostmediatypes/PixelFormat.h"
#include "library_session.h"

namespace stereon_bench {

namespace {

// The first texel of a texture, as the native ARGB word, read through a framebuffer.
std::uint32_t ReadFirstTexel(GLuint framebuffer, GLuint texture) {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    std::uint32_t texel = 0;
    glReadPixels(0, 0, 1, 1, GL_BGRA, GL_UNSIGNED_BYTE, &texel);
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    return texel;
}

// Bare upload of the frame into `texture`, the library's transfer format and row length, then
// the flush the library's upload ends with.
void BareUpload(const HostFrame& frame, GLuint texture, GLenum type) {
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, frame.rowBytes / 4);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, frame.width, frame.height, GL_BGRA, type, frame.pixels);
    glBindTexture(GL_TEXTURE_2D, 0);
    glFlush();
}

struct Sizes {
    int width;
    int height;
};

// The frame sizes uploaded while the render loop draws eyes of one size.
struct Loop {
    int eyeWidth;
    int eyeHeight;
    std::vector<Sizes> sizes;
};

// First with tiny eyes, which keep the render loop's drawing out of the uploads' way; then the
// same frame while the loop draws eyes of the delivery size, where the upload competes with the
// drawing (and its publication waits for a frame being drawn).
std::vector<Loop> PlanLoops(const Options& options) {
    std::vector<Loop> loops = {
        {16, 16, {{3840, 1920}}},
        {options.deliveryEyeWidth, options.deliveryEyeHeight, {{3840, 1920}}}};
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
    std::vector<std::vector<std::string>> table = {{"upload", "memcpy ms", "bare ms", "bare REV ms",
                                                    "library ms", "lib/bare", "lib/memcpy",
                                                    "allocs/call bare", "allocs/call lib"}};
};

// The library with the render loop running, the bare case's uploading context and the context
// both cases are read back on, all of one share group.
struct Rig {
    LibrarySession session;
    boost::shared_ptr<STN::GraphicsContextOGL> uploadContext;
    boost::shared_ptr<STN::GraphicsContextOGL> readContext;
    STN::TextureFormatGL format{};
};

bool StartRig(const Options& options, const Loop& loop, Rig& rig, nlohmann::json& section) {
    std::string error;
    if (!rig.session.Start(loop.eyeWidth, loop.eyeHeight, options.refreshHz, true, error)) {
        section["error"] = error;
        return false;
    }
    rig.uploadContext = rig.session.CreateSharedContext("BenchUploadContext");
    rig.readContext = rig.session.CreateSharedContext("BenchReadContext");
    if (!rig.uploadContext || !rig.readContext) {
        section["error"] = "no context sharing with the render context";
        return false;
    }
    rig.format = STN::TextureOGL::MapFormat(hostmediatypes::kPixelFormat_ARGB_4444_8u);
    section["format"] = "argb (kPixelFormat_ARGB_4444_8u)";
    section["gl_transfer"] = {{"internal_format", rig.format.internalFormat},
                              {"format", rig.format.transferFormat},
                              {"type", rig.format.transferType}};
    return true;
}

// What the cases of one frame size work on: the host frame, memcpy's destination, the bare
// case's texture, and the framebuffer both GL cases read the first texel through.
struct Target {
    HostFrame frame;
    std::vector<std::uint8_t> destination;
    GLuint framebuffer = 0;
    GLuint bareTexture = 0;
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
        glGenTextures(1, &target.bareTexture);
        glBindTexture(GL_TEXTURE_2D, target.bareTexture);
        glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(rig.format.internalFormat), size.width,
                     size.height, 0, rig.format.transferFormat, rig.format.transferType, nullptr);
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
        glDeleteTextures(1, &target.bareTexture);
    }
    {
        STN::ScopedContextLock scope(rig.readContext);
        glDeleteFramebuffers(1, &target.framebuffer);
    }
}

// The measured rounds of one size, and what went wrong in any round.
struct Samples {
    std::vector<double> memcpyMs, bareMs, bareRevMs, libraryMs;
    std::uint64_t libraryAllocations = 0;
    std::uint64_t bareAllocations = 0;
    std::uint32_t mismatches = 0;
    std::uint32_t dropped = 0;
};

// One round of the four cases.
struct Round {
    double copyMs = 0.0;
    double bare = 0.0;
    double bareRev = 0.0;
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

// The bare upload in the library's transfer type, or as GL_UNSIGNED_INT_8_8_8_8_REV.
void BareCase(const Rig& rig, const Target& target, bool rev, std::uint32_t marker, Round& round,
              Samples& samples) {
    const GLenum type =
        rev ? static_cast<GLenum>(GL_UNSIGNED_INT_8_8_8_8_REV) : rig.format.transferType;
    const std::uint64_t allocationsBefore = ThreadAllocations();
    const Clock::time_point start = Clock::now();
    {
        STN::ScopedContextLock scope(rig.uploadContext);
        BareUpload(target.frame, target.bareTexture, type);
    }
    std::uint32_t texel = 0;
    {
        STN::ScopedContextLock scope(rig.readContext);
        texel = ReadFirstTexel(target.framebuffer, target.bareTexture);
    }
    (rev ? round.bareRev : round.bare) = MillisecondsSince(start);
    if (!rev) {
        round.allocationsBare = ThreadAllocations() - allocationsBefore;
    }
    samples.mismatches += texel != marker ? 1 : 0;
}

// UpdateVideoTexture as a host calls it, with the allocations' stacks printed when `trace` is
// on and STEREON_BENCH_TRACE_ALLOCATIONS is set. False when the render loop took no frame over
// within a second.
bool LibraryCase(Rig& rig, const Target& target, std::uint32_t marker, bool trace, Round& round,
                 Samples& samples) {
    LibrarySession& session = rig.session;
    // The render loop takes the last frame over within a refresh interval.
    if (!session.WaitForHandOver(1000.0)) {
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
    std::uint32_t texel = 0;
    {
        STN::ScopedContextLock scope(rig.readContext);
        // Read after the call: a warm-up call gives the texture a new size, and with it a new
        // name.
        texel = textureOGL ? ReadFirstTexel(target.framebuffer, textureOGL->GetTexture()) : 0;
    }
    round.library = MillisecondsSince(start);
    round.allocations = ThreadAllocations() - allocationsBefore;
    TraceThreadAllocations(false);
    if (session.AcceptedFrames() == acceptedBefore) {
        ++samples.dropped;
    }
    samples.mismatches += texel != marker ? 1 : 0;
    return true;
}

// The warm-up rounds, then the measured ones. Every round writes a new marker into the frame's
// first texel, which each case checks it delivered.
bool MeasureRounds(const Options& options, Rig& rig, Target& target, Samples& samples,
                   nlohmann::json& section) {
    const int rounds = kWarmUp + options.repetitions;
    for (int run = 0; run < rounds; ++run) {
        const std::uint32_t marker = 0xFF000000u | static_cast<std::uint32_t>(run * 7919 + 1);
        std::memcpy(target.frame.pixels, &marker, sizeof marker);
        Round round;
        // Each case runs first in turn, so that none always finds the source bytes in the
        // cache another one left them in.
        for (int step = 0; step < 4; ++step) {
            const int which = (step + run) % 4;
            if (which == 0) {
                CopyCase(target, marker, round, samples);
            } else if (which == 1 || which == 2) {
                BareCase(rig, target, which == 2, marker, round, samples);
            } else if (!LibraryCase(rig, target, marker, run == rounds - 1, round, samples)) {
                section["error"] = "the render loop took no frame over within a second";
                return false;
            }
        }
        if (run >= kWarmUp) {
            samples.memcpyMs.push_back(round.copyMs);
            samples.bareMs.push_back(round.bare);
            samples.bareRevMs.push_back(round.bareRev);
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

// One more call of each GL kind, untimed, with the allocations' stacks recorded.
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
        BareUpload(target.frame, target.bareTexture, rig.format.transferType);
    }
    WatchThread(0);
    sources.bare = WatchedAllocationSources();
    return sources;
}

// The library against its floors.
struct Figures {
    Summary copy;
    Summary bare;
    Summary bareRev;
    Summary library;
    double perBare = 0.0;
    double perCopy = 0.0;
    double allocationsPerCall = 0.0;
    double bareAllocationsPerCall = 0.0;
};

Figures ComputeFigures(const Options& options, const Samples& samples) {
    Figures figures;
    figures.copy = Summarize(samples.memcpyMs);
    figures.bare = Summarize(samples.bareMs);
    figures.bareRev = Summarize(samples.bareRevMs);
    figures.library = Summarize(samples.libraryMs);
    figures.perBare = figures.bare.median > 0 ? figures.library.median / figures.bare.median : 0.0;
    figures.perCopy = figures.copy.median > 0 ? figures.library.median / figures.copy.median : 0.0;
    figures.allocationsPerCall =
        options.repetitions > 0 ? double(samples.libraryAllocations) / options.repetitions : 0.0;
    figures.bareAllocationsPerCall =
        options.repetitions > 0 ? double(samples.bareAllocations) / options.repetitions : 0.0;
    return figures;
}

// One size's entry in the section's list and row in the table, and the section's error when an
// upload did not land.
void AddResult(const Loop& loop, const Sizes& size, const HostFrame& frame, const Samples& samples,
               const Sources& sources, const Figures& figures, Report& report,
               nlohmann::json& section) {
    const std::string name = std::to_string(size.width) + "x" + std::to_string(size.height) +
                             ", eyes " + std::to_string(loop.eyeWidth) + "x" +
                             std::to_string(loop.eyeHeight);
    report.sizes.push_back(
        {{"size", std::to_string(size.width) + "x" + std::to_string(size.height)},
         {"render_loop_eyes", {loop.eyeWidth, loop.eyeHeight}},
         {"bytes", frame.bytes},
         {"memcpy_ms", ToJson(figures.copy)},
         {"bare_ms", ToJson(figures.bare)},
         {"bare_8888rev_ms", ToJson(figures.bareRev)},
         {"library_ms", ToJson(figures.library)},
         {"ratio_library_bare", figures.perBare},
         {"ratio_library_memcpy", figures.perCopy},
         {"library_allocations_per_call", figures.allocationsPerCall},
         {"bare_allocations_per_call", figures.bareAllocationsPerCall},
         {"library_allocation_sources", ToJson(sources.library)},
         {"bare_allocation_sources", ToJson(sources.bare)},
         {"memcpy_gb_per_s", figures.copy.median > 0 ? frame.bytes / figures.copy.median / 1e6 : 0},
         {"texel_mismatches", samples.mismatches},
         {"dropped_calls", samples.dropped}});
    report.table.push_back(
        {name, FormatMs(figures.copy), FormatMs(figures.bare), FormatMs(figures.bareRev),
         FormatMs(figures.library), Fixed(figures.perBare, 2), Fixed(figures.perCopy, 2),
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
    if (!MeasureRounds(options, rig, target, samples, section)) {
        return false;
    }
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
                   "back on another; bare REV = same bytes as GL_UNSIGNED_INT_8_8_8_8_REV)",
               report.table);
    return !section.contains("error");
}

}  // namespace stereon_bench
