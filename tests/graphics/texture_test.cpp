// Textures: the pixel-format mapping from host memory with padded rows, the row rule, filters
// and wrap modes as drawn, mipmaps and the LOD-bias key, the unpack buffer, render-model
// textures and the compute registrations.

#include <GL/glew.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "GB/CudaDriver.h"
#include "GB/Device.h"
#include "IMesh.h"
#include "IRenderTexture.h"
#include "IShader.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenGL/MeshOGL.h"
#include "OpenGL/RenderTextureOGL.h"
#include "OpenGL/ShaderOGL.h"
#include "OpenGL/TextureOGL.h"
#include "gl_test_context.h"
#include "hostcore/debug.h"
#include "stnvr/vr_types.h"

namespace {

using namespace STN;
namespace hmt = hostmediatypes;

const boost::shared_ptr<GB::Device> kNoDevice;

std::uint16_t ToHalf(float value) {
    // Exact for the small dyadic values used here (and zero).
    if (value == 0.0f) {
        return 0;
    }
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    const std::uint32_t sign = (bits >> 16) & 0x8000u;
    const int exponent = static_cast<int>((bits >> 23) & 0xFFu) - 127 + 15;
    const std::uint32_t mantissa = (bits >> 13) & 0x3FFu;
    return static_cast<std::uint16_t>(sign | (static_cast<std::uint32_t>(exponent) << 10) |
                                      mantissa);
}

std::vector<float> ReadTextureFloat(GLuint texture, int level, int width, int height) {
    std::vector<float> pixels(static_cast<std::size_t>(width * height * 4), -1.0f);
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, level, GL_RGBA, GL_FLOAT, pixels.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    return pixels;
}

GLint TexParameter(GLuint texture, GLenum parameter) {
    GLint value = 0;
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexParameteriv(GL_TEXTURE_2D, parameter, &value);
    glBindTexture(GL_TEXTURE_2D, 0);
    return value;
}

GLint LevelWidth(GLuint texture, int level) {
    GLint value = 0;
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, level, GL_TEXTURE_WIDTH, &value);
    glBindTexture(GL_TEXTURE_2D, 0);
    return value;
}

void DrainErrors() {
    while (glGetError() != GL_NO_ERROR) {
    }
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

    // The red channel of each pixel of the first row.
    static std::vector<int> Reds(const std::vector<std::uint8_t>& pixels, int count) {
        std::vector<int> reds;
        for (int i = 0; i < count && static_cast<std::size_t>(i * 4) < pixels.size(); ++i) {
            reds.push_back(pixels[static_cast<std::size_t>(i * 4)]);
        }
        return reds;
    }

    // A 2x1 texture, black then white, opaque.
    void MakeBlackWhite(TextureOGL& texture) {
        texture.Create(kNoDevice, 2, 1, hmt::kPixelFormat_RGBA_4444_8u);
        const std::uint8_t pixels[8] = {0, 0, 0, 255, 255, 255, 255, 255};
        texture.Upload(pixels, hmt::kPixelFormat_RGBA_4444_8u, 8);
    }
};

