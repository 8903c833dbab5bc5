// Textures: every pixel format from host memory with padded rows, the row rule, filters and wrap
// modes as drawn, mipmaps and the LOD-bias key.

#include <GL/glew.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "GB/Device.h"
#include "OpenGL/MeshOGL.h"
#include "OpenGL/RenderTextureOGL.h"
#include "OpenGL/ShaderOGL.h"
#include "OpenGL/TextureOGL.h"
#include "gl_test_context.h"
#include "hostcore/debug.h"

namespace {

using namespace STN;
namespace hmt = hostmediatypes;

const boost::shared_ptr<GB::Device> kNoDevice;

// Stored R, G, B, A texels as a sampler reads them, through the texture's swizzle: an upload may
// store red and blue swapped and have the swizzle put them back.
template <typename T>
std::vector<T> AsSampled(GLuint texture, const std::vector<T>& stored) {
    GLint swizzle[4] = {GL_RED, GL_GREEN, GL_BLUE, GL_ALPHA};
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA, swizzle);
    glBindTexture(GL_TEXTURE_2D, 0);
    std::size_t from[4] = {};
    for (std::size_t c = 0; c < 4; ++c) {  // GL_RED to GL_ALPHA are consecutive
        EXPECT_TRUE(swizzle[c] >= GL_RED && swizzle[c] <= GL_ALPHA) << "component " << c;
        from[c] =
            static_cast<std::size_t>(std::clamp<GLint>(swizzle[c], GL_RED, GL_ALPHA) - GL_RED);
    }
    std::vector<T> sampled(stored.size());
    for (std::size_t i = 0; i + 4 <= stored.size(); i += 4) {
        for (std::size_t c = 0; c < 4; ++c) {
            sampled[i + c] = stored[i + from[c]];
        }
    }
    return sampled;
}

std::vector<float> ReadTextureFloat(GLuint texture, int level, int width, int height) {
    std::vector<float> pixels(static_cast<std::size_t>(width * height * 4), -1.0f);
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, level, GL_RGBA, GL_FLOAT, pixels.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    return AsSampled(texture, pixels);
}

std::vector<std::uint8_t> ReadTextureRGBA8(GLuint texture, int width, int height) {
    return AsSampled(texture, stereon::test::ReadTextureRGBA8(texture, width, height));
}

// A parameter of the texture, or of one of its levels.
GLfloat Parameter(GLuint texture, GLenum parameter, int level = -1) {
    GLfloat value = -1.0f;
    glBindTexture(GL_TEXTURE_2D, texture);
    if (level < 0) {
        glGetTexParameterfv(GL_TEXTURE_2D, parameter, &value);
    } else {
        glGetTexLevelParameterfv(GL_TEXTURE_2D, level, parameter, &value);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    return value;
}

void DrainErrors() {
    while (glGetError() != GL_NO_ERROR) {
    }
}

void FillFromPixelBuffer(TextureOGL& texture, const std::vector<std::uint8_t>& bytes) {
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, texture.GetPixelBuffer());
    glBufferSubData(GL_PIXEL_UNPACK_BUFFER, 0, static_cast<GLsizeiptr>(bytes.size()), bytes.data());
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    texture.UpdateFromPixelBuffer();
}

class TextureTest : public stereon::test::GlTest {
protected:
    // Draws the texture over a target of the size, with the texture coordinates spanning
    // u0..u1 and v0..v1, through the panel program, and reads the target back (RGBA8).
    std::vector<std::uint8_t> Draw(TextureOGL& texture, int width, int height, float u0, float u1,
                                   float v0, float v1) {
        ShaderOGL shader("PanelShader");
        EXPECT_TRUE(shader.Load("PanelShader", false));
        MeshOGL quad("Quad");
        quad.Begin(kPrimitiveTriangleStrip, false, true, false);
        quad.AddVertex(-1, -1, 0, 0, 0, 0, u0, v0, 0, 0, 0, 0);
        quad.AddVertex(1, -1, 0, 0, 0, 0, u1, v0, 0, 0, 0, 0);
        quad.AddVertex(-1, 1, 0, 0, 0, 0, u0, v1, 0, 0, 0, 0);
        quad.AddVertex(1, 1, 0, 0, 0, 0, u1, v1, 0, 0, 0, 0);
        quad.End();
        RenderTextureOGL target("Target");
        target.Create(width, height);
        target.BindTarget();
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        shader.Bind();
        const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        shader.SetUniformMatrix4(kUniformPanelMatrix, identity);
        shader.SetUniform2f(kUniformPanelSize, 1.0f, 1.0f);
        shader.SetUniform4f(kUniformPanelColor, 1, 1, 1, 1);
        texture.Bind();
        quad.Draw();
        texture.Unbind();
        shader.Unbind();
        target.UnbindTarget();
        DrainErrors();
        return stereon::test::ReadTextureRGBA8(target.GetTexture(), width, height);
    }

