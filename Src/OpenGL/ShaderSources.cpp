#include "OpenGL/ShaderSources.h"

#include "AssertionSite.h"
#include "ShaderUniform.h"

namespace STN {

namespace {

const char* const kFragmentHeader = "#version 410 core\n";

// A program's text: the declarations, then main() around the statements.
std::string Program(const std::string& declarations, const std::string& statements) {
    return declarations + "void main()\n{\n" + statements + "}\n";
}

// Vertex programs carry their own version line; fragment programs get theirs from the header that
// the table hands out with them.
std::string VertexProgram(const char* declarations, const char* statements) {
    return Program(std::string("#version 410\n") + declarations, statements);
}

// The full-screen quad with its texture coordinates, for the programs that unproject a view ray.
const std::string kVertexSource1 = VertexProgram(
    "layout(location = 0) in vec4 inPosition;\n"
    "layout(location = 1) in vec2 inTexcoord;\n"
    "out vec2 vTexcoord;\n",
    "  vTexcoord = inTexcoord;\n"
    "  gl_Position = inPosition;\n");

const std::string kVertexSource2 = VertexProgram(
    "uniform mat4 uMatrix;\n"
    "layout(location = 0) in vec4 inPosition;\n"
    "layout(location = 1) in vec3 inNormal;\n"
    "layout(location = 2) in vec2 inTexcoord;\n"
    "out vec2 vTexcoord;\n",
    "  vTexcoord = inTexcoord;\n"
    "  gl_Position = uMatrix * vec4(inPosition.xyz, 1);\n");

const std::string kVertexSource3 = VertexProgram(
    "uniform mat4 uMatrix;\n"
    "layout(location = 0) in vec4 inPosition;\n"
    "layout(location = 1) in vec4 inColor;\n"
    "out vec4 vColor;\n",
    "  vColor = inColor;\n"
    "  gl_Position = uMatrix * vec4(inPosition.xyz, 1);\n");

const std::string kVertexSource4 = VertexProgram(
    "uniform mat4 uMatrix;\n"
    "layout(location = 0) in vec4 inPosition;\n"
    "layout(location = 1) in vec2 inTexcoord;\n"
    "layout(location = 2) in vec4 inColor;\n"
    "out vec2 vTexcoord;\n"
    "out vec4 vColor;\n",
    "  vTexcoord = inTexcoord;\n"
    "  vColor = vec4(inColor.rgb * inColor.a, inColor.a);\n"
    "  gl_Position = uMatrix * vec4(inPosition.xyz, 1);\n");

// The unit quad of a panel, stretched to uSize.
const std::string kVertexSource5 = VertexProgram(
    "uniform mat4 uMatrix;\n"
    "uniform vec2 uSize;\n"
    "layout(location = 0) in vec4 inPosition;\n"
    "layout(location = 1) in vec2 inTexcoord;\n"
    "out vec2 vTexcoord;\n"
    "out vec4 vColor;\n",
    "  vTexcoord = inTexcoord;\n"
    "  gl_Position = uMatrix * vec4(inPosition.xy * uSize, inPosition.z, 1.0);\n");

// The full-screen quad of a resolve pass.
const std::string kVertexSource6 =
    VertexProgram("layout(location = 0) in vec4 inPosition;\n",
                  "  gl_Position = vec4(inPosition.xy, 0.0, 1.0);\n");

const std::string kVertexSource7 = VertexProgram(
    "uniform mat4 uMatrix;\n"
    "layout(location = 0) in vec4 inPosition;\n",
    "  gl_Position = uMatrix * vec4(inPosition.xyz, 1.0);\n");

// The theater's surfaces hand on their texture coordinates and their position in the model. The
// floor and the wall use the first program; the blur has its own text, which differs only in the
// order of the first two statements.
const char* const kSurfaceDeclarations =
    "uniform mat4 uMatrix;\n"
    "layout(location = 0) in vec4 inPosition;\n"
    "layout(location = 1) in vec2 inTexcoord;\n"
    "out vec2 vTexcoord;\n"
    "out vec4 vertex;\n";

const std::string kVertexSource8 =
    VertexProgram(kSurfaceDeclarations,
                  "  vTexcoord = inTexcoord;\n"
                  "  vertex = inPosition;\n"
                  "  gl_Position = uMatrix * vec4(inPosition.xy, inPosition.z, 1.0);\n");

const std::string kVertexSource9 =
    VertexProgram(kSurfaceDeclarations,
                  "  vertex = inPosition;\n"
                  "  vTexcoord = inTexcoord;\n"
                  "  gl_Position = uMatrix * vec4(inPosition.xy, inPosition.z, 1.0);\n");

// A program for a rectangle texture differs from its 2D twin in the sampler of uTexture0 and in
// uFrameSize, which scales normalised coordinates to texels where the texture is read.
const char* SamplerLine(bool rectangle) {
    return rectangle ? "uniform sampler2DRect uTexture0;\n" : "uniform sampler2D uTexture0;\n";
}

const char* FrameSizeLine(bool rectangle) {
    return rectangle ? "uniform vec2 uFrameSize;\n" : "";
}

// The direction v of the view ray through the fragment: the near and far points p and q
// unprojected by uMatrix, turned so that z points up. Each line is led by indent.
std::string ViewDirection(const char* indent) {
    static const char* const kLines[] = {
        "vec4 p = uMatrix * vec4(vTexcoord.xy * 2.0 - 1.0, 0.0, 1.0);",
        "p /= p.w;",
        "vec4 q = uMatrix * vec4(vTexcoord.xy * 2.0 - 1.0, 1.0, 1.0);",
        "q /= q.w;",
        "vec3 v = normalize(q.xyz - p.xyz);",
        "v = vec3(-v.z, v.x, v.y);",
    };
    std::string text;
    for (const char* line : kLines) {
        text += indent;
        text += line;
        text += '\n';
    }
    return text;
}

// A panel's texel tinted by uColor into samp, discarded where discardWhen holds, and
// premultiplied.
std::string PanelTexel(const char* discardWhen) {
    return std::string("   vec4 samp = texture(uTexture0, vTexcoord) * uColor;\n") + "   if (" +
           discardWhen + ") discard;\n" + "   samp.rgb *= samp.a;\n";
}

// clang-format off

// The equirectangular video on the sphere around the viewer, inside the field of view uFOVRect
// that the frame covers.
std::string VideoShader(bool rectangle) {
    return std::string(R"GLSL(uniform mat4 uMatrix;
)GLSL") + SamplerLine(rectangle) + R"GLSL(uniform vec4 uSubRect;
uniform vec4 uFOVRect;
uniform bool uRedBlueSwap;
uniform bool uVerticalFlip;
)GLSL" + FrameSizeLine(rectangle) + R"GLSL(in vec2 vTexcoord;
out vec4 outColor;
const float PI = 3.1415926535897932384626433832795;
const float NEAR_PI = 3.14159;
void main()
{
  vec4 texsamp = vec4(0.0, 0.0, 0.0, 1.0);
)GLSL" + ViewDirection("  ") + R"GLSL(  float azimuth = atan(v.y, v.x) - uFOVRect.x;
  float altitude = atan(v.z, sqrt(v.x*v.x + v.y*v.y)) - uFOVRect.y;
  if( (uFOVRect.z >= (NEAR_PI * 2.0) && uFOVRect.w >= NEAR_PI) ||
    (azimuth >= 0.0 && azimuth <= uFOVRect.z && altitude >= 0.0 && altitude <= uFOVRect.w))
  {
    vec2 equirect = vec2(azimuth / uFOVRect.z, altitude / uFOVRect.w);
    vec2 subrect = mix(uSubRect.xz, uSubRect.yw, equirect);
    subrect = uVerticalFlip ? vec2(subrect.x, 1.0 - subrect.y) : subrect;
)GLSL" + (rectangle ? "    texsamp = texture(uTexture0, subrect*uFrameSize);\n"
                    : "    texsamp = texture(uTexture0, subrect);\n") + R"GLSL(    texsamp.rgb *= texsamp.a;
  }
  outColor = uRedBlueSwap ? texsamp.bgra : texsamp;
}
)GLSL";
}

