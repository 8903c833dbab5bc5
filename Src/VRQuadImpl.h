// The host's surface for one painted panel, double-buffered: the host's thread uploads each image
// into the back texture through the interface context, and a finished image changes places with
// the panel's texture, which the render thread draws.
#pragma once

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include "IVRQuad.h"

namespace STN {

class IGraphicsContext;
class ITexture;

class VRQuadImpl : public IVRQuad {
public:
    // `frontTexture` is the panel's texture field, whose pointer the quad exchanges; the panel
    // detaches it before it goes.
    VRQuadImpl(const boost::shared_ptr<IGraphicsContext>& context,
               boost::shared_ptr<ITexture>* frontTexture, bool mipmap, const std::string& name);
    ~VRQuadImpl() override;

    void SetVisible(bool visible) override;
    void SetOpacity(float opacity) override;
    // Uploads on the calling thread. An image that is empty, has no pixels, rows shorter than
    // its width or a format other than 8-bit host memory is refused; the size still counts.
    void Update(std::uint32_t width, std::uint32_t height,
                const boost::shared_ptr<hostvirtualui::vr::QuadFrame>& frame) override;
    void Closing() override;

    hostcore::threads::RecursiveMutex& GetLock() override { return stateMutex; }
    bool IsVisible() override;
    float GetOpacity() override { return opacity.load(std::memory_order_relaxed); }
    bool IsClosing() override;
    std::uint32_t GetWidth() override { return width.load(std::memory_order_relaxed); }
    std::uint32_t GetHeight() override { return height.load(std::memory_order_relaxed); }
    void Shutdown() override;

    // The panel is going: no exchange reaches its texture field from now on.
    void DetachFront();
    // The render thread's hold on the front image for one draw, taken under GetLock(). An
    // upload waits for the hold to end before it rewrites that image.
    boost::shared_ptr<ITexture> HoldFrontForDraw();
    void EndDraw();

    VRQuadImpl(const VRQuadImpl&) = delete;
    VRQuadImpl& operator=(const VRQuadImpl&) = delete;

private:
    static bool Acceptable(const hostvirtualui::vr::QuadFrame& frame);
    // False when GL refused the size (the texture has no storage then).
    bool SetUpBackTexture(unsigned textureWidth, unsigned textureHeight);
    void SwapTexturesIfVisible();

    std::string name;
    boost::shared_ptr<IGraphicsContext> context;
    hostcore::threads::RecursiveMutex stateMutex;
    hostcore::threads::RecursiveMutex uploadMutex;
    // Read by the render thread without a lock; atomics keep those reads defined.
    std::atomic<bool> visible{false};
    std::atomic<float> opacity{0.0f};
    bool closing = false;
    bool mipmap;
    std::atomic<std::uint32_t> width{0};
    std::atomic<std::uint32_t> height{0};
    boost::shared_ptr<ITexture>* frontTexture;
    boost::shared_ptr<ITexture> backTexture;
    std::atomic<bool> backFresh{false};
    // The image the render thread is drawing, if any.
    std::mutex drawMutex;
    std::condition_variable drawEnded;
    const ITexture* drawing = nullptr;
};

}  // namespace STN
