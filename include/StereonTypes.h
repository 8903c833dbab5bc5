// Value types shared by the library's public interfaces.
#pragma once

#include <cstdint>

// What the library exports: its two entry points and the matrix helpers a host places panels with.
#if !defined(STEREON_API)
#if defined(_WIN32)
#if defined(STEREON_BUILDING)
#define STEREON_API __declspec(dllexport)
#else
#define STEREON_API __declspec(dllimport)
#endif
#else
#define STEREON_API __attribute__((visibility("default")))
#endif
#endif

namespace STN {

// One host-side client of the service, chosen by the host. 0 stands for "no client active", so
// a call with 0 passes as the active client's whenever none is active: do not use it.
typedef std::uint64_t ClientHandle;

// How a frame's picture maps onto the viewer's surroundings. Flat footage goes on the theater
// room's screen, or, with the key "Stereon.EnableTheaterMode" false, gives a grey checkerboard
// around the viewer. Any other value is shown as monoscopic equirectangular.
typedef std::int32_t VideoProjection;
enum : VideoProjection {
    kVideoProjectionFlat = 0,
    kVideoProjectionEquirectangular = 1,
};

// How an equirectangular frame holds its two eyes: over-under gives the left eye the upper half,
// side by side the left half. Flat footage ignores it. Any other value counts as monoscopic.
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

    // Element at row `row`, column `column`.
    float& At(int row, int column) { return m[column * 4 + row]; }
    float At(int row, int column) const { return m[column * 4 + row]; }

    // Both of these apply on the left: the turn or shift happens after what the matrix does.
    // The turn is counter-clockwise looking down the axis, which need not be normalised; a
    // zero axis leaves the matrix alone.
    STEREON_API Matrix4& Rotate(float degrees, float axisX, float axisY, float axisZ);
    STEREON_API Matrix4& Translate(float x, float y, float z);

    // An affine matrix (bottom row 0, 0, 0, 1) inverts its 3x3 part and derives the
    // translation; any other takes the full inverse. A part whose determinant is 0.00001 or
    // less in magnitude counts as singular and is replaced by identity.
    STEREON_API Matrix4 Inverse() const;
    Matrix4& Invert() { return *this = Inverse(); }
};

// a * b applies b first.
STEREON_API Matrix4 operator*(const Matrix4& a, const Matrix4& b);

// The factor that turns degrees into radians.
constexpr float kDegreesToRadians = 0.017453294f;

struct Vector3 {
    float x;
    float y;
    float z;
};

}  // namespace STN
