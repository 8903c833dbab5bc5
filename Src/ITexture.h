#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

#include "hostmediatypes/PixelFormat.h"

namespace GB {
class Device;
}
namespace vr {
struct RenderModel_TextureMap_t;
}

namespace STN {

enum TextureFilter : std::int32_t {
    kFilterNearest = 0,
    kFilterLinear = 1,
    kFilterTrilinear = 2,
    kFilterAnisotropic = 3,
};

// Only the S axis ever repeats.
enum TextureWrap : std::int32_t {
    kWrapClamp = 0,
    kWrapRepeatS = 1,
};

// A sampled image: video frames (host memory, an unpack buffer or a compute-shared image),
// panel images and render-model textures.
class ITexture {
public:
    virtual const std::string& GetName() = 0;
    virtual unsigned GetWidth() = 0;
    virtual unsigned GetHeight() = 0;
    virtual hostmediatypes::PixelFormat GetPixelFormat() = 0;
    // Rows padded to 64 bytes; 0 for an empty texture.
    virtual unsigned GetRowBytes() = 0;
    virtual bool IsRectangle() = 0;
    virtual void CreateFromRenderModel(const vr::RenderModel_TextureMap_t& map) = 0;
    // An empty texture (size 0 by 0) when GL cannot hold one of this size.
    virtual void Create(const boost::shared_ptr<GB::Device>& device, unsigned width,
                        unsigned height, hostmediatypes::PixelFormat format) = 0;
    virtual void Create(const boost::shared_ptr<GB::Device>& device, unsigned width,
                        unsigned height) = 0;
    virtual void Release() = 0;
    virtual void SetFilter(TextureFilter filter) = 0;
    virtual void SetWrap(TextureWrap wrap) = 0;
    virtual void Upload(const void* data, hostmediatypes::PixelFormat format,
                        unsigned rowBytes) = 0;
    virtual void GenerateMipmaps() = 0;
    virtual void CreatePixelBuffer(hostmediatypes::PixelFormat format) = 0;
    virtual unsigned GetPixelBuffer() = 0;
    virtual hostmediatypes::PixelFormat GetPixelBufferFormat() = 0;
    virtual unsigned GetPixelBufferRowBytes() = 0;
    virtual void UpdateFromPixelBuffer() = 0;
    // Shares the pixel buffer, or the image when there is none, with the device's compute API.
    virtual void RegisterForCompute(const boost::shared_ptr<GB::Device>& device) = 0;
    // The CUgraphicsResource or the cl_mem; null when not registered.
    virtual void* GetComputeHandle() = 0;
    // Always texture unit 0.
    virtual void Bind() = 0;
    virtual void Unbind() = 0;
    virtual bool NeedsIntermediateFrame() = 0;
    // For an image written on one thread's context and read on another's (both ways): marks the
    // commands issued so far on the current context as the last to use it.
    virtual void FenceUse() = 0;
    // Before using the image on another thread: waits until the commands marked there by
    // FenceUse have run (at most a second, a bound for a context that stopped flushing).
    virtual void WaitForUse() = 0;
    virtual ~ITexture() = default;
};

}  // namespace STN
