#include <GL/glew.h>

#include "OpenGL/TextureOGL.h"

#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>
#include <CL/cl_gl.h>

#include <cstdio>
#include <cstdlib>

#include "GB/CudaDriver.h"
#include "GB/Device.h"
#include "OpenGL/GLHooks.h"
#include "OpenGL/GLObjects.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "hostcore/debug.h"
#include "stnvr/vr_types.h"

namespace STN {

namespace {

// The level-of-detail bias of trilinear textures, read on every call so it can be changed live.
float ReadLodBias() {
    char defaultText[64];
    std::snprintf(defaultText, sizeof(defaultText), "%1.*lg", 12, 0.0);
    const std::string text =
        hostcore::debug::DebugDatabase::Instance().GetEntry("Stereon.MipmapLODBias", defaultText);
    return static_cast<float>(std::strtod(text.c_str(), nullptr));
}

}  // namespace

TextureOGL::TextureOGL(const std::string& name) : name(name), target(GL_TEXTURE_2D) {}

TextureOGL::~TextureOGL() {
    Release();
}

unsigned TextureOGL::GetRowBytes() {
    return texture == 0 ? 0 : RowBytesFor(pixelFormat, width);
}

bool TextureOGL::IsRectangle() {
    return target == GL_TEXTURE_RECTANGLE;
}

bool TextureOGL::IsMipmapped() const {
    return target == GL_TEXTURE_2D && (filter == kFilterTrilinear || filter == kFilterAnisotropic);
}

void TextureOGL::Create(const boost::shared_ptr<GB::Device>& device, unsigned width,
                        unsigned height) {
    Create(device, width, height, hostmediatypes::kPixelFormat_ARGB_4444_8u);
}

void TextureOGL::Create(const boost::shared_ptr<GB::Device>& device, unsigned width,
                        unsigned height, hostmediatypes::PixelFormat format) {
    Release();
    // Past the driver's limit GL would make nothing and raise an error; the texture stays empty
    // instead, which its owner sees in its size.
    GLint maxSize = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    if (width == 0 || height == 0 || width > static_cast<unsigned>(maxSize) ||
        height > static_cast<unsigned>(maxSize)) {
        return;
    }
    const TextureFormatGL gl = MapFormat(format);
    pixelFormat = format;
    this->width = width;
    this->height = height;
    texture = globjects::NewName(glGenTextures, group);
    target = GL_TEXTURE_2D;
    globjects::BindOnUnitZero(target, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(gl.internalFormat),
                 static_cast<GLsizei>(width), static_cast<GLsizei>(height), 0, gl.transferFormat,
                 gl.transferType, nullptr);
    glBindTexture(target, 0);
    CheckGLErrors(false);
    // The owner sets the filter it wants afterwards.
    SetFilter(kFilterNearest);
    SetWrap(kWrapClamp);
}

void TextureOGL::CreateFromRenderModel(const vr::RenderModel_TextureMap_t& map) {
    Release();
    texture = globjects::NewName(glGenTextures, group);
    width = map.unWidth;
    height = map.unHeight;
    target = GL_TEXTURE_2D;
    globjects::BindOnUnitZero(target, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, static_cast<GLsizei>(width),
                 static_cast<GLsizei>(height), 0, GL_RGBA, GL_UNSIGNED_BYTE, map.rubTextureMapData);
    glGenerateMipmap(GL_TEXTURE_2D);
    glBindTexture(target, 0);
    CheckGLErrors(false);
    SetWrap(kWrapClamp);
    SetFilter(kFilterAnisotropic);
}

void TextureOGL::FenceUse() {
    GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    std::lock_guard<std::mutex> lock(fenceMutex);
    if (useFence != nullptr) {
        GLReleaseQueue::Release(GLObjectKind::kSync, reinterpret_cast<std::uintptr_t>(useFence),
                                group);
    }
    useFence = fence;
    fenceContext = GraphicsContextOGL::CurrentNativeContext();
}

void TextureOGL::WaitForUse() {
    GLsync fence = nullptr;
    {
        std::lock_guard<std::mutex> lock(fenceMutex);
        // A context's own commands are in order already; waiting for them would only stall it.
        // Two contexts are not, even on one thread (a quad painted from a callback on the
        // render thread is uploaded on the interface context and drawn on the render context).
        if (useFence == nullptr || fenceContext == GraphicsContextOGL::CurrentNativeContext()) {
            return;
        }
        fence = static_cast<GLsync>(useFence);
        useFence = nullptr;
    }
    // The fence signals once the other context has flushed: the uploading context flushes after
    // each upload, and the render loop at the end of every frame.
    glClientWaitSync(fence, GL_SYNC_FLUSH_COMMANDS_BIT, 1000000000u);
    GLReleaseQueue::Release(GLObjectKind::kSync, reinterpret_cast<std::uintptr_t>(fence), group);
}

void TextureOGL::Release() {
    {
        std::lock_guard<std::mutex> lock(fenceMutex);
        if (useFence != nullptr) {
            GLReleaseQueue::Release(GLObjectKind::kSync, reinterpret_cast<std::uintptr_t>(useFence),
                                    group);
            useFence = nullptr;
        }
    }
    if (texture == 0) {
        return;
    }
    // Compute handles wrap GL objects, so they go first.
    if (cudaResource != nullptr) {
        const GB::cuda::Driver* driver = GB::cuda::GetCudaDriver();
        if (driver != nullptr) {
            driver->cuGraphicsUnregisterResource(
                static_cast<GB::cuda::CUgraphicsResource>(cudaResource));
        }
        cudaResource = nullptr;
    }
    if (clMemory != nullptr) {
        clReleaseMemObject(static_cast<cl_mem>(clMemory));
        clMemory = nullptr;
    }
    if (pixelBuffer != 0) {
        globjects::DeleteName(GLObjectKind::kBuffer, pixelBuffer, group);
        pixelBufferGLFormat = 0;
        pixelBufferGLType = 0;
        pixelBufferRowBytes = 0;
        pixelBufferFormat = hostmediatypes::kPixelFormat_Any;
    }
    globjects::DeleteName(GLObjectKind::kTexture, texture, group);
    width = 0;
    height = 0;
    pixelFormat = hostmediatypes::kPixelFormat_Any;
    mipmapsBuilt = false;
    redBlueSwizzled = false;
    imageShared = false;
    CheckGLErrors(false);
}

void TextureOGL::SetFilter(TextureFilter filter) {
    const float bias = ReadLodBias();
    this->filter = filter;
    glBindTexture(target, texture);
    switch (filter) {
        case kFilterNearest:
            glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
            glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
            break;
        case kFilterLinear:
            glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            break;
        case kFilterTrilinear:
            glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
            glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            glTexParameterf(target, GL_TEXTURE_LOD_BIAS, bias);
            BuildMipmapsOnce();
            break;
        case kFilterAnisotropic: {
            glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
            glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            GLfloat maximum = 1.0f;
            glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &maximum);
            glTexParameterf(target, GL_TEXTURE_MAX_ANISOTROPY_EXT, maximum);
            BuildMipmapsOnce();
            break;
        }
    }
    glBindTexture(target, 0);
    CheckGLErrors(false);
}

