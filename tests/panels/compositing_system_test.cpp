// Translucent panels that intersect, as the eyes receive them in each compositing mode, against
// an exact reference: for each eye pixel, every panel surface along the pixel's ray, sorted by
// distance and blended back to front over the backdrop. Pixels where a panel's edge or the line
// where two panels cross passes through the pixel are left out: there the eye's four samples mix
// what the reference keeps apart.
#include <algorithm>
#include <array>

#include "IPanel.h"
#include "IVRPanelManager.h"
#include "hostvirtualui/vr/VRQuad.h"
#include "room_view.h"

namespace picturetest {
namespace {

using hostvirtualui::vr::QuadFrame;
using PanelRef = boost::shared_ptr<STN::IPanel>;

const std::vector<int> kBackdrop{20, 20, 20, 255};
constexpr std::uint32_t kWidth = 600;
constexpr std::uint32_t kHeight = 400;

struct Surface {
    std::array<int, 4> rgba;  // straight alpha, as the host paints it
    float turnDegrees;        // about the vertical, through the common centre
    float distance;           // of the centre, straight ahead of the eyes
    float scale;              // the panel's size against 0.6 by 0.4 m
};

// Where a panel is, read back from the panel itself, and what it shows.
struct Placed {
    STN::Matrix4 transform;
    float halfWidth, halfHeight;
    std::array<int, 4> rgba;
};

class CompositingTest : public RoomViewTest {
protected:
    // Starts the library with the mode key, makes the panels in the given order on the render
    // thread, paints and shows them, and waits for them in the eyes.
    void ShowPanels(const char* mode, const std::vector<Surface>& surfaces,
                    const std::vector<int>& order) {
        service->RemoveClient(kClient);
        hostcore::debug::DebugDatabase::Instance().SetEntry("VidariumVR.PanelDrawMode", mode);
        StartHost();
        service->SetVideoLayout(1, 0, 360, 180);
        Show(UniformFrame(8, 4, kBackdrop));
        placed.clear();
        std::vector<PanelRef> panels;
        OnRenderThread([&] {
            for (int index : order) {
                panels.push_back(service->GetPanelManager()->CreatePanel(
                    "Layer" + std::to_string(index), 1.0f, true, 100));
            }
        });
        for (std::size_t i = 0; i < panels.size(); ++i) {
            const Surface& s = surfaces[static_cast<std::size_t>(order[i])];
            const PanelRef& panel = panels[i];
            ASSERT_TRUE(panel && panel->GetQuad());
            panel->SetTransform(STN::Matrix4::Identity()
                                    .Rotate(s.turnDegrees, 0.0f, 1.0f, 0.0f)
                                    .Translate(0.0f, kEyeHeight, -s.distance),
                                true);
            const int w = static_cast<int>(kWidth * s.scale);
            const int h = static_cast<int>(kHeight * s.scale);
            std::vector<std::uint8_t> pixels(static_cast<std::size_t>(w) * h * 4);
            PaintBGRA(pixels.data(), w, h, w * 4,
                      [&](int, int) { return std::vector<int>(s.rgba.begin(), s.rgba.end()); });
            boost::shared_ptr<QuadFrame> image(new QuadFrame{
                w, h, hostmediatypes::kPixelFormat_BGRA_4444_8u, 0, w * 4, pixels.data()});
            panel->GetQuad()->SetOpacity(1.0f);
            panel->GetQuad()->SetVisible(true);
            panel->GetQuad()->Update(static_cast<std::uint32_t>(w), static_cast<std::uint32_t>(h),
                                     image);
            placed.push_back({panel->GetTransform(), w * 0.0005f, h * 0.0005f, s.rgba});
        }
        Passes(2);
    }

    // The panels along the ray through a point of the eye's image (in pixels from its bottom
    // left), nearest last, as (distance, panel index).
    std::vector<std::pair<float, int>> Along(float px, float py) const {
        const float scale = std::tan(kHalfFovDegrees / 57.2957795f) / (kViewEye / 2.0f);
        const float d[3] = {(px - kViewEye / 2.0f) * scale, (py - kViewEye / 2.0f) * scale, -1.0f};
        const float o[3] = {0.0f, kEyeHeight, 0.0f};
        std::vector<std::pair<float, int>> hits;
        for (std::size_t i = 0; i < placed.size(); ++i) {
            const float* m = placed[i].transform.m;
            const float n[3] = {m[8], m[9], m[10]};
            const float c[3] = {m[12], m[13], m[14]};
            const float facing = n[0] * d[0] + n[1] * d[1] + n[2] * d[2];
            if (std::fabs(facing) < 1e-6f) {
                continue;
            }
            const float t =
                (n[0] * (c[0] - o[0]) + n[1] * (c[1] - o[1]) + n[2] * (c[2] - o[2])) / facing;
            float offset[3];
            for (int k = 0; k < 3; ++k) {
                offset[k] = o[k] + t * d[k] - c[k];
            }
            const float x = offset[0] * m[0] + offset[1] * m[1] + offset[2] * m[2];
            const float y = offset[0] * m[4] + offset[1] * m[5] + offset[2] * m[6];
            if (t > 0.0f && std::fabs(x) < placed[i].halfWidth &&
                std::fabs(y) < placed[i].halfHeight) {
                hits.push_back({t, static_cast<int>(i)});
            }
        }
        std::sort(hits.begin(), hits.end(),
                  [](const auto& a, const auto& b) { return a.first > b.first; });
        return hits;
    }

