#include <dlfcn.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "gl_error_check.h"
#include "hostcore/debug.h"

namespace {

// Every case runs with the library's GL errors in the trace, and any error fails the case that
// made it. A case that installs a trace sink of its own gives this up for its run, unless its
// sink hands its lines to FailOnGLError too.
void TraceGLErrorsAsFailures() {
    hostcore::debug::SetTraceLevel("GL", 1);
    hostcore::debug::SetTraceLevel("STN", 1);
    hostcore::debug::SetTraceSink([](const std::string& line) {
        std::fprintf(stderr, "%s\n", line.c_str());
        testsupport::FailOnGLError(line);
    });
}

class GLErrorsFailTests : public ::testing::EmptyTestEventListener {
    void OnTestSuiteStart(const ::testing::TestSuite&) override { TraceGLErrorsAsFailures(); }
    void OnTestStart(const ::testing::TestInfo&) override { TraceGLErrorsAsFailures(); }
};

}  // namespace

int main(int argc, char** argv) {
    // Mesa's driver is not built with the sanitizers. Keeping it loaded for the life of the
    // process lets LeakSanitizer symbolise what the driver allocated instead of reporting the
    // unloaded module's blocks as leaks, without turning leak detection off.
    for (const char* name : {"swrast_dri.so", "/usr/lib/x86_64-linux-gnu/dri/swrast_dri.so"}) {
        if (dlopen(name, RTLD_NOW | RTLD_GLOBAL | RTLD_NODELETE) != nullptr) {
            break;
        }
    }
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new GLErrorsFailTests());
    return RUN_ALL_TESTS();
}