TEST(TextureFormatMapping, DecodesDepthFloatAndOrderAndPadsRowsTo64Bytes) {
    struct Row {
        hmt::PixelFormat format;
        std::uint32_t internal, transfer, type, bytes;
    };
    const Row rows[] = {
        {hmt::kPixelFormat_ARGB_4444_8u, GL_RGBA8, GL_BGRA, GL_UNSIGNED_BYTE, 4},
        {hmt::kPixelFormat_BGRA_4444_8u, GL_RGBA8, GL_BGRA, GL_UNSIGNED_BYTE, 4},
        {hmt::kPixelFormat_RGBA_4444_8u, GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, 4},
        {hmt::kPixelFormat_GPU_BGRA_4444_16f, GL_RGBA16F, GL_BGRA, GL_HALF_FLOAT, 8},
        {hmt::kPixelFormat_GPU_BGRX_4444_16f, GL_RGBA16F, GL_BGRA, GL_HALF_FLOAT, 8},
        {hmt::kPixelFormat_GPU_BGRA_4444_32f, GL_RGBA32F, GL_BGRA, GL_FLOAT, 16},
        // Depth 3 or 5 without the float flag, or with the order flag, and other depths fall
        // back to 8-bit BGRA.
        {hmt::PixelFormat(1, hmt::pixelformat::MakeFlags(hmt::pixelformat::kDepth_16, false, 4,
                                                         true, false, false)),
         GL_RGBA8, GL_BGRA, GL_UNSIGNED_BYTE, 4},
        {hmt::PixelFormat(1, hmt::pixelformat::MakeFlags(hmt::pixelformat::kDepth_32, true, 4, true,
                                                         true, false)),
         GL_RGBA8, GL_BGRA, GL_UNSIGNED_BYTE, 4},
        {hmt::kPixelFormat_RGB_444_12u_PQ_709, GL_RGBA8, GL_BGRA, GL_UNSIGNED_BYTE, 4},
        {hmt::kPixelFormat_Any, GL_RGBA8, GL_BGRA, GL_UNSIGNED_BYTE, 4},
    };
    for (const Row& row : rows) {
        const TextureFormatGL gl = TextureOGL::MapFormat(row.format);
        EXPECT_EQ(gl.internalFormat, row.internal) << row.format.Value();
        EXPECT_EQ(gl.transferFormat, row.transfer) << row.format.Value();
        EXPECT_EQ(gl.transferType, row.type) << row.format.Value();
        EXPECT_EQ(gl.bytesPerPixel, row.bytes) << row.format.Value();
    }
    EXPECT_EQ(TextureOGL::RowBytesFor(hmt::kPixelFormat_BGRA_4444_8u, 1), 64u);
    EXPECT_EQ(TextureOGL::RowBytesFor(hmt::kPixelFormat_BGRA_4444_8u, 16), 64u);
    EXPECT_EQ(TextureOGL::RowBytesFor(hmt::kPixelFormat_BGRA_4444_8u, 17), 128u);
    EXPECT_EQ(TextureOGL::RowBytesFor(hmt::kPixelFormat_GPU_BGRA_4444_16f, 9), 128u);
    EXPECT_EQ(TextureOGL::RowBytesFor(hmt::kPixelFormat_GPU_BGRA_4444_32f, 1920), 30720u);
    EXPECT_EQ(TextureOGL::RowBytesFor(hmt::kPixelFormat_BGRA_4444_8u, 0), 0u);
}

