// The OpenVR client's reader of openvrpaths.vrpath. The input is the file's text. It is parsed
// as text, and read again as a file through GetPaths, which must come to the same paths: the file
// reader only turns CRLF into LF, which JSON cannot tell apart. The paths then go through the
// path arithmetic the loader applies to a runtime root.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "path_tools.h"
#include "platform_paths.h"
#include "vr_path_registry.h"

namespace {

using fuzzinput::Check;
using stnvr::VRPathRegistry;

std::string FirstOf(const std::vector<std::string>& list) {
    return list.empty() ? std::string() : list.front();
}

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The environment would override what the file says.
    unsetenv("VR_OVERRIDE");
    unsetenv("VR_CONFIG_PATH");
    unsetenv("VR_LOG_PATH");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    VRPathRegistry registry;
    const bool loaded =
        registry.LoadFromText(std::string(reinterpret_cast<const char*>(data), size));
    if (!loaded) {
        Check(registry.RuntimePaths().empty() && registry.ConfigPaths().empty() &&
                  registry.LogPaths().empty() && registry.ExternalDrivers().empty(),
              "a refused registry kept paths");
    }

    VRPathRegistry::Paths paths;
    Check(VRPathRegistry::GetPaths(fuzzinput::AsFile(data, size), paths) == loaded,
          "the file and its text disagree on whether it is a registry");
    Check(paths.runtime == FirstOf(registry.RuntimePaths()), "runtime path differs");
    Check(paths.config == FirstOf(registry.ConfigPaths()), "config path differs");
    Check(paths.log == FirstOf(registry.LogPaths()), "log path differs");

    for (const std::string& runtime : registry.RuntimePaths()) {
        const std::string root = stnvr::path_tools::FixSlashes(runtime);
        Check(root.size() == runtime.size(), "FixSlashes changed the length");
        Check(root.find('\\') == std::string::npos, "FixSlashes left a backslash");
        const std::string bin = stnvr::platform_paths::RuntimeBinaryDirectory(root);
        Check(bin.compare(0, root.size(), root) == 0, "the binary directory is not under the root");
        // An empty root gives "bin/linux64" itself; the loader never gets that far with one.
        Check(EndsWith(bin, "bin/linux64"), "the binary directory is not bin/linux64");
    }
    return 0;
}