// The video's sub-rectangle on a panel. The rectangle variant drops what is nearly transparent;
// the 2D one composites over black.
std::string EquirectPanelShader(bool rectangle) {
    return std::string(SamplerLine(rectangle)) + R"GLSL(uniform vec4 uSubRect;
uniform vec4 uUVSubRect;
uniform bool uRedBlueSwap;
uniform bool uVerticalFlip;
)GLSL" + FrameSizeLine(rectangle) + R"GLSL(uniform vec4 uColor;
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
)GLSL" + (rectangle ? R"GLSL(    texsamp = texture(uTexture0, subrect * uFrameSize) * uColor;
    if (texsamp.a < 0.05) discard;
    texsamp.rgb *= texsamp.a;
  }
   outColor = uRedBlueSwap ? texsamp.bgra : texsamp;
}
)GLSL" : R"GLSL(    texsamp = texture(uTexture0, subrect) * uColor;
    texsamp.rgb *= texsamp.a;
    texsamp = texsamp + (1.0 - texsamp.a) * vec4(0.0, 0.0, 0.0, 1.0);
  }
  outColor = uRedBlueSwap ? texsamp.bgra : texsamp;
}
)GLSL");
}

// The theater's screen, composited over black. (The 2D text has a blank line before main().)
std::string TheaterVideoShader(bool rectangle) {
    return std::string(SamplerLine(rectangle)) + R"GLSL(uniform vec4 uColor;
uniform bool uFlipVertical;
uniform bool uSwapRedBlue;
)GLSL" + FrameSizeLine(rectangle) + R"GLSL(in vec2 vTexcoord;
out vec4 outColor;
)GLSL" + (rectangle ? "" : "\n") + R"GLSL(void main()
{
   vec2 uv = uFlipVertical ? vec2(vTexcoord.x, 1.0 - vTexcoord.y) : vTexcoord;
)GLSL" + (rectangle ? "   vec4 samp = texture(uTexture0, uv*uFrameSize) * uColor;\n"
                    : "   vec4 samp = texture(uTexture0, uv) * uColor;\n") + R"GLSL(   samp.rgb *= samp.a;
   samp = samp + (1.0 - samp.a) * vec4(0.0, 0.0, 0.0, 1.0);  // Composite over black background.
   outColor = uSwapRedBlue ? samp.bgra : samp;
}
)GLSL";
}

