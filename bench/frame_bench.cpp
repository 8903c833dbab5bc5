// Frame: one stereo frame of the scene (RenderFrame: both eyes drawn, resolved and submitted)
// for each background, beside a minimal frame at the same eye size in the same run: each eye
// cleared into a 4-sample target, resolved, and both submitted. Each frame ends with glFinish
// so that the GL work is inside the time. In the same rounds, the peer: FFmpeg's v360 making
// both eyes' views of the same equirectangular frame on the CPU (v360_peer.h), from yuv420p and
// from rgba, beside the library's stereo frame of the video.
#include <GL/glew.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "GB/Device.h"
#include "IHMDManager.h"
#include "IMesh.h"
#include "IRenderTarget.h"
#include "IShader.h"
#include "ITexture.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenVRManager.h"
#include "Scene.h"
#include "ShaderRegistry.h"
#include "ShaderUniform.h"
#include "VRPanelManager.h"
#include "alloc_counter.h"
#include "bench.h"
#include "hostcore/debug.h"
#include "hostmediatypes/PixelFormat.h"
#include "scene_session.h"
#include "simvr/simvr_control.h"
#include "stnvr/vr_client.h"
#include "stnvr/vr_interfaces.h"
#include "v360_peer.h"

namespace stereon_bench {

namespace {

constexpr GLsizei kSamples = 4;

// The floor: the same targets the scene draws into, made with bare GL.
class MinimalFrame {
public:
    MinimalFrame(int width, int height) : width(width), height(height) {
        for (Eye& eye : eyes) {
            glGenFramebuffers(1, &eye.multisampleFramebuffer);
            glBindFramebuffer(GL_FRAMEBUFFER, eye.multisampleFramebuffer);
            glGenRenderbuffers(1, &eye.depth);
            glBindRenderbuffer(GL_RENDERBUFFER, eye.depth);
            glRenderbufferStorageMultisample(GL_RENDERBUFFER, kSamples, GL_DEPTH_COMPONENT, width,
                                             height);
            glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER,
                                      eye.depth);
            glGenTextures(1, &eye.multisampleTexture);
            glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, eye.multisampleTexture);
            glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, kSamples, GL_RGBA8, width, height,
                                    GL_TRUE);
            glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D_MULTISAMPLE,
                                   eye.multisampleTexture, 0);
            glGenFramebuffers(1, &eye.resolveFramebuffer);
            glBindFramebuffer(GL_FRAMEBUFFER, eye.resolveFramebuffer);
            glGenTextures(1, &eye.resolveTexture);
            glBindTexture(GL_TEXTURE_2D, eye.resolveTexture);
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                         nullptr);
            glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                                   eye.resolveTexture, 0);
        }
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
    }
    ~MinimalFrame() {
        for (Eye& eye : eyes) {
            glDeleteFramebuffers(1, &eye.multisampleFramebuffer);
            glDeleteFramebuffers(1, &eye.resolveFramebuffer);
            glDeleteRenderbuffers(1, &eye.depth);
            glDeleteTextures(1, &eye.multisampleTexture);
            glDeleteTextures(1, &eye.resolveTexture);
        }
    }
    MinimalFrame(const MinimalFrame&) = delete;
    MinimalFrame& operator=(const MinimalFrame&) = delete;

    void Render(vr::IVRCompositor* compositor) {
        for (Eye& eye : eyes) {
            glBindFramebuffer(GL_FRAMEBUFFER, eye.multisampleFramebuffer);
            glViewport(0, 0, width, height);
            glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            glBindFramebuffer(GL_READ_FRAMEBUFFER, eye.multisampleFramebuffer);
            glBindFramebuffer(GL_DRAW_FRAMEBUFFER, eye.resolveFramebuffer);
            glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT,
                              GL_LINEAR);
        }
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glFlush();
        for (int i = 0; i < 2; ++i) {
            vr::Texture_t texture;
            texture.handle =
                reinterpret_cast<void*>(static_cast<std::uintptr_t>(eyes[i].resolveTexture));
            texture.eType = vr::TextureType_OpenGL;
            texture.eColorSpace = vr::ColorSpace_Gamma;
            compositor->Submit(i == 0 ? vr::Eye_Left : vr::Eye_Right, &texture, nullptr,
                               vr::Submit_Default);
        }
        compositor->PostPresentHandoff();
    }

