#include "OpenGL/ShaderSources.h"

#include "AssertionSite.h"
#include "ShaderUniform.h"

namespace STN {

namespace {

const char* const kFragmentHeader = "#version 410 core\n";

// clang-format off
const char* const kVertexSource1 = R"GLSL(#version 410
layout(location = 0) in vec4 inPosition;
layout(location = 1) in vec2 inTexcoord;
out vec2 vTexcoord;
void main()
{
  vTexcoord = inTexcoord;
  gl_Position = inPosition;
}
)GLSL";

const char* const kVertexSource2 = R"GLSL(#version 410
uniform mat4 uMatrix;
layout(location = 0) in vec4 inPosition;
layout(location = 1) in vec3 inNormal;
layout(location = 2) in vec2 inTexcoord;
out vec2 vTexcoord;
void main()
{
  vTexcoord = inTexcoord;
  gl_Position = uMatrix * vec4(inPosition.xyz, 1);
}
)GLSL";

const char* const kVertexSource3 = R"GLSL(#version 410
uniform mat4 uMatrix;
layout(location = 0) in vec4 inPosition;
layout(location = 1) in vec4 inColor;
out vec4 vColor;
void main()
{
  vColor = inColor;
  gl_Position = uMatrix * vec4(inPosition.xyz, 1);
}
)GLSL";

const char* const kVertexSource4 = R"GLSL(#version 410
uniform mat4 uMatrix;
layout(location = 0) in vec4 inPosition;
layout(location = 1) in vec2 inTexcoord;
layout(location = 2) in vec4 inColor;
out vec2 vTexcoord;
out vec4 vColor;
void main()
{
  vTexcoord = inTexcoord;
  vColor = vec4(inColor.rgb * inColor.a, inColor.a);
  gl_Position = uMatrix * vec4(inPosition.xyz, 1);
}
)GLSL";

const char* const kVertexSource5 = R"GLSL(#version 410
uniform mat4 uMatrix;
uniform vec2 uSize;
layout(location = 0) in vec4 inPosition;
layout(location = 1) in vec2 inTexcoord;
out vec2 vTexcoord;
out vec4 vColor;
void main()
{
  vTexcoord = inTexcoord;
  gl_Position = uMatrix * vec4(inPosition.xy * uSize, inPosition.z, 1.0);
}
)GLSL";

const char* const kVertexSource6 = R"GLSL(#version 410
layout(location = 0) in vec4 inPosition;
void main()
{
  gl_Position = vec4(inPosition.xy, 0.0, 1.0);
}
)GLSL";

const char* const kVertexSource7 = R"GLSL(#version 410
uniform mat4 uMatrix;
layout(location = 0) in vec4 inPosition;
void main()
{
  gl_Position = uMatrix * vec4(inPosition.xyz, 1.0);
}
)GLSL";

const char* const kVertexSource8 = R"GLSL(#version 410
uniform mat4 uMatrix;
layout(location = 0) in vec4 inPosition;
layout(location = 1) in vec2 inTexcoord;
out vec2 vTexcoord;
out vec4 vertex;
void main()
{
  vTexcoord = inTexcoord;
  vertex = inPosition;
  gl_Position = uMatrix * vec4(inPosition.xy, inPosition.z, 1.0);
}
)GLSL";

const char* const kVertexSource9 = R"GLSL(#version 410
uniform mat4 uMatrix;
layout(location = 0) in vec4 inPosition;
layout(location = 1) in vec2 inTexcoord;
out vec2 vTexcoord;
out vec4 vertex;
void main()
{
  vertex = inPosition;
  vTexcoord = inTexcoord;
  gl_Position = uMatrix * vec4(inPosition.xy, inPosition.z, 1.0);
}
)GLSL";