// One pass of the theater's separable blur, a nine-tap Gaussian along uBlurDirection.
std::string TheaterBlurShader(bool rectangle) {
    return std::string(SamplerLine(rectangle)) + R"GLSL(uniform vec2 uBlurDirection;
uniform float uBlurLevel;
)GLSL" + FrameSizeLine(rectangle) + R"GLSL(in vec2 vTexcoord;
in vec4 vertex;
out vec4 outColor;
void main()
{
  vec4 samp = vec4(0.0);
)GLSL" + (rectangle ? "  vec2 tc = vTexcoord * uFrameSize;\n"
                    : "  vec2 tc = vTexcoord;\n") + R"GLSL(
  //adjust the blur kernel based on viewing distance and screen-space derivatives
  vec2  dx_vtc = dFdx(vertex.xy);
  vec2  dy_vtc = dFdy(vertex.xy);
  float dScale = 0.5;
)GLSL" + (rectangle ? R"GLSL(  float hStep = uBlurLevel * uFrameSize.x * (uBlurDirection.x + length(dx_vtc) * dScale);
  float vStep = uBlurLevel * uFrameSize.y * (uBlurDirection.y + length(dy_vtc) * dScale);
)GLSL" : R"GLSL(  float hStep = uBlurLevel * (uBlurDirection.x + length(dx_vtc) * dScale);
  float vStep = uBlurLevel * (uBlurDirection.y + length(dy_vtc) * dScale);
)GLSL") + R"GLSL(
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
}