    // The red channel of the first `count` pixels (of the first row, or of a column one wide).
    static std::vector<int> Reds(const std::vector<std::uint8_t>& pixels, int count) {
        std::vector<int> reds;
        for (int i = 0; i < count && static_cast<std::size_t>(i * 4) < pixels.size(); ++i) {
            reds.push_back(pixels[static_cast<std::size_t>(i * 4)]);
        }
        return reds;
    }

    // A 2x1 texture (or 1x2 for a column), black then white, opaque.
    void MakeBlackWhite(TextureOGL& texture, bool column = false) {
        texture.Create(kNoDevice, column ? 1 : 2, column ? 2 : 1, hmt::kPixelFormat_RGBA_4444_8u);
        const std::uint8_t pixels[8] = {0, 0, 0, 255, 255, 255, 255, 255};
        texture.Upload(pixels, hmt::kPixelFormat_RGBA_4444_8u, column ? 4 : 8);
    }
};

TEST_F(TextureTest, EveryFormatRowUploadsFromPaddedHostRowsAndReadsBack) {
    const int width = 5;
    const int height = 3;
    // Component values k/8 are exact in every format; kHalf holds them as half floats.
    auto eighths = [](int x, int y, int c) { return (x + 2 * y + c) % 9; };
    const std::uint16_t kHalf[9] = {0x0000, 0x3000, 0x3400, 0x3600, 0x3800,
                                    0x3900, 0x3A00, 0x3B00, 0x3C00};

    struct Case {
        hmt::PixelFormat format;
        GLint internal;
        bool rgbOrder;
    };
    for (const Case& test : {Case{hmt::kPixelFormat_ARGB_4444_8u, GL_RGBA8, false},
                             Case{hmt::kPixelFormat_BGRA_4444_8u, GL_RGBA8, false},
                             Case{hmt::kPixelFormat_RGBA_4444_8u, GL_RGBA8, true},
                             Case{hmt::kPixelFormat_GPU_BGRA_4444_16f, GL_RGBA16F, false},
                             Case{hmt::kPixelFormat_GPU_BGRX_4444_16f, GL_RGBA16F, false},
                             Case{hmt::kPixelFormat_GPU_BGRA_4444_32f, GL_RGBA32F, false}}) {
        SCOPED_TRACE(test.format.Value());
        TextureOGL texture("Video");
        texture.Create(kNoDevice, width, height, test.format);
        const unsigned rowBytes = texture.GetRowBytes();
        const TextureFormatGL gl = TextureOGL::MapFormat(test.format);
        ASSERT_GT(rowBytes, width * gl.bytesPerPixel);  // the rows really are padded
        EXPECT_EQ(Parameter(texture.GetTexture(), GL_TEXTURE_INTERNAL_FORMAT, 0), test.internal);

        // Host memory: padding filled with bytes that must not show.
        std::vector<std::uint8_t> memory(static_cast<std::size_t>(rowBytes) * height, 0xEE);
        std::vector<float> expected;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int rgba[4] = {eighths(x, y, 0), eighths(x, y, 1), eighths(x, y, 2),
                                     eighths(x, y, 3)};
                for (int c = 0; c < 4; ++c) {
                    expected.push_back(static_cast<float>(rgba[c]) / 8.0f);
                }
                const int stored[4] = {rgba[test.rgbOrder ? 0 : 2], rgba[1],
                                       rgba[test.rgbOrder ? 2 : 0], rgba[3]};
                std::uint8_t* pixel = memory.data() + static_cast<std::size_t>(y) * rowBytes +
                                      static_cast<std::size_t>(x) * gl.bytesPerPixel;
                for (int c = 0; c < 4; ++c) {
                    const float value = static_cast<float>(stored[c]) / 8.0f;
                    if (gl.transferType == GL_UNSIGNED_BYTE) {
                        pixel[c] = static_cast<std::uint8_t>(value * 255.0f + 0.5f);
                    } else if (gl.transferType == GL_HALF_FLOAT) {
                        std::memcpy(pixel + 2 * c, &kHalf[stored[c]], 2);
                    } else {
                        std::memcpy(pixel + 4 * c, &value, 4);
                    }
                }
            }
        }
        texture.Upload(memory.data(), test.format, rowBytes);
        const std::vector<float> read = ReadTextureFloat(texture.GetTexture(), 0, width, height);
        ASSERT_EQ(read.size(), expected.size());
        for (std::size_t i = 0; i < read.size(); ++i) {
            const float tolerance = gl.transferType == GL_UNSIGNED_BYTE ? 0.6f / 255.0f : 0.0f;
            EXPECT_NEAR(read[i], expected[i], tolerance) << "component " << i;
        }
    }
}

