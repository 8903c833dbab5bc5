// Cases that make the library's GL calls fail on purpose say so for the scope that does it; any
// other GL error in the library's trace fails the running case (see the test main).
#pragma once

#include <atomic>

namespace testsupport {

inline std::atomic<int>& GLErrorsExpectedCount() {
    static std::atomic<int> count{0};
    return count;
}

inline bool GLErrorsExpected() {
    return GLErrorsExpectedCount().load() > 0;
}

class ExpectGLErrors {
public:
    ExpectGLErrors() { ++GLErrorsExpectedCount(); }
    ~ExpectGLErrors() { --GLErrorsExpectedCount(); }
    ExpectGLErrors(const ExpectGLErrors&) = delete;
    ExpectGLErrors& operator=(const ExpectGLErrors&) = delete;
};

}  // namespace testsupport