TEST_F(TextureTest, EveryFormatRowUploadsFromPaddedHostRowsAndReadsBack) {
    const int width = 5;
    const int height = 3;
    // Component values k/8 are exact in every format.
    auto value = [](int x, int y, int c) { return static_cast<float>((x + 2 * y + c) % 9) / 8.0f; };

    struct Case {
        hmt::PixelFormat format;
        GLint internal;
        bool rgbOrder;
    };
    for (const Case& test : {Case{hmt::kPixelFormat_BGRA_4444_8u, GL_RGBA8, false},
                             Case{hmt::kPixelFormat_RGBA_4444_8u, GL_RGBA8, true},
                             Case{hmt::kPixelFormat_GPU_BGRA_4444_16f, GL_RGBA16F, false},
                             Case{hmt::kPixelFormat_GPU_BGRA_4444_32f, GL_RGBA32F, false}}) {
        SCOPED_TRACE(test.format.Value());
        TextureOGL texture("Video");
        texture.Create(kNoDevice, width, height, test.format);
        const unsigned rowBytes = texture.GetRowBytes();
        const TextureFormatGL gl = TextureOGL::MapFormat(test.format);
        ASSERT_GT(rowBytes, width * gl.bytesPerPixel);  // the rows really are padded
        {
            GLint internal = 0;
            glBindTexture(GL_TEXTURE_2D, texture.GetTexture());
            glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT, &internal);
            glBindTexture(GL_TEXTURE_2D, 0);
            EXPECT_EQ(internal, test.internal);
        }

        // Host memory: padding filled with bytes that must not show.
        std::vector<std::uint8_t> memory(static_cast<std::size_t>(rowBytes) * height, 0xEE);
        std::vector<float> expected;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const float r = value(x, y, 0), g = value(x, y, 1), b = value(x, y, 2),
                            a = value(x, y, 3);
                expected.insert(expected.end(), {r, g, b, a});
                const float stored[4] = {test.rgbOrder ? r : b, g, test.rgbOrder ? b : r, a};
                std::uint8_t* pixel = memory.data() + static_cast<std::size_t>(y) * rowBytes +
                                      static_cast<std::size_t>(x) * gl.bytesPerPixel;
                for (int c = 0; c < 4; ++c) {
                    if (gl.transferType == GL_UNSIGNED_BYTE) {
                        pixel[c] = static_cast<std::uint8_t>(stored[c] * 255.0f + 0.5f);
                    } else if (gl.transferType == GL_HALF_FLOAT) {
                        const std::uint16_t half = ToHalf(stored[c]);
                        std::memcpy(pixel + 2 * c, &half, 2);
                    } else {
                        std::memcpy(pixel + 4 * c, &stored[c], 4);
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

TEST_F(TextureTest, EmptyTextureAndBadUploadsChangeNothing) {
    TextureOGL texture("Empty");
    EXPECT_EQ(texture.GetRowBytes(), 0u);
    EXPECT_FALSE(texture.IsRectangle());
    EXPECT_FALSE(texture.NeedsIntermediateFrame());
    EXPECT_EQ(texture.GetPixelFormat(), hmt::kPixelFormat_Any);
    const std::uint8_t pixels[64] = {};
    texture.Upload(pixels, hmt::kPixelFormat_BGRA_4444_8u, 64);  // nothing to upload into
    texture.CreatePixelBuffer(hmt::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(texture.GetPixelBuffer(), 0u);
    texture.UpdateFromPixelBuffer();

    MakeBlackWhite(texture);
    EXPECT_EQ(texture.GetWidth(), 2u);
    EXPECT_EQ(texture.GetRowBytes(), 64u);
    // Null data and rows shorter than the image are refused; the image stays.
    texture.Upload(nullptr, hmt::kPixelFormat_RGBA_4444_8u, 8);
    const std::uint8_t shortRows[4] = {9, 9, 9, 9};
    texture.Upload(shortRows, hmt::kPixelFormat_RGBA_4444_8u, 4);
    DrainErrors();
    EXPECT_EQ(stereon::test::ReadTextureRGBA8(texture.GetTexture(), 2, 1),
              (std::vector<std::uint8_t>{0, 0, 0, 255, 255, 255, 255, 255}));

    texture.Release();
    EXPECT_EQ(texture.GetTexture(), 0u);
    EXPECT_EQ(texture.GetWidth(), 0u);
    EXPECT_EQ(texture.GetPixelFormat(), hmt::kPixelFormat_Any);
}

TEST_F(TextureTest, RowsThatAreNotWholePixelsAreRefused) {
    // GL counts a row's length in pixels, so rows 9 bytes apart would be read 8 bytes apart and
    // every row after the first would be shifted.
    TextureOGL texture("Rows");
    texture.Create(kNoDevice, 2, 2, hmt::kPixelFormat_RGBA_4444_8u);
    const std::uint8_t first[16] = {1, 1, 1, 255, 2, 2, 2, 255, 3, 3, 3, 255, 4, 4, 4, 255};
    texture.Upload(first, hmt::kPixelFormat_RGBA_4444_8u, 8);
    const std::vector<std::uint8_t> shown(first, first + 16);
    ASSERT_EQ(stereon::test::ReadTextureRGBA8(texture.GetTexture(), 2, 2), shown);

    const std::uint8_t oddRows[17] = {5, 5, 5, 255, 6, 6, 6, 255, 0xEE, 7, 7, 7, 255, 8, 8, 8, 255};
    texture.Upload(oddRows, hmt::kPixelFormat_RGBA_4444_8u, 9);
    DrainErrors();
    EXPECT_EQ(stereon::test::ReadTextureRGBA8(texture.GetTexture(), 2, 2), shown);
}

TEST_F(TextureTest, NearestAndLinearFiltersSampleAsTheTableSays) {
    TextureOGL texture("Filter");
    MakeBlackWhite(texture);
    // Create leaves the texture nearest and clamped.
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_MIN_FILTER), GL_NEAREST);
    EXPECT_EQ(Reds(Draw(texture, 4, 1, 0, 1, 0, 1), 4), (std::vector<int>{0, 0, 255, 255}));

    texture.SetFilter(kFilterLinear);
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_MIN_FILTER), GL_LINEAR);
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_MAG_FILTER), GL_LINEAR);
    const std::vector<int> linear = Reds(Draw(texture, 4, 1, 0, 1, 0, 1), 4);
    ASSERT_EQ(linear.size(), 4u);
    EXPECT_EQ(linear[0], 0);
    EXPECT_NEAR(linear[1], 64, 2);
    EXPECT_NEAR(linear[2], 191, 2);
    EXPECT_EQ(linear[3], 255);

    // A value outside the table sets nothing.
    texture.SetFilter(static_cast<TextureFilter>(9));
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_MIN_FILTER), GL_LINEAR);
    EXPECT_EQ(texture.GetFilter(), static_cast<TextureFilter>(9));
}

