#include "ShaderRegistry.h"

#include "AssertionSite.h"
#include "IGraphicsContext.h"
#include "IShader.h"

namespace STN {

namespace {
ShaderRegistry* instance = nullptr;
}

ShaderRegistry& ShaderRegistry::Instance() {
    if (instance == nullptr) {
        instance = new ShaderRegistry();
    }
    return *instance;
}

void ShaderRegistry::DestroyInstance() {
    delete instance;
    instance = nullptr;
}

ShaderRegistry::~ShaderRegistry() {
    Clear();
}

boost::shared_ptr<IShader> ShaderRegistry::GetShader(const std::string& name) {
    const auto found = shaders.find(name);
    if (found != shaders.end()) {
        return found->second;
    }
    boost::shared_ptr<IShader> shader;
    if (context) {
        shader = context->CreateShader(name);
    }
    if (!shader || !shader->Load(name, false)) {
        // Nothing is stored, so the next request tries again.
        STN_ASSERT_FAILED("Init shader " + name + " failed.\r\n", "STN::ShaderRegistry::GetShader");
        return boost::shared_ptr<IShader>();
    }
    shaders[name] = shader;
    return shader;
}

void ShaderRegistry::SetGraphicsContext(const boost::shared_ptr<IGraphicsContext>& context) {
    this->context = context;
}

void ShaderRegistry::Clear() {
    shaders.clear();
    context.reset();
}

}  // namespace STN
