#include "vr_path_registry.h"

#include <exception>

#include <nlohmann/json.hpp>

#include "path_tools.h"
#include "platform_paths.h"

namespace stnvr {
namespace {

// Element list of `key`; empty when absent or not an array of strings.
std::vector<std::string> StringList(const nlohmann::json& root, const char* key) {
    std::vector<std::string> list;
    const auto it = root.find(key);
    if (it == root.end() || !it->is_array()) {
        return list;
    }
    list.reserve(it->size());
    for (const nlohmann::json& element : *it) {
        if (!element.is_string()) {
            return {};
        }
        list.push_back(element.get<std::string>());
    }
    return list;
}

// Environment value when non-empty, else the registry's current entry, else empty.
std::string Resolve(const char* variable, const std::vector<std::string>& fromRegistry,
                    int& overrides) {
    std::string value = path_tools::GetEnvironmentVariable(variable);
    if (!value.empty()) {
        ++overrides;
        return value;
    }
    return fromRegistry.empty() ? std::string() : fromRegistry.front();
}

}  // namespace

bool VRPathRegistry::LoadFromFile(const std::string& path) {
    if (path.empty()) {
        return false;
    }
    const std::string text = path_tools::ReadTextFile(path);
    if (text.empty()) {
        return false;
    }
    return LoadFromText(text);
}

bool VRPathRegistry::LoadFromText(const std::string& text) {
    // Comments are accepted: the file is hand-edited now and then, and the runtimes' own
    // reader takes them.
    const nlohmann::json root = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false,
                                                      /*ignore_comments=*/true);
    if (!root.is_object()) {
        return false;  // a parse error gives a discarded value, which is not an object either
    }
    runtime = StringList(root, "runtime");
    config = StringList(root, "config");
    log = StringList(root, "log");
    // Runtimes write null here when there are none.
    externalDrivers = StringList(root, "external_drivers");
    return true;
}

bool VRPathRegistry::GetPaths(Paths& paths) {
    return GetPaths(platform_paths::RegistryFilePath(), paths);
}

bool VRPathRegistry::GetPaths(const std::string& registryFile, Paths& paths) {
    VRPathRegistry registry;
    bool loaded = false;
    try {
        loaded = registry.LoadFromFile(registryFile);
    } catch (const std::exception&) {
        // Out of memory on an absurd file, or a bad string conversion: not a registry.
        registry = VRPathRegistry();
        loaded = false;
    }
    int overrides = 0;
    paths.runtime = Resolve("VR_OVERRIDE", registry.RuntimePaths(), overrides);
    paths.config = Resolve("VR_CONFIG_PATH", registry.ConfigPaths(), overrides);
    paths.log = Resolve("VR_LOG_PATH", registry.LogPaths(), overrides);
    return loaded || overrides == 3;
}

}  // namespace stnvr
