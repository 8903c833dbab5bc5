// Matrix4 arithmetic. Column-major storage: element (row, column) is m[column * 4 + row].
#include <cmath>

#include "StereonTypes.h"

namespace STN {

namespace {

const float kSingularDeterminant = 0.00001f;

}  // namespace

Matrix4 operator*(const Matrix4& a, const Matrix4& b) {
    Matrix4 r;
    for (int column = 0; column < 4; ++column) {
        for (int row = 0; row < 4; ++row) {
            float sum = 0.0f;
            for (int k = 0; k < 4; ++k) {
                sum += a.m[k * 4 + row] * b.m[column * 4 + k];
            }
            r.m[column * 4 + row] = sum;
        }
    }
    return r;
}

Matrix4& Matrix4::Rotate(float degrees, float axisX, float axisY, float axisZ) {
    const float length = std::sqrt(axisX * axisX + axisY * axisY + axisZ * axisZ);
    if (!(length > 0.0f)) {
        return *this;
    }
    const float x = axisX / length;
    const float y = axisY / length;
    const float z = axisZ / length;
    const float radians = degrees * kDegreesToRadians;
    const float c = std::cos(radians);
    const float s = std::sin(radians);
    const float t = 1.0f - c;

    Matrix4 turn = Identity();
    turn.At(0, 0) = t * x * x + c;
    turn.At(0, 1) = t * x * y - s * z;
    turn.At(0, 2) = t * x * z + s * y;
    turn.At(1, 0) = t * x * y + s * z;
    turn.At(1, 1) = t * y * y + c;
    turn.At(1, 2) = t * y * z - s * x;
    turn.At(2, 0) = t * x * z - s * y;
    turn.At(2, 1) = t * y * z + s * x;
    turn.At(2, 2) = t * z * z + c;
    *this = turn * *this;
    return *this;
}

Matrix4& Matrix4::Translate(float x, float y, float z) {
    Matrix4 shift = Identity();
    shift.m[12] = x;
    shift.m[13] = y;
    shift.m[14] = z;
    *this = shift * *this;
    return *this;
}

Matrix4 Matrix4::Inverse() const {
    const bool affine = m[3] == 0.0f && m[7] == 0.0f && m[11] == 0.0f && m[15] == 1.0f;
    if (affine) {
        // Cofactors of the upper 3x3 part.
        const float a = At(0, 0), b = At(0, 1), c = At(0, 2);
        const float d = At(1, 0), e = At(1, 1), f = At(1, 2);
        const float g = At(2, 0), h = At(2, 1), i = At(2, 2);
        const float c00 = e * i - f * h;
        const float c01 = -(d * i - f * g);
        const float c02 = d * h - e * g;
        const float determinant = a * c00 + b * c01 + c * c02;

        Matrix4 r = Identity();
        if (std::fabs(determinant) > kSingularDeterminant) {
            const float inv = 1.0f / determinant;
            r.At(0, 0) = c00 * inv;
            r.At(1, 0) = c01 * inv;
            r.At(2, 0) = c02 * inv;
            r.At(0, 1) = -(b * i - c * h) * inv;
            r.At(1, 1) = (a * i - c * g) * inv;
            r.At(2, 1) = -(a * h - b * g) * inv;
            r.At(0, 2) = (b * f - c * e) * inv;
            r.At(1, 2) = -(a * f - c * d) * inv;
            r.At(2, 2) = (a * e - b * d) * inv;
        }
        for (int row = 0; row < 3; ++row) {
            r.m[12 + row] = -(r.At(row, 0) * m[12] + r.At(row, 1) * m[13] + r.At(row, 2) * m[14]);
        }
        return r;
    }

    // Full inverse by cofactors (the classic expansion over 2x2 minors).
    const float* s = m;
    float inv[16];
    inv[0] = s[5] * s[10] * s[15] - s[5] * s[11] * s[14] - s[9] * s[6] * s[15] +
             s[9] * s[7] * s[14] + s[13] * s[6] * s[11] - s[13] * s[7] * s[10];
    inv[4] = -s[4] * s[10] * s[15] + s[4] * s[11] * s[14] + s[8] * s[6] * s[15] -
             s[8] * s[7] * s[14] - s[12] * s[6] * s[11] + s[12] * s[7] * s[10];
    inv[8] = s[4] * s[9] * s[15] - s[4] * s[11] * s[13] - s[8] * s[5] * s[15] +
             s[8] * s[7] * s[13] + s[12] * s[5] * s[11] - s[12] * s[7] * s[9];
    inv[12] = -s[4] * s[9] * s[14] + s[4] * s[10] * s[13] + s[8] * s[5] * s[14] -
              s[8] * s[6] * s[13] - s[12] * s[5] * s[10] + s[12] * s[6] * s[9];
    inv[1] = -s[1] * s[10] * s[15] + s[1] * s[11] * s[14] + s[9] * s[2] * s[15] -
             s[9] * s[3] * s[14] - s[13] * s[2] * s[11] + s[13] * s[3] * s[10];
    inv[5] = s[0] * s[10] * s[15] - s[0] * s[11] * s[14] - s[8] * s[2] * s[15] +
             s[8] * s[3] * s[14] + s[12] * s[2] * s[11] - s[12] * s[3] * s[10];
    inv[9] = -s[0] * s[9] * s[15] + s[0] * s[11] * s[13] + s[8] * s[1] * s[15] -
             s[8] * s[3] * s[13] - s[12] * s[1] * s[11] + s[12] * s[3] * s[9];
    inv[13] = s[0] * s[9] * s[14] - s[0] * s[10] * s[13] - s[8] * s[1] * s[14] +
              s[8] * s[2] * s[13] + s[12] * s[1] * s[10] - s[12] * s[2] * s[9];
    inv[2] = s[1] * s[6] * s[15] - s[1] * s[7] * s[14] - s[5] * s[2] * s[15] + s[5] * s[3] * s[14] +
             s[13] * s[2] * s[7] - s[13] * s[3] * s[6];
    inv[6] = -s[0] * s[6] * s[15] + s[0] * s[7] * s[14] + s[4] * s[2] * s[15] -
             s[4] * s[3] * s[14] - s[12] * s[2] * s[7] + s[12] * s[3] * s[6];
    inv[10] = s[0] * s[5] * s[15] - s[0] * s[7] * s[13] - s[4] * s[1] * s[15] +
              s[4] * s[3] * s[13] + s[12] * s[1] * s[7] - s[12] * s[3] * s[5];
    inv[14] = -s[0] * s[5] * s[14] + s[0] * s[6] * s[13] + s[4] * s[1] * s[14] -
              s[4] * s[2] * s[13] - s[12] * s[1] * s[6] + s[12] * s[2] * s[5];
    inv[3] = -s[1] * s[6] * s[11] + s[1] * s[7] * s[10] + s[5] * s[2] * s[11] -
             s[5] * s[3] * s[10] - s[9] * s[2] * s[7] + s[9] * s[3] * s[6];
    inv[7] = s[0] * s[6] * s[11] - s[0] * s[7] * s[10] - s[4] * s[2] * s[11] + s[4] * s[3] * s[10] +
             s[8] * s[2] * s[7] - s[8] * s[3] * s[6];
    inv[11] = -s[0] * s[5] * s[11] + s[0] * s[7] * s[9] + s[4] * s[1] * s[11] - s[4] * s[3] * s[9] -
              s[8] * s[1] * s[7] + s[8] * s[3] * s[5];
    inv[15] = s[0] * s[5] * s[10] - s[0] * s[6] * s[9] - s[4] * s[1] * s[10] + s[4] * s[2] * s[9] +
              s[8] * s[1] * s[6] - s[8] * s[2] * s[5];

    const float determinant = s[0] * inv[0] + s[1] * inv[4] + s[2] * inv[8] + s[3] * inv[12];
    if (std::fabs(determinant) <= kSingularDeterminant) {
        return Identity();
    }
    const float scale = 1.0f / determinant;
    Matrix4 r;
    for (int k = 0; k < 16; ++k) {
        r.m[k] = inv[k] * scale;
    }
    return r;
}

}  // namespace STN
