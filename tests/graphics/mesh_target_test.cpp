// Meshes and drawing surfaces: staged and render-model meshes drawn into a 4-sample target,
// resolved and read back; the attribute packing; the target's and render texture's lifecycle.

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

struct Attribute {
    GLint enabled, size, stride;
    std::uintptr_t offset;
};

Attribute ReadAttribute(GLuint location) {
    Attribute a{};
    glGetVertexAttribiv(location, GL_VERTEX_ATTRIB_ARRAY_ENABLED, &a.enabled);
    glGetVertexAttribiv(location, GL_VERTEX_ATTRIB_ARRAY_SIZE, &a.size);
    glGetVertexAttribiv(location, GL_VERTEX_ATTRIB_ARRAY_STRIDE, &a.stride);
    void* pointer = nullptr;
    glGetVertexAttribPointerv(location, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
    a.offset = reinterpret_cast<std::uintptr_t>(pointer);
    return a;
}

class MeshTargetTest : public stereon::test::GlTest {};

TEST_F(MeshTargetTest, TriangleInAFourSampleTargetResolvesWithAntialiasedEdge) {
    const int size = 16;
    RenderTargetOGL target("LeftTarget");
    target.Create(size, size);
    ASSERT_NE(target.GetResolveTexture(), 0u);
    GLint samples = 0;
    target.Bind();
    glGetIntegerv(GL_SAMPLES, &samples);
    EXPECT_EQ(samples, 4);

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

    const vr::Texture_t submitted = target.GetVRTexture();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(submitted.handle), target.GetResolveTexture());
    EXPECT_EQ(submitted.eType, vr::TextureType_OpenGL);
    EXPECT_EQ(submitted.eColorSpace, vr::ColorSpace_Gamma);
}

TEST_F(MeshTargetTest, TargetIsRebuiltOnlyWhenItsSizeChanges) {
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

    // The fixed layout of the model's vertex record.
    glBindVertexArray(mesh.GetVertexArray());
    const Attribute normal = ReadAttribute(1);
    const Attribute texcoord = ReadAttribute(2);
    glBindVertexArray(0);
    EXPECT_EQ(normal.stride, 32);
    EXPECT_EQ(normal.offset, 12u);
    EXPECT_EQ(texcoord.size, 2);
    EXPECT_EQ(texcoord.offset, 24u);
}

TEST_F(MeshTargetTest, StagedMeshesPackTheirAttributesAtConsecutiveLocations) {
    MeshOGL mesh("Packed");
    mesh.Begin(kPrimitiveLines, true, true, true);
    mesh.AddVertex(0, 0, 0, 0, 0, 1, 0, 0, 1, 1, 1, 1);
    mesh.AddVertex(1, 0, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1);
    mesh.End();
    EXPECT_EQ(mesh.GetPrimitive(), static_cast<std::uint32_t>(GL_LINES));
    EXPECT_EQ(mesh.GetIndexCount(), 2u);
    glBindVertexArray(mesh.GetVertexArray());
    const Attribute all[4] = {ReadAttribute(0), ReadAttribute(1), ReadAttribute(2),
                              ReadAttribute(3)};
    glBindVertexArray(0);
    const GLint sizes[4] = {3, 3, 2, 4};
    const std::uintptr_t offsets[4] = {0, 12, 24, 32};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(all[i].enabled, GL_TRUE) << i;
        EXPECT_EQ(all[i].size, sizes[i]) << i;
        EXPECT_EQ(all[i].offset, offsets[i]) << i;
        EXPECT_EQ(all[i].stride, 48) << i;
    }

    // Texture coordinate and colour only, as the dial program reads them: locations 1 and 2. An
    // unknown primitive draws triangles.
    mesh.Begin(static_cast<MeshPrimitive>(17), false, true, true);
    EXPECT_EQ(mesh.GetPrimitive(), static_cast<std::uint32_t>(GL_TRIANGLES));
    for (int i = 0; i < 3; ++i) {
        mesh.AddVertex(0, 0, 0, 5, 5, 5, 0, 0, 1, 1, 1, 1);
    }
    mesh.End();
    EXPECT_EQ(mesh.GetIndexCount(), 3u);
    glBindVertexArray(mesh.GetVertexArray());
    const Attribute texcoord = ReadAttribute(1);
    const Attribute colour = ReadAttribute(2);
    const Attribute none = ReadAttribute(3);
    glBindVertexArray(0);
    EXPECT_EQ(texcoord.size, 2);
    EXPECT_EQ(texcoord.offset, 12u);
    EXPECT_EQ(colour.size, 4);
    EXPECT_EQ(colour.offset, 20u);
    EXPECT_EQ(colour.stride, 36);
    EXPECT_EQ(none.enabled, GL_FALSE);

    // Without vertices nothing is made, and drawing it is harmless.
    mesh.Begin(kPrimitivePoints, false, false, false);
    mesh.End();
    EXPECT_EQ(mesh.GetIndexCount(), 0u);
    EXPECT_EQ(mesh.GetVertexArray(), 0u);
    mesh.Draw();
    DrainErrors();
}

TEST_F(MeshTargetTest, RenderTextureIsAPlainColourTarget) {
    RenderTextureOGL empty("Never");
    empty.Release();  // nothing made, nothing freed
    empty.Create(0, 0);
    EXPECT_EQ(empty.GetTexture(), 0u);

    RenderTextureOGL target("Blur");
    target.Create(4, 2);
    const GLuint texture = target.GetTexture();
    target.Create(4, 2);
    EXPECT_EQ(target.GetTexture(), texture);
    target.BindTarget();
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 4);
    EXPECT_EQ(viewport[3], 2);
    glClearColor(0.0f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    target.UnbindTarget();
    GLint bound = -1;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &bound);
    EXPECT_EQ(bound, 0);
    DrainErrors();
    const std::vector<std::uint8_t> pixels = stereon::test::ReadTextureRGBA8(texture, 4, 2);
    ASSERT_EQ(pixels.size(), 32u);
    EXPECT_EQ(std::vector<int>(pixels.begin(), pixels.begin() + 4),
              (std::vector<int>{0, 255, 0, 255}));

    glActiveTexture(GL_TEXTURE3);
    target.BindTexture();
    GLint unit = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &unit);
    EXPECT_EQ(unit, GL_TEXTURE0);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(static_cast<GLuint>(bound), texture);
    target.UnbindTexture();

    target.Release();
    EXPECT_FALSE(glIsTexture(texture));
}

}  // namespace
