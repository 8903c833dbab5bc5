// Matrix arithmetic and headset classification: no GL, no runtime.
#include <gtest/gtest.h>

#include "HMDManager.h"
#include "HeadsetClassification.h"
#include "StereonTypes.h"

namespace {

using STN::Matrix4;

struct Point {
    float x, y, z, w;
};

Point Apply(const Matrix4& a, Point p) {
    const float in[4] = {p.x, p.y, p.z, p.w};
    float out[4];
    for (int row = 0; row < 4; ++row) {
        out[row] = 0.0f;
        for (int k = 0; k < 4; ++k) {
            out[row] += a.At(row, k) * in[k];
        }
    }
    return {out[0], out[1], out[2], out[3]};
}

void ExpectPoint(const Point& p, float x, float y, float z, float w = 1.0f) {
    EXPECT_NEAR(p.x, x, 1e-5f);
    EXPECT_NEAR(p.y, y, 1e-5f);
    EXPECT_NEAR(p.z, z, 1e-5f);
    EXPECT_NEAR(p.w, w, 1e-5f);
}

void ExpectMatrix(const Matrix4& a, const Matrix4& b, float tolerance = 1e-5f) {
    for (int k = 0; k < 16; ++k) {
        EXPECT_NEAR(a.m[k], b.m[k], tolerance) << "element " << k;
    }
}

TEST(Matrix4Test, ProductAndTheChainedCallsApplyTheRightOperandFirst) {
    Matrix4 shift = Matrix4::Identity();
    shift.Translate(1.0f, 0.0f, 0.0f);
    Matrix4 turn = Matrix4::Identity();
    turn.Rotate(90.0f, 0.0f, 0.0f, 1.0f);
    // Shift then turn: (0,0,0) -> (1,0,0) -> (0,1,0). Turn then shift: (0,0,0) -> (1,0,0).
    ExpectPoint(Apply(turn * shift, {0, 0, 0, 1}), 0.0f, 1.0f, 0.0f);
    ExpectPoint(Apply(shift * turn, {0, 0, 0, 1}), 1.0f, 0.0f, 0.0f);
    // Translate and Rotate apply on the left: a chain shifts first, then turns.
    Matrix4 chained = Matrix4::Identity();
    chained.Translate(1.0f, 0.0f, 0.0f).Rotate(90.0f, 0.0f, 0.0f, 1.0f);
    ExpectMatrix(chained, turn * shift);

    Matrix4 a = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
    ExpectMatrix(a * Matrix4::Identity(), a);
    ExpectMatrix(Matrix4::Identity() * a, a);
    // Row 0 of a is (1, 5, 9, 13); column 0 of a is (1, 2, 3, 4): 1 + 10 + 27 + 52.
    EXPECT_FLOAT_EQ((a * a).m[0], 90.0f);

    // The shift sits in elements 12 to 14 and moves points, not directions.
    Matrix4 t = Matrix4::Identity();
    t.Translate(2.0f, -3.0f, 4.0f);
    EXPECT_EQ(t.m[12], 2.0f);
    EXPECT_EQ(t.m[13], -3.0f);
    EXPECT_EQ(t.m[14], 4.0f);
    ExpectPoint(Apply(t, {1, 1, 1, 1}), 3.0f, -2.0f, 5.0f);
    ExpectPoint(Apply(t, {1, 0, 0, 0}), 1.0f, 0.0f, 0.0f, 0.0f);
}

TEST(Matrix4Test, RotationsTurnCounterClockwiseAboutTheirAxis) {
    Matrix4 y = Matrix4::Identity();
    y.Rotate(90.0f, 0.0f, 1.0f, 0.0f);
    // About +Y: forward (-Z) turns to the left (-X), +X turns to -Z.
    ExpectPoint(Apply(y, {0, 0, -1, 0}), -1.0f, 0.0f, 0.0f, 0.0f);
    ExpectPoint(Apply(y, {1, 0, 0, 0}), 0.0f, 0.0f, -1.0f, 0.0f);

    Matrix4 x = Matrix4::Identity();
    x.Rotate(90.0f, 2.0f, 0.0f, 0.0f);  // the axis need not be unit length
    ExpectPoint(Apply(x, {0, 1, 0, 0}), 0.0f, 0.0f, 1.0f, 0.0f);

    Matrix4 z = Matrix4::Identity();
    z.Rotate(-90.0f, 0.0f, 0.0f, 1.0f);
    ExpectPoint(Apply(z, {1, 0, 0, 0}), 0.0f, -1.0f, 0.0f, 0.0f);

    Matrix4 none = Matrix4::Identity();
    none.Rotate(45.0f, 0.0f, 0.0f, 0.0f);
    ExpectMatrix(none, Matrix4::Identity(), 0.0f);
}

TEST(Matrix4Test, InverseUndoesAffineAndProjectiveMatrices) {
    Matrix4 affine = Matrix4::Identity();
    affine.Rotate(33.0f, 1.0f, 2.0f, 3.0f).Translate(0.5f, -2.0f, 7.0f);
    affine.At(0, 0) *= 2.0f;  // a scaled, sheared one too
    ExpectMatrix(affine.Inverse() * affine, Matrix4::Identity());
    ExpectMatrix(affine * affine.Inverse(), Matrix4::Identity());

    // A perspective projection (OpenGL style) has bottom row (0, 0, -1, 0).
    const float n = 0.1f, f = 30.0f;
    Matrix4 projection = {{1.2f, 0, 0, 0, 0, 1.5f, 0, 0, 0.1f, -0.05f, -(f + n) / (f - n), -1.0f, 0,
                           0, -2.0f * f * n / (f - n), 0}};
    Matrix4 viewProjection = projection * affine;
    ExpectMatrix(viewProjection.Inverse() * viewProjection, Matrix4::Identity(), 1e-4f);

    Matrix4 copy = affine;
    copy.Invert();
    ExpectMatrix(copy, affine.Inverse(), 0.0f);
}

TEST(Matrix4Test, SingularPartsBecomeIdentity) {
    // Affine with a flat 3x3: the 3x3 becomes identity, the translation is still derived.
    Matrix4 flat = Matrix4::Identity();
    flat.At(2, 2) = 0.0f;
    flat.Translate(1.0f, 2.0f, 3.0f);
    Matrix4 expected = Matrix4::Identity();
    expected.Translate(-1.0f, -2.0f, -3.0f);
    ExpectMatrix(flat.Inverse(), expected);

    // Tiny but not zero: at or under the threshold counts as singular.
    Matrix4 tiny = Matrix4::Identity();
    tiny.At(0, 0) = tiny.At(1, 1) = tiny.At(2, 2) = 0.02f;  // determinant 0.000008
    ExpectMatrix(tiny.Inverse(), Matrix4::Identity(), 0.0f);
    Matrix4 small = Matrix4::Identity();
    small.At(0, 0) = small.At(1, 1) = small.At(2, 2) = 0.05f;  // determinant 0.000125
    EXPECT_NEAR(small.Inverse().At(0, 0), 20.0f, 1e-3f);

    // Not affine and singular: the whole result is identity.
    Matrix4 zero = {{0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
    ExpectMatrix(zero.Inverse(), Matrix4::Identity(), 0.0f);
}

// The names the runtime gives for its headsets are compared exactly; the warning line for
// an unknown one is HeadsetServiceTest's.
TEST(HeadsetClassificationTest, NamesDifferingInCaseOrSpacesCountAsRift) {
    for (const char* name : {"Lighthouse", "", "lighthouse "}) {
        const STN::HeadsetClassification unknown = STN::ClassifyHeadset(name);
        EXPECT_EQ(unknown.hmdType, STN::kHMDTypeUnknown) << name;
        EXPECT_EQ(unknown.controllerFamily, 3) << name;
    }
}

}  // namespace
