#include "PanelGraphics.h"

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IShader.h"
#include "ITexture.h"
#include "ShaderRegistry.h"
#include "hostcore/debug.h"

namespace STN {
namespace panelgraphics {

boost::shared_ptr<IMesh> BuildQuad(const boost::shared_ptr<IGraphicsContext>& context,
                                   const std::string& meshName, float side, float z,
                                   bool firstRowAtTop) {
    const float h = side / 2.0f;
    const float bottomV = firstRowAtTop ? 1.0f : 0.0f;
    const float topV = 1.0f - bottomV;
    boost::shared_ptr<IMesh> mesh = context->CreateMesh(meshName);
    mesh->Begin(kPrimitiveTriangleStrip, false, true, false);
    mesh->AddVertex(-h, -h, z, 0, 0, 0, 0.0f, bottomV, 0, 0, 0, 0);
    mesh->AddVertex(h, -h, z, 0, 0, 0, 1.0f, bottomV, 0, 0, 0, 0);
    mesh->AddVertex(-h, h, z, 0, 0, 0, 0.0f, topV, 0, 0, 0, 0);
    mesh->AddVertex(h, h, z, 0, 0, 0, 1.0f, topV, 0, 0, 0, 0);
    mesh->End();
    return mesh;
}

boost::shared_ptr<IMesh> BuildFullScreenQuad(const boost::shared_ptr<IGraphicsContext>& context) {
    boost::shared_ptr<IMesh> quad = context->CreateMesh("QuadMesh");
    quad->Release();
    quad->Begin(kPrimitiveTriangles, false, false, false);
    static const float kCorners[6][2] = {{-1, -1}, {1, -1}, {1, 1}, {1, 1}, {-1, 1}, {-1, -1}};
    for (const auto& c : kCorners) {
        quad->AddVertex(c[0], c[1], 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    }
    quad->End();
    return quad;
}

bool MipmapKey() {
    return hostcore::debug::DebugDatabase::Instance().GetEntry("VidariumVR.PanelMipmaping",
                                                               "true") == "true";
}

boost::shared_ptr<ITexture> CreateTexture(const boost::shared_ptr<IGraphicsContext>& context,
                                          const std::string& textureName, unsigned width,
                                          unsigned height) {
    boost::shared_ptr<ITexture> texture = context->CreateTexture(textureName);
    texture->Create(boost::shared_ptr<GB::Device>(), width, height);
    texture->SetWrap(kWrapClamp);
    texture->SetFilter(MipmapKey() ? kFilterTrilinear : kFilterLinear);
    return texture;
}

void CreateImageGraphics(const boost::shared_ptr<IGraphicsContext>& context,
                         const std::string& panelName, float side, unsigned width, unsigned height,
                         boost::shared_ptr<IShader>& shader, boost::shared_ptr<IMesh>& mesh,
                         boost::shared_ptr<ITexture>& texture) {
    shader = ShaderRegistry::Instance().GetShader("PanelShader");
    mesh = BuildQuad(context, "PanelMesh_" + panelName, side, 0.0f, true);
    texture = CreateTexture(context, "PanelTexture_" + panelName, width, height);
}

QuadLook MakeLook(float red, float green, float blue, float opacity, std::uint32_t width,
                  std::uint32_t height, float pixelSize) {
    const QuadLook look = {red,
                           green,
                           blue,
                           opacity,
                           static_cast<float>(width) * pixelSize,
                           static_cast<float>(height) * pixelSize};
    return look;
}

void DrawImage(const Matrix4& matrix, const QuadLook& look, const boost::shared_ptr<IMesh>& mesh,
               const boost::shared_ptr<ITexture>& image, const boost::shared_ptr<IShader>& own,
               const boost::shared_ptr<IShader>& given) {
    IShader* program = given ? given.get() : own.get();
    if (program == nullptr || !mesh) {
        return;
    }
    if (!given) {
        program->Bind();
    }
    program->SetUniformMatrix4(kUniformPanelMatrix, matrix.m);
    program->SetUniform4f(kUniformPanelColor, look.red, look.green, look.blue, look.opacity);
    program->SetUniform2f(kUniformPanelSize, look.width, look.height);
    if (image) {
        image->Bind();
    }
    mesh->Draw();
    if (image) {
        image->Unbind();
        image->FenceUse();
    }
    if (!given) {
        program->Unbind();
    }
}

}  // namespace panelgraphics
}  // namespace STN
