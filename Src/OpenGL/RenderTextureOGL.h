#pragma once

#include <cstdint>
#include <string>

#include "IRenderTexture.h"

namespace STN {

class RenderTextureOGL : public IRenderTexture {
public:
    explicit RenderTextureOGL(const std::string& name);
    ~RenderTextureOGL() override;
    RenderTextureOGL(const RenderTextureOGL&) = delete;
    RenderTextureOGL& operator=(const RenderTextureOGL&) = delete;

    const std::string& GetName() override { return name; }
    void Create(int width, int height) override;
    void Release() override;
    void BindTarget() override;
    void UnbindTarget() override;
    void BindTexture() override;
    void UnbindTexture() override;
    int GetWidth() override { return width; }
    int GetHeight() override { return height; }
    bool IsRectangle() override;

    std::uint32_t GetTexture() const { return texture; }

private:
    std::string name;
    std::uint32_t target;
    std::uint32_t texture = 0;
    std::uint32_t framebuffer = 0;
    // The share group the names belong to (GLReleaseQueue).
    std::uint32_t group = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

}  // namespace STN