TEST_F(TextureTest, OnlyTheSAxisRepeats) {
    TextureOGL texture("Wrap");
    MakeBlackWhite(texture);
    // Coordinates 0..2 across 8 pixels: two copies when repeating, white beyond 1 when clamped.
    EXPECT_EQ(Reds(Draw(texture, 8, 1, 0, 2, 0, 1), 8),
              (std::vector<int>{0, 0, 255, 255, 255, 255, 255, 255}));
    texture.SetWrap(kWrapRepeatS);
    EXPECT_EQ(Reds(Draw(texture, 8, 1, 0, 2, 0, 1), 8),
              (std::vector<int>{0, 0, 255, 255, 0, 0, 255, 255}));
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_WRAP_S), GL_REPEAT);
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_WRAP_T), GL_CLAMP_TO_EDGE);

    // T stays clamped: a 1x2 texture (black row, white row) drawn with v from 0 to 2.
    TextureOGL column("Column");
    column.Create(kNoDevice, 1, 2, hmt::kPixelFormat_RGBA_4444_8u);
    const std::uint8_t pixels[8] = {0, 0, 0, 255, 255, 255, 255, 255};
    column.Upload(pixels, hmt::kPixelFormat_RGBA_4444_8u, 4);
    column.SetWrap(kWrapRepeatS);
    const std::vector<std::uint8_t> drawn = Draw(column, 1, 8, 0, 1, 0, 2);
    std::vector<int> reds;
    for (std::size_t i = 0; i < drawn.size(); i += 4) {
        reds.push_back(drawn[i]);
    }
    EXPECT_EQ(reds, (std::vector<int>{0, 0, 255, 255, 255, 255, 255, 255}));

    // Unknown values change nothing.
    texture.SetWrap(static_cast<TextureWrap>(5));
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_WRAP_S), GL_REPEAT);
    texture.SetWrap(kWrapClamp);
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
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
    texture.Upload(red.data(), hmt::kPixelFormat_RGBA_4444_8u, 16);
    EXPECT_EQ(LevelWidth(texture.GetTexture(), 2), 0);  // no mipmaps on a plain filter

    database.SetEntry("Stereon.MipmapLODBias", "1.5");
    texture.SetFilter(kFilterTrilinear);
    GLfloat bias = 0.0f;
    glBindTexture(GL_TEXTURE_2D, texture.GetTexture());
    glGetTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_LOD_BIAS, &bias);
    glBindTexture(GL_TEXTURE_2D, 0);
    EXPECT_EQ(bias, 1.5f);
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_MIN_FILTER), GL_LINEAR_MIPMAP_LINEAR);
    EXPECT_EQ(LevelWidth(texture.GetTexture(), 2), 1);
    EXPECT_EQ(ReadTextureFloat(texture.GetTexture(), 2, 1, 1),
              (std::vector<float>{1.0f, 0.0f, 0.0f, 1.0f}));

    // Upload rebuilds the mipmaps on a mipmapped filter...
    texture.Upload(green.data(), hmt::kPixelFormat_RGBA_4444_8u, 16);
    EXPECT_EQ(ReadTextureFloat(texture.GetTexture(), 2, 1, 1),
              (std::vector<float>{0.0f, 1.0f, 0.0f, 1.0f}));
    // ...the unpack buffer does not, and a second SetFilter does not build them again...
    texture.CreatePixelBuffer(hmt::kPixelFormat_RGBA_4444_8u);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, texture.GetPixelBuffer());
    glBufferSubData(GL_PIXEL_UNPACK_BUFFER, 0, 64, red.data());
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    texture.UpdateFromPixelBuffer();
    database.SetEntry("Stereon.MipmapLODBias", "not a number");
    texture.SetFilter(kFilterTrilinear);
    EXPECT_EQ(ReadTextureFloat(texture.GetTexture(), 2, 1, 1),
              (std::vector<float>{0.0f, 1.0f, 0.0f, 1.0f}));
    glBindTexture(GL_TEXTURE_2D, texture.GetTexture());
    glGetTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_LOD_BIAS, &bias);
    glBindTexture(GL_TEXTURE_2D, 0);
    EXPECT_EQ(bias, 0.0f);
    // ...GenerateMipmaps is the step for that.
    texture.GenerateMipmaps();
    EXPECT_EQ(ReadTextureFloat(texture.GetTexture(), 2, 1, 1),
              (std::vector<float>{1.0f, 0.0f, 0.0f, 1.0f}));
    database.RemoveEntry("Stereon.MipmapLODBias");
}