TEST_F(TextureTest, BadUploadsLeaveTheImageAsItWas) {
    // An empty texture takes nothing.
    TextureOGL texture("Rows");
    const std::uint8_t nothing[64] = {};
    texture.Upload(nothing, hmt::kPixelFormat_BGRA_4444_8u, 64);

    texture.Create(kNoDevice, 2, 2, hmt::kPixelFormat_RGBA_4444_8u);
    const std::uint8_t first[16] = {1, 1, 1, 255, 2, 2, 2, 255, 3, 3, 3, 255, 4, 4, 4, 255};
    texture.Upload(first, hmt::kPixelFormat_RGBA_4444_8u, 8);
    const std::vector<std::uint8_t> shown(first, first + 16);
    ASSERT_EQ(ReadTextureRGBA8(texture.GetTexture(), 2, 2), shown);

    // Null data and rows shorter than the image are refused. So are rows 9 bytes apart: GL counts
    // a row's length in pixels, would read them 8 bytes apart and shift every row after the first.
    const std::uint8_t oddRows[17] = {5, 5, 5, 255, 6, 6, 6, 255, 0xEE, 7, 7, 7, 255, 8, 8, 8, 255};
    texture.Upload(nullptr, hmt::kPixelFormat_RGBA_4444_8u, 8);
    texture.Upload(oddRows, hmt::kPixelFormat_RGBA_4444_8u, 4);
    texture.Upload(oddRows, hmt::kPixelFormat_RGBA_4444_8u, 9);
    DrainErrors();
    EXPECT_EQ(ReadTextureRGBA8(texture.GetTexture(), 2, 2), shown);
}

TEST_F(TextureTest, UnpackBufferRowsKeepTheUploadsRowLengthAndTheBuffersFormat) {
    // 5 pixels wide: a buffer row is 64 bytes, more than the 20 an image row holds. Only the
    // row length that Upload leaves on the context makes the buffer's rows line up. The last
    // upload stored R, G, B, A rows as they were, or B, G, R, A rows with red and blue swapped;
    // the buffer's rows must read right after either.
    for (const hmt::PixelFormat uploaded :
         {hmt::kPixelFormat_RGBA_4444_8u, hmt::kPixelFormat_BGRA_4444_8u}) {
        SCOPED_TRACE(uploaded.Value());
        TextureOGL texture("Video");
        texture.Create(kNoDevice, 5, 2, hmt::kPixelFormat_RGBA_4444_8u);
        std::vector<std::uint8_t> memory(128, 0);
        texture.Upload(memory.data(), uploaded, 64);
        // The buffer's own format decides the transfer: BGRA bytes into the RGBA texture.
        texture.CreatePixelBuffer(hmt::kPixelFormat_BGRA_4444_8u);
        ASSERT_EQ(texture.GetPixelBufferRowBytes(), 64u);
        std::vector<std::uint8_t> expected;
        for (std::size_t y = 0; y < 2; ++y) {
            for (std::size_t i = 0; i < 64; ++i) {
                memory[y * 64 + i] = i < 20 ? static_cast<std::uint8_t>(10 * y + i + 1) : 0xEE;
            }
            for (std::size_t i = 0; i < 20; i += 4) {
                const std::uint8_t* bgra = &memory[y * 64 + i];
                expected.insert(expected.end(), {bgra[2], bgra[1], bgra[0], bgra[3]});
            }
        }
        FillFromPixelBuffer(texture, memory);
        EXPECT_EQ(ReadTextureRGBA8(texture.GetTexture(), 5, 2), expected);

        const GLuint buffer = texture.GetPixelBuffer();
        texture.Release();
        EXPECT_FALSE(glIsBuffer(buffer));
    }
}

