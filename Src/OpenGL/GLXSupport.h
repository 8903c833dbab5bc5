#pragma once

// The GLX calls of the library's contexts, kept to one file so that Xlib's macros (None, Bool,
// Status...) never reach the rest of the library. Every context sits on a 1x1 pbuffer of its own:
// a context made current without a drawable works on Mesa and NVIDIA, but runtimes that hand the
// current GLX drawable on to OpenXR need a real one.

#include <boost/shared_ptr.hpp>

#include <string>

namespace STN {
namespace glxsupport {

// One connection to an X display, shared by the contexts of one share group (GLX shares only
// between contexts of one connection) and closed when the last of them is destroyed.
class Connection;

// Opens the display that DISPLAY names and checks that it offers what the contexts need. Empty,
// with the reason in `why`, when it does not.
boost::shared_ptr<Connection> Open(std::string* why);

// The connection's Display*, for handles and comparisons.
void* DisplayOf(const Connection& connection);

struct Context {
    void* context = nullptr;     // GLXContext
    unsigned long drawable = 0;  // GLXPbuffer
};

// A core profile context of major.minor with the debug flag, sharing with `shareWith` (null: none),
// on a pbuffer of its own. Empty context with the reason in `why` on failure; X errors are caught
// for the call, never left to the process's handler.
Context CreateContext(const Connection& connection, void* shareWith, int major, int minor,
                      std::string* why);
void DestroyContext(const Connection& connection, const Context& context);

bool IsCurrent(const Connection& connection, const Context& context);
// Makes the context current, first releasing an EGL context current on the thread (a thread has
// one current context whatever the API, and GLX would raise an X error otherwise).
bool MakeCurrent(const Connection& connection, const Context& context);
// Releases the GLX context current on the calling thread, if any.
void ReleaseCurrent();
// The GLX context current on the calling thread; null for none.
void* CurrentContext();

}  // namespace glxsupport
}  // namespace STN