private:
    struct Eye {
        GLuint multisampleFramebuffer = 0;
        GLuint depth = 0;
        GLuint multisampleTexture = 0;
        GLuint resolveFramebuffer = 0;
        GLuint resolveTexture = 0;
    };
    int width;
    int height;
    Eye eyes[2];
};

// The scene's video draw rebuilt from the library's own shader, quad and targets, so that one
// piece of state can be changed: whether the quad is blended over the cleared target.
class VideoProbe {
public:
    VideoProbe(const boost::shared_ptr<STN::IGraphicsContext>& context,
               const boost::shared_ptr<STN::Scene>& scene,
               const boost::shared_ptr<STN::ITexture>& video)
        : context(context), scene(scene), video(video) {
        shader = STN::ShaderRegistry::Instance().GetShader("VideoShader");
        quad = context->CreateMesh("ProbeQuad");
        static const float kCorners[6][4] = {{-1, -1, 0, 0}, {1, -1, 1, 0}, {1, 1, 1, 1},
                                             {1, 1, 1, 1},   {-1, 1, 0, 1}, {-1, -1, 0, 0}};
        quad->Begin(STN::kPrimitiveTriangles, false, true, false);
        for (const auto& c : kCorners) {
            quad->AddVertex(c[0], c[1], 0, 0, 0, 0, c[2], c[3], 0, 0, 0, 0);
        }
        quad->End();
    }
    ~VideoProbe() { quad->Release(); }
    VideoProbe(const VideoProbe&) = delete;
    VideoProbe& operator=(const VideoProbe&) = delete;
    bool ok() const { return static_cast<bool>(shader); }

    void Render(vr::IVRCompositor* compositor, bool blend) {
        const STN::Scene::Rect& fov = scene->GetFOVRect();
        for (int eye = 0; eye < 2; ++eye) {
            const boost::shared_ptr<STN::IRenderTarget>& target = scene->GetTarget(eye);
            target->Bind();
            context->Clear();
            context->SetDepthTest(false, 0);
            context->SetDepthWrite(false);
            context->SetBlending(blend);
            const STN::Matrix4 inverse = scene->GetViewProjection(eye).Inverse();
            shader->Bind();
            shader->SetUniformMatrix4(STN::kUniformVideoMatrix, inverse.m);
            shader->SetUniform1i(STN::kUniformVideoTexture0, 0);
            shader->SetUniform4f(STN::kUniformVideoSubRect, 0.0f, 1.0f, 0.0f, 1.0f);
            shader->SetUniform4f(STN::kUniformVideoFOVRect, fov[0], fov[1], fov[2], fov[3]);
            shader->SetUniform1i(STN::kUniformVideoVerticalFlip, 0);
            shader->SetUniform1i(STN::kUniformVideoRedBlueSwap, 0);
            video->Bind();
            quad->Draw();
            video->Unbind();
            shader->Unbind();
            context->SetBlending(false);
            context->SetDepthTest(true, 0);
            context->SetDepthWrite(true);
            target->Resolve();
        }
        context->Flush();
        for (int eye = 0; eye < 2; ++eye) {
            const vr::Texture_t texture = scene->GetTarget(eye)->GetVRTexture();
            compositor->Submit(eye == 0 ? vr::Eye_Left : vr::Eye_Right, &texture, nullptr,
                               vr::Submit_Default);
        }
        compositor->PostPresentHandoff();
    }

private:
    boost::shared_ptr<STN::IGraphicsContext> context;
    boost::shared_ptr<STN::Scene> scene;
    boost::shared_ptr<STN::ITexture> video;
    boost::shared_ptr<STN::IShader> shader;
    boost::shared_ptr<STN::IMesh> quad;
};