TEST_F(TextureTest, FiltersAndWrapModesSampleAsTheTablesSay) {
    TextureOGL texture("Filter");
    MakeBlackWhite(texture);
    // Create leaves the texture nearest and clamped.
    EXPECT_EQ(Reds(Draw(texture, 4, 1, 0, 1, 0, 1), 4), (std::vector<int>{0, 0, 255, 255}));

    texture.SetFilter(kFilterLinear);
    const std::vector<int> linear = Reds(Draw(texture, 4, 1, 0, 1, 0, 1), 4);
    ASSERT_EQ(linear.size(), 4u);
    EXPECT_EQ(linear[0], 0);
    EXPECT_NEAR(linear[1], 64, 2);
    EXPECT_NEAR(linear[2], 191, 2);
    EXPECT_EQ(linear[3], 255);

    // Only the S axis repeats. Coordinates 0..2 across 8 pixels: white beyond 1 when clamped, two
    // copies when repeating.
    texture.SetFilter(kFilterNearest);
    EXPECT_EQ(Reds(Draw(texture, 8, 1, 0, 2, 0, 1), 8),
              (std::vector<int>{0, 0, 255, 255, 255, 255, 255, 255}));
    texture.SetWrap(kWrapRepeatS);
    EXPECT_EQ(Reds(Draw(texture, 8, 1, 0, 2, 0, 1), 8),
              (std::vector<int>{0, 0, 255, 255, 0, 0, 255, 255}));

    // T stays clamped: a 1x2 texture (black row, white row) drawn with v from 0 to 2.
    TextureOGL column("Column");
    MakeBlackWhite(column, true);
    column.SetWrap(kWrapRepeatS);
    EXPECT_EQ(Reds(Draw(column, 1, 8, 0, 1, 0, 2), 8),
              (std::vector<int>{0, 0, 255, 255, 255, 255, 255, 255}));
}

TEST_F(TextureTest, TrilinearReadsTheBiasKeyAndBuildsMipmapsOnce) {
    hostcore::debug::DebugDatabase& database = hostcore::debug::DebugDatabase::Instance();
    TextureOGL texture("Mipmapped");
    texture.Create(kNoDevice, 4, 4, hmt::kPixelFormat_RGBA_4444_8u);
    std::vector<std::uint8_t> red(64), green(64);
    for (std::size_t i = 0; i < 64; i += 4) {
        red[i] = 255;
        green[i + 1] = 255;
        red[i + 3] = green[i + 3] = 255;
    }
    const std::vector<float> redTexel = {1.0f, 0.0f, 0.0f, 1.0f};
    const std::vector<float> greenTexel = {0.0f, 1.0f, 0.0f, 1.0f};
    texture.Upload(red.data(), hmt::kPixelFormat_RGBA_4444_8u, 16);
    EXPECT_EQ(Parameter(texture.GetTexture(), GL_TEXTURE_WIDTH, 2), 0);  // plain filter

    database.SetEntry("Stereon.MipmapLODBias", "1.5");
    texture.SetFilter(kFilterTrilinear);
    EXPECT_EQ(Parameter(texture.GetTexture(), GL_TEXTURE_LOD_BIAS), 1.5f);
    EXPECT_EQ(Parameter(texture.GetTexture(), GL_TEXTURE_MIN_FILTER), GL_LINEAR_MIPMAP_LINEAR);
    EXPECT_EQ(ReadTextureFloat(texture.GetTexture(), 2, 1, 1), redTexel);

    // Upload rebuilds the mipmaps on a mipmapped filter...
    texture.Upload(green.data(), hmt::kPixelFormat_RGBA_4444_8u, 16);
    EXPECT_EQ(ReadTextureFloat(texture.GetTexture(), 2, 1, 1), greenTexel);
    // ...a device's copy into the texture does not, nor does a second SetFilter...
    glBindTexture(GL_TEXTURE_2D, texture.GetTexture());
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE, red.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    database.SetEntry("Stereon.MipmapLODBias", "not a number");
    texture.SetFilter(kFilterTrilinear);
    EXPECT_EQ(ReadTextureFloat(texture.GetTexture(), 2, 1, 1), greenTexel);
    EXPECT_EQ(Parameter(texture.GetTexture(), GL_TEXTURE_LOD_BIAS), 0.0f);
    // ...GenerateMipmaps is the step for that.
    texture.GenerateMipmaps();
    EXPECT_EQ(ReadTextureFloat(texture.GetTexture(), 2, 1, 1), redTexel);
    database.RemoveEntry("Stereon.MipmapLODBias");
}

}  // namespace
