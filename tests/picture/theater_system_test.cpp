// Flat footage in the headset: the room around the viewer and the screen ahead, as the simulated
// runtime received them from the running library. The eyes are level with the screen's centre.
#include "room_view.h"

namespace picturetest {
namespace {

// Frame colours that no grey of the room can be mistaken for.
const std::vector<int> kOrange{200, 120, 40, 255};
const std::vector<int> kTeal{30, 170, 220, 255};

// Plain greys the room is drawn in: walls and ceiling 0.25, the floor between its rings 0.28,
// the mark under the viewer and the shadow under the screen 0.2.
constexpr int kWallGrey = 64;
constexpr int kFloorGrey = 71;
constexpr int kMarkGrey = 51;

class TheaterTest : public RoomViewTest {
protected:
    // Starts again so that the library reads its keys anew.
    void Restart(const std::vector<std::pair<const char*, const char*>>& keys) {
        service->RemoveClient(kClient);
        for (const auto& key : keys) {
            hostcore::debug::DebugDatabase::Instance().SetEntry(key.first, key.second);
        }
        StartHost();
        service->SetVideoLayout(0, 0, 360, 180);
    }

    // The screen spans the half width and half height around its centre, `distance` ahead and
    // level with the eyes: just inside its four edges the frame shows, just outside the room.
    void ExpectScreenEdges(float halfWidth, float halfHeight, float distance,
                           const std::vector<int>& colour) {
        HoldRenderLoop();
        const float inside = 0.85f, outside = 1.15f;
        const struct {
            float x, y;
            const char* edge;
        } directions[] = {{1, 0, "right"}, {-1, 0, "left"}, {0, 1, "top"}, {0, -1, "bottom"}};
        for (const auto& d : directions) {
            SCOPED_TRACE(d.edge);
            for (std::uint32_t eye = 0; eye < 2; ++eye) {
                const std::vector<int> in =
                    PixelAhead(eye, d.x * halfWidth * inside,
                               kEyeHeight + d.y * halfHeight * inside, distance);
                EXPECT_TRUE(Near(in, colour, 3));
                const std::vector<int> out =
                    PixelAhead(eye, d.x * halfWidth * outside,
                               kEyeHeight + d.y * halfHeight * outside, distance);
                EXPECT_FALSE(Near(out, colour, 40));
                EXPECT_TRUE(Near(out, Grey(out[0]), 3)) << ::testing::PrintToString(out);
            }
        }
        ReleaseRenderLoop();
    }
};

// The picture on the screen is upright and unmirrored, as around the viewer: the frame's first
// row at the bottom, its first column at the left. The host's turn of the picture does not turn
// the room; spherical footage replaces the room, and flat footage brings it back.
TEST_F(TheaterTest, FlatFootageIsOnAScreenAheadInADimRoom) {
    // Unfiltered, so that each quarter shows its own colour.
    Restart({{"Stereon.TheaterFilterEnable", "false"}});
    Show(PatternFrame(71, 64, 36));
    service->SetViewOrientation(90.0f, 0.0f);
    Passes(2);
    HoldRenderLoop();
    // The 16:9 screen is 2 m by 1.128 m; quarter centres lie at 3/8 of either half size.
    for (int column = 0; column < 4; ++column) {
        for (int row = 0; row < 4; ++row) {
            const float x = (column - 1.5f) * 0.5f;
            const float y = kEyeHeight + (row - 1.5f) * 0.282f;
            EXPECT_TRUE(Near(PixelAhead(1, x, y, 2.74f), PatternColor(column, row, 71), 3))
                << "quarter " << column << ", " << row;
        }
    }
    ReleaseRenderLoop();
    service->SetViewOrientation(0.0f, 0.0f);

    struct Case {
        const char* what;
        float x, y, z;
        int grey;
    };
    const Case cases[] = {
        {"right wall", 10.0f, kEyeHeight, 0.0f, kWallGrey},
        {"left wall", -10.0f, kEyeHeight, 0.5f, kWallGrey},
        {"back wall", 0.5f, kEyeHeight, 10.0f, kWallGrey},
        {"ceiling", 0.5f, 10.0f, -0.5f, kWallGrey},
        {"mark under the viewer", 0.0f, 0.0f, -0.001f, kMarkGrey},
        {"floor beside the viewer", 0.0f, 0.0f, -0.6f, kFloorGrey},
        {"shadow under the screen", 0.0f, 0.0f, -2.6f, kMarkGrey},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        LookAt(c.x, c.y, c.z);
        Passes(2);
        EXPECT_TRUE(Near(Centre(0), Grey(c.grey), 4));
        EXPECT_TRUE(Near(Centre(1), Grey(c.grey), 4));
    }

    // Looking at the right wall, 79 degrees right and 21 up.
    LookAt(10.0f, kEyeHeight + 4.0f, -2.0f);
    service->SetVideoLayout(1, 0, 360, 180);
    Show(PatternFrame(72));
    EXPECT_TRUE(Near(Centre(0), PatternColor(2, 2, 72), 2));
    service->SetVideoLayout(0, 0, 360, 180);
    Show(UniformFrame(32, 24, kOrange));
    EXPECT_TRUE(Near(Centre(0), Grey(kWallGrey), 4));
}

TEST_F(TheaterTest, ScreenTakesItsShapeFromTheFrameAndItsPlaceFromTheKeys) {
    // Defaults: 2.74 m ahead, scale 2; 4:3 square pixels make the screen 0.75 of a 16:9 one.
    Restart({});
    Show(UniformFrame(32, 24, kOrange));
    ExpectScreenEdges(0.75f, 0.564f, 2.74f, kOrange);

    // Anamorphic: 4:3 storage with pixels 4:3 wide fills a 16:9 screen.
    Show(UniformFrame(48, 36, kTeal, hostmediatypes::PixelAspectRatio{4, 3}));
    ExpectScreenEdges(1.0f, 0.564f, 2.74f, kTeal);

    // Further and larger; then a distance and a scale below the least, which read as 1.
    Restart({{"Stereon.TheaterModeDistance", "5"}, {"Stereon.TheaterModeScale", "4"}});
    Show(UniformFrame(32, 24, kOrange));
    ExpectScreenEdges(1.5f, 1.128f, 5.0f, kOrange);
    Restart({{"Stereon.TheaterModeDistance", "0.5"}, {"Stereon.TheaterModeScale", "0.2"}});
    Show(UniformFrame(32, 24, kOrange));
    ExpectScreenEdges(0.375f, 0.282f, 1.0f, kOrange);
}

TEST_F(TheaterTest, FilterSoftensThePictureUnlessSwitchedOffAndOnePixelFramesGoUnfiltered) {
    // The left half of the frame orange, the right teal. Probed at 15% of the width, well
    // inside the orange: the default filter reaches less than half-way to the teal, the
    // strongest mixes it in, and without the filter the orange is untouched.
    const auto halves = [](int x, int) { return x < 16 ? kOrange : kTeal; };
    const float probeX = (0.15f - 0.5f) * 1.5f;

    Restart({});
    Show(PaintedFrame(32, 24, halves));
    EXPECT_TRUE(Near(PixelAhead(0, probeX, kEyeHeight, 2.74f), kOrange, 3));

    // Before any other frame the screen is 16:9: a 1 by 1 frame reaches 0.9 of a 16:9 half
    // width, further than a 4:3 screen would.
    Restart({{"Stereon.TheaterModeFilterStrength", "10"}});
    Show(UniformFrame(1, 1, kTeal));
    EXPECT_TRUE(Near(PixelAhead(0, 0.9f, kEyeHeight, 2.74f), kTeal, 3));
    Show(PaintedFrame(32, 24, halves));
    const std::vector<int> mixed = PixelAhead(0, probeX, kEyeHeight, 2.74f);
    EXPECT_FALSE(Near(mixed, kOrange, 25)) << ::testing::PrintToString(mixed);
    EXPECT_FALSE(Near(mixed, kTeal, 25)) << ::testing::PrintToString(mixed);
    EXPECT_LT(mixed[0], kOrange[0]);
    EXPECT_GT(mixed[2], kOrange[2]);
    // After a 4:3 frame, a 1 by 1 one keeps the 4:3 shape and replaces the filtered picture.
    Show(UniformFrame(32, 24, kOrange));
    Show(UniformFrame(1, 1, kTeal));
    HoldRenderLoop();
    EXPECT_TRUE(Near(Centre(0), kTeal, 3));
    EXPECT_TRUE(Near(PixelAhead(0, 0.7f, kEyeHeight, 2.74f), kTeal, 3));
    EXPECT_TRUE(Near(PixelAhead(0, 0.9f, kEyeHeight, 2.74f), Grey(kWallGrey), 4));
    ReleaseRenderLoop();

    Restart(
        {{"Stereon.TheaterModeFilterStrength", "10"}, {"Stereon.TheaterFilterEnable", "false"}});
    Show(PaintedFrame(32, 24, halves));
    EXPECT_TRUE(Near(PixelAhead(0, probeX, kEyeHeight, 2.74f), kOrange, 3));
}

}  // namespace
}  // namespace picturetest
