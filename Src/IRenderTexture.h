#pragma once

#include <string>

namespace STN {

// A single-sample colour framebuffer without depth, for passes whose result is sampled again.
class IRenderTexture {
public:
    virtual const std::string& GetName() = 0;
    virtual void Create(int width, int height) = 0;
    virtual void Release() = 0;
    virtual void BindTarget() = 0;
    virtual void UnbindTarget() = 0;
    // Always texture unit 0.
    virtual void BindTexture() = 0;
    virtual void UnbindTexture() = 0;
    virtual int GetWidth() = 0;
    virtual int GetHeight() = 0;
    virtual bool IsRectangle() = 0;
    virtual ~IRenderTexture() = default;
};

}  // namespace STN
