#include "UploadSynchronizer.h"

#include <utility>

#include "GB/Device.h"
#include "ITexture.h"

namespace STN {

void UploadSynchronizer::Reset(const boost::shared_ptr<ITexture>& first,
                               const boost::shared_ptr<ITexture>& second) {
    videoTextures[0] = first;
    videoTextures[1] = second;
    frontIndex = 0;
    backIndex = 1;
    pending = false;
    uploadEvent.reset();
    placeholderRequested = false;
    theaterRequested.reset();
}

void UploadSynchronizer::ReleaseTextures() {
    for (boost::shared_ptr<ITexture>& texture : videoTextures) {
        if (texture) {
            texture->Release();
            texture.reset();
        }
    }
    pending = false;
    uploadEvent.reset();
}

bool UploadSynchronizer::TakeOverFrame() {
    if (!pending) {
        return false;
    }
    // The GPU may still be writing the back texture; try again next pass.
    if (uploadEvent && !uploadEvent->IsComplete()) {
        return false;
    }
    uploadEvent.reset();
    std::swap(frontIndex, backIndex);
    pending = false;
    return true;
}

}  // namespace STN
