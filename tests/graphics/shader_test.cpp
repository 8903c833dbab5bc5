// Every program of the shader table compiles and links on a 4.1 core context and has the
// uniforms its callers set; uniform names, the registry's cache and its failure reports.

#include <GL/glew.h>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "IShader.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenGL/ShaderOGL.h"
#include "OpenGL/ShaderSources.h"
#include "ShaderRegistry.h"
#include "gl_test_context.h"
#include "hostcore/debug.h"

namespace {

using namespace STN;

// The uniforms each program is fed, which must all be active after linking.
const std::vector<std::pair<std::string, std::vector<ShaderUniform>>>& ExpectedPrograms() {
    static const std::vector<std::pair<std::string, std::vector<ShaderUniform>>> programs = {
        {"VideoShader",
         {kUniformVideoMatrix, kUniformVideoTexture0, kUniformVideoSubRect, kUniformVideoFOVRect,
          kUniformVideoRedBlueSwap, kUniformVideoVerticalFlip}},
        {"VideoShader_Rectangle",
         {kUniformVideoMatrix, kUniformVideoTexture0, kUniformVideoSubRect, kUniformVideoFOVRect,
          kUniformVideoRedBlueSwap, kUniformVideoVerticalFlip, kUniformVideoFrameSize}},
        {"ModelShader", {kUniformModelMatrix, kUniformModelTexture0}},
        {"PlaceholderShader", {kUniformPlaceholderMatrix}},
        {"FlatShader", {kUniformFlatMatrix}},
        {"DialShader", {kUniformDialAngle, kUniformDialMatrix}},
        {"PanelShader", {kUniformPanelColor, kUniformPanelMatrix, kUniformPanelSize}},
        {"EquirectPanelShader",
         {kUniformEquirectMatrix, kUniformEquirectSize, kUniformEquirectColor,
          kUniformEquirectTexture0, kUniformEquirectSubRect, kUniformEquirectUVSubRect,
          kUniformEquirectVerticalFlip, kUniformEquirectRedBlueSwap}},
        {"EquirectPanelShader_Rectangle",
         {kUniformEquirectMatrix, kUniformEquirectSize, kUniformEquirectColor,
          kUniformEquirectTexture0, kUniformEquirectSubRect, kUniformEquirectUVSubRect,
          kUniformEquirectVerticalFlip, kUniformEquirectRedBlueSwap, kUniformEquirectFrameSize}},
        {"DPPanelShader",
         {kUniformPanelColor, kUniformPanelMatrix, kUniformPanelSize, kUniformDPFrontDepthTex,
          kUniformDPTexture0}},
        {"DPCompositingShader", {kUniformDPColorTex, kUniformDPDepthTex}},
        {"WABpass1PanelShader", {kUniformPanelColor, kUniformPanelMatrix, kUniformPanelSize}},
        {"WABpass2PanelShader", {kUniformPanelColor, kUniformPanelMatrix, kUniformPanelSize}},
        {"WABpass3Shader", {kUniformWABAccumTex, kUniformWABRevealageTex}},
        {"RoomModelShader", {kUniformRoomMatrix, kUniformRoomColor}},
        {"TheaterVideoShader",
         {kUniformTheaterVideoMatrix, kUniformTheaterVideoSize, kUniformTheaterVideoTexture0,
          kUniformTheaterVideoColor, kUniformTheaterVideoFlipVertical,
          kUniformTheaterVideoSwapRedBlue}},
        {"TheaterVideoShader_Rectangle",
         {kUniformTheaterVideoMatrix, kUniformTheaterVideoSize, kUniformTheaterVideoTexture0,
          kUniformTheaterVideoColor, kUniformTheaterVideoFlipVertical,
          kUniformTheaterVideoSwapRedBlue, kUniformTheaterVideoFrameSize}},
        {"TheaterFloorShader",
         {kUniformFloorMatrix, kUniformFloorPosHMD, kUniformFloorPosTV, kUniformFloorSize}},
        {"TheaterWallShader", {kUniformWallMatrix, kUniformWallSize, kUniformWallBandSize}},
        {"TheaterBlurShader",
         {kUniformBlurMatrix, kUniformBlurTexture0, kUniformBlurDirection, kUniformBlurLevel}},
        {"TheaterBlurShader_Rectangle",
         {kUniformBlurMatrix, kUniformBlurTexture0, kUniformBlurDirection, kUniformBlurLevel,
          kUniformBlurFrameSize}},
    };
    return programs;
}

TEST(ShaderTable, FindsAProgramByItsWholeName) {
    const char* vertex = nullptr;
    const char* header = nullptr;
    const char* body = nullptr;
    EXPECT_FALSE(FindShaderSource("", vertex, header, body));
    EXPECT_FALSE(FindShaderSource("PanelShade", vertex, header, body));
    EXPECT_FALSE(FindShaderSource("PanelShaderX", vertex, header, body));
    ASSERT_TRUE(FindShaderSource("VideoShader_Rectangle", vertex, header, body));
    EXPECT_NE(std::string(body).find("sampler2DRect"), std::string::npos);
}

// The names themselves are checked by every program finding the uniforms it is fed.
TEST(ShaderUniformNames, RejectUnnamedValuesOnceThroughTheAssertionDialog) {
    hostcore::debug::ClearRecordedAssertions();
    EXPECT_EQ(GetShaderUniformName(static_cast<ShaderUniform>(20)), nullptr);
    EXPECT_EQ(GetShaderUniformName(static_cast<ShaderUniform>(53)), nullptr);
    EXPECT_EQ(GetShaderUniformName(static_cast<ShaderUniform>(-1)), nullptr);
    // One site, reported once.
    const std::vector<hostcore::debug::AssertionRecord> records =
        hostcore::debug::RecordedAssertions();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].message, "Invalid Shader Uniform enum.\r\n");
}