TEST_F(TextureTest, UnpackBufferFillsTheTextureWithPaddedRows) {
    // 16 pixels of 4 bytes: buffer rows and image rows agree without any pixel-store setting.
    TextureOGL texture("Video");
    texture.Create(kNoDevice, 16, 2);
    EXPECT_EQ(texture.GetPixelFormat(), hmt::kPixelFormat_ARGB_4444_8u);
    texture.UpdateFromPixelBuffer();  // no buffer yet: nothing happens
    texture.CreatePixelBuffer(hmt::kPixelFormat_BGRA_4444_8u);
    ASSERT_NE(texture.GetPixelBuffer(), 0u);
    EXPECT_EQ(texture.GetPixelBufferFormat(), hmt::kPixelFormat_BGRA_4444_8u);
    EXPECT_EQ(texture.GetPixelBufferRowBytes(), 64u);
    GLint size = 0;
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, texture.GetPixelBuffer());
    glGetBufferParameteriv(GL_PIXEL_UNPACK_BUFFER, GL_BUFFER_SIZE, &size);
    EXPECT_EQ(size, 128);
    std::vector<std::uint8_t> bgra(128);
    for (std::size_t i = 0; i < bgra.size(); ++i) {
        bgra[i] = static_cast<std::uint8_t>(i * 3);
    }
    glBufferSubData(GL_PIXEL_UNPACK_BUFFER, 0, 128, bgra.data());
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    texture.UpdateFromPixelBuffer();
    std::vector<std::uint8_t> rgba(bgra);
    for (std::size_t i = 0; i < rgba.size(); i += 4) {
        std::swap(rgba[i], rgba[i + 2]);
    }
    EXPECT_EQ(stereon::test::ReadTextureRGBA8(texture.GetTexture(), 16, 2), rgba);

    texture.Release();
    EXPECT_EQ(texture.GetPixelBuffer(), 0u);
    EXPECT_EQ(texture.GetPixelBufferFormat(), hmt::kPixelFormat_Any);
    EXPECT_EQ(texture.GetPixelBufferRowBytes(), 0u);
}

TEST_F(TextureTest, RowLengthOfAnUploadStaysInForceForTheUnpackBuffer) {
    // 5 pixels wide: a buffer row is 64 bytes, more than the 20 an image row holds. Only the
    // row length that Upload leaves on the context makes the buffer's rows line up.
    TextureOGL texture("Video");
    texture.Create(kNoDevice, 5, 2, hmt::kPixelFormat_RGBA_4444_8u);
    std::vector<std::uint8_t> memory(128, 0);
    texture.Upload(memory.data(), hmt::kPixelFormat_RGBA_4444_8u, 64);
    texture.CreatePixelBuffer(hmt::kPixelFormat_RGBA_4444_8u);
    ASSERT_EQ(texture.GetPixelBufferRowBytes(), 64u);
    std::vector<std::uint8_t> expected;
    for (std::size_t y = 0; y < 2; ++y) {
        for (std::size_t i = 0; i < 64; ++i) {
            memory[y * 64 + i] = i < 20 ? static_cast<std::uint8_t>(10 * y + i + 1) : 0xEE;
        }
        expected.insert(expected.end(), memory.begin() + static_cast<long>(y * 64),
                        memory.begin() + static_cast<long>(y * 64 + 20));
    }
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, texture.GetPixelBuffer());
    glBufferSubData(GL_PIXEL_UNPACK_BUFFER, 0, 128, memory.data());
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    texture.UpdateFromPixelBuffer();
    EXPECT_EQ(stereon::test::ReadTextureRGBA8(texture.GetTexture(), 5, 2), expected);
}