void TextureOGL::BuildMipmapsOnce() {
    if (mipmapsBuilt || !IsMipmapped()) {
        return;
    }
    globjects::BindOnUnitZero(target, texture);
    glGenerateMipmap(target);
    glBindTexture(target, 0);
    mipmapsBuilt = true;
}

void TextureOGL::SetWrap(TextureWrap wrap) {
    glBindTexture(target, texture);
    // T always clamps and only S may repeat; a value outside the enum sets nothing.
    if (wrap == kWrapClamp || wrap == kWrapRepeatS) {
        glTexParameteri(target, GL_TEXTURE_WRAP_S,
                        wrap == kWrapRepeatS ? GL_REPEAT : GL_CLAMP_TO_EDGE);
        glTexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    }
    glBindTexture(target, 0);
    CheckGLErrors(false);
}

// B, G, R, A rows go to GL as R, G, B, A, the order in which drivers store an RGBA texture, so
// that the driver copies them as they are: reordering every texel on the host's thread made a
// 3840x1920 frame cost about four times a memcpy of it on Mesa. The swizzle puts red and blue
// back for every sampler (shaders, filters, mipmaps and panels see the picture as before). A
// compute device writes the image's storage itself, in the order the shaders are told of, so an
// image shared with one keeps the plain order.
void TextureOGL::ChooseStoreOrder(const TextureFormatGL& gl) {
    const bool swapped = gl.transferFormat == GL_BGRA && !imageShared;
    if (swapped != redBlueSwizzled) {
        SetRedBlueSwizzle(swapped);
        // Levels built from the other order would read with red and blue swapped.
        mipmapsBuilt = false;
    }
}

void TextureOGL::SetRedBlueSwizzle(bool swapped) {
    const GLint order[4] = {swapped ? GL_BLUE : GL_RED, GL_GREEN, swapped ? GL_RED : GL_BLUE,
                            GL_ALPHA};
    glTexParameteriv(target, GL_TEXTURE_SWIZZLE_RGBA, order);
    redBlueSwizzled = swapped;
}

std::uint32_t TextureOGL::TransferFormat(std::uint32_t format) const {
    if (!redBlueSwizzled) {
        return format;
    }
    return format == GL_BGRA ? GL_RGBA : format == GL_RGBA ? GL_BGRA : format;
}

void TextureOGL::ShareImage() {
    imageShared = true;
    if (redBlueSwizzled) {
        globjects::BindOnUnitZero(target, texture);
        SetRedBlueSwizzle(false);
        glBindTexture(target, 0);
    }
}

void TextureOGL::GenerateMipmaps() {
    if (!IsMipmapped()) {
        return;
    }
    globjects::BindOnUnitZero(target, texture);
    glGenerateMipmap(target);
    glBindTexture(target, 0);
    CheckGLErrors(false);
}

