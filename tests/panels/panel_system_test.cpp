// Panels as a host uses them through the running library: made on the render thread, painted on
// a thread of the host's own, placed in the room, and seen in the eye images the simulated
// headset received. The backdrop is a plain dark spherical frame.
#include <thread>

#include "IPanel.h"
#include "IVRPanelManager.h"
#include "gl_test_context.h"
#include "hostvirtualui/vr/VRQuad.h"
#include "room_view.h"

namespace picturetest {
namespace {

using hostvirtualui::vr::QuadFrame;
using hostvirtualui::vr::VRQuad;
using PanelRef = boost::shared_ptr<STN::IPanel>;

const std::vector<int> kBackdrop{20, 20, 20, 255};
const std::vector<int> kRed{220, 30, 30, 255};
const std::vector<int> kGreen{30, 200, 60, 255};
const std::vector<int> kBlue{40, 60, 230, 255};
const std::vector<int> kWhite{255, 255, 255, 255};

// 600 by 400 panel pixels at scale 1: 0.6 by 0.4 m, a metre ahead of the eyes.
constexpr std::uint32_t kPanelWidth = 600;
constexpr std::uint32_t kPanelHeight = 400;
constexpr float kDistance = 1.0f;

// An image of the host's, 8-bit B, G, R, A, row 0 at the top; `paint(x, y)` gives R, G, B, A.
template <typename Paint>
boost::shared_ptr<QuadFrame> Image(int width, int height, Paint paint,
                                   std::vector<std::uint8_t>& storage) {
    storage.assign(static_cast<std::size_t>(width) * height * 4, 0);
    PaintBGRA(storage.data(), width, height, width * 4, paint);
    return boost::shared_ptr<QuadFrame>(new QuadFrame{
        width, height, hostmediatypes::kPixelFormat_BGRA_4444_8u, 0, width * 4, storage.data()});
}

// Quarters of the panel: red top left, green top right, blue bottom left, white bottom right.
std::vector<int> Quarters(int x, int y, int width, int height) {
    const bool right = x >= width / 2;
    const bool bottom = y >= height / 2;
    return bottom ? (right ? kWhite : kBlue) : (right ? kGreen : kRed);
}

class PanelTest : public RoomViewTest {
protected:
    void SetUp() override {
        RoomViewTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        service->SetVideoLayout(1, 0, 360, 180);
        Show(UniformFrame(8, 4, kBackdrop));
    }