const char* const kFragment_VideoShader = R"GLSL(uniform mat4 uMatrix;
uniform sampler2D uTexture0;
uniform vec4 uSubRect;
uniform vec4 uFOVRect;
uniform bool uRedBlueSwap;
uniform bool uVerticalFlip;
in vec2 vTexcoord;
out vec4 outColor;
const float PI = 3.1415926535897932384626433832795;
const float NEAR_PI = 3.14159;
void main()
{
  vec4 texsamp = vec4(0.0, 0.0, 0.0, 1.0);
  vec4 p = uMatrix * vec4(vTexcoord.xy * 2.0 - 1.0, 0.0, 1.0);
  p /= p.w;
  vec4 q = uMatrix * vec4(vTexcoord.xy * 2.0 - 1.0, 1.0, 1.0);
  q /= q.w;
  vec3 v = normalize(q.xyz - p.xyz);
  v = vec3(-v.z, v.x, v.y);
  float azimuth = atan(v.y, v.x) - uFOVRect.x;
  float altitude = atan(v.z, sqrt(v.x*v.x + v.y*v.y)) - uFOVRect.y;
  if( (uFOVRect.z >= (NEAR_PI * 2.0) && uFOVRect.w >= NEAR_PI) ||
    (azimuth >= 0.0 && azimuth <= uFOVRect.z && altitude >= 0.0 && altitude <= uFOVRect.w))
  {
    vec2 equirect = vec2(azimuth / uFOVRect.z, altitude / uFOVRect.w);
    vec2 subrect = mix(uSubRect.xz, uSubRect.yw, equirect);
    subrect = uVerticalFlip ? vec2(subrect.x, 1.0 - subrect.y) : subrect;
    texsamp = texture(uTexture0, subrect);
    texsamp.rgb *= texsamp.a;
  }
  outColor = uRedBlueSwap ? texsamp.bgra : texsamp;
}
)GLSL";

const char* const kFragment_VideoShader_Rectangle = R"GLSL(uniform mat4 uMatrix;
uniform sampler2DRect uTexture0;
uniform vec4 uSubRect;
uniform vec4 uFOVRect;
uniform bool uRedBlueSwap;
uniform bool uVerticalFlip;
uniform vec2 uFrameSize;
in vec2 vTexcoord;
out vec4 outColor;
const float PI = 3.1415926535897932384626433832795;
const float NEAR_PI = 3.14159;
void main()
{
  vec4 texsamp = vec4(0.0, 0.0, 0.0, 1.0);
  vec4 p = uMatrix * vec4(vTexcoord.xy * 2.0 - 1.0, 0.0, 1.0);
  p /= p.w;
  vec4 q = uMatrix * vec4(vTexcoord.xy * 2.0 - 1.0, 1.0, 1.0);
  q /= q.w;
  vec3 v = normalize(q.xyz - p.xyz);
  v = vec3(-v.z, v.x, v.y);
  float azimuth = atan(v.y, v.x) - uFOVRect.x;
  float altitude = atan(v.z, sqrt(v.x*v.x + v.y*v.y)) - uFOVRect.y;
  if( (uFOVRect.z >= (NEAR_PI * 2.0) && uFOVRect.w >= NEAR_PI) ||
    (azimuth >= 0.0 && azimuth <= uFOVRect.z && altitude >= 0.0 && altitude <= uFOVRect.w))
  {
    vec2 equirect = vec2(azimuth / uFOVRect.z, altitude / uFOVRect.w);
    vec2 subrect = mix(uSubRect.xz, uSubRect.yw, equirect);
    subrect = uVerticalFlip ? vec2(subrect.x, 1.0 - subrect.y) : subrect;
    texsamp = texture(uTexture0, subrect*uFrameSize);
    texsamp.rgb *= texsamp.a;
  }
  outColor = uRedBlueSwap ? texsamp.bgra : texsamp;
}
)GLSL";

const char* const kFragment_ModelShader = R"GLSL(uniform sampler2D uTexture0;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
   outColor = texture(uTexture0, vTexcoord);
}
)GLSL";

const char* const kFragment_PlaceholderShader = R"GLSL(uniform mat4 uMatrix;
in vec2 vTexcoord;
out vec4 outColor;
const float PI = 3.1415926535897932384626433832795;
void main()
{
   vec4 p = uMatrix * vec4(vTexcoord.xy * 2.0 - 1.0, 0.0, 1.0);
   p /= p.w;
   vec4 q = uMatrix * vec4(vTexcoord.xy * 2.0 - 1.0, 1.0, 1.0);
   q /= q.w;
   vec3 v = normalize(q.xyz - p.xyz);
   v = vec3(-v.z, v.x, v.y);
   float azimuth = atan(v.y, v.x) / PI * 180.0;
   float altitude = atan(v.z, sqrt(v.x*v.x + v.y*v.y)) / PI * 180.0;
   int checkerboard = int(floor(mod(floor(azimuth / 20.0) + floor(altitude / 20.0), 2.0)));
   outColor = (checkerboard == 0) ? vec4(0.2, 0.2, 0.2, 1.0) : vec4(0.5, 0.5, 0.5, 1.0);
}
)GLSL";