void TextureOGL::Upload(const void* data, hostmediatypes::PixelFormat format, unsigned rowBytes) {
    const TextureFormatGL gl = MapFormat(format);
    std::int32_t rowLength = 0;
    if (data == nullptr || texture == 0 || !UnpackRowLength(format, width, rowBytes, rowLength)) {
        return;
    }
    globjects::BindOnUnitZero(target, texture);
    ChooseStoreOrder(gl);
    // Left in force on this context for later transfers.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
    glTexSubImage2D(target, 0, 0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height),
                    TransferFormat(gl.transferFormat), gl.transferType, data);
    if (IsMipmapped()) {
        glGenerateMipmap(target);
    }
    glBindTexture(target, 0);
    CheckGLErrors(false);
}

void TextureOGL::CreatePixelBuffer(hostmediatypes::PixelFormat format) {
    // The buffer takes its size from the texture, and Release frees it only with the texture.
    if (texture == 0) {
        return;
    }
    if (pixelBuffer != 0) {
        globjects::DeleteName(GLObjectKind::kBuffer, pixelBuffer, group);
        pixelBufferFormat = hostmediatypes::kPixelFormat_Any;
    }
    pixelBufferFormat = format;
    const std::uint32_t rowBytes = RowBytesFor(format, width);
    pixelBuffer = globjects::NewName(glGenBuffers, group);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, pixelBuffer);
    glBufferData(GL_PIXEL_UNPACK_BUFFER,
                 static_cast<GLsizeiptr>(static_cast<std::uint64_t>(rowBytes) * height), nullptr,
                 GL_DYNAMIC_COPY);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    const TextureFormatGL gl = MapFormat(format);
    pixelBufferGLFormat = gl.transferFormat;
    pixelBufferGLType = gl.transferType;
    pixelBufferRowBytes = rowBytes;
    CheckGLErrors(false);
}

void TextureOGL::UpdateFromPixelBuffer() {
    if (pixelBuffer == 0) {
        return;
    }
    glBindTexture(target, texture);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, pixelBuffer);
    // The buffer's rows go in the order the texture's swizzle reads, whatever Upload chose last:
    // levels this does not rebuild keep their order.
    glTexSubImage2D(target, 0, 0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height),
                    TransferFormat(pixelBufferGLFormat), pixelBufferGLType, nullptr);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    glBindTexture(target, 0);
    CheckGLErrors(false);
}

void TextureOGL::RegisterForCompute(const boost::shared_ptr<GB::Device>& device) {
    if (!device || texture == 0) {
        return;
    }
    if (device->DeviceKind == GB::kDeviceKind_CUDA) {
        if (cudaResource != nullptr) {
            return;
        }
        // Loaded by the render thread's start-up; without a driver there is nothing to share.
        const GB::cuda::Driver* driver = GB::cuda::GetCudaDriver();
        if (driver == nullptr) {
            return;
        }
        GB::cuda::CUgraphicsResource resource = nullptr;
        if (pixelBuffer != 0) {
            driver->cuGraphicsGLRegisterBuffer(&resource, pixelBuffer,
                                               GB::cuda::CU_GRAPHICS_REGISTER_FLAGS_WRITE_DISCARD);
        } else {
            driver->cuGraphicsGLRegisterImage(&resource, texture, GL_TEXTURE_2D,
                                              GB::cuda::CU_GRAPHICS_REGISTER_FLAGS_WRITE_DISCARD);
        }
        cudaResource = resource;
    } else if (device->DeviceKind == GB::kDeviceKind_OpenCL) {
        if (clMemory != nullptr) {
            return;
        }
        // A context made without the GL context cannot share, and some ICDs abort the process
        // when asked to; such a device takes the read-back path instead.
        if (!device->CanShareWithOpenGL()) {
            return;
        }
        const boost::shared_ptr<GB::ComputeContext>& compute = device->GetComputeContext();
        cl_context context =
            compute ? static_cast<cl_context>(compute->GetNativeContext()) : nullptr;
        if (context == nullptr) {
            return;
        }
        cl_int error = CL_SUCCESS;
        if (pixelBuffer != 0) {
            clMemory = clCreateFromGLBuffer(context, CL_MEM_WRITE_ONLY, pixelBuffer, &error);
        } else {
            clMemory = clCreateFromGLTexture(context, CL_MEM_WRITE_ONLY, GL_TEXTURE_2D, 0, texture,
                                             &error);
        }
    }
    if (pixelBuffer == 0 && GetComputeHandle() != nullptr) {
        ShareImage();
    }
}

void* TextureOGL::GetComputeHandle() {
    return cudaResource != nullptr ? cudaResource : clMemory;
}

void TextureOGL::Bind() {
    globjects::BindOnUnitZero(target, texture);
}

void TextureOGL::Unbind() {
    globjects::BindOnUnitZero(target, 0);
}

}  // namespace STN
