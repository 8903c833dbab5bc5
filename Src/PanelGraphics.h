// The pieces of graphics that the panel kinds share: the quad they are drawn with, their shader
// and texture, and the draw of one image on the quad with the panel shader's uniforms.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

#include "StereonTypes.h"

namespace STN {

class IGraphicsContext;
class IMesh;
class IShader;
class ITexture;

namespace panelgraphics {

// A triangle strip of side `side` in the plane z, centred on the origin. `firstRowAtTop` puts
// the texture's first row at the top (v 0 at +y), as panel images are painted.
boost::shared_ptr<IMesh> BuildQuad(const boost::shared_ptr<IGraphicsContext>& context,
                                   const std::string& meshName, float side, float z,
                                   bool firstRowAtTop);

// "QuadMesh": two triangles over the whole target in clip space, for the compositors' passes.
boost::shared_ptr<IMesh> BuildFullScreenQuad(const boost::shared_ptr<IGraphicsContext>& context);

// "VidariumVR.PanelMipmaping", default true.
bool MipmapKey();

// A clamped 8-bit texture, mipmapped when the key says so.
boost::shared_ptr<ITexture> CreateTexture(const boost::shared_ptr<IGraphicsContext>& context,
                                          const std::string& textureName, unsigned width,
                                          unsigned height);

// The panel shader, and the quad of side `side` and the texture of `width` x `height` that a
// panel of one image draws with, named after the panel.
void CreateImageGraphics(const boost::shared_ptr<IGraphicsContext>& context,
                         const std::string& panelName, float side, unsigned width, unsigned height,
                         boost::shared_ptr<IShader>& shader, boost::shared_ptr<IMesh>& mesh,
                         boost::shared_ptr<ITexture>& texture);

struct QuadLook {
    float red, green, blue, opacity;
    float width, height;  // metres before the quad's side
};

// The look of a panel image of `width` x `height` pixels of `pixelSize` metres.
QuadLook MakeLook(float red, float green, float blue, float opacity, std::uint32_t width,
                  std::uint32_t height, float pixelSize);

// Draws `mesh` with `image` through `given`, or through `own` bound for the call when `given`
// is empty (a compositor's shader is bound by its owner).
void DrawImage(const Matrix4& matrix, const QuadLook& look, const boost::shared_ptr<IMesh>& mesh,
               const boost::shared_ptr<ITexture>& image, const boost::shared_ptr<IShader>& own,
               const boost::shared_ptr<IShader>& given);

}  // namespace panelgraphics
}  // namespace STN
