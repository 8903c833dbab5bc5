#include "OpenGL/GLXSupport.h"

#include <EGL/egl.h>
#include <GL/glx.h>
#include <X11/Xlib.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#ifndef GLX_CONTEXT_MAJOR_VERSION_ARB
#define GLX_CONTEXT_MAJOR_VERSION_ARB 0x2091
#define GLX_CONTEXT_MINOR_VERSION_ARB 0x2092
#define GLX_CONTEXT_FLAGS_ARB 0x2094
#define GLX_CONTEXT_DEBUG_BIT_ARB 0x0001
#endif
#ifndef GLX_CONTEXT_PROFILE_MASK_ARB
#define GLX_CONTEXT_PROFILE_MASK_ARB 0x9126
#define GLX_CONTEXT_CORE_PROFILE_BIT_ARB 0x00000001
#endif

namespace STN {
namespace glxsupport {

class Connection {
public:
    Connection(Display* display, GLXFBConfig config) : display(display), config(config) {}
    ~Connection() { XCloseDisplay(display); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    Display* const display;
    const GLXFBConfig config;
};

namespace {

using CreateContextAttribs = GLXContext (*)(Display*, GLXFBConfig, GLXContext, Bool, const int*);

bool HasExtension(const char* list, const char* name) {
    const std::size_t length = std::strlen(name);
    for (const char* p = list; p != nullptr && (p = std::strstr(p, name)) != nullptr; p += length) {
        if ((p == list || p[-1] == ' ') && (p[length] == '\0' || p[length] == ' ')) {
            return true;
        }
    }
    return false;
}

// X errors during context creation go to this handler instead of the process's, whose default
// ends the process. The handler is global to Xlib, so creations take turns.
std::mutex& TrapMutex() {
    static std::mutex* mutex = new std::mutex();  // used until the process ends
    return *mutex;
}
// Written by Xlib on whichever thread met the error while the trap is set.
std::atomic<int> trappedError{0};

int TrapError(Display*, XErrorEvent* event) {
    trappedError = event->error_code;
    return 0;
}

// `sync` waits for the server's answers on either side; calls that fail on the client side (making
// a context current that another thread holds) report at once and need no round trip.
class ErrorTrap {
public:
    ErrorTrap(Display* display, bool sync) : display(display), sync(sync), lock(TrapMutex()) {
        if (sync) {
            XSync(display, False);
        }
        trappedError = 0;
        previous = XSetErrorHandler(TrapError);
    }
    ~ErrorTrap() {
        if (sync) {
            XSync(display, False);
        }
        XSetErrorHandler(previous);
    }
    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;
    // The X error that arrived since the trap was set; 0 for none.
    int Error() {
        if (sync) {
            XSync(display, False);
        }
        return trappedError;
    }

private:
    Display* display;
    bool sync;
    std::lock_guard<std::mutex> lock;
    int (*previous)(Display*, XErrorEvent*) = nullptr;
};

std::string XErrorText(int code) {
    char text[48];
    std::snprintf(text, sizeof text, "X error %d", code);
    return text;
}

void ReleaseEGLOnThisThread() {
    if (eglGetCurrentContext() == EGL_NO_CONTEXT) {
        return;
    }
    const EGLenum api = eglQueryAPI();
    eglBindAPI(EGL_OPENGL_API);
    eglMakeCurrent(eglGetCurrentDisplay(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglBindAPI(api);
}

}  // namespace

boost::shared_ptr<Connection> Open(std::string* why) {
    const char* name = std::getenv("DISPLAY");
    if (name == nullptr || name[0] == '\0') {
        *why = "DISPLAY is not set";
        return boost::shared_ptr<Connection>();
    }
    // Three threads use one connection; libX11 1.8 makes this call itself, older ones need it.
    static std::once_flag threads;
    std::call_once(threads, [] { XInitThreads(); });
    // A busy server refuses a connection now and then (EAGAIN, or a reset) and takes it a
    // moment later; a display that is not there fails otherwise and is not asked again.
    Display* display = nullptr;
    for (int attempt = 0; attempt < 5 && display == nullptr; ++attempt) {
        if (attempt > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1 << attempt));
        }
        errno = 0;
        display = XOpenDisplay(name);
        if (display == nullptr && errno != EAGAIN && errno != ECONNRESET) {
            break;
        }
    }
    if (display == nullptr) {
        *why = std::string("the X display \"") + name + "\" does not open";
        return boost::shared_ptr<Connection>();
    }
    int errorBase = 0;
    int eventBase = 0;
    int major = 0;
    int minor = 0;
    const int screen = DefaultScreen(display);
    const char* extensions = nullptr;
    if (!glXQueryExtension(display, &errorBase, &eventBase) ||
        !glXQueryVersion(display, &major, &minor) || major * 10 + minor < 13) {
        *why = std::string("the X display \"") + name + "\" has no GLX 1.3";
    } else if (!HasExtension(extensions = glXQueryExtensionsString(display, screen),
                             "GLX_ARB_create_context") ||
               !HasExtension(extensions, "GLX_ARB_create_context_profile")) {
        *why = std::string("the X display \"") + name + "\" cannot create core profile contexts";
    } else {
        const int attributes[] = {GLX_DRAWABLE_TYPE,
                                  GLX_PBUFFER_BIT,
                                  GLX_RENDER_TYPE,
                                  GLX_RGBA_BIT,
                                  GLX_RED_SIZE,
                                  8,
                                  GLX_GREEN_SIZE,
                                  8,
                                  GLX_BLUE_SIZE,
                                  8,
                                  GLX_ALPHA_SIZE,
                                  8,
                                  None};
        int count = 0;
        GLXFBConfig* configs = glXChooseFBConfig(display, screen, attributes, &count);
        if (configs != nullptr && count > 0) {
            const GLXFBConfig config = configs[0];
            XFree(configs);
            return boost::shared_ptr<Connection>(new Connection(display, config));
        }
        if (configs != nullptr) {
            XFree(configs);
        }
        *why = std::string("the X display \"") + name + "\" has no RGBA8 pbuffer config";
    }
    XCloseDisplay(display);
    return boost::shared_ptr<Connection>();
}

void* DisplayOf(const Connection& connection) {
    return connection.display;
}

Context CreateContext(const Connection& connection, void* shareWith, int major, int minor,
                      std::string* why) {
    Context made;
    const auto create = reinterpret_cast<CreateContextAttribs>(
        glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glXCreateContextAttribsARB")));
    if (create == nullptr) {
        *why = "glXCreateContextAttribsARB is missing";
        return made;
    }
    // clang-format off
    const int attributes[] = {
        GLX_CONTEXT_MAJOR_VERSION_ARB, major,
        GLX_CONTEXT_MINOR_VERSION_ARB, minor,
        GLX_CONTEXT_FLAGS_ARB, GLX_CONTEXT_DEBUG_BIT_ARB,
        GLX_CONTEXT_PROFILE_MASK_ARB, GLX_CONTEXT_CORE_PROFILE_BIT_ARB,
        None};
    const int pbufferAttributes[] = {GLX_PBUFFER_WIDTH, 1, GLX_PBUFFER_HEIGHT, 1, None};
    // clang-format on
    ErrorTrap trap(connection.display, true);
    GLXContext context = create(connection.display, connection.config,
                                static_cast<GLXContext>(shareWith), True, attributes);
    if (context == nullptr || trap.Error() != 0) {
        *why = "glXCreateContextAttribsARB failed: " + XErrorText(trappedError.load());
        if (context != nullptr) {
            glXDestroyContext(connection.display, context);
        }
        return made;
    }
    const GLXPbuffer pbuffer =
        glXCreatePbuffer(connection.display, connection.config, pbufferAttributes);
    if (pbuffer == None || trap.Error() != 0) {
        *why = "glXCreatePbuffer failed: " + XErrorText(trappedError.load());
        glXDestroyContext(connection.display, context);
        return made;
    }
    made.context = context;
    made.drawable = pbuffer;
    return made;
}

void DestroyContext(const Connection& connection, const Context& context) {
    if (IsCurrent(connection, context)) {
        ReleaseCurrent();
    }
    glXDestroyContext(connection.display, static_cast<GLXContext>(context.context));
    glXDestroyPbuffer(connection.display, context.drawable);
    XSync(connection.display, False);
}

bool IsCurrent(const Connection& connection, const Context& context) {
    return glXGetCurrentContext() == static_cast<GLXContext>(context.context) &&
           glXGetCurrentDisplay() == connection.display;
}

bool MakeCurrent(const Connection& connection, const Context& context) {
    ReleaseEGLOnThisThread();
    ErrorTrap trap(connection.display, false);
    return glXMakeContextCurrent(connection.display, context.drawable, context.drawable,
                                 static_cast<GLXContext>(context.context)) == True &&
           trap.Error() == 0;
}

void* CurrentContext() {
    return glXGetCurrentContext();
}

void ReleaseCurrent() {
    Display* display = glXGetCurrentDisplay();
    if (display != nullptr) {
        glXMakeContextCurrent(display, None, None, nullptr);
    }
}

}  // namespace glxsupport
}  // namespace STN
