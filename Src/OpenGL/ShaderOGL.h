#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "IShader.h"

namespace STN {

// A program of the shader table with its uniform locations cached per enumerator.
class ShaderOGL : public IShader {
public:
    explicit ShaderOGL(const std::string& name);
    ~ShaderOGL() override;
    ShaderOGL(const ShaderOGL&) = delete;
    ShaderOGL& operator=(const ShaderOGL&) = delete;

    const std::string& GetName() override { return name; }
    bool Load(const std::string& sourceName, bool rectangle) override;
    void Release() override;
    void Bind() override;
    void Unbind() override;
    void SetUniform4f(ShaderUniform uniform, float x, float y, float z, float w) override;
    void SetUniform2f(ShaderUniform uniform, float x, float y) override;
    void SetUniform1f(ShaderUniform uniform, float x) override;
    void SetUniform1i(ShaderUniform uniform, int value) override;
    void SetUniformMatrix4(ShaderUniform uniform, const float* matrix) override;

    std::uint32_t GetProgram() const { return program; }
    // The location of the uniform in this program, -1 when the program does not use it.
    std::int32_t GetUniformLocation(ShaderUniform uniform);

private:
    bool Fail(std::uint32_t shader);

    std::string name;
    std::uint32_t program = 0;
    // The share group the program belongs to (GLReleaseQueue).
    std::uint32_t group = 0;
    std::map<ShaderUniform, std::int32_t> uniformLocations;
};

}  // namespace STN
