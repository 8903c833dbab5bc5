#pragma once

#include <cstdint>
#include <string>

#include "IRenderTarget.h"

namespace STN {

class RenderTargetOGL : public IRenderTarget {
public:
    explicit RenderTargetOGL(const std::string& name);
    ~RenderTargetOGL() override;
    RenderTargetOGL(const RenderTargetOGL&) = delete;
    RenderTargetOGL& operator=(const RenderTargetOGL&) = delete;

    const std::string& GetName() override { return name; }
    void Create(int width, int height) override;
    void Release() override;
    void Bind() override;
    void Resolve() override;
    int GetWidth() override { return width; }
    int GetHeight() override { return height; }
    vr::Texture_t GetVRTexture() override;

    std::uint32_t GetResolveTexture() const { return resolveTexture; }

private:
    std::string name;
    // The share group the names belong to (GLReleaseQueue).
    std::uint32_t group = 0;
    std::uint32_t depthRenderbuffer = 0;
    std::uint32_t multisampleTexture = 0;
    std::uint32_t multisampleFramebuffer = 0;
    std::uint32_t resolveTexture = 0;
    std::uint32_t resolveFramebuffer = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

}  // namespace STN
