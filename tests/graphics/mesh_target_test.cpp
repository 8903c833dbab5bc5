// Meshes and drawing surfaces: staged and render-model meshes drawn into a 4-sample target,
// resolved and read back; the target's and render texture's lifecycle.

#include <GL/glew.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "OpenGL/MeshOGL.h"
#include "OpenGL/RenderTargetOGL.h"
#include "OpenGL/RenderTextureOGL.h"
#include "OpenGL/ShaderOGL.h"
#include "OpenGL/TextureOGL.h"
#include "gl_test_context.h"
#include "stnvr/vr_types.h"

namespace {

using namespace STN;

const float kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

void DrainErrors() {
    while (glGetError() != GL_NO_ERROR) {
    }
}

class MeshTargetTest : public stereon::test::GlTest {};

TEST_F(MeshTargetTest, TriangleInAFourSampleTargetResolvesWithAntialiasedEdge) {
    const int size = 16;
    RenderTargetOGL target("LeftTarget");
    target.Create(size, size);
    ASSERT_NE(target.GetResolveTexture(), 0u);
    target.Bind();

    // The lower-left half, in red, through the vertex-colour program (colour at location 1).
    MeshOGL mesh("Triangle");
    mesh.Begin(kPrimitiveTriangles, false, false, true);
    mesh.AddVertex(-1, -1, 0, 9, 9, 9, 9, 9, 1, 0, 0, 1);
    mesh.AddVertex(1, -1, 0, 9, 9, 9, 9, 9, 1, 0, 0, 1);
    mesh.AddVertex(-1, 1, 0, 9, 9, 9, 9, 9, 1, 0, 0, 1);
    mesh.End();
    ShaderOGL shader("FlatShader");
    ASSERT_TRUE(shader.Load("FlatShader", false));

    glClearColor(0, 0, 0, 1);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    shader.Bind();
    shader.SetUniformMatrix4(kUniformFlatMatrix, kIdentity);
    mesh.Draw();
    shader.Unbind();
    target.Resolve();
    DrainErrors();
    const std::vector<std::uint8_t> pixels =
        stereon::test::ReadTextureRGBA8(target.GetResolveTexture(), size, size);
    ASSERT_EQ(pixels.size(), static_cast<std::size_t>(size * size * 4));
    int edgePixels = 0;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const std::uint8_t* p = &pixels[static_cast<std::size_t>((y * size + x) * 4)];
            EXPECT_EQ(p[1], 0);
            EXPECT_EQ(p[3], 255);
            if (x + y < size - 1) {
                EXPECT_EQ(p[0], 255) << x << "," << y;
            } else if (x + y > size - 1) {
                EXPECT_EQ(p[0], 0) << x << "," << y;
            } else {
                // The edge runs through these pixel centres: half the samples are covered.
                EXPECT_GT(p[0], 64) << x << "," << y;
                EXPECT_LT(p[0], 192) << x << "," << y;
                ++edgePixels;
            }
        }
    }
    EXPECT_EQ(edgePixels, size);

    // What the compositor gets: the resolved texture, in gamma space. The simulated runtime's
    // read-back ignores the colour space, so only this sees a compositor told the wrong one.
    const vr::Texture_t submitted = target.GetVRTexture();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(submitted.handle), target.GetResolveTexture());
    EXPECT_EQ(submitted.eType, vr::TextureType_OpenGL);
    EXPECT_EQ(submitted.eColorSpace, vr::ColorSpace_Gamma);
}

TEST_F(MeshTargetTest, TargetsAreRebuiltOnlyWhenTheirSizeChanges) {
    RenderTargetOGL target("RightTarget");
    target.Create(0, 0);  // matches the empty size: nothing is made
    EXPECT_EQ(target.GetResolveTexture(), 0u);

    target.Create(8, 4);
    const GLuint first = target.GetResolveTexture();
    ASSERT_NE(first, 0u);
    target.Create(8, 4);
    EXPECT_EQ(target.GetResolveTexture(), first);
    target.Create(4, 8);
    EXPECT_FALSE(glIsTexture(first));
    DrainErrors();
    EXPECT_FALSE(stereon::test::ReadTextureRGBA8(target.GetResolveTexture(), 4, 8).empty());

    target.Release();
    EXPECT_EQ(target.GetResolveTexture(), 0u);
    target.Release();
    target.Create(4, 8);  // the size was zeroed, so this rebuilds
    EXPECT_NE(target.GetResolveTexture(), 0u);

    // The render textures of the blur and compositing passes alike.
    RenderTextureOGL texture("Blur");
    texture.Create(4, 2);
    const GLuint name = texture.GetTexture();
    texture.Create(4, 2);
    EXPECT_EQ(texture.GetTexture(), name);
    texture.Release();
    EXPECT_FALSE(glIsTexture(name));
}

