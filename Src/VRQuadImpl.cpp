#include "VRQuadImpl.h"

#include "IGraphicsContext.h"
#include "ITexture.h"
#include "ScopedContextLock.h"
#include "hostmediatypes/PixelFormat.h"

namespace STN {

VRQuadImpl::VRQuadImpl(const boost::shared_ptr<IGraphicsContext>& context,
                       boost::shared_ptr<ITexture>* frontTexture, bool mipmap,
                       const std::string& name)
    : name(name), context(context), mipmap(mipmap), frontTexture(frontTexture) {
    if (!context) {
        return;
    }
    // Built where the panel is built, with a context of the share group current.
    backTexture = context->CreateTexture(name + "_VRQuadImpl_BackTexture");
    unsigned frontWidth = 1, frontHeight = 1;
    if (frontTexture != nullptr && *frontTexture) {
        frontWidth = (*frontTexture)->GetWidth();
        frontHeight = (*frontTexture)->GetHeight();
    }
    SetUpBackTexture(frontWidth, frontHeight);
}

VRQuadImpl::~VRQuadImpl() {
    backTexture.reset();
}

bool VRQuadImpl::SetUpBackTexture(unsigned textureWidth, unsigned textureHeight) {
    backTexture->Create(boost::shared_ptr<GB::Device>(), textureWidth, textureHeight);
    if (backTexture->GetWidth() != textureWidth) {
        return false;  // larger than GL takes: no storage
    }
    backTexture->SetWrap(kWrapClamp);
    backTexture->SetFilter(mipmap ? kFilterTrilinear : kFilterLinear);
    return true;
}

bool VRQuadImpl::Acceptable(const hostvirtualui::vr::QuadFrame& frame) {
    namespace pf = hostmediatypes::pixelformat;
    const hostmediatypes::PixelFormat format = frame.pixelFormat;
    if (frame.width <= 0 || frame.height <= 0 || frame.pixels == nullptr ||
        pf::IsDeviceFormat(format) || pf::IsFloat(format) || pf::BytesPerPixel(format) != 4) {
        return false;
    }
    // Rows of whole pixels only: the texture cannot unpack any other.
    return frame.rowBytes >= 0 && frame.rowBytes % 4 == 0 &&
           static_cast<std::int64_t>(frame.rowBytes) >= static_cast<std::int64_t>(frame.width) * 4;
}

void VRQuadImpl::Update(std::uint32_t newWidth, std::uint32_t newHeight,
                        const boost::shared_ptr<hostvirtualui::vr::QuadFrame>& frame) {
    // The panel takes this size at its next draw, whatever the image.
    width.store(newWidth, std::memory_order_relaxed);
    height.store(newHeight, std::memory_order_relaxed);
    if (!frame || !Acceptable(*frame)) {
        return;
    }
    hostcore::threads::RecursiveMutex::ScopedLock lock(uploadMutex, "VRQuadImpl::Update");
    if (!backTexture || !context) {
        return;
    }
    {
        // The back image is about to change: nothing may show it until it is whole again.
        hostcore::threads::RecursiveMutex::ScopedLock state(stateMutex, "VRQuadImpl::Update");
        backFresh.store(false, std::memory_order_relaxed);
    }
    {
        // The image last exchanged to the back may still be in a draw that began before.
        std::unique_lock<std::mutex> hold(drawMutex);
        drawEnded.wait(hold, [this] { return drawing != backTexture.get(); });
    }
    {
        // The interface context is shared by every quad and may be wanted by several host
        // threads: it is locked for the upload and not left current on the host's thread.
        ScopedContextLock scope(context);
        backTexture->WaitForUse();
        const unsigned frameWidth = static_cast<unsigned>(frame->width);
        const unsigned frameHeight = static_cast<unsigned>(frame->height);
        if ((frameWidth != backTexture->GetWidth() || frameHeight != backTexture->GetHeight()) &&
            !SetUpBackTexture(frameWidth, frameHeight)) {
            return;  // the image on show stays
        }
        backTexture->Upload(frame->pixels, frame->pixelFormat,
                            static_cast<unsigned>(frame->rowBytes));
        // The render thread waits for this before it draws the image: a flush alone does not
        // finish the upload (a software driver builds the mipmaps later, on its own threads).
        backTexture->FenceUse();
        context->Flush();
    }
    backFresh.store(true, std::memory_order_release);
    SwapTexturesIfVisible();
}

void VRQuadImpl::SwapTexturesIfVisible() {
    if (!visible.load(std::memory_order_acquire) || !backFresh.load(std::memory_order_acquire)) {
        return;
    }
    hostcore::threads::RecursiveMutex::ScopedLock lock(stateMutex,
                                                       "VRQuadImpl::SwapTexturesIfVisible");
    if (frontTexture == nullptr || !backFresh.load(std::memory_order_relaxed)) {
        return;
    }
    backFresh.store(false, std::memory_order_relaxed);
    frontTexture->swap(backTexture);
}

void VRQuadImpl::SetVisible(bool value) {
    hostcore::threads::RecursiveMutex::ScopedLock lock(stateMutex, "VRQuadImpl::SetVisible");
    visible.store(value, std::memory_order_release);
    SwapTexturesIfVisible();
}

void VRQuadImpl::SetOpacity(float value) {
    hostcore::threads::RecursiveMutex::ScopedLock lock(stateMutex, "VRQuadImpl::SetOpacity");
    opacity.store(value, std::memory_order_relaxed);
}

void VRQuadImpl::Closing() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(stateMutex, "VRQuadImpl::Closing");
    closing = true;
}

bool VRQuadImpl::IsClosing() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(stateMutex, "VRQuadImpl::IsClosing");
    return closing;
}

bool VRQuadImpl::IsVisible() {
    return visible.load(std::memory_order_relaxed) &&
           opacity.load(std::memory_order_relaxed) > 0.0f;
}

void VRQuadImpl::Shutdown() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(uploadMutex, "VRQuadImpl::Shutdown");
    if (context) {
        backTexture.reset();
        context.reset();
    }
}

boost::shared_ptr<ITexture> VRQuadImpl::HoldFrontForDraw() {
    if (frontTexture == nullptr) {
        return boost::shared_ptr<ITexture>();
    }
    std::lock_guard<std::mutex> hold(drawMutex);
    drawing = frontTexture->get();
    return *frontTexture;
}

void VRQuadImpl::EndDraw() {
    {
        std::lock_guard<std::mutex> hold(drawMutex);
        drawing = nullptr;
    }
    drawEnded.notify_all();
}

void VRQuadImpl::DetachFront() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(stateMutex, "VRQuadImpl::DetachFront");
    frontTexture = nullptr;
}

}  // namespace STN