const char* const kFragment_FlatShader = R"GLSL(in vec4 vColor;
out vec4 outColor;
void main()
{
   outColor = vColor;
}
)GLSL";

const char* const kFragment_DialShader = R"GLSL(uniform float uAngle;
in vec2 vTexcoord;
in vec4 vColor;
out vec4 outColor;
void main()
{
   float radius = sqrt(vTexcoord.x * vTexcoord.x + vTexcoord.y * vTexcoord.y);
   float angle = atan(vTexcoord.x, -vTexcoord.y);
   bool inRange = uAngle >= 0.0 ? (angle <= uAngle && angle >= 0) : (angle >= uAngle && angle <= 0);
   inRange = inRange && radius <= 1.0;
   outColor = inRange ? vColor : vec4(0.0);
}
)GLSL";

const char* const kFragment_PanelShader = R"GLSL(uniform sampler2D uTexture0;
uniform vec4 uColor;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
   vec4 samp = texture(uTexture0, vTexcoord) * uColor;
   if (samp.a < 0.05) discard;
   samp.rgb *= samp.a;
   outColor = samp;
}
)GLSL";

const char* const kFragment_EquirectPanelShader = R"GLSL(uniform sampler2D uTexture0;
uniform vec4 uSubRect;
uniform vec4 uUVSubRect;
uniform bool uRedBlueSwap;
uniform bool uVerticalFlip;
uniform vec4 uColor;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
  vec4 texsamp = vec4(0.0, 0.0, 0.0, 1.0);
  float u = vTexcoord.x - uUVSubRect.x;
  float v = vTexcoord.y - uUVSubRect.y;
  if(u >= 0.0 && u <= uUVSubRect.z && v >= 0.0 && v <= uUVSubRect.w)
  {
    vec2 texcoord = vec2(u / uUVSubRect.z, v / uUVSubRect.w);
    vec2 subrect = mix(uSubRect.xz, uSubRect.yw, texcoord);
    subrect = uVerticalFlip ? vec2(subrect.x, 1.0 - subrect.y) : subrect;
    texsamp = texture(uTexture0, subrect) * uColor;
    texsamp.rgb *= texsamp.a;
    texsamp = texsamp + (1.0 - texsamp.a) * vec4(0.0, 0.0, 0.0, 1.0);
  }
  outColor = uRedBlueSwap ? texsamp.bgra : texsamp;
}
)GLSL";

const char* const kFragment_EquirectPanelShader_Rectangle = R"GLSL(uniform sampler2DRect uTexture0;
uniform vec4 uSubRect;
uniform vec4 uUVSubRect;
uniform bool uRedBlueSwap;
uniform bool uVerticalFlip;
uniform vec2 uFrameSize;
uniform vec4 uColor;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
  vec4 texsamp = vec4(0.0, 0.0, 0.0, 1.0);
  float u = vTexcoord.x - uUVSubRect.x;
  float v = vTexcoord.y - uUVSubRect.y;
  if(u >= 0.0 && u <= uUVSubRect.z && v >= 0.0 && v <= uUVSubRect.w)
  {
    vec2 texcoord = vec2(u / uUVSubRect.z, v / uUVSubRect.w);
    vec2 subrect = mix(uSubRect.xz, uSubRect.yw, texcoord);
    subrect = uVerticalFlip ? vec2(subrect.x, 1.0 - subrect.y) : subrect;
    texsamp = texture(uTexture0, subrect * uFrameSize) * uColor;
    if (texsamp.a < 0.05) discard;
    texsamp.rgb *= texsamp.a;
  }
   outColor = uRedBlueSwap ? texsamp.bgra : texsamp;
}
)GLSL";

const char* const kFragment_DPPanelShader = R"GLSL(uniform sampler2D uTexture0;
uniform sampler2D uFrontDepthTex;
uniform vec4 uColor;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
   ivec2 coord = ivec2(gl_FragCoord.xy);
   float frontDepth = texelFetch(uFrontDepthTex, coord, 0).r;
   if (gl_FragCoord.z <= frontDepth) discard;
   vec4 samp = texture(uTexture0, vTexcoord) * uColor;
   if (samp.a < 0.05) discard;
   samp.rgb *= samp.a;
   outColor = samp;
}
)GLSL";