TEST_F(TextureTest, RenderModelTextureIsMipmappedAnisotropicAndClamped) {
    std::vector<std::uint8_t> data(8 * 4 * 4);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 255 : i);
    }
    vr::RenderModel_TextureMap_t map{};
    map.unWidth = 8;
    map.unHeight = 4;
    map.rubTextureMapData = data.data();
    TextureOGL texture("ModelTexture");
    texture.CreateFromRenderModel(map);
    EXPECT_EQ(texture.GetWidth(), 8u);
    EXPECT_EQ(texture.GetHeight(), 4u);
    EXPECT_EQ(texture.GetPixelFormat(), hmt::kPixelFormat_Any);
    EXPECT_EQ(texture.GetFilter(), kFilterAnisotropic);
    EXPECT_EQ(stereon::test::ReadTextureRGBA8(texture.GetTexture(), 8, 4), data);
    EXPECT_EQ(LevelWidth(texture.GetTexture(), 3), 1);
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_MIN_FILTER), GL_LINEAR_MIPMAP_LINEAR);
    EXPECT_EQ(TexParameter(texture.GetTexture(), GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
    GLfloat maximum = 0.0f;
    DrainErrors();
    glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &maximum);
    if (glGetError() == GL_NO_ERROR) {
        GLfloat anisotropy = 0.0f;
        glBindTexture(GL_TEXTURE_2D, texture.GetTexture());
        glGetTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_MAX_ANISOTROPY_EXT, &anisotropy);
        glBindTexture(GL_TEXTURE_2D, 0);
        EXPECT_EQ(anisotropy, maximum);
    }
}

TEST_F(TextureTest, CudaRegistrationIsAbsentWithoutADriver) {
    if (GB::cuda::LoadCudaDriver() != nullptr) {
        GTEST_SKIP() << "a CUDA driver is present";
    }
    // A CUDA device as the host describes one; without a driver nothing is shared.
    boost::shared_ptr<GB::Device> device(new GB::Device(GB::kDeviceKind_CUDA, GB::Device::Parts()));
    TextureOGL texture("Video");
    texture.Create(device, 4, 4);
    texture.RegisterForCompute(device);
    EXPECT_EQ(texture.GetComputeHandle(), nullptr);
    texture.CreatePixelBuffer(hmt::kPixelFormat_GPU_BGRA_4444_16f);
    texture.RegisterForCompute(device);
    EXPECT_EQ(texture.GetComputeHandle(), nullptr);
    // A device of the third kind shares nothing either.
    boost::shared_ptr<GB::Device> other(
        new GB::Device(GB::kDeviceKind_OpenCLNoSharing, GB::Device::Parts()));
    texture.RegisterForCompute(other);
    EXPECT_EQ(texture.GetComputeHandle(), nullptr);
    texture.Release();
}

TEST(TextureCompute, OpenCLRegistrationFollowsTheDevicesSharing) {
    std::string reason;
    boost::shared_ptr<GB::Device> device = GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    if (!device) {
        GTEST_SKIP() << "no OpenCL device: " << reason;
    }
    // The texture lives in the device context's share group, as the render thread arranges.
    boost::shared_ptr<GraphicsContextOGL> deviceContext = CreateGraphicsContext("DeviceContext");
    deviceContext->BindDevice(device);
    boost::shared_ptr<GraphicsContextOGL> upload = CreateGraphicsContext("UploadContext");
    upload->BindDevice(device);
    ASSERT_TRUE(upload->CreateVersionedContext(4, deviceContext));
    {
        TextureOGL texture("Video");
        texture.Create(device, 8, 8, hmt::kPixelFormat_GPU_BGRA_4444_16f);
        texture.RegisterForCompute(device);
        void* const first = texture.GetComputeHandle();
        if (device->CanShareWithOpenGL()) {
            EXPECT_NE(first, nullptr);
        } else {
            // PoCL and other ICDs without GL sharing: nothing is registered, and nothing is asked
            // of the ICD (PoCL aborts the process on the GL-buffer call).
            EXPECT_EQ(first, nullptr) << device->GetName();
        }
        if (first != nullptr) {
            texture.RegisterForCompute(device);
            EXPECT_EQ(texture.GetComputeHandle(), first);  // registered once
        }

        // The buffer path goes through the unpack buffer once there is one.
        TextureOGL buffered("Buffered");
        buffered.Create(device, 8, 8, hmt::kPixelFormat_GPU_BGRA_4444_16f);
        buffered.CreatePixelBuffer(hmt::kPixelFormat_GPU_BGRA_4444_16f);
        buffered.RegisterForCompute(device);
        EXPECT_EQ(buffered.GetComputeHandle() != nullptr, device->CanShareWithOpenGL());
        buffered.Release();
        texture.Release();
        if (first != nullptr) {
            EXPECT_EQ(texture.GetComputeHandle(), nullptr);  // unregistered with the texture
        }
    }
    upload->ClearCurrent();
}

}  // namespace
