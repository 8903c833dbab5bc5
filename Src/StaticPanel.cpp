#include "StaticPanel.h"

#include <cstring>

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IShader.h"
#include "ITexture.h"
#include "PanelGraphics.h"

namespace STN {

namespace {

// An image the texture can take without reading past the caller's memory.
bool ImageUsable(std::uint32_t width, std::uint32_t height, std::uint32_t bytesPerRow,
                 const void* pixels) {
    return pixels != nullptr && width > 0 && height > 0 &&
           static_cast<std::uint64_t>(bytesPerRow) >= static_cast<std::uint64_t>(width) * 4;
}

}  // namespace

bool StaticPanel::Initialize(const boost::shared_ptr<IGraphicsContext>& context,
                             std::uint32_t imageWidth, std::uint32_t imageHeight,
                             std::uint32_t bytesPerRow, const void* pixels, float newScale,
                             bool composited, std::uint32_t order) {
    initialized = false;
    deferredArgs.reset();
    if (!context || !context->IsCurrent() ||
        !ImageUsable(imageWidth, imageHeight, bytesPerRow, pixels)) {
        return false;
    }
    SetSize(imageWidth, imageHeight);
    scale = newScale;
    depthComposited = composited ? 1 : 0;
    drawOrder = order;
    panelgraphics::CreateImageGraphics(context, name, scale, width, height, shader, mesh, texture);
    texture->Upload(pixels, hostmediatypes::kPixelFormat_BGRA_4444_8u, bytesPerRow);
    initialized = true;
    return true;
}

bool StaticPanel::DeferInitialize(const boost::shared_ptr<IGraphicsContext>& context,
                                  std::uint32_t imageWidth, std::uint32_t imageHeight,
                                  std::uint32_t bytesPerRow, const void* pixels, float newScale,
                                  bool composited, std::uint32_t order) {
    boost::shared_ptr<DeferredInitArgs> args(new DeferredInitArgs());
    args->context = context;
    args->width = imageWidth;
    args->height = imageHeight;
    args->bytesPerRow = bytesPerRow;
    args->scale = newScale;
    args->depthComposited = composited;
    args->drawOrder = order;
    if (ImageUsable(imageWidth, imageHeight, bytesPerRow, pixels)) {
        const std::size_t bytes = static_cast<std::size_t>(imageHeight) * bytesPerRow;
        args->pixels.resize(bytes);
        std::memcpy(args->pixels.data(), pixels, bytes);
    }
    deferredArgs = args;
    return true;
}

void StaticPanel::Draw(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& given) {
    if (deferredArgs) {
        // Initialize drops the arguments: one attempt only.
        const boost::shared_ptr<DeferredInitArgs> args = deferredArgs;
        if (!Initialize(args->context, args->width, args->height, args->bytesPerRow,
                        args->pixels.empty() ? nullptr : args->pixels.data(), args->scale,
                        args->depthComposited, args->drawOrder)) {
            return;
        }
    }
    if (!initialized) {
        return;
    }
    const panelgraphics::QuadLook look = panelgraphics::MakeLook(
        colorRed, colorGreen, colorBlue, opacity, width, height, GetPixelSize());
    panelgraphics::DrawImage(viewProjection * transform, look, mesh, texture, shader, given);
}

void StaticPanel::Shutdown() {
    DrawLockScope lock(*this, "StaticPanel::Shutdown");
    initialized = false;
    texture.reset();
    mesh.reset();
    shader.reset();
    deferredArgs.reset();
}

}  // namespace STN