enum class Kind { kVideo, kPlaceholder, kTheater, kMinimal, kProbeBlend, kProbeNoBlend };

struct Variant {
    const char* name;
    Kind kind;
    // Scene backgrounds: whether the theater's filter runs, as it does by default for every
    // background.
    bool filtered;
    std::vector<double> ms;
    std::uint64_t allocations = 0;
    // From one more frame, untimed, whose allocations' stacks were recorded.
    std::vector<AllocationSource> sources = {};
};

// An equirectangular test picture as native ARGB words: a hue ramp across, a brightness ramp
// down.
std::vector<std::uint32_t> TestPicture(int width, int height) {
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::uint32_t r = static_cast<std::uint32_t>(255 * x / width);
            const std::uint32_t g = static_cast<std::uint32_t>(255 * y / height);
            pixels[static_cast<std::size_t>(y) * width + x] = 0xFF000000u | r << 16 | g << 8 | 128u;
        }
    }
    return pixels;
}

void UploadPicture(const boost::shared_ptr<STN::ITexture>& texture, int width, int height) {
    const std::vector<std::uint32_t> pixels = TestPicture(width, height);
    texture->Upload(pixels.data(), hostmediatypes::kPixelFormat_ARGB_4444_8u,
                    static_cast<unsigned>(width) * 4);
}

// The same picture as R, G, B, A bytes, for the peer.
std::vector<std::uint8_t> TestPictureRGBA(int width, int height) {
    const std::vector<std::uint32_t> words = TestPicture(width, height);
    std::vector<std::uint8_t> bytes;
    bytes.reserve(words.size() * 4);
    for (const std::uint32_t argb : words) {
        bytes.insert(bytes.end(),
                     {static_cast<std::uint8_t>(argb >> 16), static_cast<std::uint8_t>(argb >> 8),
                      static_cast<std::uint8_t>(argb), static_cast<std::uint8_t>(argb >> 24)});
    }
    return bytes;
}

// The peer from one input format, and its times.
struct PeerCase {
    const char* format = "";
    V360Peer peer;
    std::vector<double> ms;
};

constexpr int kWarmUp = 2;
constexpr int kVideoWidth = 3840;
constexpr int kVideoHeight = 1920;

std::vector<Variant> MakeVariants() {
    return {{"video", Kind::kVideo, true, {}},
            {"video, filter off", Kind::kVideo, false, {}},
            {"placeholder", Kind::kPlaceholder, true, {}},
            {"theater", Kind::kTheater, true, {}},
            {"theater, filter off", Kind::kTheater, false, {}},
            {"minimal", Kind::kMinimal, false, {}},
            {"probe: video blended", Kind::kProbeBlend, false, {}},
            {"probe: video unblended", Kind::kProbeNoBlend, false, {}}};
}

// The video texture with the test picture, and the scene that shows it twice over: as it starts
// by default, and with the theater's filter off.
struct Scenes {
    boost::shared_ptr<STN::ITexture> video;
    boost::shared_ptr<STN::Scene> scene;
    boost::shared_ptr<STN::IVRPanelManager> panels;
    boost::shared_ptr<STN::Scene> unfiltered;
};

