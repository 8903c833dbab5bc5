#pragma once

#include <cstdint>

namespace STN {

// Every uniform of every program, grouped by program. One GLSL name can stand behind several
// enumerators; each enumerator is its own cache key in the program that uses it.
enum ShaderUniform : std::int32_t {
    // Model
    kUniformModelMatrix = 0,
    kUniformModelTexture0 = 1,
    // Video
    kUniformVideoFrameSize = 2,
    kUniformVideoMatrix = 3,
    kUniformVideoRedBlueSwap = 4,
    kUniformVideoSubRect = 5,
    kUniformVideoTexture0 = 6,
    kUniformVideoVerticalFlip = 7,
    kUniformVideoFOVRect = 8,
    // Placeholder
    kUniformPlaceholderMatrix = 9,
    // Flat
    kUniformFlatMatrix = 10,
    // Dial
    kUniformDialAngle = 11,
    kUniformDialMatrix = 12,
    // Panel
    kUniformPanelColor = 13,
    kUniformPanelMatrix = 14,
    kUniformPanelSize = 15,
    // Equirectangular panel; 20 has no name.
    kUniformEquirectMatrix = 16,
    kUniformEquirectSize = 17,
    kUniformEquirectColor = 18,
    kUniformEquirectTexture0 = 19,
    kUniformEquirectSubRect = 21,
    kUniformEquirectUVSubRect = 22,
    kUniformEquirectVerticalFlip = 23,
    kUniformEquirectRedBlueSwap = 24,
    kUniformEquirectFrameSize = 25,
    // Weighted blending
    kUniformWABAccumTex = 26,
    kUniformWABRevealageTex = 27,
    // Depth peeling
    kUniformDPFrontDepthTex = 28,
    kUniformDPTexture0 = 29,
    kUniformDPColorTex = 30,
    kUniformDPDepthTex = 31,
    // Room model
    kUniformRoomMatrix = 32,
    kUniformRoomColor = 33,
    // Theater video
    kUniformTheaterVideoMatrix = 34,
    kUniformTheaterVideoSize = 35,
    kUniformTheaterVideoTexture0 = 36,
    kUniformTheaterVideoColor = 37,
    kUniformTheaterVideoFlipVertical = 38,
    kUniformTheaterVideoSwapRedBlue = 39,
    kUniformTheaterVideoFrameSize = 40,
    // Theater floor
    kUniformFloorMatrix = 41,
    kUniformFloorPosHMD = 42,
    kUniformFloorPosTV = 43,
    kUniformFloorSize = 44,
    // Theater wall
    kUniformWallMatrix = 45,
    kUniformWallSize = 46,
    kUniformWallBandSize = 47,
    // Theater blur
    kUniformBlurMatrix = 48,
    kUniformBlurTexture0 = 49,
    kUniformBlurDirection = 50,
    kUniformBlurLevel = 51,
    kUniformBlurFrameSize = 52,
};

// The GLSL name of the uniform; null, after an assertion, for 20 and values outside 0 to 52.
const char* GetShaderUniformName(ShaderUniform uniform);

}  // namespace STN