TEST_F(MeshTargetTest, RenderModelMeshDrawsItsTextureAndOwnsACopyOfTheData) {
    // An 8x8 texture of four coloured quadrants on a quad that fills an 8x8 target. The model's
    // data goes out of scope before drawing: mesh and texture hold copies.
    const std::uint8_t colours[4][4] = {
        {255, 0, 0, 255}, {0, 255, 0, 255}, {0, 0, 255, 255}, {255, 255, 0, 255}};
    TextureOGL texture("ModelTexture");
    {
        std::vector<std::uint8_t> texels(8 * 8 * 4);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                const std::uint8_t* c = colours[(y / 4) * 2 + x / 4];
                std::copy(c, c + 4, texels.begin() + (y * 8 + x) * 4);
            }
        }
        vr::RenderModel_TextureMap_t map{};
        map.unWidth = 8;
        map.unHeight = 8;
        map.rubTextureMapData = texels.data();
        texture.CreateFromRenderModel(map);
    }
    MeshOGL mesh("Model");
    {
        std::vector<vr::RenderModel_Vertex_t> vertices(4);
        const float corners[4][2] = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
        for (int i = 0; i < 4; ++i) {
            vertices[i].vPosition = {{corners[i][0], corners[i][1], 0.0f}};
            vertices[i].vNormal = {{0.0f, 0.0f, 1.0f}};
            vertices[i].rfTextureCoord[0] = (corners[i][0] + 1) / 2;
            vertices[i].rfTextureCoord[1] = (corners[i][1] + 1) / 2;
        }
        const std::vector<std::uint16_t> indices = {0, 1, 2, 2, 1, 3};
        vr::RenderModel_t model{};
        model.rVertexData = vertices.data();
        model.unVertexCount = 4;
        model.rIndexData = indices.data();
        model.unTriangleCount = 2;
        model.diffuseTextureId = 0;
        mesh.CreateFromRenderModel(model);
    }

    RenderTargetOGL target("ModelTarget");
    target.Create(8, 8);
    target.Bind();
    glClearColor(0, 0, 0, 0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    ShaderOGL shader("ModelShader");
    ASSERT_TRUE(shader.Load("ModelShader", false));
    shader.Bind();
    shader.SetUniformMatrix4(kUniformModelMatrix, kIdentity);
    shader.SetUniform1i(kUniformModelTexture0, 0);
    texture.Bind();
    mesh.Draw();
    texture.Unbind();
    shader.Unbind();
    target.Resolve();
    DrainErrors();
    const std::vector<std::uint8_t> pixels =
        stereon::test::ReadTextureRGBA8(target.GetResolveTexture(), 8, 8);
    ASSERT_EQ(pixels.size(), 256u);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const std::uint8_t* c = colours[(y / 4) * 2 + x / 4];
            const std::uint8_t* p = &pixels[static_cast<std::size_t>((y * 8 + x) * 4)];
            // Beside the quadrant borders the anisotropic filter blends in some of the
            // neighbours, own colour still ahead; elsewhere each pixel shows its own texel.
            const bool border = x == 3 || x == 4 || y == 3 || y == 4;
            for (int k = 0; k < 4; ++k) {
                EXPECT_NEAR(p[k], c[k], border ? 100 : 0) << x << "," << y << " channel " << k;
            }
        }
    }

    // Mipmapped (the draw above would be black without the levels), clamped, and filtered at the
    // driver's most anisotropic.
    GLint minFilter = 0;
    GLint wrap = 0;
    GLfloat anisotropy = 0.0f;
    GLfloat maximum = 0.0f;
    glBindTexture(GL_TEXTURE_2D, texture.GetTexture());
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &minFilter);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, &wrap);
    glGetTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_MAX_ANISOTROPY_EXT, &anisotropy);
    glBindTexture(GL_TEXTURE_2D, 0);
    glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &maximum);
    EXPECT_EQ(minFilter, GL_LINEAR_MIPMAP_LINEAR);
    EXPECT_EQ(wrap, GL_CLAMP_TO_EDGE);
    EXPECT_EQ(anisotropy, maximum);
}

}  // namespace
