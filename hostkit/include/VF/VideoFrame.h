#pragma once

// Interfaces a video frame may answer, and the frames this host makes.

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

#include "GB/Device.h"
#include "MF/VideoFrame.h"
#include "hostcore/classref.h"

namespace VF {

using hostcore::classref::InterfaceID;

// Pixels in host memory.
class IVideoFrameMemoryAccess : public hostcore::classref::IInterface {
public:
    static constexpr InterfaceID kInterfaceID =
        InterfaceID::FromString("58d1d4d6-e9fb-4fe0-a8bc-3a3c7634eb3b");
    virtual void* GetPixels() const = 0;
    virtual std::size_t GetSizeInBytes() const = 0;
};

// Rows of a two-dimensional picture, wherever the pixels are.
class IVideoFrame2DPixelMemoryAccess : public hostcore::classref::IInterface {
public:
    static constexpr InterfaceID kInterfaceID =
        InterfaceID::FromString("282d21cf-d8da-4e4f-82be-6e9c176ca796");
    virtual std::int32_t GetRowBytes() const = 0;
};

// Pixels in a device buffer (a cl_mem or a CUdeviceptr).
class IGPUVideoFrameMemoryAccess : public hostcore::classref::IInterface {
public:
    static constexpr InterfaceID kInterfaceID =
        InterfaceID::FromString("689ac22c-6831-4c8d-b1fd-0d654dc965bb");
    virtual void* GetDeviceBuffer() const = 0;
};

// A frame whose pixels may still be being written by the device.
class ICompletionEventVideoFrame : public hostcore::classref::IInterface {
public:
    static constexpr InterfaceID kInterfaceID =
        InterfaceID::FromString("cf026861-a969-4b32-9a5a-349196dba591");
    // The event that completes when the pixels are written; empty when they already are.
    virtual boost::shared_ptr<GB::CompletionEvent> GetCompletionEvent() const = 0;
};

// The device a GPU frame lives on.
class IGPUDeviceVideoFrame : public hostcore::classref::IInterface {
public:
    static constexpr InterfaceID kInterfaceID =
        InterfaceID::FromString("13e1ff4a-84ba-4b45-9cb7-4f658044ed8a");
    virtual boost::shared_ptr<GB::Device> GetDevice() const = 0;
};

// Results of the frame factories.
constexpr std::int32_t kCreateResult_OK = 0;
constexpr std::int32_t kCreateResult_InvalidArgument = -1;
constexpr std::int32_t kCreateResult_OutOfMemory = -2;

// Row bytes of a frame when none are given: bytes per pixel times width, rounded up to 16.
std::int32_t DefaultRowBytes(hostmediatypes::PixelFormat format, std::int32_t width);

// A frame in host memory, zero-filled. `rowBytes` 0 takes DefaultRowBytes; a smaller row than
// the pixels need is refused. The format must describe its layout (see PixelFormat.h).
std::int32_t CreateHostVideoFrame(
    hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame, hostmediatypes::PixelFormat format,
    std::int32_t width, std::int32_t height, std::int32_t rowBytes = 0,
    hostmediatypes::PixelAspectRatio aspect = hostmediatypes::kPixelAspectRatio_Square,
    MF::FieldType fieldType = MF::kFieldType_Progressive,
    const hostmediatypes::color::ColorSpace& colorSpace = hostmediatypes::color::ColorSpace());

// Flags of CreateGPUVideoFrame.
constexpr std::int32_t kGPUFrameFlag_Clear = 1;  // fill the new buffer with zeros

// A frame in a new device buffer of `device`, its content undefined until written unless
// kGPUFrameFlag_Clear is given. The origin is the frame's position in its picture (the left and
// top of GetBounds). `rowBytes` 0 takes DefaultRowBytes. `pendingWrite`, when set, completes
// once the pixels are written and is what ICompletionEventVideoFrame reports. `onRelease`, when
// set, runs when the last reference to the frame goes, after its buffer is freed.
std::int32_t CreateGPUVideoFrame(hostcore::classref::InterfaceRef<MF::IVideoFrame>& frame,
                                 const boost::shared_ptr<GB::Device>& device,
                                 hostmediatypes::PixelFormat format, std::int32_t width,
                                 std::int32_t height, hostmediatypes::PixelAspectRatio aspect,
                                 MF::FieldType fieldType, MF::Point origin,
                                 const hostmediatypes::color::ColorSpace& colorSpace,
                                 std::int32_t rowBytes, std::int32_t flags,
                                 const boost::shared_ptr<GB::CompletionEvent>& pendingWrite,
                                 const boost::function<void()>& onRelease);

}  // namespace VF
