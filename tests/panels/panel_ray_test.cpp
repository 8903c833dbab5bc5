// Which panel pixel a ray names, and where the placement limit of the theater puts a panel. A
// panel made from a fixed image needs no GL until it is drawn, so these run without a context.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "StaticPanel.h"

namespace {

using STN::Matrix4;
using STN::StaticPanel;

struct Ray {
    float origin[4];
    float direction[4];
};

// One hit or miss: whether it hits, and the pixel and distance it names.
struct Answer {
    bool hit;
    float x, y, distance;
};

Answer Cast(StaticPanel& panel, const Ray& ray) {
    Answer answer = {false, -7.0f, -7.0f, -7.0f};
    float pixel[2] = {-7.0f, -7.0f};
    answer.hit = panel.IntersectRay(ray.origin, ray.direction, &answer.distance, pixel);
    answer.x = pixel[0];
    answer.y = pixel[1];
    return answer;
}

TEST(PanelRayTest, HitsFromEitherSideNeverBackwardsAndNeverAlongThePlane) {
    StaticPanel panel("Board");
    panel.SetSize(1000, 500);

    Answer a = Cast(panel, {{0, 0, 1, 1}, {0, 0, -1, 0}});
    EXPECT_TRUE(a.hit);
    EXPECT_FLOAT_EQ(a.distance, 1.0f);
    EXPECT_FLOAT_EQ(a.x, 500.0f);
    // Rows count down from the top, taken one row low: the centre is row 249, not 250.
    EXPECT_FLOAT_EQ(a.y, 249.0f);

    a = Cast(panel, {{0, 0, -1, 1}, {0, 0, 1, 0}});
    EXPECT_TRUE(a.hit) << "the back of the panel";
    EXPECT_FLOAT_EQ(a.y, 249.0f);

    // Pointing away and along the plane: no hit, and nothing written.
    for (const Ray& ray : {Ray{{0, 0, 1, 1}, {0, 0, 1, 0}}, Ray{{0, 0, 1, 1}, {1, 0, 0, 0}}}) {
        a = Cast(panel, ray);
        EXPECT_FALSE(a.hit);
        EXPECT_EQ(a.distance, -7.0f);
        EXPECT_EQ(a.x, -7.0f);
    }
    // A NaN anywhere in the direction spoils the test rather than being multiplied away.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(Cast(panel, {{0, 0, 1, 1}, {nan, 0, -1, 0}}).hit);

    // Hidden panels answer too: picking is the host's business.
    panel.SetOpacity(0.0f);
    EXPECT_TRUE(Cast(panel, {{0.2f, 0.1f, 1, 1}, {0, 0, -1, 0}}).hit);
}

TEST(PanelRayTest, EdgesAcceptOneRowLowerThanTheRectangle) {
    StaticPanel panel("Strip");
    panel.SetSize(1000, 500);
    // The panel spans x -0.5 to 0.5 and y -0.25 to 0.25 metres. Horizontally exactly the
    // rectangle; vertically the top row is missed and one row below the bottom is hit.
    struct Case {
        float x, y;
        bool hit;
    };
    const Case cases[] = {{-0.5f, 0.0f, true},     {0.4999f, 0.0f, true},  {0.5f, 0.0f, false},
                          {-0.5001f, 0.0f, false}, {0.0f, 0.2495f, false}, {0.0f, 0.2485f, true},
                          {0.0f, -0.2505f, true},  {0.0f, -0.2515f, false}};
    for (const Case& c : cases) {
        EXPECT_EQ(Cast(panel, {{c.x, c.y, 1, 1}, {0, 0, -1, 0}}).hit, c.hit)
            << "at " << c.x << ", " << c.y;
    }
    // One row high, the centre itself is outside the accepted band; half a row below it is in.
    StaticPanel line("Line");
    line.SetSize(10, 1);
    EXPECT_FALSE(Cast(line, {{0, 0, 1, 1}, {0, 0, -1, 0}}).hit);
    EXPECT_TRUE(Cast(line, {{0, -0.0005f, 1, 1}, {0, 0, -1, 0}}).hit);
}

TEST(PanelRayTest, PlacementMovesWhatTheRayFinds) {
    StaticPanel panel("Placed");
    panel.SetSize(400, 200);
    // Turned to face +X and moved 2 m along it: a ray along -X from x = 3 meets it 1 m on.
    Matrix4 place = Matrix4::Identity();
    place.Rotate(90.0f, 0.0f, 1.0f, 0.0f).Translate(2.0f, 1.0f, 0.0f);
    panel.SetTransform(place, true);
    Answer a = Cast(panel, {{3, 1.05f, 0.1f, 1}, {-1, 0, 0, 0}});
    ASSERT_TRUE(a.hit);
    EXPECT_NEAR(a.distance, 1.0f, 1e-5f);
    // Facing +X, the panel's x runs along -Z: z 0.1 is 0.1 m to the panel's left.
    EXPECT_NEAR(a.x, 100.0f, 0.01f);
    EXPECT_NEAR(a.y, 199.0f - 150.0f, 0.01f);
}

TEST(PanelRayTest, LimitKeepsPanelsAboveTheFloorAndBeforeTheScreenButNotOnTheLine) {
    StaticPanel panel("Limited");
    struct Case {
        float limitZ, y, z;
        float expectedY, expectedZ;
    };
    const Case cases[] = {
        {0.0f, 0.1f, 0.1f, 0.2f, 0.2f},       // lifted and pulled forward
        {0.0f, 0.2f, 0.2f, 0.2f, 0.2f},       // exactly on both limits: left alone
        {-2.74f, 1.0f, -3.0f, 1.0f, -2.54f},  // behind the theater screen
        {-2.74f, -0.5f, -1.0f, 0.2f, -1.0f},  // under the floor, in front of the screen
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << "y " << c.y << ", z " << c.z);
        panel.SetBoundsLimit(true, STN::Vector3{0.0f, 1.2f, c.limitZ});
        Matrix4 place = Matrix4::Identity();
        place.Translate(0.3f, c.y, c.z);
        panel.SetTransform(place, true);
        EXPECT_NEAR(panel.GetTransform().m[12], 0.3f, 1e-6f);
        EXPECT_NEAR(panel.GetTransform().m[13], c.expectedY, 1e-6f);
        EXPECT_NEAR(panel.GetTransform().m[14], c.expectedZ, 1e-5f);
    }
    // An offset moves nothing until the next relative placement, and then may carry the panel
    // past the limit, which holds for the placement passed in.
    Matrix4 down = Matrix4::Identity();
    down.Translate(0.0f, -1.0f, 0.0f);
    panel.SetOffsetTransform(down);
    EXPECT_NEAR(panel.GetTransform().m[13], 0.2f, 1e-6f);
    Matrix4 place = Matrix4::Identity();
    place.Translate(0.0f, 0.5f, 0.0f);
    panel.SetTransform(place, false);
    EXPECT_NEAR(panel.GetTransform().m[13], -0.5f, 1e-6f);
    // Switched off, placements are taken as they come; an absolute one leaves the offset out.
    panel.SetBoundsLimit(false, STN::Vector3{0.0f, 0.0f, 0.0f});
    panel.SetTransform(Matrix4::Identity().Translate(0.0f, -3.0f, -20.0f), true);
    EXPECT_EQ(panel.GetTransform().m[13], -3.0f);
}

// A host's placement may be flat (a zero scale): its inverse must stay finite, or every ray
// test and draw after it would work with NaNs. A flat 3x3 becomes identity with the translation
// still undone; a singular matrix that is not affine becomes identity.
TEST(Matrix4Test, SingularPartsBecomeIdentity) {
    Matrix4 flat = Matrix4::Identity();
    flat.At(2, 2) = 0.0f;
    flat.Translate(1.0f, 2.0f, 3.0f);
    Matrix4 expected = Matrix4::Identity();
    expected.Translate(-1.0f, -2.0f, -3.0f);
    Matrix4 zero = {{0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
    const Matrix4 flatInverse = flat.Inverse();
    const Matrix4 zeroInverse = zero.Inverse();
    for (int i = 0; i < 16; ++i) {
        EXPECT_NEAR(flatInverse.m[i], expected.m[i], 1e-6f) << i;
        EXPECT_EQ(zeroInverse.m[i], Matrix4::Identity().m[i]) << i;
    }
}

}  // namespace