const char* const kFragment_DPCompositingShader = R"GLSL(uniform sampler2D uColorTex;
uniform sampler2D uDepthTex;
out vec4 outColor;
void main()
{
   ivec2 coord = ivec2(gl_FragCoord.xy);
   float depth = texelFetch(uDepthTex, coord, 0).r;
   gl_FragDepth = depth;
   vec4 color = texelFetch(uColorTex, coord, 0);
   outColor = color;
}
)GLSL";

const char* const kFragment_WABpass1PanelShader = R"GLSL(uniform sampler2D uTexture0;
uniform vec4 uColor;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
   vec4 samp = texture(uTexture0, vTexcoord) * uColor;
   if (samp.a < 1.0) discard;
   samp.rgb *= samp.a;
   outColor = samp;
}
)GLSL";

const char* const kFragment_WABpass2PanelShader = R"GLSL(uniform sampler2D uTexture0;
uniform vec4 uColor;
in vec2 vTexcoord;
layout(location = 0) out vec4 outAccum;
layout(location = 1) out float outRevealage;
void main()
{
   vec4 samp = texture(uTexture0, vTexcoord) * uColor;
   if (samp.a >= 1.0) discard;
   samp.rgb *= samp.a;
   float weight = samp.a * max(0.01, 3000.0 * pow(1.0 - gl_FragCoord.z, 3.0));
   outAccum = samp * weight;
   outRevealage = samp.a;
}
)GLSL";

const char* const kFragment_WABpass3Shader = R"GLSL(uniform sampler2D uAccumTex;
uniform sampler2D uRevealageTex;
out vec4 outColor;
void main()
{
   ivec2 coord = ivec2(gl_FragCoord.xy);
   float revealage = texelFetch(uRevealageTex, coord, 0).r;
   if (revealage == 1.0) { discard; }
   vec4 accum = texelFetch(uAccumTex, coord, 0);
   vec3 averageColor = accum.rgb / max(accum.a, 0.00001);
   outColor = vec4(averageColor, 1.0 - revealage);
}
)GLSL";

const char* const kFragment_RoomModelShader = R"GLSL(uniform vec4 uColor;
out vec4 outColor;
void main()
{
  outColor = uColor;
}
)GLSL";

const char* const kFragment_TheaterVideoShader = R"GLSL(uniform sampler2D uTexture0;
uniform vec4 uColor;
uniform bool uFlipVertical;
uniform bool uSwapRedBlue;
in vec2 vTexcoord;
out vec4 outColor;

void main()
{
   vec2 uv = uFlipVertical ? vec2(vTexcoord.x, 1.0 - vTexcoord.y) : vTexcoord;
   vec4 samp = texture(uTexture0, uv) * uColor;
   samp.rgb *= samp.a;
   samp = samp + (1.0 - samp.a) * vec4(0.0, 0.0, 0.0, 1.0);  // Composite over black background.
   outColor = uSwapRedBlue ? samp.bgra : samp;
}
)GLSL";

const char* const kFragment_TheaterVideoShader_Rectangle = R"GLSL(uniform sampler2DRect uTexture0;
uniform vec4 uColor;
uniform bool uFlipVertical;
uniform bool uSwapRedBlue;
uniform vec2 uFrameSize;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
   vec2 uv = uFlipVertical ? vec2(vTexcoord.x, 1.0 - vTexcoord.y) : vTexcoord;
   vec4 samp = texture(uTexture0, uv*uFrameSize) * uColor;
   samp.rgb *= samp.a;
   samp = samp + (1.0 - samp.a) * vec4(0.0, 0.0, 0.0, 1.0);  // Composite over black background.
   outColor = uSwapRedBlue ? samp.bgra : samp;
}
)GLSL";

const char* const kFragment_TheaterFloorShader = R"GLSL(uniform vec2 uPosHMD;
uniform vec4 uPosTV;  // Stores [x,y,w,h] x,y position of TV and w,h of rect.
uniform vec2 uSize;
in vec2 vTexcoord;
in vec4 vertex;
out vec4 outColor;
vec3 DrawCircle(vec2 center, vec4 vertices, float radius)
{
  float ln = distance(center, vertices.xy);
  vec3 shape = vec3(1 - smoothstep(radius - radius / 1.3, radius, ln));
  return shape;
}

