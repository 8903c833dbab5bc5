#pragma once

#include <string>

namespace vr {
struct Texture_t;
}

namespace STN {

// A 4-sample framebuffer with depth, resolved into a single-sample texture that the headset
// runtime receives.
class IRenderTarget {
public:
    virtual const std::string& GetName() = 0;
    virtual void Create(int width, int height) = 0;
    virtual void Release() = 0;
    virtual void Bind() = 0;
    virtual void Resolve() = 0;
    virtual int GetWidth() = 0;
    virtual int GetHeight() = 0;
    virtual vr::Texture_t GetVRTexture() = 0;
    virtual ~IRenderTarget() = default;
};

}  // namespace STN
