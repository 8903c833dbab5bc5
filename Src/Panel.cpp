#include "Panel.h"

#include <boost/shared_ptr.hpp>

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IShader.h"
#include "ITexture.h"
#include "PanelGraphics.h"
#include "VRQuadImpl.h"

namespace STN {

Panel::~Panel() {
    if (quad) {
        quad->DetachFront();
    }
    quad.reset();
    texture.reset();
    shader.reset();
    mesh.reset();
}

void Panel::CreateGraphics(const boost::shared_ptr<IGraphicsContext>& context, float newScale,
                           bool composited, std::uint32_t order) {
    scale = newScale;
    depthComposited = composited ? 1 : 0;
    drawOrder = order;
    panelgraphics::CreateImageGraphics(context, name, scale, width, height, shader, mesh, texture);
}

bool Panel::Initialize(const boost::shared_ptr<IGraphicsContext>& context,
                       const boost::shared_ptr<IGraphicsContext>& quadContext, float newScale,
                       bool composited, std::uint32_t order) {
    if (!context || !context->IsCurrent()) {
        return false;
    }
    CreateGraphics(context, newScale, composited, order);
    quad.reset(new VRQuadImpl(quadContext, &texture, panelgraphics::MipmapKey(), name));
    return true;
}

bool Panel::IsVisible() {
    return opacity > 0.0f && quad && quad->IsVisible();
}

bool Panel::PrepareDraw() {
    if (!IsVisible()) {
        return false;
    }
    hostcore::threads::RecursiveMutex::ScopedLock lock(quad->GetLock(),
                                                       "Panel::Draw locking VRQuadImpl");
    width = quad->GetWidth();
    height = quad->GetHeight();
    // Held for the draw: an exchange on the host's thread meanwhile makes it the back image,
    // which the next upload rewrites only once this draw is over.
    drawnTexture = quad->HoldFrontForDraw();
    if (drawnTexture) {
        // The upload of this image, on the host's thread, has finished.
        drawnTexture->WaitForUse();
    }
    return true;
}

Matrix4 Panel::ComputeMatrix(const Matrix4& viewProjection) {
    return viewProjection * transform;
}

void Panel::EndHold() {
    drawnTexture.reset();
    if (quad) {
        quad->EndDraw();
    }
}

void Panel::DrawQuad(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& given) {
    // The hold ends however the draw ends: an upload on the host's thread waits for it.
    struct EndOfDraw {
        Panel& panel;
        ~EndOfDraw() { panel.EndHold(); }
    } end{*this};
    const panelgraphics::QuadLook look = panelgraphics::MakeLook(
        colorRed, colorGreen, colorBlue, opacity, width, height, GetPixelSize());
    panelgraphics::DrawImage(ComputeMatrix(viewProjection), look, mesh, drawnTexture, shader,
                             given);
}

void Panel::Draw(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& given) {
    if (PrepareDraw()) {
        DrawQuad(viewProjection, given);
    }
}

void Panel::Shutdown() {
    DrawLockScope lock(*this, "Panel::Shutdown");
    if (!quad) {
        return;
    }
    // Detached first: an exchange on the host's thread meanwhile would hand the quad our image.
    quad->DetachFront();
    quad->Shutdown();
    // A painting thread may be fetching the quad meanwhile, without the draw lock.
    boost::atomic_store(&quad, boost::shared_ptr<VRQuadImpl>());
    texture.reset();
    drawnTexture.reset();
    mesh.reset();
    shader.reset();
}

boost::shared_ptr<hostvirtualui::vr::VRQuad> Panel::GetQuad() {
    // Not under the draw lock, so that a host painting never waits for a draw.
    return boost::atomic_load(&quad);
}

}  // namespace STN