// False when a scene did not start.
bool StartScenes(const SceneSession& session, Scenes& scenes) {
    const boost::shared_ptr<STN::GraphicsContextOGL>& context = session.context;
    scenes.video = context->CreateTexture("VideoTex0");
    scenes.video->Create(session.device, kVideoWidth, kVideoHeight);
    scenes.video->SetFilter(STN::kFilterLinear);
    UploadPicture(scenes.video, kVideoWidth, kVideoHeight);
    scenes.scene.reset(new STN::Scene());
    scenes.scene->SetVideoFrame(scenes.video, false, false,
                                hostmediatypes::kPixelAspectRatio_Square);
    scenes.panels.reset(new STN::VRPanelManager(context, context));
    bool ok = scenes.scene->Init(context, session.openVR, scenes.panels, STN::kHMDTypeVive);
    // The same scene with the theater's filter switched off, which it reads at Init.
    scenes.unfiltered.reset(new STN::Scene());
    scenes.unfiltered->SetVideoFrame(scenes.video, false, false,
                                     hostmediatypes::kPixelAspectRatio_Square);
    hostcore::debug::DebugDatabase::Instance().SetEntry("Stereon.TheaterFilterEnable", "false");
    ok = ok && scenes.unfiltered->Init(context, session.openVR, scenes.panels, STN::kHMDTypeVive);
    hostcore::debug::DebugDatabase::Instance().RemoveEntry("Stereon.TheaterFilterEnable");
    return ok;
}

void StopScenes(Scenes& scenes) {
    scenes.scene.reset();
    scenes.unfiltered.reset();
    scenes.video->Release();
    scenes.video.reset();
    scenes.panels.reset();
}

// Draws a variant's frame: the scene with its background, the minimal frame or the probe.
class Drawer {
public:
    Drawer(const Options& options, const SceneSession& session, const Scenes& scenes)
        : openVR(session.openVR),
          scenes(scenes),
          minimal(options.eyeWidth, options.eyeHeight),
          probe(session.context, scenes.scene, scenes.video) {}

    void Prepare(const Variant& variant) {
        const boost::shared_ptr<STN::Scene>& drawn = SceneOf(variant);
        // A new frame each time, as from a host playing at the headset's rate: the scene
        // filters each frame once.
        drawn->SetVideoFrame(scenes.video, false, false, hostmediatypes::kPixelAspectRatio_Square);
        drawn->showPlaceholder = variant.kind != Kind::kVideo;
        drawn->SetTheaterActive(variant.kind == Kind::kTheater);
        drawn->UpdatePoses();
    }

    void Render(const Variant& variant) {
        if (variant.kind == Kind::kMinimal) {
            minimal.Render(openVR->GetCompositor());
        } else if (variant.kind == Kind::kProbeBlend || variant.kind == Kind::kProbeNoBlend) {
            probe.Render(openVR->GetCompositor(), variant.kind == Kind::kProbeBlend);
        } else {
            SceneOf(variant)->RenderFrame();
        }
        glFinish();
    }

    // The left eye the runtime was given for one frame drawn as `kind`: the scene with its
    // filter, showing the video, the placeholder or the room, or the probe without blending.
    // Empty when it could not be read back; read-back must be on.
    std::vector<std::uint8_t> Picture(const Options& options, Kind kind) {
        const boost::shared_ptr<STN::Scene>& scene = scenes.scene;
        std::vector<std::uint8_t> image(static_cast<std::size_t>(options.eyeWidth) *
                                        options.eyeHeight * 4);
        scene->SetVideoFrame(scenes.video, false, false, hostmediatypes::kPixelAspectRatio_Square);
        scene->showPlaceholder = kind != Kind::kVideo && kind != Kind::kProbeNoBlend;
        scene->SetTheaterActive(kind == Kind::kTheater);
        scene->UpdatePoses();
        if (kind == Kind::kProbeNoBlend) {
            probe.Render(openVR->GetCompositor(), false);
        } else {
            scene->RenderFrame();
        }
        if (simvr_copy_eye_image(0, image.data(), static_cast<std::uint32_t>(image.size())) == 0) {
            image.clear();
        }
        return image;
    }

private:
    const boost::shared_ptr<STN::Scene>& SceneOf(const Variant& variant) const {
        return variant.filtered ? scenes.scene : scenes.unfiltered;
    }

    const boost::shared_ptr<STN::OpenVRManager>& openVR;
    const Scenes& scenes;
    MinimalFrame minimal;
    VideoProbe probe;
};

