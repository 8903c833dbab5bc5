#pragma once

// An X server of the test's own (Xvfb, GLX on Mesa's llvmpipe) for the cases that need a display
// whatever the environment has: the GLX context path and the choice between GLX and EGL. The
// server ends with the object; nothing may keep a connection to it by then.

#include <sys/types.h>

#include <string>

namespace stereon {
namespace test {

class XServer {
public:
    // Starts Xvfb and waits until it says which display it serves.
    XServer();
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    // ":<n>", or empty when the server could not start (Error says why).
    const std::string& Display() const { return display; }
    const std::string& Error() const { return error; }

private:
    pid_t pid = 0;
    std::string display;
    std::string error;
};

// Sets or (with nullptr) unsets an environment variable for a scope, then puts it back.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const char* value);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string name;
    bool had = false;
    std::string previous;
};

}  // namespace test
}  // namespace stereon