vec3 DrawRectangle(vec2 center, vec4 vertices, float rw, float rh)
{
  vec3 r1 = vec3(1 - smoothstep(rw - rw / 2, rw, abs(vertices.x - center.x)));
  vec3 r2 = vec3(1 - smoothstep(rh - rh / 1.5, rh, abs(vertices.y - center.y)));
  vec3 shape = r1 * r2;
  return shape;
}
void main()
{
  float colorBase = 0.20;
  float colorShadow = 0.2;
  float coord = length(vertex.xy);
  float antiAliasedFactor = fwidth(coord) * 8;
  float lineThinFactor = 0.1;
  float line = abs(fract(coord) - 0.1) / antiAliasedFactor + lineThinFactor;
  vec3 concentricCircles = vec3(min(line, colorBase));
  vec3 hmd = DrawCircle(uPosHMD, vertex, 0.15);
  vec3 tv = DrawRectangle(uPosTV.xy, vertex, uPosTV.z, uPosTV.w);
  vec3 shape = hmd + tv;
  shape = 1 - shape;
  concentricCircles = mix(concentricCircles, shape, 0.1);
  vec2 roomcenter = vec2(0, 0);
  vec3 r1 = vec3(1 - smoothstep(uSize.x/2 + 3 - 5,  uSize.x/2 + 3, abs(vertex.x - roomcenter.x)));
  vec3 r2 = vec3(1 - smoothstep(uSize.y/2 + 3 - 5,  uSize.y/2 + 3, abs(vertex.y - roomcenter.y)));
  vec3 color = max(concentricCircles * r1 * r2, colorShadow);
  outColor = vec4(color, 1.0);
}
)GLSL";

const char* const kFragment_TheaterWallShader = R"GLSL(uniform vec2 uSize;
uniform float uBandSize;
in vec2 vTexcoord;
in vec4 vertex;
out vec4 outColor;
void main()
{
  float colorBase = 0.25;
  float colorShadow = 0.2;
  vec3 r1 = vec3(1 - smoothstep(uSize.x/2 + 0.9 - uBandSize, uSize.x/2 + 0.8, smoothstep(-uSize.y/2-0.35, uSize.y/2+0.35, -vertex.y)*abs(vertex.x)));
  vec3 r2 = vec3(1 - smoothstep(uSize.y/2 + 1 - uBandSize, uSize.y/2 + 1, step(0, -vertex.y)*abs(vertex.y)));
  vec3 color = max(vec3(colorBase)*r1*r2, colorShadow);
  if(uBandSize == 0) color = vec3(colorBase);
  outColor = vec4(color, 1.0);
}
)GLSL";

const char* const kFragment_TheaterBlurShader = R"GLSL(uniform sampler2D uTexture0;
uniform vec2 uBlurDirection;
uniform float uBlurLevel;
in vec2 vTexcoord;
in vec4 vertex;
out vec4 outColor;
void main()
{
  vec4 samp = vec4(0.0);
  vec2 tc = vTexcoord;

  //adjust the blur kernel based on viewing distance and screen-space derivatives
  vec2  dx_vtc = dFdx(vertex.xy);
  vec2  dy_vtc = dFdy(vertex.xy);
  float dScale = 0.5;
  float hStep = uBlurLevel * (uBlurDirection.x + length(dx_vtc) * dScale);
  float vStep = uBlurLevel * (uBlurDirection.y + length(dy_vtc) * dScale);

  samp += texture(uTexture0, vec2(tc.x - 4.0*hStep, tc.y - 4.0*vStep)) * 0.0162162162;
  samp += texture(uTexture0, vec2(tc.x - 3.0*hStep, tc.y - 3.0*vStep)) * 0.0540540541;
  samp += texture(uTexture0, vec2(tc.x - 2.0*hStep, tc.y - 2.0*vStep)) * 0.1216216216;
  samp += texture(uTexture0, vec2(tc.x - 1.0*hStep, tc.y - 1.0*vStep)) * 0.1945945946;

  samp += texture(uTexture0, vec2(tc.x, tc.y)) * 0.2270270270;

  samp += texture(uTexture0, vec2(tc.x + 1.0*hStep, tc.y + 1.0*vStep)) * 0.1945945946;
  samp += texture(uTexture0, vec2(tc.x + 2.0*hStep, tc.y + 2.0*vStep)) * 0.1216216216;
  samp += texture(uTexture0, vec2(tc.x + 3.0*hStep, tc.y + 3.0*vStep)) * 0.0540540541;
  samp += texture(uTexture0, vec2(tc.x + 4.0*hStep, tc.y + 4.0*vStep)) * 0.0162162162;

  outColor = samp;
}
)GLSL";