// The warm-up rounds, then the measured ones, each drawing every variant once and running the
// peer once from each input format. False with the reason when the peer failed.
bool TimeVariants(const Options& options, Drawer& drawer, std::vector<Variant>& variants,
                  std::vector<PeerCase>& peers, nlohmann::json& section) {
    const int rounds = kWarmUp + options.repetitions;
    for (int run = 0; run < rounds; ++run) {
        for (Variant& variant : variants) {
            drawer.Prepare(variant);
            const std::uint64_t allocationsBefore = ThreadAllocations();
            TraceThreadAllocations(run == rounds - 1);
            const Clock::time_point start = Clock::now();
            drawer.Render(variant);
            const double ms = MillisecondsSince(start);
            const std::uint64_t allocations = ThreadAllocations() - allocationsBefore;
            TraceThreadAllocations(false);
            if (run >= kWarmUp) {
                variant.ms.push_back(ms);
                variant.allocations += allocations;
            }
        }
        for (PeerCase& peer : peers) {
            std::string error;
            const Clock::time_point start = Clock::now();
            if (!peer.peer.Run(error)) {
                section["error"] = error;
                return false;
            }
            if (run >= kWarmUp) {
                peer.ms.push_back(MillisecondsSince(start));
            }
        }
    }
    return true;
}

// One more frame of each variant, untimed, with the allocations' stacks recorded.
void TraceVariants(Drawer& drawer, std::vector<Variant>& variants) {
    for (Variant& variant : variants) {
        drawer.Prepare(variant);
        WatchThread(CurrentThreadId(), true);
        drawer.Render(variant);
        WatchThread(0);
        variant.sources = WatchedAllocationSources();
    }
}

// The probe stands for the scene only if it draws the same picture; the theater row measures the
// room only if it draws something else than the placeholder.
bool CheckPictures(const Options& options, Drawer& drawer, nlohmann::json& section) {
    bool ok = true;
    simvr_set_readback(1);
    const std::vector<std::uint8_t> drawnVideo = drawer.Picture(options, Kind::kVideo);
    const std::vector<std::uint8_t> probed = drawer.Picture(options, Kind::kProbeNoBlend);
    const std::vector<std::uint8_t> placeholder = drawer.Picture(options, Kind::kPlaceholder);
    const std::vector<std::uint8_t> room = drawer.Picture(options, Kind::kTheater);
    simvr_set_readback(0);
    const bool probeMatches = !drawnVideo.empty() && drawnVideo == probed;
    section["probe_matches_scene"] = probeMatches;
    if (!probeMatches) {
        section["error"] = "the probe's picture differs from the scene's";
        ok = false;
    }
    const bool roomDrawn = !room.empty() && !placeholder.empty() && room != placeholder;
    section["theater_differs_from_placeholder"] = roomDrawn;
    if (!roomDrawn) {
        section["error"] = "the theater draws the placeholder";
        ok = false;
    }
    return ok;
}

// Every timed frame, warm-up included, submits both eyes.
bool CheckSubmits(const Options& options, std::size_t variants, std::uint64_t submits,
                  nlohmann::json& section) {
    const std::uint64_t expected =
        2ull * variants * static_cast<std::uint64_t>(kWarmUp + options.repetitions);
    section["submits"] = submits;
    if (submits != expected) {
        section["error"] =
            "expected " + std::to_string(expected) + " submits, saw " + std::to_string(submits);
        return false;
    }
    return true;
}

// The variants and the peer timed, the variants traced and their pictures checked, on started
// scenes.
bool MeasureVariants(const Options& options, const SceneSession& session, const Scenes& scenes,
                     std::vector<Variant>& variants, std::vector<PeerCase>& peers,
                     nlohmann::json& section) {
    Drawer drawer(options, session, scenes);
    if (!TimeVariants(options, drawer, variants, peers, section)) {
        return false;
    }
    const std::uint64_t submits = simvr_count_calls(SIMVR_CALL_SUBMIT);
    TraceVariants(drawer, variants);
    const bool picturesOk = CheckPictures(options, drawer, section);
    const bool submitsOk = CheckSubmits(options, variants.size(), submits, section);
    return picturesOk && submitsOk;
}

