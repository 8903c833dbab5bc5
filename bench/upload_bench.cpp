// Upload: a host-memory 'argb' frame through IStereonService::UpdateVideoTexture until the
// texture holds it, beside memcpy of the same bytes and beside the bare glTexSubImage2D of the
// same bytes and format. Both GL sides end the same way: the uploading context (the library's
// own, or one of the benchmark's for the bare case) flushes and lets go, then a third context
// of the same share group reads the texture's first texel, which changes every run. That read
// both proves the upload landed and waits for it. Done once with the render loop drawing tiny
// eyes and once drawing eyes of the delivery size.
#include <GL/glew.h>

#include <cstring>
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

}  // namespace

bool RunUploadBenchmark(const Options& options, nlohmann::json& section) {
    section["repetitions"] = options.repetitions;
    // First with tiny eyes, which keep the render loop's drawing out of the uploads' way; then
    // the same frame while the loop draws eyes of the delivery size, where the upload competes
    // with the drawing (and its publication waits for a frame being drawn).
    struct Loop {
        int eyeWidth;
        int eyeHeight;
        std::vector<Sizes> sizes;
    };
    std::vector<Loop> loops = {
        {16, 16, {{3840, 1920}}},
        {options.deliveryEyeWidth, options.deliveryEyeHeight, {{3840, 1920}}}};
    if (!options.quick) {
        loops[0].sizes.push_back({7680, 3840});
    }
    std::vector<std::vector<std::string>> table = {{"upload", "memcpy ms", "bare ms", "bare REV ms",
                                                    "library ms", "lib/bare", "lib/memcpy",
                                                    "allocs/call bare", "allocs/call lib"}};
    nlohmann::json results = nlohmann::json::array();
    for (const Loop& loop : loops) {
        LibrarySession session;
        std::string error;
        if (!session.Start(loop.eyeWidth, loop.eyeHeight, options.refreshHz, true, error)) {
            section["error"] = error;
            return false;
        }
        // The bare case's uploading context, and the context both cases are read back on.
        const boost::shared_ptr<STN::GraphicsContextOGL> uploadContext =
            session.CreateSharedContext("BenchUploadContext");
        const boost::shared_ptr<STN::GraphicsContextOGL> readContext =
            session.CreateSharedContext("BenchReadContext");
        if (!uploadContext || !readContext) {
            section["error"] = "no context sharing with the render context";
            return false;
        }
        const STN::TextureFormatGL format =
            STN::TextureOGL::MapFormat(hostmediatypes::kPixelFormat_ARGB_4444_8u);
        section["format"] = "argb (kPixelFormat_ARGB_4444_8u)";
        section["gl_transfer"] = {{"internal_format", format.internalFormat},
                                  {"format", format.transferFormat},
                                  {"type", format.transferType}};

        for (const Sizes& size : loop.sizes) {
            HostFrame frame;
            if (!MakeHostFrame(size.width, size.height, frame)) {
                section["error"] = "cannot make a host frame";
                return false;
            }
            FillHostFrame(frame, 0xFF406080u);
            std::vector<std::uint8_t> destination(frame.bytes, 1);

            GLuint framebuffer = 0;
            GLuint bareTexture = 0;
            {
                STN::ScopedContextLock scope(uploadContext);
                glGenTextures(1, &bareTexture);
                glBindTexture(GL_TEXTURE_2D, bareTexture);
                glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format.internalFormat),
                             size.width, size.height, 0, format.transferFormat, format.transferType,
                             nullptr);
                glBindTexture(GL_TEXTURE_2D, 0);
                glFinish();
            }
            {
                STN::ScopedContextLock scope(readContext);
                glGenFramebuffers(1, &framebuffer);
            }

            std::vector<double> memcpyMs, bareMs, bareRevMs, libraryMs;
            std::uint64_t libraryAllocations = 0;
            std::uint64_t bareAllocations = 0;
            std::uint32_t mismatches = 0;
            std::uint32_t dropped = 0;
            // Two warm-up rounds give both video textures the frame's size.
            const int warmUp = 2;
            for (int run = 0; run < warmUp + options.repetitions; ++run) {
                const bool measured = run >= warmUp;
                const std::uint32_t marker =
                    0xFF000000u | static_cast<std::uint32_t>(run * 7919 + 1);
                std::memcpy(frame.pixels, &marker, sizeof marker);

                double copyMs = 0.0;
                double bare = 0.0;
                double bareRev = 0.0;
                double library = 0.0;
                std::uint64_t allocations = 0;
                std::uint64_t allocationsBare = 0;
                // Each case runs first in turn, so that none always finds the source bytes in the
                // cache another one left them in.
                for (int step = 0; step < 4; ++step) {
                    const int which = (step + run) % 4;
                    if (which == 0) {
                        const Clock::time_point start = Clock::now();
                        std::memcpy(destination.data(), frame.pixels, frame.bytes);
                        copyMs = MillisecondsSince(start);
                        if (std::memcmp(destination.data(), &marker, sizeof marker) != 0) {
                            ++mismatches;
                        }
                    } else if (which == 1 || which == 2) {
                        const GLenum type = which == 1
                                                ? format.transferType
                                                : static_cast<GLenum>(GL_UNSIGNED_INT_8_8_8_8_REV);
                        const std::uint64_t allocationsBefore = ThreadAllocations();
                        const Clock::time_point start = Clock::now();
                        {
                            STN::ScopedContextLock scope(uploadContext);
                            BareUpload(frame, bareTexture, type);
                        }
                        std::uint32_t texel = 0;
                        {
                            STN::ScopedContextLock scope(readContext);
                            texel = ReadFirstTexel(framebuffer, bareTexture);
                        }
                        (which == 1 ? bare : bareRev) = MillisecondsSince(start);
                        if (which == 1) {
                            allocationsBare = ThreadAllocations() - allocationsBefore;
                        }
                        mismatches += texel != marker ? 1 : 0;
                    } else {
                        // The render loop takes the last frame over within a refresh interval.
                        if (!session.WaitForHandOver(1000.0)) {
                            section["error"] = "the render loop took no frame over within a second";
                            return false;
                        }
                        // The texture this upload goes into; the render loop may take it over
                        // as soon as the call returns.
                        const boost::shared_ptr<STN::ITexture> back =
                            session.GetSync()->videoTextures[session.GetSync()->backIndex];
                        const STN::TextureOGL* textureOGL =
                            dynamic_cast<STN::TextureOGL*>(back.get());
                        const std::uint64_t acceptedBefore = session.AcceptedFrames();
                        const std::uint64_t allocationsBefore = ThreadAllocations();
                        TraceThreadAllocations(run == warmUp + options.repetitions - 1);
                        const Clock::time_point start = Clock::now();
                        session.Send(frame.frame);
                        std::uint32_t texel = 0;
                        {
                            STN::ScopedContextLock scope(readContext);
                            // Read after the call: a warm-up call gives the texture a new size,
                            // and with it a new name.
                            texel = textureOGL
                                        ? ReadFirstTexel(framebuffer, textureOGL->GetTexture())
                                        : 0;
                        }
                        library = MillisecondsSince(start);
                        allocations = ThreadAllocations() - allocationsBefore;
                        TraceThreadAllocations(false);
                        if (session.AcceptedFrames() == acceptedBefore) {
                            ++dropped;
                        }
                        mismatches += texel != marker ? 1 : 0;
                    }
                }
                if (measured) {
                    memcpyMs.push_back(copyMs);
                    bareMs.push_back(bare);
                    bareRevMs.push_back(bareRev);
                    libraryMs.push_back(library);
                    libraryAllocations += allocations;
                    bareAllocations += allocationsBare;
                }
            }

            // One more call of each GL kind, untimed, with the allocations' stacks recorded.
            std::vector<AllocationSource> librarySources;
            std::vector<AllocationSource> bareSources;
            if (session.WaitForHandOver(1000.0)) {
                WatchThread(CurrentThreadId(), true);
                session.Send(frame.frame);
                WatchThread(0);
                librarySources = WatchedAllocationSources();
            }
            // Making the context current is part of both, as it is of the timed cases.
            WatchThread(CurrentThreadId(), true);
            {
                STN::ScopedContextLock scope(uploadContext);
                BareUpload(frame, bareTexture, format.transferType);
            }
            WatchThread(0);
            bareSources = WatchedAllocationSources();
            {
                STN::ScopedContextLock scope(uploadContext);
                glDeleteTextures(1, &bareTexture);
            }
            {
                STN::ScopedContextLock scope(readContext);
                glDeleteFramebuffers(1, &framebuffer);
            }

            const Summary copy = Summarize(memcpyMs);
            const Summary bare = Summarize(bareMs);
            const Summary bareRev = Summarize(bareRevMs);
            const Summary library = Summarize(libraryMs);
            const double perBare = bare.median > 0 ? library.median / bare.median : 0.0;
            const double perCopy = copy.median > 0 ? library.median / copy.median : 0.0;
            const double allocationsPerCall =
                options.repetitions > 0 ? double(libraryAllocations) / options.repetitions : 0.0;
            const double bareAllocationsPerCall =
                options.repetitions > 0 ? double(bareAllocations) / options.repetitions : 0.0;
            const std::string name =
                std::to_string(size.width) + "x" + std::to_string(size.height) + ", eyes " +
                std::to_string(loop.eyeWidth) + "x" + std::to_string(loop.eyeHeight);
            results.push_back(
                {{"size", std::to_string(size.width) + "x" + std::to_string(size.height)},
                 {"render_loop_eyes", {loop.eyeWidth, loop.eyeHeight}},
                 {"bytes", frame.bytes},
                 {"memcpy_ms", ToJson(copy)},
                 {"bare_ms", ToJson(bare)},
                 {"bare_8888rev_ms", ToJson(bareRev)},
                 {"library_ms", ToJson(library)},
                 {"ratio_library_bare", perBare},
                 {"ratio_library_memcpy", perCopy},
                 {"library_allocations_per_call", allocationsPerCall},
                 {"bare_allocations_per_call", bareAllocationsPerCall},
                 {"library_allocation_sources", ToJson(librarySources)},
                 {"bare_allocation_sources", ToJson(bareSources)},
                 {"memcpy_gb_per_s", copy.median > 0 ? frame.bytes / copy.median / 1e6 : 0},
                 {"texel_mismatches", mismatches},
                 {"dropped_calls", dropped}});
            table.push_back({name, FormatMs(copy), FormatMs(bare), FormatMs(bareRev),
                             FormatMs(library), Fixed(perBare, 2), Fixed(perCopy, 2),
                             Fixed(bareAllocationsPerCall, 1), Fixed(allocationsPerCall, 1)});
            if (mismatches != 0 || dropped != 0) {
                section["error"] = "an upload did not land: " + std::to_string(mismatches) +
                                   " texel mismatches, " + std::to_string(dropped) +
                                   " dropped calls";
            }
        }
    }
    section["sizes"] = results;
    PrintTable("Upload (median ±MAD (min-max) over " + std::to_string(options.repetitions) +
                   " runs; each GL case flushes its uploading context and reads the first texel "
                   "back on another; bare REV = same bytes as GL_UNSIGNED_INT_8_8_8_8_REV)",
               table);
    return !section.contains("error");
}

}  // namespace stereon_bench