const char* const kFragment_TheaterBlurShader_Rectangle = R"GLSL(uniform sampler2DRect uTexture0;
uniform vec2 uBlurDirection;
uniform float uBlurLevel;
uniform vec2 uFrameSize;
in vec2 vTexcoord;
in vec4 vertex;
out vec4 outColor;
void main()
{
  vec4 samp = vec4(0.0);
  vec2 tc = vTexcoord * uFrameSize;

  //adjust the blur kernel based on viewing distance and screen-space derivatives
  vec2  dx_vtc = dFdx(vertex.xy);
  vec2  dy_vtc = dFdy(vertex.xy);
  float dScale = 0.5;
  float hStep = uBlurLevel * uFrameSize.x * (uBlurDirection.x + length(dx_vtc) * dScale);
  float vStep = uBlurLevel * uFrameSize.y * (uBlurDirection.y + length(dy_vtc) * dScale);

  samp += texture(uTexture0, vec2(tc.x - 4.0*hStep, tc.y - 4.0*vStep)) * 0.0162162162;
  samp += texture(uTexture0, vec2(tc.x - 3.0*hStep, tc.y - 3.0*vStep)) * 0.0540540541;
  samp += texture(uTexture0, vec2(tc.x - 2.0*hStep, tc.y - 2.0*vStep)) * 0.1216216216;
  samp += texture(uTexture0, vec2(tc.x - 1.0*hStep, tc.y - 1.0*vStep)) * 0.1945945946;

  samp += texture(uTexture0, vec2(tc.x, tc.y)) * 0.2270270270;

  samp += texture(uTexture0, vec2(tc.x + 1.0*hStep, tc.y + 1.0*vStep)) * 0.1945945946;
  samp += texture(uTexture0, vec2(tc.x + 2.0*hStep, tc.y + 2.0*vStep)) * 0.1216216216;
  samp += texture(uTexture0, vec2(tc.x + 3.0*hStep, tc.y + 3.0*vStep)) * 0.0540540541;
  samp += texture(uTexture0, vec2(tc.x + 4.0*hStep, tc.y + 4.0*vStep)) * 0.0162162162;

  outColor = samp;
}
)GLSL";

// clang-format on

const ShaderSourceEntry kShaderSources[] = {
    {"VideoShader", kVertexSource1, kFragmentHeader, kFragment_VideoShader},
    {"VideoShader_Rectangle", kVertexSource1, kFragmentHeader, kFragment_VideoShader_Rectangle},
    {"ModelShader", kVertexSource2, kFragmentHeader, kFragment_ModelShader},
    {"PlaceholderShader", kVertexSource1, kFragmentHeader, kFragment_PlaceholderShader},
    {"FlatShader", kVertexSource3, kFragmentHeader, kFragment_FlatShader},
    {"DialShader", kVertexSource4, kFragmentHeader, kFragment_DialShader},
    {"PanelShader", kVertexSource5, kFragmentHeader, kFragment_PanelShader},
    {"EquirectPanelShader", kVertexSource5, kFragmentHeader, kFragment_EquirectPanelShader},
    {"EquirectPanelShader_Rectangle", kVertexSource5, kFragmentHeader,
     kFragment_EquirectPanelShader_Rectangle},
    {"DPPanelShader", kVertexSource5, kFragmentHeader, kFragment_DPPanelShader},
    {"DPCompositingShader", kVertexSource6, kFragmentHeader, kFragment_DPCompositingShader},
    {"WABpass1PanelShader", kVertexSource5, kFragmentHeader, kFragment_WABpass1PanelShader},
    {"WABpass2PanelShader", kVertexSource5, kFragmentHeader, kFragment_WABpass2PanelShader},
    {"WABpass3Shader", kVertexSource6, kFragmentHeader, kFragment_WABpass3Shader},
    {"RoomModelShader", kVertexSource7, kFragmentHeader, kFragment_RoomModelShader},
    {"TheaterVideoShader", kVertexSource5, kFragmentHeader, kFragment_TheaterVideoShader},
    {"TheaterVideoShader_Rectangle", kVertexSource5, kFragmentHeader,
     kFragment_TheaterVideoShader_Rectangle},
    {"TheaterFloorShader", kVertexSource8, kFragmentHeader, kFragment_TheaterFloorShader},
    {"TheaterWallShader", kVertexSource8, kFragmentHeader, kFragment_TheaterWallShader},
    {"TheaterBlurShader", kVertexSource9, kFragmentHeader, kFragment_TheaterBlurShader},
    {"TheaterBlurShader_Rectangle", kVertexSource9, kFragmentHeader,
     kFragment_TheaterBlurShader_Rectangle},
    {"", nullptr, nullptr, nullptr},
};

}  // namespace