bool MeasureScenes(const Options& options, const SceneSession& session,
                   std::vector<Variant>& variants, std::vector<PeerCase>& peers,
                   nlohmann::json& section) {
    Scenes scenes;
    bool ok = StartScenes(session, scenes);
    if (!ok) {
        section["error"] = "the scene did not start";
    } else {
        ok = MeasureVariants(options, session, scenes, variants, peers, section);
    }
    StopScenes(scenes);
    return ok;
}

nlohmann::json ViewJson(const EyeView& view) {
    return {{"h_fov", view.horizontalFovDegrees},
            {"v_fov", view.verticalFovDegrees},
            {"yaw", view.yawDegrees},
            {"pitch", view.pitchDegrees}};
}

// The peer's graphs for the video frame and the headset's eyes (size and field of view as the
// runtime gives them), one thread a core, from yuv420p and from rgba. False with the reason.
bool StartPeers(const Options& options, const SceneSession& session, std::vector<PeerCase>& peers,
                nlohmann::json& section) {
    EyeView views[2];
    for (int eye = 0; eye < 2; ++eye) {
        float left = 0, right = 0, top = 0, bottom = 0;
        session.openVR->GetSystem()->GetProjectionRaw(eye == 0 ? vr::Eye_Left : vr::Eye_Right,
                                                      &left, &right, &top, &bottom);
        views[eye] = ViewFromTangents(left, right, top, bottom);
    }
    const int threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    const std::vector<std::uint8_t> picture = TestPictureRGBA(kVideoWidth, kVideoHeight);
    nlohmann::json graphs = nlohmann::json::object();
    for (PeerCase& peer : peers) {
        std::string error;
        if (!peer.peer.Init(picture, kVideoWidth, kVideoHeight, peer.format, options.eyeWidth,
                            options.eyeHeight, views, threads, error)) {
            section["error"] = "v360 from " + std::string(peer.format) + ": " + error;
            return false;
        }
        graphs[peer.format] = {{"chain", peer.peer.Chain()},
                               {"inserted_by_libavfilter", peer.peer.InsertedFilters()},
                               {"v360_works_in", peer.peer.WorkingFormat()}};
    }
    section["peer"] = {{"filter", "FFmpeg v360 through " + V360Peer::Version()},
                       {"threads", threads},
                       {"interpolation", "linear (bilinear)"},
                       {"eye_size", {options.eyeWidth, options.eyeHeight}},
                       {"frame", {kVideoWidth, kVideoHeight}},
                       {"views", {ViewJson(views[0]), ViewJson(views[1])}},
                       {"graphs", graphs}};
    return true;
}

// Allocations of a traced frame that the GL driver did not ask for.
std::uint64_t OutsideDriver(const std::vector<AllocationSource>& sources) {
    std::uint64_t outsideDriver = 0;
    for (const AllocationSource& source : sources) {
        outsideDriver += AllocationCategory(source.module) != "GL driver" ? source.count : 0;
    }
    return outsideDriver;
}

// A variant's name as a case's: lower case, each run of other characters one '-'
// ("video, filter off" is "video-filter-off").
std::string CaseName(const std::string& text) {
    std::string name;
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c))) {
            name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        } else if (!name.empty() && name.back() != '-') {
            name += '-';
        }
    }
    return name;
}

