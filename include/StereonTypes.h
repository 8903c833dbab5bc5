// Value types shared by the library's public interfaces.
#pragma once

#include <cstdint>

namespace STN {

// One host-side client of the service, chosen by the host; 0 means none.
typedef std::uint64_t ClientHandle;

// How a frame's picture maps onto the viewer's surroundings.
typedef std::int32_t VideoProjection;
enum : VideoProjection {
    kVideoProjectionFlat = 0,
    kVideoProjectionEquirectangular = 1,
};

// How a frame holds its two eyes. Any other value counts as monoscopic.
typedef std::int32_t StereoLayout;
enum : StereoLayout {
    kStereoLayoutMonoscopic = 0,
    kStereoLayoutOverUnder = 1,
    kStereoLayoutSideBySide = 2,
};

// Sixteen floats, column-major, translation in elements 12, 13 and 14. Copied by value.
struct Matrix4 {
    float m[16];

    static Matrix4 Identity() {
        Matrix4 r = {{1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f,
                      0.0f, 0.0f, 1.0f}};
        return r;
    }
};

struct Vector3 {
    float x;
    float y;
    float z;
};

}  // namespace STN
