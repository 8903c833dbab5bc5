// Any GL error in the library's trace fails the running case: the test main's trace sink passes
// each line here, and so does a case that installs a sink of its own.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace testsupport {

inline void FailOnGLError(const std::string& line) {
    if (line.find("GL error") != std::string::npos) {
        ADD_FAILURE() << "the library's GL calls failed: " << line;
    }
}

}  // namespace testsupport
