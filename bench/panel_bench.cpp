// Panels: the cost per eye of 2, 4 and 8 translucent panels that cross each other, under each way
// of compositing them (plain blending, weighted blending, depth peeling), beside the same eye
// with no panels, all in one run. The scene draws a spherical frame behind them; each frame
// ends with glFinish so that the GL work is inside the time.
#include <GL/glew.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "GB/Device.h"
#include "IPanel.h"
#include "ITexture.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenVRManager.h"
#include "Scene.h"
#include "ShaderRegistry.h"
#include "VRPanelManager.h"
#include "bench.h"
#include "hostcore/debug.h"
#include "hostmediatypes/PixelFormat.h"
#include "hostvirtualui/vr/VRQuad.h"
#include "scene_session.h"
#include "simvr/simvr_control.h"
#include "stnvr/vr_client.h"

namespace stereon_bench {

namespace {

struct Mode {
    const char* name;
    const char* key;
};
const Mode kModes[] = {{"plain", "0"}, {"weighted", "1"}, {"peeling", "2"}};
const int kCounts[] = {0, 2, 4, 8};
constexpr int kMostPanels = 8;

struct Setup {
    boost::shared_ptr<STN::VRPanelManager> manager;
    boost::shared_ptr<STN::Scene> scene;
    std::vector<boost::shared_ptr<STN::IPanel>> panels;
};

constexpr int kWarmUp = 1;
constexpr int kPanelWidth = 600;
constexpr int kPanelHeight = 400;

// What every mode's scene shows: a plain dark spherical frame behind the panels, and the image
// the panels' quads are given, which lives as long as they do.
struct Stage {
    boost::shared_ptr<STN::ITexture> video;
    std::vector<std::uint8_t> image;
    boost::shared_ptr<hostvirtualui::vr::QuadFrame> frame;
    std::vector<Setup> setups;  // in the order of kModes
};

void MakeStage(const SceneSession& session, Stage& stage) {
    stage.video = session.context->CreateTexture("VideoTex0");
    stage.video->Create(session.device, 64, 32);
    std::vector<std::uint32_t> backdrop(64 * 32, 0xFF202020u);
    stage.video->Upload(backdrop.data(), hostmediatypes::kPixelFormat_ARGB_4444_8u, 64 * 4);
    stage.image.resize(kPanelWidth * kPanelHeight * 4);
    stage.frame.reset(new hostvirtualui::vr::QuadFrame{kPanelWidth, kPanelHeight,
                                                       hostmediatypes::kPixelFormat_BGRA_4444_8u, 0,
                                                       kPanelWidth * 4, stage.image.data()});
}

// Panel i of a mode: half-transparent, 0.6 by 0.4 m, turned -70 + 20 i degrees about one
// vertical through its centre 1.2 m ahead, so that it crosses every other, in a colour of its own.
void AddCrossingPanel(const SceneSession& session, Stage& stage, Setup& setup, int i) {
    const boost::shared_ptr<STN::IPanel> panel =
        setup.manager->CreatePanel("Crossing" + std::to_string(i), 1.0f, true, 100);
    panel->SetTransform(STN::Matrix4::Identity()
                            .Rotate(-70.0f + 20.0f * i, 0.0f, 1.0f, 0.0f)
                            .Translate(0.0f, 0.0f, -1.2f),
                        true);
    std::vector<std::uint8_t>& image = stage.image;
    for (std::size_t p = 0; p < image.size(); p += 4) {
        image[p + 0] = static_cast<std::uint8_t>(40 + 25 * i);
        image[p + 1] = static_cast<std::uint8_t>(200 - 20 * i);
        image[p + 2] = 120;
        image[p + 3] = 128;
    }
    panel->GetQuad()->SetOpacity(1.0f);
    panel->GetQuad()->Update(kPanelWidth, kPanelHeight, stage.frame);
    // The quad's upload went through the same context and let it go.
    session.context->MakeCurrent();
    setup.panels.push_back(panel);
}

// A scene with kMostPanels panels for each mode. False when a scene did not start.
bool SetUpModes(const SceneSession& session, Stage& stage) {
    bool ok = true;
    for (const Mode& mode : kModes) {
        if (!ok) {
            break;
        }
        hostcore::debug::DebugDatabase::Instance().SetEntry("VidariumVR.PanelDrawMode", mode.key);
        Setup setup;
        setup.manager.reset(new STN::VRPanelManager(session.context, session.context));
        setup.scene.reset(new STN::Scene());
        setup.scene->SetVideoFrame(stage.video, false, false,
                                   hostmediatypes::kPixelAspectRatio_Square);
        ok = setup.scene->Init(session.context, session.openVR, setup.manager, 1);
        for (int i = 0; ok && i < kMostPanels; ++i) {
            AddCrossingPanel(session, stage, setup, i);
        }
        stage.setups.push_back(setup);
    }
    hostcore::debug::DebugDatabase::Instance().RemoveEntry("VidariumVR.PanelDrawMode");
    return ok;
}

// ms per eye, by mode and panel count.
using Times = std::vector<std::vector<std::vector<double>>>;

// The warm-up round, then the measured ones, each drawing every mode with every panel count.
Times MeasureModes(const Options& options, std::vector<Setup>& setups) {
    Times ms(setups.size(), std::vector<std::vector<double>>(std::size(kCounts)));
    for (int run = 0; run < kWarmUp + options.repetitions; ++run) {
        for (std::size_t m = 0; m < setups.size(); ++m) {
            for (std::size_t c = 0; c < std::size(kCounts); ++c) {
                Setup& setup = setups[m];
                for (int i = 0; i < kMostPanels; ++i) {
                    setup.panels[static_cast<std::size_t>(i)]->GetQuad()->SetVisible(i <
                                                                                     kCounts[c]);
                }
                setup.scene->UpdatePoses();
                const Clock::time_point start = Clock::now();
                setup.scene->RenderFrame();
                glFinish();
                if (run >= kWarmUp) {
                    ms[m][c].push_back(MillisecondsSince(start) / 2.0);
                }
            }
        }
    }
    return ms;
}

// The rows measure panels only if the panels are in the picture: the left eye with every panel
// of `setup` shown must differ from the one with none.
bool CheckPanelsDrawn(const Options& options, Setup& setup, nlohmann::json& section) {
    std::vector<std::uint8_t> pictures[2];
    simvr_set_readback(1);
    for (int shown = 0; shown < 2; ++shown) {
        for (const boost::shared_ptr<STN::IPanel>& panel : setup.panels) {
            panel->GetQuad()->SetVisible(shown == 1);
        }
        setup.scene->UpdatePoses();
        setup.scene->RenderFrame();
        pictures[shown].resize(static_cast<std::size_t>(options.eyeWidth) * options.eyeHeight * 4);
        if (simvr_copy_eye_image(0, pictures[shown].data(),
                                 static_cast<std::uint32_t>(pictures[shown].size())) == 0) {
            pictures[shown].clear();
        }
    }
    simvr_set_readback(0);
    const bool drawn = !pictures[0].empty() && pictures[0] != pictures[1];
    section["panels_in_picture"] = drawn;
    if (!drawn) {
        section["error"] = "the panels are not in the picture";
    }
    return drawn;
}

// Every mode and count against the same mode with no panels and against plain blending, into
// the section and the table.
void ReportModes(const Options& options, const Times& ms, nlohmann::json& section) {
    std::vector<std::vector<std::string>> table = {
        {"panels per eye " + std::to_string(options.eyeWidth) + "x" +
             std::to_string(options.eyeHeight),
         "ms per eye", "ratio to no panels", "ratio to plain"}};
    nlohmann::json rows = nlohmann::json::object();
    for (std::size_t m = 0; m < ms.size(); ++m) {
        const Summary none = Summarize(ms[m][0]);
        for (std::size_t c = 0; c < std::size(kCounts); ++c) {
            const Summary summary = Summarize(ms[m][c]);
            const Summary plain = Summarize(ms[0][c]);
            const double toNone = none.median > 0 ? summary.median / none.median : 0.0;
            const double toPlain = plain.median > 0 ? summary.median / plain.median : 0.0;
            const std::string name =
                std::string(kModes[m].name) + ", " + std::to_string(kCounts[c]) + " panels";
            rows[name] = {{"ms_per_eye", ToJson(summary)},
                          {"ratio_to_no_panels", toNone},
                          {"ratio_to_plain", toPlain}};
            table.push_back({name, FormatMs(summary), Fixed(toNone, 2), Fixed(toPlain, 2)});
        }
    }
    section["eye_size"] = {options.eyeWidth, options.eyeHeight};
    section["repetitions"] = options.repetitions;
    section["variants"] = rows;
    PrintTable("Panels (half-transparent, all crossing; median ±MAD (min-max) over " +
                   std::to_string(options.repetitions) + " runs)",
               table);
}

// The scenes and their panels let go before the video texture they show.
void TearDown(Stage& stage) {
    for (Setup& setup : stage.setups) {
        setup.panels.clear();
        setup.scene.reset();
        setup.manager.reset();
    }
    stage.video.reset();
}

}  // namespace

bool RunPanelBenchmark(const Options& options, nlohmann::json& section) {
    SceneSession session(options);
    bool ok = session.ReportTo(section);
    if (!session.context) {
        return false;
    }
    Stage stage;
    MakeStage(session, stage);
    ok = ok && SetUpModes(session, stage);
    Times ms;
    if (ok) {
        ms = MeasureModes(options, stage.setups);
    }
    ok = ok && CheckPanelsDrawn(options, stage.setups.back(), section);
    if (ok) {
        ReportModes(options, ms, section);
    }
    TearDown(stage);
    return ok;
}

}  // namespace stereon_bench
