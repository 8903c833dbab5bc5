#pragma once

#include <boost/shared_ptr.hpp>

#include <map>
#include <string>

#include "IShaderRegistry.h"

namespace STN {

class IGraphicsContext;

// The process-wide cache of programs, one per name, compiled on first request with the stored
// context. No lock: it is used on the thread that has a context of the share group current.
class ShaderRegistry : public IShaderRegistry {
public:
    static ShaderRegistry& Instance();
    // Deletes the registry and its programs; a context of the share group must be current.
    static void DestroyInstance();

    boost::shared_ptr<IShader> GetShader(const std::string& name) override;
    void SetGraphicsContext(const boost::shared_ptr<IGraphicsContext>& context);
    void Clear();

    ~ShaderRegistry() override;
    ShaderRegistry(const ShaderRegistry&) = delete;
    ShaderRegistry& operator=(const ShaderRegistry&) = delete;

private:
    ShaderRegistry() = default;

    boost::shared_ptr<IGraphicsContext> context;
    std::map<std::string, boost::shared_ptr<IShader>> shaders;
};

}  // namespace STN
