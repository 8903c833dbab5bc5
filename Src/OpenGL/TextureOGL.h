#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "ITexture.h"

namespace STN {

// How a pixel format is stored and transferred in GL. One mapping serves every path.
struct TextureFormatGL {
    std::uint32_t internalFormat;
    std::uint32_t transferFormat;
    std::uint32_t transferType;
    std::uint32_t bytesPerPixel;
};

class TextureOGL : public ITexture {
public:
    explicit TextureOGL(const std::string& name);
    ~TextureOGL() override;
    TextureOGL(const TextureOGL&) = delete;
    TextureOGL& operator=(const TextureOGL&) = delete;

    // Reads the depth code (bits 33-35), the float flag (bit 36) and the order flag (bit 45).
    static TextureFormatGL MapFormat(hostmediatypes::PixelFormat format);
    // Bytes per pixel times width, rounded up to a multiple of 64.
    static std::uint32_t RowBytesFor(hostmediatypes::PixelFormat format, std::uint32_t width);
    // GL_UNPACK_ROW_LENGTH for Upload's rows `rowBytes` apart (0: packed) of `width` pixels of
    // `format`; false when GL cannot read them as they are: rows shorter than the picture, or
    // not a whole number of pixels long.
    static bool UnpackRowLength(hostmediatypes::PixelFormat format, std::uint32_t width,
                                unsigned rowBytes, std::int32_t& rowLength);

    const std::string& GetName() override { return name; }
    unsigned GetWidth() override { return width; }
    unsigned GetHeight() override { return height; }
    hostmediatypes::PixelFormat GetPixelFormat() override { return pixelFormat; }
    unsigned GetRowBytes() override;
    bool IsRectangle() override;
    void CreateFromRenderModel(const vr::RenderModel_TextureMap_t& map) override;
    void Create(const boost::shared_ptr<GB::Device>& device, unsigned width, unsigned height,
                hostmediatypes::PixelFormat format) override;
    void Create(const boost::shared_ptr<GB::Device>& device, unsigned width,
                unsigned height) override;
    void Release() override;
    void SetFilter(TextureFilter filter) override;
    void SetWrap(TextureWrap wrap) override;
    void Upload(const void* data, hostmediatypes::PixelFormat format, unsigned rowBytes) override;
    void GenerateMipmaps() override;
    void CreatePixelBuffer(hostmediatypes::PixelFormat format) override;
    unsigned GetPixelBuffer() override { return pixelBuffer; }
    hostmediatypes::PixelFormat GetPixelBufferFormat() override { return pixelBufferFormat; }
    unsigned GetPixelBufferRowBytes() override { return pixelBufferRowBytes; }
    void UpdateFromPixelBuffer() override;
    void RegisterForCompute(const boost::shared_ptr<GB::Device>& device) override;
    void* GetComputeHandle() override;
    void Bind() override;
    void Unbind() override;
    bool NeedsIntermediateFrame() override { return needsIntermediateFrame; }
    void FenceUse() override;
    void WaitForUse() override;

    std::uint32_t GetTexture() const { return texture; }
    TextureFilter GetFilter() const { return filter; }

private:
    void BuildMipmapsOnce();
    bool IsMipmapped() const;
    // The order Upload stores `gl`'s components in: swizzled for B, G, R, A rows unless a compute
    // device writes the image. Sets the bound texture's swizzle to match.
    void ChooseStoreOrder(const TextureFormatGL& gl);
    void SetRedBlueSwizzle(bool swapped);
    // After the image is registered with a compute device, which writes its storage itself.
    void ShareImage();
    // The transfer format that stores a GL transfer format's components in the order the swizzle
    // reads them.
    std::uint32_t TransferFormat(std::uint32_t format) const;

    bool mipmapsBuilt = false;
    std::string name;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    hostmediatypes::PixelFormat pixelFormat = hostmediatypes::kPixelFormat_Any;
    std::uint32_t texture = 0;
    // The share group the names and the fence belong to (GLReleaseQueue).
    std::uint32_t group = 0;
    TextureFilter filter = kFilterNearest;
    std::uint32_t pixelBuffer = 0;
    std::uint32_t pixelBufferGLFormat = 0;
    std::uint32_t pixelBufferGLType = 0;
    std::uint32_t pixelBufferRowBytes = 0;
    hostmediatypes::PixelFormat pixelBufferFormat = hostmediatypes::kPixelFormat_Any;
    std::uint32_t target;
    void* cudaResource = nullptr;  // CUgraphicsResource
    void* clMemory = nullptr;      // cl_mem
    bool needsIntermediateFrame = false;
    bool redBlueSwizzled = false;
    // The image itself (not the unpack buffer) is registered with a compute device.
    bool imageShared = false;
    // The GLsync of the last use, set on one context and waited for on another, and the
    // native context it was set on.
    std::mutex fenceMutex;
    void* useFence = nullptr;
    const void* fenceContext = nullptr;
};

}  // namespace STN
