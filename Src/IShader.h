#pragma once

#include <string>

#include "ShaderUniform.h"

namespace STN {

// One linked program of the shader table. Setters act on the program in use: call them
// between Bind and Unbind.
class IShader {
public:
    virtual const std::string& GetName() = 0;
    virtual bool Load(const std::string& sourceName, bool rectangle) = 0;
    virtual void Release() = 0;
    virtual void Bind() = 0;
    virtual void Unbind() = 0;
    virtual void SetUniform4f(ShaderUniform uniform, float x, float y, float z, float w) = 0;
    virtual void SetUniform2f(ShaderUniform uniform, float x, float y) = 0;
    virtual void SetUniform1f(ShaderUniform uniform, float x) = 0;
    // Also samplers and bool uniforms.
    virtual void SetUniform1i(ShaderUniform uniform, int value) = 0;
    // 16 floats, column-major.
    virtual void SetUniformMatrix4(ShaderUniform uniform, const float* matrix) = 0;
    virtual ~IShader() = default;
};

}  // namespace STN