    // A panel blended in draw order, made on the render thread.
    PanelRef Create(const std::string& name, std::uint32_t drawOrder = 100) {
        PanelRef panel;
        OnRenderThread(
            [&] { panel = service->GetPanelManager()->CreatePanel(name, 1.0f, false, drawOrder); });
        return panel;
    }
    // Centred `kDistance` ahead of the eyes, facing them.
    static void PlaceAhead(const PanelRef& panel, float dx = 0.0f, float dy = 0.0f,
                           float dz = 0.0f) {
        panel->SetTransform(
            STN::Matrix4::Identity().Translate(dx, kEyeHeight + dy, -kDistance + dz), true);
    }
    template <typename Painter>
    static void Paint(const boost::shared_ptr<VRQuad>& quad, Painter paint) {
        std::vector<std::uint8_t> storage;
        quad->Update(kPanelWidth, kPanelHeight, Image(kPanelWidth, kPanelHeight, paint, storage));
    }
    static void Fill(const boost::shared_ptr<VRQuad>& quad, const std::vector<int>& colour) {
        Paint(quad, [&](int, int) { return colour; });
    }
    static void ShowQuad(const boost::shared_ptr<VRQuad>& quad) {
        quad->SetOpacity(1.0f);
        quad->SetVisible(true);
    }
    // A panel of one colour, shown ahead of the eyes.
    PanelRef ShownAhead(const std::string& name, const std::vector<int>& colour,
                        std::uint32_t drawOrder = 100) {
        const PanelRef panel = Create(name, drawOrder);
        PlaceAhead(panel);
        Fill(panel->GetQuad(), colour);
        ShowQuad(panel->GetQuad());
        return panel;
    }
    // Whether the left eye's centre shows `colour` once what the host did is on show.
    ::testing::AssertionResult CentreShows(const std::vector<int>& colour, int tolerance = 2) {
        Passes(2);
        return Near(Centre(0), colour, tolerance);
    }
    // The eye pixel showing the panel point (x, y) metres from its centre, right and up.
    static std::vector<int> PanelPixel(std::uint32_t eye, float x, float y) {
        return PixelAhead(eye, x, kEyeHeight + y, kDistance);
    }
};

TEST_F(PanelTest, PaintedPanelShowsWherePlacedAndRaysNameThePixelsTheEyesSee) {
    const PanelRef panel = Create("Board");
    ASSERT_TRUE(panel);
    const boost::shared_ptr<VRQuad> quad = panel->GetQuad();
    ASSERT_TRUE(quad);
    PlaceAhead(panel);
    // Painted from the render thread, as a host may from its callback; the loop draws on.
    OnRenderThread([&] {
        Paint(quad, [](int x, int y) { return Quarters(x, y, kPanelWidth, kPanelHeight); });
    });
    // Painted but never shown by the host: nothing in the headset.
    Passes(2);
    EXPECT_TRUE(Near(PanelPixel(0, 0.15f, 0.1f), kBackdrop, 2));

    ShowQuad(quad);
    Passes(2);
    HoldRenderLoop();
    const struct {
        float x, y;
        std::vector<int> colour;
    } quarters[] = {{-0.15f, 0.1f, kRed},
                    {0.15f, 0.1f, kGreen},
                    {-0.15f, -0.1f, kBlue},
                    {0.15f, -0.1f, kWhite}};
    for (const auto& q : quarters) {
        for (std::uint32_t eye = 0; eye < 2; ++eye) {
            EXPECT_TRUE(Near(PanelPixel(eye, q.x, q.y), q.colour, 3))
                << "eye " << eye << " at " << q.x << ", " << q.y;
        }
    }
    // Beside the panel, the backdrop.
    EXPECT_TRUE(Near(PanelPixel(0, 0.36f, 0.0f), kBackdrop, 2));
    ReleaseRenderLoop();

    // A pointer from the eyes towards the green quarter names a pixel of it, as far away as the
    // panel is along the ray; one beside the panel hits nothing.
    const float origin[4] = {0.0f, kEyeHeight, 0.0f, 1.0f};
    const float length = std::sqrt(0.15f * 0.15f + 0.1f * 0.1f + 1.0f);
    const float towards[4] = {0.15f / length, 0.1f / length, -1.0f / length, 0.0f};
    float distance = 0.0f;
    float pixel[2] = {0.0f, 0.0f};
    ASSERT_TRUE(panel->IntersectRay(origin, towards, &distance, pixel));
    EXPECT_NEAR(distance, length, 1e-4f);
    EXPECT_NEAR(pixel[0], 450.0f, 0.01f);
    EXPECT_NEAR(pixel[1], 99.0f, 0.01f);
    EXPECT_EQ(
        Quarters(static_cast<int>(pixel[0]), static_cast<int>(pixel[1]), kPanelWidth, kPanelHeight),
        kGreen);
    const float beside[4] = {0.4f, 0.0f, -1.0f, 0.0f};
    EXPECT_FALSE(panel->IntersectRay(origin, beside, nullptr, nullptr));
}

TEST_F(PanelTest, OpacityTintAndTheHostsVisibilityInPixels) {
    const PanelRef panel = ShownAhead("Tinted", kWhite);
    const boost::shared_ptr<VRQuad> quad = panel->GetQuad();
    EXPECT_TRUE(CentreShows(kWhite));

    // Half opaque over the dark backdrop: 255 / 2 plus half of 20.
    panel->SetOpacity(0.5f);
    EXPECT_TRUE(CentreShows(Grey(138), 3));
    panel->SetOpacity(1.0f);
    panel->SetColor(1.0f, 0.5f, 0.0f);
    EXPECT_TRUE(CentreShows({255, 128, 0, 255}, 3));
    panel->SetColor(1.0f, 1.0f, 1.0f);

    // The host hides it with the quad's opacity, and brings back what it showed without
    // painting again.
    quad->SetOpacity(0.0f);
    EXPECT_TRUE(CentreShows(kBackdrop));
    quad->SetOpacity(1.0f);
    EXPECT_TRUE(CentreShows(kWhite));

    // Painted while hidden: the last image shows when the host shows the quad again.
    quad->SetVisible(false);
    Fill(quad, kRed);
    Fill(quad, kBlue);
    EXPECT_TRUE(CentreShows(kBackdrop));
    quad->SetVisible(true);
    EXPECT_TRUE(CentreShows(kBlue));
}

TEST_F(PanelTest, SmallerDrawOrderIsDrawnLaterAndCovers) {
    // Created red, green, blue; drawn blue (300), red (200), green (100).
    const struct {
        const char* name;
        std::uint32_t order;
        std::vector<int> colour;
    } layers[] = {{"Red", 200, kRed}, {"Green", 100, kGreen}, {"Blue", 300, kBlue}};
    std::vector<PanelRef> panels;
    for (const auto& layer : layers) {
        panels.push_back(ShownAhead(layer.name, layer.colour, layer.order));
    }
    EXPECT_TRUE(CentreShows(kGreen));
    EXPECT_TRUE(Near(Centre(1), kGreen, 2));
    // With the green one gone, the red one is on top.
    panels[1]->GetQuad()->SetVisible(false);
    EXPECT_TRUE(CentreShows(kRed));
}

TEST_F(PanelTest, VideoWindowShowsTheLeftEyesPictureUnderTheHostsPixels) {
    const PanelRef window = Create("EquirectPanel_EquirectWindow");
    const boost::shared_ptr<VRQuad> quad = window->GetQuad();
    ASSERT_TRUE(quad);
    PlaceAhead(window);
    const std::int32_t content[4] = {0, 0, kPanelWidth, kPanelHeight};
    window->SetContentRect(content);
    // The host's interface: a bar along the top, clear elsewhere so the video shows.
    Paint(quad, [](int, int y) { return y < 100 ? kWhite : std::vector<int>{0, 0, 0, 0}; });
    ShowQuad(quad);

    // The whole frame across the window, its first row at the bottom as around the viewer.
    Show(PatternFrame(81));
    HoldRenderLoop();
    EXPECT_TRUE(Near(PanelPixel(0, 0.0f, 0.16f), kWhite, 2)) << "the host's bar";
    EXPECT_TRUE(Near(PanelPixel(0, -0.225f, -0.15f), PatternColor(0, 0, 81), 2));
    EXPECT_TRUE(Near(PanelPixel(0, 0.225f, 0.05f), PatternColor(3, 2, 81), 2));
    ReleaseRenderLoop();

    // A second window of the name, behind the viewer, which the scene does not feed: it sets
    // its own values on the program both windows draw with, and the first still shows its frame.
    const PanelRef second = Create("EquirectPanel_EquirectWindow");
    PlaceAhead(second, 0.0f, 0.0f, 2.0f * kDistance);
    Paint(second->GetQuad(), [](int, int) { return std::vector<int>{0, 0, 0, 0}; });
    ShowQuad(second->GetQuad());
    Passes(2);
    HoldRenderLoop();
    EXPECT_TRUE(Near(PanelPixel(0, -0.225f, -0.15f), PatternColor(0, 0, 81), 2));
    ReleaseRenderLoop();
    second->Shutdown();

    // A half-opaque panel drawn after the window (a smaller order), just in front of it, blends
    // over the video: the window leaves blending on for the panels after it.
    const PanelRef veil = ShownAhead("Veil", kWhite, 50);
    veil->SetOpacity(0.5f);
    PlaceAhead(veil, 0.0f, 0.0f, 0.05f);
    Passes(2);
    HoldRenderLoop();
    std::vector<int> mixed = PatternColor(0, 0, 81);
    for (std::size_t c = 0; c < 3; ++c) {
        mixed[c] = 128 + mixed[c] / 2;
    }
    EXPECT_TRUE(Near(PanelPixel(0, -0.225f, -0.15f), mixed, 4));
    ReleaseRenderLoop();
    veil->GetQuad()->SetVisible(false);

    // Over-under: both eyes' windows show the left eye's picture, the frame's upper half.
    service->SetVideoLayout(1, 1, 360, 180);
    Show(PatternFrame(82));
    HoldRenderLoop();
    for (std::uint32_t eye = 0; eye < 2; ++eye) {
        EXPECT_TRUE(Near(PanelPixel(eye, -0.225f, -0.15f), PatternColor(0, 2, 82), 2))
            << "eye " << eye;
    }
    ReleaseRenderLoop();

    // Flat footage goes to the theater screen; the window turns black.
    service->SetVideoLayout(0, 0, 360, 180);
    Show(PatternFrame(83));
    EXPECT_TRUE(Near(PanelPixel(0, -0.225f, -0.15f), (std::vector<int>{0, 0, 0, 255}), 2));
}

TEST_F(PanelTest, HostPaintingWhileTheEyesAreDrawnNeverShowsHalfOfTwoImages) {
    const PanelRef panel = ShownAhead("Busy", kRed);
    const boost::shared_ptr<VRQuad> quad = panel->GetQuad();
    std::atomic<bool> stop{false};
    std::atomic<int> painted{0};
    std::thread painter([&] {
        for (int i = 0; !stop; ++i) {
            Fill(quad, i % 2 == 0 ? kGreen : kRed);
            ++painted;
        }
    });
    const float corners[4][2] = {
        {-0.25f, 0.15f}, {0.25f, 0.15f}, {-0.25f, -0.15f}, {0.25f, -0.15f}};
    // At least a dozen looks, and on until the painter has sent several images, however slowly
    // it runs beside the render thread.
    for (int look = 0; look < 12 || (painted < 6 && look < 2000); ++look) {
        Passes(1);
        HoldRenderLoop();
        for (std::uint32_t eye = 0; eye < 2; ++eye) {
            const std::vector<int> first = PanelPixel(eye, corners[0][0], corners[0][1]);
            EXPECT_TRUE(Near(first, kRed, 2) || Near(first, kGreen, 2))
                << ::testing::PrintToString(first);
            for (const auto& corner : corners) {
                EXPECT_EQ(PanelPixel(eye, corner[0], corner[1]), first) << "eye " << eye;
            }
        }
        ReleaseRenderLoop();
    }
    stop = true;
    painter.join();
    EXPECT_GE(painted.load(), 6);
}

// A host shuts panels down on its own thread while its own GL context is current there (an
// editor that draws its interface with GL): the panels' objects go on the render thread, and the
// host's objects, whose names are the same small numbers, stay.
TEST_F(PanelTest, PanelsShutDownWhereTheHostsContextIsCurrentLeaveTheHostsObjects) {
    const PanelRef painted = ShownAhead("Painted", kRed);
    std::vector<std::uint8_t> fixed;
    const boost::shared_ptr<QuadFrame> image = Image(
        8, 8, [](int, int) { return kBlue; }, fixed);
    const PanelRef board = service->GetPanelManager()->CreateStaticPanel(
        "Fixed", 8, 8, 32, image->pixels, 50.0f, false, 1);
    PlaceAhead(board, 0.0f, 0.0f, 0.1f);
    EXPECT_TRUE(CentreShows(kBlue));

    stereon::test::GlTestContext host;
    ASSERT_TRUE(host.Ok()) << host.Error();
    host.MakeCurrent();
    ASSERT_TRUE(host.IsCurrent()) << host.Error();
    std::vector<GLuint> textures(256);
    glGenTextures(static_cast<GLsizei>(textures.size()), textures.data());
    std::vector<GLuint> buffers(256);
    glGenBuffers(static_cast<GLsizei>(buffers.size()), buffers.data());
    for (std::size_t i = 0; i < textures.size(); ++i) {
        glBindTexture(GL_TEXTURE_2D, textures[i]);
        glBindBuffer(GL_ARRAY_BUFFER, buffers[i]);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    board->Shutdown();
    painted->Shutdown();
    int lost = 0;
    for (std::size_t i = 0; i < textures.size(); ++i) {
        lost += glIsTexture(textures[i]) ? 0 : 1;
        lost += glIsBuffer(buffers[i]) ? 0 : 1;
    }
    EXPECT_EQ(lost, 0) << "the library deleted the host's objects";
    glDeleteTextures(static_cast<GLsizei>(textures.size()), textures.data());
    glDeleteBuffers(static_cast<GLsizei>(buffers.size()), buffers.data());
    host.ReleaseCurrent();
    EXPECT_TRUE(CentreShows(kBackdrop));
}

TEST_F(PanelTest, BadImagesAndLateCallsLeaveThePanelsAndTheHostWhole) {
    const PanelRef panel = ShownAhead("Sturdy", kGreen);
    const boost::shared_ptr<VRQuad> quad = panel->GetQuad();

    // Images the library cannot take are refused; the panel size they came with counts.
    std::vector<std::uint8_t> storage;
    boost::shared_ptr<QuadFrame> frame = Image(
        kPanelWidth, kPanelHeight, [](int, int) { return kRed; }, storage);
    std::vector<boost::shared_ptr<QuadFrame>> bad;
    for (int i = 0; i < 6; ++i) {
        bad.push_back(boost::shared_ptr<QuadFrame>(new QuadFrame(*frame)));
    }
    bad[0]->pixelFormat = hostmediatypes::kPixelFormat_GPU_BGRA_4444_32f;
    bad[1]->width = 0;
    bad[2]->pixels = nullptr;
    bad[3]->rowBytes = bad[3]->width * 4 - 4;
    bad[4]->height = -5;
    // Rows of part of a pixel, and an image wider than GL takes, which only the texture knows.
    bad[5]->rowBytes = bad[5]->width * 4 + 2;
    std::vector<std::uint8_t> wide(40000 * 4, 255);
    bad.push_back(boost::shared_ptr<QuadFrame>(new QuadFrame{
        40000, 1, hostmediatypes::kPixelFormat_BGRA_4444_8u, 0, 40000 * 4, wide.data()}));
    for (const boost::shared_ptr<QuadFrame>& image : bad) {
        quad->Update(kPanelWidth / 2, kPanelHeight / 2, image);
    }
    quad->Update(kPanelWidth / 2, kPanelHeight / 2, boost::shared_ptr<QuadFrame>());
    Passes(2);
    HoldRenderLoop();
    EXPECT_TRUE(Near(Centre(0), kGreen, 2));
    // Half the size: 0.15 m from the centre is now beside the panel.
    EXPECT_TRUE(Near(PanelPixel(0, 0.2f, 0.0f), kBackdrop, 2));
    ReleaseRenderLoop();

    // Made on a thread without the render context: listed, hollow, and still answering rays.
    const PanelRef hollow = service->GetPanelManager()->CreatePanel("Hollow", 1.0f, false, 10);
    ASSERT_TRUE(hollow);
    EXPECT_FALSE(hollow->GetQuad());
    // One pixel, whose accepted row lies half a row below its centre.
    const float halfRowDown[4] = {0.0f, -0.0005f, 1.0f, 1.0f};
    const float ahead[4] = {0.0f, 0.0f, -1.0f, 0.0f};
    EXPECT_TRUE(hollow->IntersectRay(halfRowDown, ahead, nullptr, nullptr));

    // A fixed image from a host thread goes up at its first draw.
    std::vector<std::uint8_t> fixed;
    const boost::shared_ptr<QuadFrame> image = Image(
        100, 100, [](int, int) { return kBlue; }, fixed);
    const PanelRef board = service->GetPanelManager()->CreateStaticPanel(
        "Fixed", 100, 100, 400, image->pixels, 1.0f, false, 1);
    fixed.assign(fixed.size(), 0);  // the library took its own copy
    board->SetTransform(STN::Matrix4::Identity().Translate(0.0f, kEyeHeight, -0.5f), true);
    EXPECT_TRUE(CentreShows(kBlue));

    // The host shuts a panel down while the render thread draws: it is gone from the eyes.
    board->Shutdown();
    EXPECT_TRUE(CentreShows(kGreen));

    // After the library stopped, the host's objects still answer and change nothing.
    service->RemoveClient(kClient);
    Fill(quad, kRed);
    quad->SetVisible(false);
    quad->SetVisible(true);
    panel->SetOpacity(0.5f);
    PlaceAhead(panel, 0.1f);
    const float eyes[4] = {0.1f, kEyeHeight, 0.0f, 1.0f};
    EXPECT_TRUE(panel->IntersectRay(eyes, ahead, nullptr, nullptr));
    panel->Shutdown();
    StartHost();
    ASSERT_TRUE(service->GetPanelManager());
    PanelRef found;
    OnRenderThread([&] { found = service->GetPanelManager()->FindPanel("Sturdy"); });
    EXPECT_FALSE(found);
}

}  // namespace
}  // namespace picturetest
