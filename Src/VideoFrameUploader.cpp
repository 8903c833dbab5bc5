#include <GL/glew.h>

#include "VideoFrameUploader.h"

#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>
#include <CL/cl_gl.h>

#include <cstddef>
#include <cstdint>

#include "FrameChecks.h"
#include "GB/CudaDriver.h"
#include "GB/Device.h"
#include "GB/PixelConversion.h"
#include "HostStagingBuffer.h"
#include "IGraphicsContext.h"
#include "ITexture.h"
#include "MF/VideoFrame.h"
#include "ScopedContextLock.h"
#include "UploadSynchronizer.h"
#include "UsageMetrics.h"
#include "VF/VideoFrame.h"
#include "hostcore/utility.h"
#include "hostmediatypes/PixelAspectRatio.h"

namespace STN {

namespace {

using hostcore::classref::InterfaceRef;
using hostmediatypes::PixelFormat;

const hostcore::utility::ImmutableString kGLEventExtension("cl_khr_gl_event");

// The frame's interface T, or a null reference when the frame does not have it. A null frame
// throws, as any use of a missing interface does.
template <class T>
InterfaceRef<T> QueryFrame(const VideoFrameRef& frame) {
    void* raw = nullptr;
    if (frame->QueryFrameInterface(T::kInterfaceID, &raw) < 0) {
        raw = nullptr;
    }
    return InterfaceRef<T>::Adopt(static_cast<T*>(raw));
}

// Exclusive use of the device for the length of a scope, however the scope is left; none when
// `take` is false.
class ScopedExclusiveAccess {
public:
    explicit ScopedExclusiveAccess(const boost::shared_ptr<GB::Device>& device, bool take = true)
        : device(take ? device : boost::shared_ptr<GB::Device>()) {
        if (this->device) {
            this->device->AcquireExclusiveAccess();
        }
    }
    ~ScopedExclusiveAccess() {
        if (device) {
            device->ReleaseExclusiveAccess();
        }
    }
    ScopedExclusiveAccess(const ScopedExclusiveAccess&) = delete;
    ScopedExclusiveAccess& operator=(const ScopedExclusiveAccess&) = delete;

private:
    boost::shared_ptr<GB::Device> device;
};

}  // namespace

VideoFrameUploader::VideoFrameUploader(const boost::shared_ptr<IGraphicsContext>& uploadContext,
                                       const boost::shared_ptr<GB::Device>& device,
                                       UploadSynchronizer& synchronizer,
                                       VideoFrameRef& intermediateFrame, std::int32_t& filterMode,
                                       bool useVideoTexMipmap)
    : uploadContext(uploadContext),
      device(device),
      synchronizer(synchronizer),
      intermediateFrame(intermediateFrame),
      filterMode(filterMode),
      useVideoTexMipmap(useVideoTexMipmap) {}

bool VideoFrameUploader::UploadCpuFrame(const VideoFrameRef& frame, bool& verticalFlip,
                                        bool& redBlueSwap) {
    ++UsageMetrics::Get().CPUFramesPlayed;
    verticalFlip = false;
    redBlueSwap = false;
    const MF::Rect bounds = frame->GetBounds();
    const PixelFormat format = frame->GetPixelFormat();
    const CpuFrameRoad road = ChooseCpuFrameRoad(bounds.width, bounds.height, format);
    if (road == CpuFrameRoad::kRefused || !device) {
        return false;
    }
    const std::uint32_t width = static_cast<std::uint32_t>(bounds.width);
    const std::uint32_t height = static_cast<std::uint32_t>(bounds.height);

    if (road == CpuFrameRoad::kHostMemory) {
        const InterfaceRef<VF::IVideoFrameMemoryAccess> memory =
            QueryFrame<VF::IVideoFrameMemoryAccess>(frame);
        const InterfaceRef<VF::IVideoFrame2DPixelMemoryAccess> rows =
            QueryFrame<VF::IVideoFrame2DPixelMemoryAccess>(frame);
        const HostFrameRows readable =
            ReadableHostFrameRows(bounds.width, bounds.height, format, rows->GetRowBytes(),
                                  memory->GetPixels(), memory->GetSizeInBytes());
        if (readable.lowest == nullptr) {
            return false;
        }
        verticalFlip = readable.bottomUp;
        return UploadBufferToTexture(readable.lowest, width, height, format, readable.rowBytes);
    }

    // A GPU frame on a device that cannot share with OpenGL: read it back through host memory.
    const InterfaceRef<VF::IGPUVideoFrameMemoryAccess> gpuMemory =
        QueryFrame<VF::IGPUVideoFrameMemoryAccess>(frame);
    const InterfaceRef<VF::IVideoFrame2DPixelMemoryAccess> rows =
        QueryFrame<VF::IVideoFrame2DPixelMemoryAccess>(frame);
    const std::int32_t rowBytes = rows->GetRowBytes();
    void* deviceBuffer = gpuMemory->GetDeviceBuffer();
    const boost::shared_ptr<GB::ComputeContext>& compute = device->GetComputeContext();
    const std::size_t bytes =
        ReadBackBytes(bounds.width, bounds.height, format, rowBytes, deviceBuffer);
    if (bytes == 0 || !compute) {
        return false;
    }
    HostStagingBuffer staging(device, bytes);
    if (!staging.HasMemory()) {
        return false;
    }
    if (compute->CopyBufferToHost(deviceBuffer, staging.GetAllocation(), bytes, GB::kCopy_Async) <
        0) {
        return false;
    }
    void* address = staging.Map();
    const boost::shared_ptr<GB::CompletionEvent> copied = compute->CreateCompletionEvent();
    if (copied && !copied->Wait()) {
        return false;
    }
    if (address == nullptr) {
        return false;
    }
    const bool uploaded =
        UploadBufferToTexture(address, width, height, format, static_cast<std::uint32_t>(rowBytes));
    staging.Unmap();
    verticalFlip = true;
    return uploaded;
}

bool VideoFrameUploader::UploadBufferToTexture(const void* data, std::uint32_t width,
                                               std::uint32_t height, PixelFormat format,
                                               std::uint32_t rowBytes) {
    if (!uploadContext) {
        return false;
    }
    ScopedContextLock scope(uploadContext);
    const boost::shared_ptr<ITexture>& texture = synchronizer.videoTextures[synchronizer.backIndex];
    if (!texture) {
        return false;
    }
    if (texture->GetWidth() != width || texture->GetHeight() != height) {
        // New storage undoes a registration with CUDA, which needs the device's context current.
        ScopedExclusiveAccess access(device, texture->GetComputeHandle() != nullptr);
        texture->Create(device, width, height);
        if (texture->GetWidth() != width) {
            return false;  // larger than GL takes
        }
        texture->SetFilter(static_cast<TextureFilter>(filterMode));
    }
    texture->Upload(data, format, rowBytes);
    // The render thread waits for this before it draws the frame.
    texture->FenceUse();
    uploadContext->Flush();
    uploadContext->CheckErrors();
    return true;
}

bool VideoFrameUploader::UploadGpuFrame(const VideoFrameRef& frame, bool& verticalFlip,
                                        bool& redBlueSwap,
                                        boost::shared_ptr<GB::CompletionEvent>& completion) {
    // Held so that the frame's pixels stay valid while the device copies them.
    const InterfaceRef<VF::ICompletionEventVideoFrame> frameCompletion =
        QueryFrame<VF::ICompletionEventVideoFrame>(frame);
    const MF::Rect bounds = frame->GetBounds();
    const PixelFormat format = frame->GetPixelFormat();
    ++UsageMetrics::Get().GPUFramesPlayed;
    if (bounds.width <= 0 || bounds.height <= 0 || !device || !uploadContext) {
        return false;
    }
    if (!DeviceFrameRowsUsable(
            bounds.width, format,
            QueryFrame<VF::IVideoFrame2DPixelMemoryAccess>(frame)->GetRowBytes())) {
        return false;
    }
    const std::uint32_t width = static_cast<std::uint32_t>(bounds.width);
    const std::uint32_t height = static_cast<std::uint32_t>(bounds.height);

    ScopedContextLock scope(uploadContext);
    bool copied = false;
    {
        ScopedExclusiveAccess access(device);
        const boost::shared_ptr<ITexture> texture =
            synchronizer.videoTextures[synchronizer.backIndex];
        if (!texture) {
            return false;
        }
        const bool staged = texture->NeedsIntermediateFrame();
        if (texture->GetWidth() != width || texture->GetHeight() != height ||
            (texture->GetPixelFormat() != format && !staged)) {
            texture->Create(device, width, height, format);
            if (texture->GetWidth() != width) {
                return false;  // larger than GL takes
            }
            if (!staged) {
                texture->SetWrap(kWrapRepeatS);
            }
            filterMode = useVideoTexMipmap ? kFilterTrilinear : kFilterLinear;
            texture->SetFilter(static_cast<TextureFilter>(filterMode));
        }
        // A registration the driver refused (the texture on another GPU, a format it will not
        // take) is tried again with each frame; until it holds there is nothing to copy into,
        // and the picture on show stays.
        texture->RegisterForCompute(device);
        if ((device->DeviceKind == GB::kDeviceKind_CUDA ||
             device->DeviceKind == GB::kDeviceKind_OpenCL) &&
            texture->GetComputeHandle() == nullptr) {
            return false;
        }

        if (staged) {
            MF::Rect intermediateBounds;
            if (intermediateFrame) {
                intermediateBounds = intermediateFrame->GetBounds();
            }
            if (!intermediateFrame || intermediateBounds.width != bounds.width ||
                intermediateBounds.height != bounds.height) {
                intermediateFrame = nullptr;
                VF::CreateGPUVideoFrame(
                    intermediateFrame, device, GB::kPixelFormat_BGRA_4444_8u, bounds.width,
                    bounds.height, hostmediatypes::kPixelAspectRatio_Square,
                    MF::kFieldType_Progressive, MF::Point(), frame->GetColorSpace(), 0, 0,
                    boost::shared_ptr<GB::CompletionEvent>(), boost::function<void()>());
            }
        }

        copied = CopyGpuFrameToTexture(device, frame, texture, intermediateFrame, verticalFlip,
                                       redBlueSwap, completion);
        if (copied && useVideoTexMipmap) {
            texture->GenerateMipmaps();
        }
        if (copied) {
            // The render thread waits for this before it draws the frame.
            texture->FenceUse();
        }
    }
    uploadContext->Flush();
    uploadContext->CheckErrors();
    return copied;
}

bool VideoFrameUploader::CopyGpuFrameToTexture(const boost::shared_ptr<GB::Device>& frameDevice,
                                               const VideoFrameRef& frame,
                                               const boost::shared_ptr<ITexture>& texture,
                                               const VideoFrameRef& intermediate,
                                               bool& verticalFlip, bool& redBlueSwap,
                                               boost::shared_ptr<GB::CompletionEvent>& completion) {
    verticalFlip = false;
    redBlueSwap = false;
    const boost::shared_ptr<GB::ComputeContext>& compute = frameDevice->GetComputeContext();
    if (!compute) {
        return true;
    }
    switch (frameDevice->DeviceKind) {
        case GB::kDeviceKind_CUDA:
            if (!CopyCudaFrame(*compute, frame, *texture, redBlueSwap)) {
                return false;
            }
            break;
        case GB::kDeviceKind_OpenCL:
            CopySharedOpenCLFrame(frameDevice, frame, *texture, intermediate, verticalFlip,
                                  redBlueSwap);
            break;
        case GB::kDeviceKind_OpenCLNoSharing:
            CopyUnsharedOpenCLFrame(frameDevice, frame, *texture, intermediate);
            break;
        default:
            break;
    }
    completion = compute->CreateCompletionEvent();
    return true;
}

bool VideoFrameUploader::CopyCudaFrame(GB::ComputeContext& compute, const VideoFrameRef& frame,
                                       ITexture& texture, bool& redBlueSwap) {
    // Queried before mapping so that a missing interface leaves nothing mapped.
    const InterfaceRef<VF::IGPUVideoFrameMemoryAccess> gpuMemory =
        QueryFrame<VF::IGPUVideoFrameMemoryAccess>(frame);
    const InterfaceRef<VF::IVideoFrame2DPixelMemoryAccess> rows =
        QueryFrame<VF::IVideoFrame2DPixelMemoryAccess>(frame);
    const MF::Rect bounds = frame->GetBounds();
    const std::int32_t rowBytes = rows->GetRowBytes();
    const GB::cuda::CUdeviceptr buffer = static_cast<GB::cuda::CUdeviceptr>(
        reinterpret_cast<std::uintptr_t>(gpuMemory->GetDeviceBuffer()));
    const GB::cuda::Driver* driver = GB::cuda::GetCudaDriver();
    GB::cuda::CUgraphicsResource resource =
        static_cast<GB::cuda::CUgraphicsResource>(texture.GetComputeHandle());
    GB::cuda::CUstream stream = static_cast<GB::cuda::CUstream>(compute.GetQueue());
    // `resource` is there: UploadGpuFrame refuses frames for a texture that is not registered.
    if (driver == nullptr) {
        return false;
    }
    // A failed step leaves the texture's content undefined, so the frame is refused.
    if (driver->cuGraphicsMapResources(1, &resource, stream) != GB::cuda::CUDA_SUCCESS) {
        return false;
    }
    // Starting at the last row with a negative pitch turns the picture over on the way, so the
    // shader need not.
    GB::cuda::CUDA_MEMCPY2D copy = {};
    copy.srcMemoryType = GB::cuda::CU_MEMORYTYPE_DEVICE;
    copy.srcDevice = buffer + static_cast<GB::cuda::CUdeviceptr>(bounds.height - 1) *
                                  static_cast<GB::cuda::CUdeviceptr>(rowBytes);
    copy.srcPitch = static_cast<std::size_t>(-static_cast<std::int64_t>(rowBytes));
    GB::cuda::CUarray array = nullptr;
    GB::cuda::CUresult result = driver->cuGraphicsSubResourceGetMappedArray(&array, resource, 0, 0);
    copy.dstMemoryType = GB::cuda::CU_MEMORYTYPE_ARRAY;
    copy.dstArray = array;
    // The picture's bytes of a row: the array is no wider, whatever padding rows have.
    copy.WidthInBytes = static_cast<std::size_t>(bounds.width) *
                        hostmediatypes::pixelformat::BytesPerPixel(frame->GetPixelFormat());
    copy.Height = static_cast<std::size_t>(bounds.height);
    if (result == GB::cuda::CUDA_SUCCESS) {
        result = driver->cuMemcpy2DAsync(&copy, stream);
    }
    driver->cuGraphicsUnmapResources(1, &resource, stream);
    if (result != GB::cuda::CUDA_SUCCESS) {
        return false;
    }
    redBlueSwap = true;
    return true;
}

void VideoFrameUploader::CopySharedOpenCLFrame(const boost::shared_ptr<GB::Device>& frameDevice,
                                               const VideoFrameRef& frame, ITexture& texture,
                                               const VideoFrameRef& intermediate,
                                               bool& verticalFlip, bool& redBlueSwap) {
    cl_mem image = static_cast<cl_mem>(texture.GetComputeHandle());
    const InterfaceRef<VF::IGPUVideoFrameMemoryAccess> gpuMemory =
        QueryFrame<VF::IGPUVideoFrameMemoryAccess>(frame);
    const InterfaceRef<VF::IVideoFrame2DPixelMemoryAccess> rows =
        QueryFrame<VF::IVideoFrame2DPixelMemoryAccess>(frame);
    const MF::Rect bounds = frame->GetBounds();
    const PixelFormat format = frame->GetPixelFormat();
    texture.Bind();
    const bool glEvents = frameDevice->HasExtension(kGLEventExtension);
    cl_command_queue queue =
        static_cast<cl_command_queue>(frameDevice->GetComputeContext()->GetQueue());
    // `image` is there: UploadGpuFrame refuses frames for a texture that is not registered.
    if (texture.NeedsIntermediateFrame()) {
        const InterfaceRef<VF::IGPUVideoFrameMemoryAccess> stagingMemory =
            QueryFrame<VF::IGPUVideoFrameMemoryAccess>(intermediate);
        const InterfaceRef<VF::IVideoFrame2DPixelMemoryAccess> stagingRows =
            QueryFrame<VF::IVideoFrame2DPixelMemoryAccess>(intermediate);
        GB::PixelFormatConvert(frameDevice, gpuMemory->GetDeviceBuffer(), rows->GetRowBytes(),
                               format, stagingMemory->GetDeviceBuffer(), stagingRows->GetRowBytes(),
                               GB::kPixelFormat_BGRA_4444_8u, bounds.width, bounds.height, 2, true,
                               boost::shared_ptr<GB::RecycledMemory>(),
                               boost::shared_ptr<GB::ColorConversionParameters>(), nullptr);
        GB::CopyBufferToImage(frameDevice, stagingMemory->GetDeviceBuffer(), 0,
                              stagingRows->GetRowBytes(), GB::kPixelFormat_BGRA_4444_8u, image,
                              bounds.width, bounds.height, true, true);
        redBlueSwap = true;
    } else {
        // Without GL events OpenCL cannot order itself after GL's work on the texture.
        if (!glEvents) {
            glFinish();
        }
        clEnqueueAcquireGLObjects(queue, 1, &image, 0, nullptr, nullptr);
        GB::CopyBufferToImage(frameDevice, gpuMemory->GetDeviceBuffer(), 0, rows->GetRowBytes(),
                              format, image, bounds.width, bounds.height, true, true);
        verticalFlip = true;
        // The release is asked for no event, so there is never one to wait on: finish the
        // queue before GL draws from the texture.
        clEnqueueReleaseGLObjects(queue, 1, &image, 0, nullptr, nullptr);
        clFinish(queue);
    }
    texture.Unbind();
}

void VideoFrameUploader::CopyUnsharedOpenCLFrame(const boost::shared_ptr<GB::Device>& frameDevice,
                                                 const VideoFrameRef& frame, ITexture& texture,
                                                 const VideoFrameRef& intermediate) {
    const InterfaceRef<VF::IGPUVideoFrameMemoryAccess> gpuMemory =
        QueryFrame<VF::IGPUVideoFrameMemoryAccess>(frame);
    const InterfaceRef<VF::IVideoFrame2DPixelMemoryAccess> rows =
        QueryFrame<VF::IVideoFrame2DPixelMemoryAccess>(frame);
    // The staging frame is made only for textures that need one, so this route ends here with
    // the missing-interface exception.
    const InterfaceRef<VF::IGPUVideoFrameMemoryAccess> stagingMemory =
        QueryFrame<VF::IGPUVideoFrameMemoryAccess>(intermediate);
    const MF::Rect bounds = frame->GetBounds();
    const std::int32_t textureRowBytes = static_cast<std::int32_t>(texture.GetRowBytes());
    GB::PixelFormatConvert(frameDevice, gpuMemory->GetDeviceBuffer(), rows->GetRowBytes(),
                           frame->GetPixelFormat(), stagingMemory->GetDeviceBuffer(),
                           textureRowBytes, texture.GetPixelFormat(), bounds.width, bounds.height,
                           2, true, boost::shared_ptr<GB::RecycledMemory>(),
                           boost::shared_ptr<GB::ColorConversionParameters>(), nullptr);
    frameDevice->GetComputeContext()->CopyBufferToInteropImage(
        stagingMemory->GetDeviceBuffer(), textureRowBytes, texture.GetPixelFormat(),
        texture.GetComputeHandle(), bounds.width, bounds.height);
}

}  // namespace STN
