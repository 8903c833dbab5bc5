#pragma once

#include <boost/shared_ptr.hpp>

#include <string>

namespace STN {

class IShader;

class IShaderRegistry {
public:
    virtual boost::shared_ptr<IShader> GetShader(const std::string& name) = 0;
    virtual ~IShaderRegistry() = default;
};

}  // namespace STN
