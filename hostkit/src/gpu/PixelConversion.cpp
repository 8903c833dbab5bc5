#include "GB/PixelConversion.h"

#include "PixelLayout.h"

namespace GB {

bool IsConvertiblePixelFormat(hostmediatypes::PixelFormat format) {
    return detail::PixelLayoutCode(format) != 0;
}

int PixelFormatConvert(const boost::shared_ptr<Device>& device, const void* source,
                       std::int32_t sourceRowBytes, hostmediatypes::PixelFormat sourceFormat,
                       void* target, std::int32_t targetRowBytes,
                       hostmediatypes::PixelFormat targetFormat, std::int32_t width,
                       std::int32_t height, int /*quality*/, bool async,
                       const boost::shared_ptr<RecycledMemory>& /*recycledMemory*/,
                       const boost::shared_ptr<ColorConversionParameters>& colorParameters,
                       const hostcore::classref::InterfaceID* /*requestor*/) {
    if (!device || source == nullptr || target == nullptr) {
        return kResult_InvalidArgument;
    }
    const bool clampFloat = colorParameters && colorParameters->clampFloatToUnit;
    return device->GetComputeContext()->ConvertPixels(source, sourceRowBytes, sourceFormat, target,
                                                      targetRowBytes, targetFormat, width, height,
                                                      async, clampFloat);
}

int CopyBufferToImage(const boost::shared_ptr<Device>& device, const void* buffer,
                      std::size_t offset, std::int32_t rowBytes, hostmediatypes::PixelFormat format,
                      void* image, std::int32_t width, std::int32_t height, bool clipToImage,
                      bool async) {
    if (!device || buffer == nullptr || image == nullptr) {
        return kResult_InvalidArgument;
    }
    return device->GetComputeContext()->CopyPixelsToImage(buffer, offset, rowBytes, format, image,
                                                          width, height, clipToImage, async);
}

}  // namespace GB
