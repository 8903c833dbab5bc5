// The two roads of a host video frame into the back video texture, on the upload context: from
// host memory (reading a GPU frame back first when the device cannot share with OpenGL), or
// on the GPU through CUDA or OpenCL interop. Made for one frame on the host's frame thread; it
// works on the render thread's state through the references it is given.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>

#include "FrameChecks.h"
#include "hostcore/classref.h"
#include "hostmediatypes/PixelFormat.h"

namespace GB {
class Device;
class CompletionEvent;
class ComputeContext;
}  // namespace GB
namespace MF {
class IVideoFrame;
}

namespace STN {

class IGraphicsContext;
class ITexture;
class UploadSynchronizer;

typedef hostcore::classref::InterfaceRef<MF::IVideoFrame> VideoFrameRef;

class VideoFrameUploader {
public:
    VideoFrameUploader(const boost::shared_ptr<IGraphicsContext>& uploadContext,
                       const boost::shared_ptr<GB::Device>& device,
                       UploadSynchronizer& synchronizer, VideoFrameRef& intermediateFrame,
                       std::int32_t& filterMode, bool useVideoTexMipmap);
    VideoFrameUploader(const VideoFrameUploader&) = delete;
    VideoFrameUploader& operator=(const VideoFrameUploader&) = delete;

    // Host-memory 'argb' frames, and GPU frames read back through host memory. False when the
    // format is not taken or the read-back fails. A missing frame interface throws
    // NullInterfaceException.
    bool UploadCpuFrame(const VideoFrameRef& frame, bool& verticalFlip, bool& redBlueSwap);
    // GPU frames on a device that shares with OpenGL; `completion` tells when the copy is done.
    bool UploadGpuFrame(const VideoFrameRef& frame, bool& verticalFlip, bool& redBlueSwap,
                        boost::shared_ptr<GB::CompletionEvent>& completion);
    // Host pixels into the back texture, resized to the frame first when needed.
    bool UploadBufferToTexture(const void* data, std::uint32_t width, std::uint32_t height,
                               hostmediatypes::PixelFormat format, std::uint32_t rowBytes);
    // The device-kind specific copy of a GPU frame into the texture's compute-shared image.
    // False when the device failed the copy and the texture's content is undefined.
    bool CopyGpuFrameToTexture(const boost::shared_ptr<GB::Device>& frameDevice,
                               const VideoFrameRef& frame,
                               const boost::shared_ptr<ITexture>& texture,
                               const VideoFrameRef& intermediate, bool& verticalFlip,
                               bool& redBlueSwap,
                               boost::shared_ptr<GB::CompletionEvent>& completion);

private:
    // One copy a device kind, each as CopyGpuFrameToTexture describes.
    static bool CopyCudaFrame(GB::ComputeContext& compute, const VideoFrameRef& frame,
                              ITexture& texture, bool& redBlueSwap);
    static void CopySharedOpenCLFrame(const boost::shared_ptr<GB::Device>& frameDevice,
                                      const VideoFrameRef& frame, ITexture& texture,
                                      const VideoFrameRef& intermediate, bool& verticalFlip,
                                      bool& redBlueSwap);
    static void CopyUnsharedOpenCLFrame(const boost::shared_ptr<GB::Device>& frameDevice,
                                        const VideoFrameRef& frame, ITexture& texture,
                                        const VideoFrameRef& intermediate);

    boost::shared_ptr<IGraphicsContext> uploadContext;
    boost::shared_ptr<GB::Device> device;
    UploadSynchronizer& synchronizer;
    VideoFrameRef& intermediateFrame;
    std::int32_t& filterMode;
    bool useVideoTexMipmap;
};

}  // namespace STN