// A panel drawn straight into the target, keeping the texels for which discardWhen fails.
std::string PanelShader(const char* discardWhen) {
    return std::string(R"GLSL(uniform sampler2D uTexture0;
uniform vec4 uColor;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
)GLSL") + PanelTexel(discardWhen) + R"GLSL(   outColor = samp;
}
)GLSL";
}

// main() of a full-screen resolve pass, with the pixel it covers in coord.
const char* const kResolveMain = R"GLSL(out vec4 outColor;
void main()
{
   ivec2 coord = ivec2(gl_FragCoord.xy);
)GLSL";

const std::string kFragment_VideoShader = VideoShader(false);
const std::string kFragment_VideoShader_Rectangle = VideoShader(true);

const std::string kFragment_ModelShader = Program(
    "uniform sampler2D uTexture0;\n"
    "in vec2 vTexcoord;\n"
    "out vec4 outColor;\n",
    "   outColor = texture(uTexture0, vTexcoord);\n");

// The placeholder background: a checkerboard of 20-degree squares on the sphere.
const std::string kFragment_PlaceholderShader = std::string(R"GLSL(uniform mat4 uMatrix;
in vec2 vTexcoord;
out vec4 outColor;
const float PI = 3.1415926535897932384626433832795;
void main()
{
)GLSL") + ViewDirection("   ") + R"GLSL(   float azimuth = atan(v.y, v.x) / PI * 180.0;
   float altitude = atan(v.z, sqrt(v.x*v.x + v.y*v.y)) / PI * 180.0;
   int checkerboard = int(floor(mod(floor(azimuth / 20.0) + floor(altitude / 20.0), 2.0)));
   outColor = (checkerboard == 0) ? vec4(0.2, 0.2, 0.2, 1.0) : vec4(0.5, 0.5, 0.5, 1.0);
}
)GLSL";

const std::string kFragment_FlatShader = Program(
    "in vec4 vColor;\n"
    "out vec4 outColor;\n",
    "   outColor = vColor;\n");

const std::string kFragment_DialShader = R"GLSL(uniform float uAngle;
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

const std::string kFragment_PanelShader = PanelShader("samp.a < 0.05");
const std::string kFragment_EquirectPanelShader = EquirectPanelShader(false);
const std::string kFragment_EquirectPanelShader_Rectangle = EquirectPanelShader(true);

// A depth-peeling layer: what lies at or in front of the layer peeled last goes.
const std::string kFragment_DPPanelShader = std::string(R"GLSL(uniform sampler2D uTexture0;
uniform sampler2D uFrontDepthTex;
uniform vec4 uColor;
in vec2 vTexcoord;
out vec4 outColor;
void main()
{
   ivec2 coord = ivec2(gl_FragCoord.xy);
   float frontDepth = texelFetch(uFrontDepthTex, coord, 0).r;
   if (gl_FragCoord.z <= frontDepth) discard;
)GLSL") + PanelTexel("samp.a < 0.05") + R"GLSL(   outColor = samp;
}
)GLSL";

const std::string kFragment_DPCompositingShader = std::string(R"GLSL(uniform sampler2D uColorTex;
uniform sampler2D uDepthTex;
)GLSL") + kResolveMain + R"GLSL(   float depth = texelFetch(uDepthTex, coord, 0).r;
   gl_FragDepth = depth;
   vec4 color = texelFetch(uColorTex, coord, 0);
   outColor = color;
}
)GLSL";

// Weighted blended transparency: the opaque texels first, then the weighted sums of the others,
// then their average over what is drawn.
const std::string kFragment_WABpass1PanelShader = PanelShader("samp.a < 1.0");

