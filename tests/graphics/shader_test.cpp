// Every program of the shader table compiles and links on a 4.1 core context and has the
// uniforms its callers set; uniform names, failed loads, the registry's cache and its failure
// reports.

#include <GL/glew.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "IShader.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenGL/ShaderOGL.h"
#include "ShaderRegistry.h"
#include "gl_test_context.h"
#include "hostcore/debug.h"

namespace {

using namespace STN;

// The uniforms each program is fed, which must all be active after linking.
const std::vector<std::pair<std::string, std::vector<ShaderUniform>>> kExpectedPrograms = {
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
     {kUniformEquirectMatrix, kUniformEquirectSize, kUniformEquirectColor, kUniformEquirectTexture0,
      kUniformEquirectSubRect, kUniformEquirectUVSubRect, kUniformEquirectVerticalFlip,
      kUniformEquirectRedBlueSwap}},
    {"EquirectPanelShader_Rectangle",
     {kUniformEquirectMatrix, kUniformEquirectSize, kUniformEquirectColor, kUniformEquirectTexture0,
      kUniformEquirectSubRect, kUniformEquirectUVSubRect, kUniformEquirectVerticalFlip,
      kUniformEquirectRedBlueSwap, kUniformEquirectFrameSize}},
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
      kUniformTheaterVideoColor, kUniformTheaterVideoFlipVertical, kUniformTheaterVideoSwapRedBlue,
      kUniformTheaterVideoFrameSize}},
    {"TheaterFloorShader",
     {kUniformFloorMatrix, kUniformFloorPosHMD, kUniformFloorPosTV, kUniformFloorSize}},
    {"TheaterWallShader", {kUniformWallMatrix, kUniformWallSize, kUniformWallBandSize}},
    {"TheaterBlurShader",
     {kUniformBlurMatrix, kUniformBlurTexture0, kUniformBlurDirection, kUniformBlurLevel}},
    {"TheaterBlurShader_Rectangle",
     {kUniformBlurMatrix, kUniformBlurTexture0, kUniformBlurDirection, kUniformBlurLevel,
      kUniformBlurFrameSize}},
};

class ShaderTest : public stereon::test::GlTest {};

TEST_F(ShaderTest, EveryProgramLinksAndFindsTheUniformsItIsFed) {
    for (const auto& program : kExpectedPrograms) {
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

TEST_F(ShaderTest, FailedLoadLeavesAnEmptyProgram) {
    ShaderOGL shader("Missing");
    // Only a whole name finds a program.
    for (const char* name : {"Missing", "", "PanelShade", "PanelShaderX"}) {
        EXPECT_FALSE(shader.Load(name, false)) << name;
        EXPECT_EQ(shader.GetProgram(), 0u) << name;
    }

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
