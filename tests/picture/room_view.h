// A seated viewer in front of what the library draws: the eyes 1.2 m above the floor, 90 degrees
// wide and together (no eye distance), so that a point of the room lands on a pixel that plain
// geometry gives.
#pragma once

#include <cmath>

#include "picture_support.h"

namespace picturetest {

constexpr int kViewEye = 128;
constexpr float kEyeHeight = 1.2f;
constexpr float kHalfFovDegrees = 45.0f;

inline std::vector<int> Grey(int level) {
    return {level, level, level, 255};
}

inline FrameRef UniformFrame(
    int width, int height, const std::vector<int>& colour,
    hostmediatypes::PixelAspectRatio aspect = hostmediatypes::kPixelAspectRatio_Square) {
    return PaintedFrame(
        width, height, [&](int, int) { return colour; }, aspect);
}

class RoomViewTest : public PictureTest {
protected:
    void ConfigureRuntime() override {
        simvr_set_render_target_size(kViewEye, kViewEye);
        simvr_set_fov(kHalfFovDegrees, kHalfFovDegrees, kHalfFovDegrees, kHalfFovDegrees);
        simvr_set_ipd(0.0f);
        LookAt(0.0f, kEyeHeight, -1.0f);
    }

    // Turns the head so that the eyes' centres look at the point.
    static void LookAt(float x, float y, float z) {
        const float kDegrees = 57.2957795f;
        const float right = std::atan2(x, -z) * kDegrees;
        const float up = std::atan2(y - kEyeHeight, std::hypot(x, z)) * kDegrees;
        simvr_set_head_pose(-right, up, 0.0f, 0.0f, kEyeHeight, 0.0f);
    }

    // With the head looking straight ahead, the pixel of an eye that shows the point (x, y) of
    // the vertical plane `distance` metres ahead.
    static std::vector<int> PixelAhead(std::uint32_t eye, float x, float y, float distance) {
        const float scale = kViewEye / 2 / std::tan(kHalfFovDegrees / 57.2957795f);
        const int column = static_cast<int>(std::floor(kViewEye / 2 + scale * x / distance));
        const int row =
            static_cast<int>(std::floor(kViewEye / 2 + scale * (y - kEyeHeight) / distance));
        return EyePixel(eye, column, row);
    }
    static std::vector<int> Centre(std::uint32_t eye) {
        return EyePixel(eye, kViewEye / 2, kViewEye / 2);
    }
};

}  // namespace picturetest