const std::string kFragment_WABpass2PanelShader = std::string(R"GLSL(uniform sampler2D uTexture0;
uniform vec4 uColor;
in vec2 vTexcoord;
layout(location = 0) out vec4 outAccum;
layout(location = 1) out float outRevealage;
void main()
{
)GLSL") + PanelTexel("samp.a >= 1.0") + R"GLSL(   float weight = samp.a * max(0.01, 3000.0 * pow(1.0 - gl_FragCoord.z, 3.0));
   outAccum = samp * weight;
   outRevealage = samp.a;
}
)GLSL";

const std::string kFragment_WABpass3Shader = std::string(R"GLSL(uniform sampler2D uAccumTex;
uniform sampler2D uRevealageTex;
)GLSL") + kResolveMain + R"GLSL(   float revealage = texelFetch(uRevealageTex, coord, 0).r;
   if (revealage == 1.0) { discard; }
   vec4 accum = texelFetch(uAccumTex, coord, 0);
   vec3 averageColor = accum.rgb / max(accum.a, 0.00001);
   outColor = vec4(averageColor, 1.0 - revealage);
}
)GLSL";

const std::string kFragment_RoomModelShader = Program(
    "uniform vec4 uColor;\n"
    "out vec4 outColor;\n",
    "  outColor = uColor;\n");

const std::string kFragment_TheaterVideoShader = TheaterVideoShader(false);
const std::string kFragment_TheaterVideoShader_Rectangle = TheaterVideoShader(true);

const std::string kFragment_TheaterFloorShader = R"GLSL(uniform vec2 uPosHMD;
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

const std::string kFragment_TheaterWallShader = R"GLSL(uniform vec2 uSize;
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

const std::string kFragment_TheaterBlurShader = TheaterBlurShader(false);
const std::string kFragment_TheaterBlurShader_Rectangle = TheaterBlurShader(true);

// clang-format on

// A row of the table. Every fragment program opens with the same header; the texts are constants
// of this file, so their pointers stay valid as long as the table.
ShaderSourceEntry Row(const char* name, const std::string& vertex, const std::string& fragment) {
    return {name, vertex.c_str(), kFragmentHeader, fragment.c_str()};
}

const ShaderSourceEntry kShaderSources[] = {
    Row("VideoShader", kVertexSource1, kFragment_VideoShader),
    Row("VideoShader_Rectangle", kVertexSource1, kFragment_VideoShader_Rectangle),
    Row("ModelShader", kVertexSource2, kFragment_ModelShader),
    Row("PlaceholderShader", kVertexSource1, kFragment_PlaceholderShader),
    Row("FlatShader", kVertexSource3, kFragment_FlatShader),
    Row("DialShader", kVertexSource4, kFragment_DialShader),
    Row("PanelShader", kVertexSource5, kFragment_PanelShader),
    Row("EquirectPanelShader", kVertexSource5, kFragment_EquirectPanelShader),
    Row("EquirectPanelShader_Rectangle", kVertexSource5, kFragment_EquirectPanelShader_Rectangle),
    Row("DPPanelShader", kVertexSource5, kFragment_DPPanelShader),
    Row("DPCompositingShader", kVertexSource6, kFragment_DPCompositingShader),
    Row("WABpass1PanelShader", kVertexSource5, kFragment_WABpass1PanelShader),
    Row("WABpass2PanelShader", kVertexSource5, kFragment_WABpass2PanelShader),
    Row("WABpass3Shader", kVertexSource6, kFragment_WABpass3Shader),
    Row("RoomModelShader", kVertexSource7, kFragment_RoomModelShader),
    Row("TheaterVideoShader", kVertexSource5, kFragment_TheaterVideoShader),
    Row("TheaterVideoShader_Rectangle", kVertexSource5, kFragment_TheaterVideoShader_Rectangle),
    Row("TheaterFloorShader", kVertexSource8, kFragment_TheaterFloorShader),
    Row("TheaterWallShader", kVertexSource8, kFragment_TheaterWallShader),
    Row("TheaterBlurShader", kVertexSource9, kFragment_TheaterBlurShader),
    Row("TheaterBlurShader_Rectangle", kVertexSource9, kFragment_TheaterBlurShader_Rectangle),
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
