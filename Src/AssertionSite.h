#pragma once

// One-shot assertion sites. A site reports its first failure to the host's assertion dialog and
// stays silent afterwards; a positive answer with a debugger attached breaks into it.

#include <atomic>
#include <csignal>
#include <cstring>
#include <string>

#include "hostcore/debug.h"

namespace STN {

// The part of a source path from "Src" on, so reports do not depend on the build machine.
inline const char* SourcePathFromSrc(const char* file) {
    const char* found = nullptr;
    for (const char* p = file; (p = std::strstr(p, "Src")) != nullptr; ++p) {
        if ((p == file || p[-1] == '/' || p[-1] == '\\') && (p[3] == '/' || p[3] == '\\')) {
            found = p;
        }
    }
    return found != nullptr ? found : file;
}

inline void ReportAssertion(std::atomic<bool>& reported, const std::string& message,
                            const char* file, int line, const char* function) {
    if (reported.exchange(true)) {
        return;
    }
    if (hostcore::debug::BreakAfterAssertDialog(message.c_str(), "false", SourcePathFromSrc(file),
                                                line, function) &&
        hostcore::debug::IsDebuggerAttached()) {
#if defined(_WIN32)
        __debugbreak();
#else
        std::raise(SIGTRAP);
#endif
    }
}

}  // namespace STN

// Reports an unexpected failure once per site. `function` is the qualified name.
#define STN_ASSERT_FAILED(message, function)                                                  \
    do {                                                                                      \
        static std::atomic<bool> stnAssertReported{false};                                    \
        ::STN::ReportAssertion(stnAssertReported, (message), __FILE__, __LINE__, (function)); \
    } while (0)
