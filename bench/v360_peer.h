// The peer a user would reach for instead of the library: FFmpeg's v360 filter, through
// libavfilter, turning one equirectangular frame into both eyes' views on the CPU. One filter
// graph splits the frame into two v360 instances, one per eye, bilinear, with slice threads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct AVFilterGraph;
struct AVFilterContext;
struct AVFrame;

namespace stereon_bench {

// One eye's view as v360's rectilinear ("flat") output takes it: the whole field of view and the
// turn of its centre from straight ahead. v360 draws views symmetric about their centre, so an
// eye's off-centre frustum becomes a view of the same extent turned towards the frustum's middle:
// the same pixels to compute, not quite the same picture.
struct EyeView {
    double horizontalFovDegrees = 90.0;
    double verticalFovDegrees = 90.0;
    double yawDegrees = 0.0;
    double pitchDegrees = 0.0;
};

// The view of a frustum given by OpenVR's raw tangents (GetProjectionRaw).
EyeView ViewFromTangents(float left, float right, float top, float bottom);

class V360Peer {
public:
    V360Peer() = default;
    ~V360Peer();
    V360Peer(const V360Peer&) = delete;
    V360Peer& operator=(const V360Peer&) = delete;

    // Builds the graph for a frame of `rgba` (R, G, B, A rows, `width` * 4 bytes each) given to
    // v360 as `inputFormat` ("yuv420p", converted once here, or "rgba"), eyes of `eyeWidth` x
    // `eyeHeight`, on `threads` threads. False with the reason.
    bool Init(const std::vector<std::uint8_t>& rgba, int width, int height,
              const std::string& inputFormat, int eyeWidth, int eyeHeight, const EyeView eyes[2],
              int threads, std::string& error);
    // Both eyes of the frame, as a player would ask for each frame. False with the reason, also
    // when an eye comes out of another size than asked for.
    bool Run(std::string& error);

    // The graph as libavfilter built it: the filter chain asked for (for a packed input such as
    // rgba, a conversion of the whole frame into planar gbrap comes first, once for both eyes),
    // and the conversions libavfilter put in on its own to make that happen.
    const std::string& Chain() const { return chain; }
    const std::vector<std::string>& InsertedFilters() const { return inserted; }
    // "libavfilter 8.44.100", as loaded.
    static std::string Version();
    // The pixel format v360 worked in.
    const std::string& WorkingFormat() const { return workingFormat; }

private:
    void Release();

    AVFilterGraph* graph = nullptr;
    AVFilterContext* source = nullptr;
    AVFilterContext* sinks[2] = {nullptr, nullptr};
    AVFrame* input = nullptr;
    AVFrame* output = nullptr;
    std::int64_t pts = 0;
    int eyeWidth = 0;
    int eyeHeight = 0;
    std::string chain;
    std::vector<std::string> inserted;
    std::string workingFormat;
};

}  // namespace stereon_bench
