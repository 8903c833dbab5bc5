#pragma once

// Where GL errors and debug output would be examined. Both are empty on purpose: errors are not
// read in this configuration, but every sequence of GL calls keeps its call site here.

namespace STN {

// `afterLoaderInit` is true right after the entry points were loaded.
inline void CheckGLErrors(bool afterLoaderInit) {
    (void)afterLoaderInit;
}

inline void SetGLDebugOutput(bool enable) {
    (void)enable;
}

}  // namespace STN