    // The exact picture at an eye pixel, or false where the pixel is not one surface order
    // throughout (an edge or a crossing runs through it).
    bool Reference(int column, int row, std::array<float, 3>& rgb) const {
        const float corners[5][2] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}, {0.5f, 0.5f}};
        std::vector<int> first;
        for (int k = 0; k < 5; ++k) {
            std::vector<int> here;
            for (const auto& hit : Along(column + corners[k][0], row + corners[k][1])) {
                here.push_back(hit.second);
            }
            if (k == 0) {
                first = here;
            } else if (here != first) {
                return false;
            }
        }
        for (std::size_t k = 0; k < 3; ++k) {
            rgb[k] = kBackdrop[k] / 255.0f;
        }
        for (int index : first) {
            const std::array<int, 4>& c = placed[static_cast<std::size_t>(index)].rgba;
            const float alpha = c[3] / 255.0f;
            for (std::size_t k = 0; k < 3; ++k) {
                rgb[k] = c[k] / 255.0f * alpha + rgb[k] * (1.0f - alpha);
            }
        }
        return true;
    }

    struct Comparison {
        int layered = 0;  // pixels with two or more surfaces
        int worst = 0;    // largest difference of a channel, in 8-bit steps
    };
    // The left eye against the reference, at the pixels with no more than `deepest` surfaces.
    Comparison Compare(std::size_t deepest = 16) const {
        const std::vector<std::uint8_t> image = EyeImage(0, kViewEye);
        Comparison result;
        for (int row = 0; row < kViewEye; ++row) {
            for (int column = 0; column < kViewEye; ++column) {
                std::array<float, 3> rgb;
                const std::size_t surfaces = Along(column + 0.5f, row + 0.5f).size();
                if (surfaces > deepest || !Reference(column, row, rgb)) {
                    continue;
                }
                result.layered += surfaces >= 2 ? 1 : 0;
                const std::uint8_t* got =
                    &image[(static_cast<std::size_t>(row) * kViewEye + column) * 4];
                for (std::size_t k = 0; k < 3; ++k) {
                    const int expected = static_cast<int>(rgb[k] * 255.0f + 0.5f);
                    result.worst = std::max(result.worst, std::abs(got[k] - expected));
                }
            }
        }
        return result;
    }

    std::vector<Placed> placed;
};

// Half-transparent red, green and blue, crossing along the vertical through their centres.
const std::vector<Surface> kCrossing = {{{230, 40, 40, 128}, 35.0f, 1.2f, 1.0f},
                                        {{40, 210, 60, 128}, -35.0f, 1.2f, 1.0f},
                                        {{50, 70, 240, 128}, 0.0f, 1.2f, 1.0f}};

TEST_F(CompositingTest, DepthPeelingMatchesTheExactCompositionInEveryCreationOrder) {
    std::vector<std::vector<int>> orders = {{0, 1}, {1, 0}};
    std::vector<int> three = {0, 1, 2};
    do {
        orders.push_back(three);
    } while (std::next_permutation(three.begin(), three.end()));
    for (const std::vector<int>& order : orders) {
        SCOPED_TRACE(::testing::PrintToString(order));
        ShowPanels("2", kCrossing, order);
        const Comparison peeled = Compare();
        // Three layers hold every surface here; the rest is 8-bit rounding of the layers.
        EXPECT_GT(peeled.layered, 300);
        EXPECT_LE(peeled.worst, 3);
    }
}

TEST_F(CompositingTest, WeightedBlendingStaysWithinItsBoundAndPlainBlendingDoesNot) {
    for (const std::vector<int>& order : {std::vector<int>{0, 1, 2}, std::vector<int>{2, 1, 0}}) {
        SCOPED_TRACE(::testing::PrintToString(order));
        ShowPanels("1", kCrossing, order);
        const Comparison weighted = Compare();
        EXPECT_GT(weighted.layered, 300);
        // An average weighted by depth, not an order: 36 steps off at most where these surfaces
        // of unlike colours overlap.
        EXPECT_LE(weighted.worst, 45) << "weighted blending";

        ShowPanels("0", kCrossing, order);
        // Blended in list order with depth writes on, the surfaces behind the first drawn are
        // lost where they cross.
        const Comparison plain = Compare();
        EXPECT_GE(plain.worst, 20) << "plain blending";
    }
}

TEST_F(CompositingTest, OpaquePanelsHideWhatIsBehindThemInEveryMode) {
    // A small opaque white panel in front of the crossing ones, and a large one behind them.
    std::vector<Surface> scene = kCrossing;
    scene.push_back({{255, 255, 255, 255}, 0.0f, 0.9f, 0.3f});
    scene.push_back({{90, 90, 90, 255}, 0.0f, 1.6f, 2.0f});
    for (const char* mode : {"0", "1", "2"}) {
        SCOPED_TRACE(mode);
        ShowPanels(mode, scene, {4, 0, 1, 2, 3});
        // Straight ahead the white panel covers everything.
        EXPECT_TRUE(Near(Centre(0), (std::vector<int>{255, 255, 255, 255}), 2));
    }
    // Peeling, the last mode shown, keeps the three nearest surfaces: wherever the grey panel is
    // one of them, the picture is exact; behind three translucent ones it is lost, as designed.
    const Comparison peeled = Compare(3);
    EXPECT_GT(peeled.layered, 100);
    EXPECT_LE(peeled.worst, 3);
    EXPECT_GT(Compare().worst, peeled.worst) << "a fourth surface counts for nothing";
}

}  // namespace
}  // namespace picturetest
