// What the compositors of translucent panels share: the context they draw with, a framebuffer of
// their own at the viewport's size, the full-screen quad of their last pass and the callback that
// draws the panels. Each adds its passes, their programs and their textures.
#pragma once

#include <cstdint>

#include "IPanelRenderer.h"
#include "ShaderUniform.h"

namespace STN {

class IMesh;

class PanelRendererBaseOGL : public IPanelRenderer {
public:
    std::string GetName() override { return name; }
    bool IsInitialized() override { return framebuffer != 0; }
    // Also forgets the draw callback. A derived class calls it from its own destructor, where
    // the hooks below are still its own.
    void Release() override;
    void SetDrawCallback(const PanelDrawCallback& callback, void* data) override;

    PanelRendererBaseOGL(const PanelRendererBaseOGL&) = delete;
    PanelRendererBaseOGL& operator=(const PanelRendererBaseOGL&) = delete;

protected:
    explicit PanelRendererBaseOGL(const std::string& name) : name(name) {}
    ~PanelRendererBaseOGL() override = default;

    // Release drops the derived class's programs before the quad, and deletes its textures after
    // the quad and before the framebuffer.
    virtual void ReleaseShaders() = 0;
    virtual void DeleteTextures() = 0;

    // Init's start: drops what an earlier Init built, takes `newContext` and the size of the
    // current viewport.
    void BeginInit(const boost::shared_ptr<IGraphicsContext>& newContext);
    void CreateFramebuffer();
    // Binds `texture`, already named, and gives it storage of the viewport's size, filtered to the
    // nearest texel. It stays bound.
    void DefineNearestTexture(std::uint32_t texture, std::int32_t internalFormat,
                              std::uint32_t format, std::uint32_t type) const;
    // A new texture, as DefineNearestTexture leaves it.
    std::uint32_t CreateNearestTexture(std::int32_t internalFormat, std::uint32_t format,
                                       std::uint32_t type) const;
    // The registry's program `shaderName`, its samplers `unit0` and `unit1` set to those units;
    // empty when it did not load.
    static boost::shared_ptr<IShader> SamplerShader(const std::string& shaderName,
                                                    ShaderUniform unit0, ShaderUniform unit1);

    // Draw's start. `eyeTarget` is the framebuffer bound at the call; false, and nothing drawn,
    // before Init. Otherwise the state is the opaque one.
    bool BeginDraw(std::int32_t& eyeTarget);
    // Blending off, depth tested and written: the state a draw starts in and leaves behind.
    void SetOpaqueState();
    // The full-screen quad with `unit0Texture` and `unit1Texture` bound, through the program in
    // use.
    void DrawFullScreen(std::uint32_t unit0Texture, std::uint32_t unit1Texture);
    // Draw's end, after the last pass's program is unbound: both units emptied, the opaque state.
    void EndDraw();

    std::uint32_t framebuffer = 0;
    // The share group the names belong to (GLReleaseQueue).
    std::uint32_t group = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    boost::shared_ptr<IGraphicsContext> context;
    boost::shared_ptr<IMesh> quadMesh;
    PanelDrawCallback drawCallback;
    void* userData = nullptr;

private:
    // Unit 1 first, so that unit 0 is the active one after.
    static void BindUnits(std::uint32_t unit0Texture, std::uint32_t unit1Texture);

    std::string name;
};

}  // namespace STN
