// Frame: one stereo frame of the scene (RenderFrame: both eyes drawn, resolved and submitted)
// for each background, beside a minimal frame at the same eye size in the same run: each eye
// cleared into a 4-sample target, resolved, and both submitted. Each frame ends with glFinish
// so that the GL work is inside the time.
#include <GL/glew.h>

#include <algorithm>
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

// An equirectangular test picture: a hue ramp across, a brightness ramp down.
void UploadPicture(const boost::shared_ptr<STN::ITexture>& texture, int width, int height) {
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::uint32_t r = static_cast<std::uint32_t>(255 * x / width);
            const std::uint32_t g = static_cast<std::uint32_t>(255 * y / height);
            pixels[static_cast<std::size_t>(y) * width + x] = 0xFF000000u | r << 16 | g << 8 | 128u;
        }
    }
    texture->Upload(pixels.data(), hostmediatypes::kPixelFormat_ARGB_4444_8u,
                    static_cast<unsigned>(width) * 4);
}

}  // namespace

bool RunFrameBenchmark(const Options& options, nlohmann::json& section) {
    SceneSession session(options);
    if (!session.context) {
        section["error"] = session.Error();
        return false;
    }
    bool ok = session.ok();
    if (!ok) {
        section["error"] = session.Error();
    }
    const boost::shared_ptr<GB::Device>& device = session.device;
    const boost::shared_ptr<STN::GraphicsContextOGL>& context = session.context;
    const boost::shared_ptr<STN::OpenVRManager>& openVR = session.openVR;

    const int videoWidth = 3840;
    const int videoHeight = 1920;
    std::vector<Variant> variants = {{"video", Kind::kVideo, true, {}},
                                     {"video, filter off", Kind::kVideo, false, {}},
                                     {"placeholder", Kind::kPlaceholder, true, {}},
                                     {"theater", Kind::kTheater, true, {}},
                                     {"theater, filter off", Kind::kTheater, false, {}},
                                     {"minimal", Kind::kMinimal, false, {}},
                                     {"probe: video blended", Kind::kProbeBlend, false, {}},
                                     {"probe: video unblended", Kind::kProbeNoBlend, false, {}}};
    if (ok) {
        boost::shared_ptr<STN::ITexture> video = context->CreateTexture("VideoTex0");
        video->Create(device, videoWidth, videoHeight);
        video->SetFilter(STN::kFilterLinear);
        UploadPicture(video, videoWidth, videoHeight);
        boost::shared_ptr<STN::Scene> scene(new STN::Scene());
        scene->SetVideoFrame(video, false, false, hostmediatypes::kPixelAspectRatio_Square);
        const boost::shared_ptr<STN::IVRPanelManager> panels(
            new STN::VRPanelManager(context, context));
        ok = scene->Init(context, openVR, panels, STN::kHMDTypeVive);
        // The same scene with the theater's filter switched off, which it reads at Init.
        boost::shared_ptr<STN::Scene> unfiltered(new STN::Scene());
        unfiltered->SetVideoFrame(video, false, false, hostmediatypes::kPixelAspectRatio_Square);
        hostcore::debug::DebugDatabase::Instance().SetEntry("Stereon.TheaterFilterEnable", "false");
        ok = ok && unfiltered->Init(context, openVR, panels, STN::kHMDTypeVive);
        hostcore::debug::DebugDatabase::Instance().RemoveEntry("Stereon.TheaterFilterEnable");
        if (!ok) {
            section["error"] = "the scene did not start";
        } else {
            MinimalFrame minimal(options.eyeWidth, options.eyeHeight);
            VideoProbe probe(context, scene, video);
            const auto sceneOf = [&](const Variant& variant) {
                return variant.filtered ? scene : unfiltered;
            };
            const auto prepare = [&](const Variant& variant) {
                const boost::shared_ptr<STN::Scene>& drawn = sceneOf(variant);
                // A new frame each time, as from a host playing at the headset's rate: the
                // scene filters each frame once.
                drawn->SetVideoFrame(video, false, false, hostmediatypes::kPixelAspectRatio_Square);
                drawn->showPlaceholder = variant.kind != Kind::kVideo;
                drawn->SetTheaterActive(variant.kind == Kind::kTheater);
                drawn->UpdatePoses();
            };
            const auto render = [&](const Variant& variant) {
                if (variant.kind == Kind::kMinimal) {
                    minimal.Render(openVR->GetCompositor());
                } else if (variant.kind == Kind::kProbeBlend ||
                           variant.kind == Kind::kProbeNoBlend) {
                    probe.Render(openVR->GetCompositor(), variant.kind == Kind::kProbeBlend);
                } else {
                    sceneOf(variant)->RenderFrame();
                }
                glFinish();
            };
            const int warmUp = 2;
            for (int run = 0; run < warmUp + options.repetitions; ++run) {
                for (Variant& variant : variants) {
                    prepare(variant);
                    const std::uint64_t allocationsBefore = ThreadAllocations();
                    TraceThreadAllocations(run == warmUp + options.repetitions - 1);
                    const Clock::time_point start = Clock::now();
                    render(variant);
                    const double ms = MillisecondsSince(start);
                    const std::uint64_t allocations = ThreadAllocations() - allocationsBefore;
                    TraceThreadAllocations(false);
                    if (run >= warmUp) {
                        variant.ms.push_back(ms);
                        variant.allocations += allocations;
                    }
                }
            }
            const std::uint64_t submits = simvr_count_calls(SIMVR_CALL_SUBMIT);
            for (Variant& variant : variants) {
                prepare(variant);
                WatchThread(CurrentThreadId(), true);
                render(variant);
                WatchThread(0);
                variant.sources = WatchedAllocationSources();
            }
            // The probe stands for the scene only if it draws the same picture; the theater row
            // measures the room only if it draws something else than the placeholder.
            simvr_set_readback(1);
            const auto picture = [&](Kind kind) {
                std::vector<std::uint8_t> image(static_cast<std::size_t>(options.eyeWidth) *
                                                options.eyeHeight * 4);
                scene->SetVideoFrame(video, false, false, hostmediatypes::kPixelAspectRatio_Square);
                scene->showPlaceholder = kind != Kind::kVideo && kind != Kind::kProbeNoBlend;
                scene->SetTheaterActive(kind == Kind::kTheater);
                scene->UpdatePoses();
                if (kind == Kind::kProbeNoBlend) {
                    probe.Render(openVR->GetCompositor(), false);
                } else {
                    scene->RenderFrame();
                }
                if (simvr_copy_eye_image(0, image.data(),
                                         static_cast<std::uint32_t>(image.size())) == 0) {
                    image.clear();
                }
                return image;
            };
            const std::vector<std::uint8_t> drawnVideo = picture(Kind::kVideo);
            const std::vector<std::uint8_t> probed = picture(Kind::kProbeNoBlend);
            const std::vector<std::uint8_t> placeholder = picture(Kind::kPlaceholder);
            const std::vector<std::uint8_t> room = picture(Kind::kTheater);
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
            const std::uint64_t expected =
                2ull * variants.size() * static_cast<std::uint64_t>(warmUp + options.repetitions);
            section["submits"] = submits;
            if (submits != expected) {
                section["error"] = "expected " + std::to_string(expected) + " submits, saw " +
                                   std::to_string(submits);
                ok = false;
            }
        }
        scene.reset();
        unfiltered.reset();
        video->Release();
        video.reset();
    }

    if (ok) {
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
            std::uint64_t outsideDriver = 0;
            for (const AllocationSource& source : variant.sources) {
                outsideDriver +=
                    AllocationCategory(source.module) != "GL driver" ? source.count : 0;
            }
            rows[variant.name] = {{"ms", ToJson(summary)},
                                  {"ratio_to_minimal", ratio},
                                  {"allocations_per_frame", allocations},
                                  {"allocation_sources_traced_frame", ToJson(variant.sources)}};
            table.push_back({variant.name, FormatMs(summary), Fixed(ratio, 2),
                             Fixed(allocations, 1), std::to_string(outsideDriver)});
        }
        section["eye_size"] = {options.eyeWidth, options.eyeHeight};
        section["video_texture"] = {videoWidth, videoHeight};
        section["samples"] = kSamples;
        section["repetitions"] = options.repetitions;
        section["variants"] = rows;
        PrintTable("Frame (both eyes, ends in glFinish; median ±MAD (min-max) over " +
                       std::to_string(options.repetitions) + " runs)",
                   table);
    }

    return ok;
}

}  // namespace stereon_bench
