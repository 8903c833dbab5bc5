#include "PanelBase.h"

#include <cmath>

namespace STN {

namespace {

// The panel's plane z = 0 has this normal; the products with its zero components are kept, so
// that a NaN anywhere in the vector spoils the result instead of vanishing.
float DotWithNormal(const float v[4]) {
    return v[0] * 0.0f + v[1] * 0.0f + v[2] * 1.0f + v[3] * 0.0f;
}

void Transform(const Matrix4& m, const float in[4], float out[4]) {
    for (int row = 0; row < 4; ++row) {
        out[row] = m.At(row, 0) * in[0] + m.At(row, 1) * in[1] + m.At(row, 2) * in[2] +
                   m.At(row, 3) * in[3];
    }
}

}  // namespace

void PanelBase::SetOffsetTransform(const Matrix4& offset) {
    DrawLockScope lock(*this, "PanelBase::SetOffsetTransform");
    offsetTransform = offset;
}

Matrix4 PanelBase::GetOffsetTransform() {
    DrawLockScope lock(*this, "PanelBase::GetOffsetTransform");
    return offsetTransform;
}

Matrix4 PanelBase::GetTransform() {
    DrawLockScope lock(*this, "PanelBase::GetTransform");
    return transform;
}

void PanelBase::SetOpacity(float value) {
    DrawLockScope lock(*this, "PanelBase::SetOpacity");
    opacity = value;
}

float PanelBase::GetOpacity() {
    DrawLockScope lock(*this, "PanelBase::GetOpacity");
    return opacity;
}

void PanelBase::SetColor(float red, float green, float blue) {
    DrawLockScope lock(*this, "PanelBase::SetColor");
    colorRed = red;
    colorGreen = green;
    colorBlue = blue;
}

void PanelBase::SetSize(std::uint32_t newWidth, std::uint32_t newHeight) {
    DrawLockScope lock(*this, "PanelBase::SetSize");
    width = newWidth;
    height = newHeight;
}

void PanelBase::SetBoundsLimit(const bool& enabled, const Vector3& newLimit) {
    limitEnabled = enabled ? 1 : 0;
    limit = newLimit;
}

void PanelBase::SetTransform(const Matrix4& placement, bool absolute) {
    DrawLockScope lock(*this, "PanelBase::SetTransform");
    Matrix4 copy = placement;
    if (limitEnabled != 0) {
        // Above the floor and in front of the theater screen; a panel exactly on a limit stays.
        const float y = copy.m[13];
        const float z = copy.m[14];
        if (0.2f > y) {
            copy.Translate(0.0f, std::fabs(0.2f - y), 0.0f);
        }
        const float zLimit = limit.z + 0.2f;
        if (zLimit > z) {
            copy.Translate(0.0f, 0.0f, std::fabs(z - zLimit));
        }
    }
    // The limit holds for the placement passed in; the offset may still carry the panel past it.
    transform = absolute ? copy : copy * offsetTransform;
}

bool PanelBase::IntersectRay(const float origin[4], const float direction[4], float* distance,
                             float* pixel) {
    DrawLockScope lock(*this, "PanelBase::IntersectRay");
    const Matrix4 inverse = transform.Inverse();
    float o[4];
    float d[4];
    Transform(inverse, origin, o);
    const float unscale = 1.0f / scale;
    for (float& component : o) {
        component *= unscale;
    }
    Transform(inverse, direction, d);

    const float denominator = DotWithNormal(d);
    if (std::fabs(denominator) < 0.00001f) {
        return false;
    }
    const float t = -DotWithNormal(o) / denominator;
    if (!(t > 0.0f)) {
        return false;
    }
    const float pixelX = (d[0] * t + o[0]) / kPixelSize + static_cast<float>(width) * 0.5f;
    const float rawY = (d[1] * t + o[1]) / kPixelSize + static_cast<float>(height) * 0.5f;
    // Rows count down from the top. Taken after the y above, which shifts the accepted band one
    // row down from the drawn rectangle; hosts rely on the rows as they are.
    const float pixelY = static_cast<float>(height - 1u) - rawY;
    if (!(pixelX >= 0.0f && pixelX < static_cast<float>(width) && pixelY >= 0.0f &&
          pixelY < static_cast<float>(height))) {
        return false;
    }
    if (distance != nullptr) {
        *distance = scale * t;
    }
    if (pixel != nullptr) {
        pixel[0] = pixelX;
        pixel[1] = pixelY;
    }
    return true;
}

}  // namespace STN