class ShaderTest : public stereon::test::GlTest {};

// The first `count` values of a float uniform as the program holds them.
std::vector<float> Uniform(ShaderOGL& shader, ShaderUniform uniform, int count) {
    float read[16] = {};
    glGetUniformfv(shader.GetProgram(), shader.GetUniformLocation(uniform), read);
    return std::vector<float>(read, read + count);
}

TEST_F(ShaderTest, EveryProgramLinksAndFindsTheUniformsItIsFed) {
    for (const auto& program : ExpectedPrograms()) {
        for (bool rectangle : {false, true}) {
            ShaderOGL shader(program.first);
            ASSERT_TRUE(shader.Load(program.first, rectangle))
                << program.first << (rectangle ? " with the rectangle line" : "");
            EXPECT_NE(shader.GetProgram(), 0u);
            for (ShaderUniform uniform : program.second) {
                EXPECT_GE(shader.GetUniformLocation(uniform), 0)
                    << program.first << " " << GetShaderUniformName(uniform);
            }
            // A uniform of another program is ignored by GL through location -1.
            EXPECT_EQ(shader.GetUniformLocation(program.first == "WABpass3Shader"
                                                    ? kUniformBlurDirection
                                                    : kUniformWABRevealageTex),
                      -1)
                << program.first;
        }
    }
}

TEST_F(ShaderTest, SettersReachTheProgramInUse) {
    ShaderOGL shader("TheaterFloorShader");
    ASSERT_TRUE(shader.Load("TheaterFloorShader", false));
    shader.Bind();
    const float matrix[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    shader.SetUniformMatrix4(kUniformFloorMatrix, matrix);
    shader.SetUniform4f(kUniformFloorPosTV, 0.5f, -1.0f, 2.0f, 3.0f);
    shader.SetUniform2f(kUniformFloorSize, 6.0f, 7.0f);
    // Fed to a program without it: no effect, no harm.
    shader.SetUniform1i(kUniformWABAccumTex, 3);
    EXPECT_EQ(Uniform(shader, kUniformFloorMatrix, 16), std::vector<float>(matrix, matrix + 16));
    EXPECT_EQ(Uniform(shader, kUniformFloorPosTV, 4),
              (std::vector<float>{0.5f, -1.0f, 2.0f, 3.0f}));
    EXPECT_EQ(Uniform(shader, kUniformFloorSize, 2), (std::vector<float>{6.0f, 7.0f}));

    ShaderOGL wall("TheaterWallShader");
    ASSERT_TRUE(wall.Load("TheaterWallShader", false));
    wall.Bind();
    wall.SetUniform1f(kUniformWallBandSize, 0.25f);
    EXPECT_EQ(Uniform(wall, kUniformWallBandSize, 1), std::vector<float>{0.25f});
    wall.Unbind();
    GLint current = -1;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    EXPECT_EQ(current, 0);
}

TEST_F(ShaderTest, FailedLoadLeavesAnEmptyProgram) {
    ShaderOGL shader("Missing");
    EXPECT_FALSE(shader.Load("Missing", false));
    EXPECT_EQ(shader.GetProgram(), 0u);
    EXPECT_FALSE(shader.Load("", false));

    // A loaded shader that fails a later load is emptied, and binding it uses no program.
    ASSERT_TRUE(shader.Load("FlatShader", false));
    const GLuint old = shader.GetProgram();
    EXPECT_FALSE(shader.Load("NoSuchShader", false));
    EXPECT_EQ(shader.GetProgram(), 0u);
    EXPECT_FALSE(glIsProgram(old));
    shader.Bind();
    GLint current = -1;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    EXPECT_EQ(current, 0);
    shader.Release();
}

TEST_F(ShaderTest, RegistryCachesByNameAndReportsFailures) {
    ShaderRegistry::DestroyInstance();
    boost::shared_ptr<GraphicsContextOGL> context = CreateGraphicsContext("RenderContext");
    ShaderRegistry::Instance().SetGraphicsContext(context);

    boost::shared_ptr<IShader> panel = ShaderRegistry::Instance().GetShader("PanelShader");
    ASSERT_TRUE(panel);
    EXPECT_EQ(panel->GetName(), "PanelShader");
    EXPECT_EQ(ShaderRegistry::Instance().GetShader("PanelShader"), panel);
    EXPECT_NE(ShaderRegistry::Instance().GetShader("FlatShader"), panel);
    const GLuint program = static_cast<ShaderOGL&>(*panel).GetProgram();
    EXPECT_TRUE(glIsProgram(program));

    hostcore::debug::ClearRecordedAssertions();
    EXPECT_FALSE(ShaderRegistry::Instance().GetShader("NoSuchShader"));
    EXPECT_FALSE(ShaderRegistry::Instance().GetShader(""));
    const std::vector<hostcore::debug::AssertionRecord> records =
        hostcore::debug::RecordedAssertions();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].message, "Init shader NoSuchShader failed.\r\n");

    // Destroying the registry deletes the programs that nobody else holds.
    panel.reset();
    ShaderRegistry::DestroyInstance();
    EXPECT_FALSE(glIsProgram(program));
    // A fresh registry without a context gives nothing rather than crashing.
    EXPECT_FALSE(ShaderRegistry::Instance().GetShader("PanelShader"));
    ShaderRegistry::DestroyInstance();
}

}  // namespace