// The peer beside the library's stereo frame of the video: the table, and the ratios in the
// section and among the cases.
void ReportPeers(const Options& options, const Summary& library, const std::vector<PeerCase>& peers,
                 nlohmann::json& section) {
    std::vector<std::vector<std::string>> table = {
        {"both eyes " + std::to_string(options.eyeWidth) + "x" + std::to_string(options.eyeHeight) +
             " from 3840x1920",
         "ms", "ms per eye", "library/this"}};
    nlohmann::json ratios = nlohmann::json::object();
    nlohmann::json& peer = section["peer"];
    for (const PeerCase& entry : peers) {
        const Summary summary = Summarize(entry.ms);
        const double ratio = summary.median > 0 ? library.median / summary.median : 0.0;
        const std::string name = std::string("v360-") + entry.format;
        peer[name + "_ms"] = ToJson(summary);
        peer["ratio_library_" + name] = ratio;
        ratios["library/" + name] = ratio;
        AddCase(section, "peer/" + name, summary.median, {{"library/" + name, ratio}});
        table.push_back({"v360 from " + std::string(entry.format), FormatMs(summary),
                         Fixed(summary.median / 2, 1), Fixed(ratio, 2)});
    }
    table.push_back(
        {"library, video (as above)", FormatMs(library), Fixed(library.median / 2, 1), "1.00"});
    section["cases"]["frame/video"]["ratios"].update(ratios);
    PrintTable("Peer (FFmpeg v360, bilinear, " + std::to_string(peer.value("threads", 0)) +
                   " threads, the headset's field of view, in the same rounds as the frames)",
               table);
}

// Every variant against the minimal frame, into the section and the table.
void ReportVariants(const Options& options, const std::vector<Variant>& variants,
                    nlohmann::json& section) {
    const Summary floor =
        Summarize(std::find_if(variants.begin(), variants.end(), [](const Variant& variant) {
                      return variant.kind == Kind::kMinimal;
                  })->ms);
    std::vector<std::vector<std::string>> table = {
        {"frame " + std::to_string(options.eyeWidth) + "x" + std::to_string(options.eyeHeight),
         "ms", "ratio to minimal", "allocs/frame", "allocs outside GL driver"}};
    nlohmann::json rows = nlohmann::json::object();
    for (const Variant& variant : variants) {
        const Summary summary = Summarize(variant.ms);
        const double ratio = floor.median > 0 ? summary.median / floor.median : 0.0;
        const double allocations =
            options.repetitions > 0 ? double(variant.allocations) / options.repetitions : 0.0;
        rows[variant.name] = {{"ms", ToJson(summary)},
                              {"ratio_to_minimal", ratio},
                              {"allocations_per_frame", allocations},
                              {"allocation_sources_traced_frame", ToJson(variant.sources)}};
        table.push_back({variant.name, FormatMs(summary), Fixed(ratio, 2), Fixed(allocations, 1),
                         std::to_string(OutsideDriver(variant.sources))});
        const std::string name = CaseName(variant.name);
        AddCase(section, "frame/" + name, summary.median, {{name + "/minimal", ratio}});
    }
    section["eye_size"] = {options.eyeWidth, options.eyeHeight};
    section["video_texture"] = {kVideoWidth, kVideoHeight};
    section["samples"] = kSamples;
    section["repetitions"] = options.repetitions;
    section["variants"] = rows;
    PrintTable("Frame (both eyes, ends in glFinish; median ±MAD (min-max) over " +
                   std::to_string(options.repetitions) + " runs)",
               table);
}

}  // namespace

bool RunFrameBenchmark(const Options& options, nlohmann::json& section) {
    SceneSession session(options);
    bool ok = session.ReportTo(section);
    if (!session.context) {
        return false;
    }
    std::vector<Variant> variants = MakeVariants();
    std::vector<PeerCase> peers(2);
    peers[0].format = "yuv420p";
    peers[1].format = "rgba";
    if (ok) {
        ok = StartPeers(options, session, peers, section);
    }
    if (ok) {
        ok = MeasureScenes(options, session, variants, peers, section);
    }
    if (ok) {
        ReportVariants(options, variants, section);
        const auto video = std::find_if(variants.begin(), variants.end(), [](const Variant& v) {
            return v.kind == Kind::kVideo && v.filtered;
        });
        ReportPeers(options, Summarize(video->ms), peers, section);
    }
    return ok;
}

}  // namespace stereon_bench