const ShaderSourceEntry* GetShaderSourceTable() {
    return kShaderSources;
}

bool FindShaderSource(const std::string& name, const char*& vertexSource,
                      const char*& fragmentHeader, const char*& fragmentBody) {
    // The empty row ends the walk before it is compared, so "" finds nothing.
    for (const ShaderSourceEntry* entry = kShaderSources; !entry->name.empty(); ++entry) {
        if (entry->name.size() == name.size() && entry->name == name) {
            vertexSource = entry->vertexSource;
            fragmentHeader = entry->fragmentHeader;
            fragmentBody = entry->fragmentBody;
            return true;
        }
    }
    return false;
}

const char* GetShaderUniformName(ShaderUniform uniform) {
    switch (uniform) {
        case kUniformModelMatrix:
        case kUniformVideoMatrix:
        case kUniformPlaceholderMatrix:
        case kUniformFlatMatrix:
        case kUniformDialMatrix:
        case kUniformPanelMatrix:
        case kUniformEquirectMatrix:
        case kUniformRoomMatrix:
        case kUniformTheaterVideoMatrix:
        case kUniformFloorMatrix:
        case kUniformWallMatrix:
        case kUniformBlurMatrix:
            return "uMatrix";
        case kUniformModelTexture0:
        case kUniformVideoTexture0:
        case kUniformEquirectTexture0:
        case kUniformDPTexture0:
        case kUniformTheaterVideoTexture0:
        case kUniformBlurTexture0:
            return "uTexture0";
        case kUniformVideoFrameSize:
        case kUniformEquirectFrameSize:
        case kUniformTheaterVideoFrameSize:
        case kUniformBlurFrameSize:
            return "uFrameSize";
        case kUniformVideoRedBlueSwap:
        case kUniformEquirectRedBlueSwap:
            return "uRedBlueSwap";
        case kUniformVideoSubRect:
        case kUniformEquirectSubRect:
            return "uSubRect";
        case kUniformVideoVerticalFlip:
        case kUniformEquirectVerticalFlip:
            return "uVerticalFlip";
        case kUniformVideoFOVRect:
            return "uFOVRect";
        case kUniformDialAngle:
            return "uAngle";
        case kUniformPanelColor:
        case kUniformEquirectColor:
        case kUniformRoomColor:
        case kUniformTheaterVideoColor:
            return "uColor";
        case kUniformPanelSize:
        case kUniformEquirectSize:
        case kUniformTheaterVideoSize:
        case kUniformFloorSize:
        case kUniformWallSize:
            return "uSize";
        case kUniformEquirectUVSubRect:
            return "uUVSubRect";
        case kUniformWABAccumTex:
            return "uAccumTex";
        case kUniformWABRevealageTex:
            return "uRevealageTex";
        case kUniformDPFrontDepthTex:
            return "uFrontDepthTex";
        case kUniformDPColorTex:
            return "uColorTex";
        case kUniformDPDepthTex:
            return "uDepthTex";
        case kUniformTheaterVideoFlipVertical:
            return "uFlipVertical";
        case kUniformTheaterVideoSwapRedBlue:
            return "uSwapRedBlue";
        case kUniformFloorPosHMD:
            return "uPosHMD";
        case kUniformFloorPosTV:
            return "uPosTV";
        case kUniformWallBandSize:
            return "uBandSize";
        case kUniformBlurDirection:
            return "uBlurDirection";
        case kUniformBlurLevel:
            return "uBlurLevel";
    }
    STN_ASSERT_FAILED("Invalid Shader Uniform enum.\r\n", "STN::GetShaderUniformName");
    return nullptr;
}

}  // namespace STN
