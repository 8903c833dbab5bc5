#include "GB/OffscreenGL.h"

#include <EGL/eglext.h>
#include <GL/glew.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

namespace GB {
namespace offscreen {
namespace {

bool HasExtension(const char* list, const char* name) {
    if (list == nullptr) {
        return false;
    }
    const std::size_t length = std::strlen(name);
    for (const char* p = list; (p = std::strstr(p, name)) != nullptr; p += length) {
        const bool startOk = p == list || p[-1] == ' ';
        const bool endOk = p[length] == '\0' || p[length] == ' ';
        if (startOk && endOk) {
            return true;
        }
    }
    return false;
}

void SetError(std::string* error, const std::string& text) {
    if (error != nullptr) {
        *error = text;
    }
}

std::string LastError(const char* what) {
    return std::string(what) + " failed: " + ErrorText(eglGetError());
}

// Initialises `display` and checks the two extensions every context here relies on.
bool InitialiseDisplay(EGLDisplay display, const char* platform, std::string* why) {
    EGLint major = 0;
    EGLint minor = 0;
    if (eglInitialize(display, &major, &minor) != EGL_TRUE) {
        *why = std::string(platform) + ": " + LastError("eglInitialize");
        return false;
    }
    const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
    for (const char* needed :
         {"EGL_KHR_no_config_context", "EGL_KHR_surfaceless_context", "EGL_KHR_create_context"}) {
        if (!HasExtension(extensions, needed)) {
            *why = std::string(platform) + ": the display lacks " + needed;
            return false;
        }
    }
    if (eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) {
        *why = std::string(platform) + ": " + LastError("eglBindAPI(EGL_OPENGL_API)");
        return false;
    }
    return true;
}

EGLDisplay SurfacelessDisplay(PFNEGLGETPLATFORMDISPLAYEXTPROC getPlatformDisplay,
                              const char* clientExtensions, std::string* why) {
    if (!HasExtension(clientExtensions, "EGL_MESA_platform_surfaceless")) {
        *why = "surfaceless: EGL_MESA_platform_surfaceless is not offered";
        return EGL_NO_DISPLAY;
    }
    EGLDisplay display =
        getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display == EGL_NO_DISPLAY) {
        *why = "surfaceless: " + LastError("eglGetPlatformDisplayEXT");
        return EGL_NO_DISPLAY;
    }
    return InitialiseDisplay(display, "surfaceless", why) ? display : EGL_NO_DISPLAY;
}

// Prefers a hardware device; Mesa marks its software device with EGL_MESA_device_software.
EGLDisplay DeviceDisplay(PFNEGLGETPLATFORMDISPLAYEXTPROC getPlatformDisplay,
                         const char* clientExtensions, std::string* why) {
    if (!HasExtension(clientExtensions, "EGL_EXT_platform_device")) {
        *why = "device: EGL_EXT_platform_device is not offered";
        return EGL_NO_DISPLAY;
    }
    auto queryDevices =
        reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    auto queryDeviceString = reinterpret_cast<PFNEGLQUERYDEVICESTRINGEXTPROC>(
        eglGetProcAddress("eglQueryDeviceStringEXT"));
    if (queryDevices == nullptr || queryDeviceString == nullptr) {
        *why = "device: eglQueryDevicesEXT is missing";
        return EGL_NO_DISPLAY;
    }
    EGLint count = 0;
    if (queryDevices(0, nullptr, &count) != EGL_TRUE || count <= 0) {
        *why = "device: no EGL device";
        return EGL_NO_DISPLAY;
    }
    std::vector<EGLDeviceEXT> devices(static_cast<std::size_t>(count));
    queryDevices(count, devices.data(), &count);
    devices.resize(static_cast<std::size_t>(count));
    std::vector<EGLDeviceEXT> ordered;
    for (bool software : {false, true}) {
        for (EGLDeviceEXT device : devices) {
            const bool isSoftware =
                HasExtension(queryDeviceString(device, EGL_EXTENSIONS), "EGL_MESA_device_software");
            if (isSoftware == software) {
                ordered.push_back(device);
            }
        }
    }
    std::string reasons;
    for (EGLDeviceEXT device : ordered) {
        EGLDisplay display = getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, device, nullptr);
        std::string why1;
        if (display == EGL_NO_DISPLAY) {
            why1 = "device: " + LastError("eglGetPlatformDisplayEXT");
        } else if (InitialiseDisplay(display, "device", &why1)) {
            return display;
        }
        reasons += (reasons.empty() ? "" : "; ") + why1;
    }
    *why = reasons;
    return EGL_NO_DISPLAY;
}

struct DisplayState {
    std::once_flag once;
    EGLDisplay display = EGL_NO_DISPLAY;
    std::string error;
};

DisplayState& State() {
    static DisplayState* state = new DisplayState();  // lives as long as the display
    return *state;
}

void OpenDisplay(DisplayState& state) {
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!HasExtension(clientExtensions, "EGL_EXT_platform_base")) {
        state.error = "EGL has no EGL_EXT_platform_base client extension";
        return;
    }
    auto getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay == nullptr) {
        state.error = "eglGetPlatformDisplayEXT is missing";
        return;
    }
    const char* platform = std::getenv("EGL_PLATFORM");
    const bool deviceFirst = platform != nullptr && std::strcmp(platform, "device") == 0;
    std::string first;
    std::string second;
    if (deviceFirst) {
        state.display = DeviceDisplay(getPlatformDisplay, clientExtensions, &first);
        if (state.display == EGL_NO_DISPLAY) {
            state.display = SurfacelessDisplay(getPlatformDisplay, clientExtensions, &second);
        }
    } else {
        state.display = SurfacelessDisplay(getPlatformDisplay, clientExtensions, &first);
        if (state.display == EGL_NO_DISPLAY) {
            state.display = DeviceDisplay(getPlatformDisplay, clientExtensions, &second);
        }
    }
    if (state.display == EGL_NO_DISPLAY) {
        state.error = "no offscreen EGL display: " + first + "; " + second;
    }
}

}  // namespace

std::string ErrorText(EGLint code) {
    const char* name = "unknown EGL error";
    switch (code) {
        case EGL_SUCCESS:
            name = "EGL_SUCCESS";
            break;
        case EGL_NOT_INITIALIZED:
            name = "EGL_NOT_INITIALIZED";
            break;
        case EGL_BAD_ACCESS:
            name = "EGL_BAD_ACCESS";
            break;
        case EGL_BAD_ALLOC:
            name = "EGL_BAD_ALLOC";
            break;
        case EGL_BAD_ATTRIBUTE:
            name = "EGL_BAD_ATTRIBUTE";
            break;
        case EGL_BAD_CONFIG:
            name = "EGL_BAD_CONFIG";
            break;
        case EGL_BAD_CONTEXT:
            name = "EGL_BAD_CONTEXT";
            break;
        case EGL_BAD_CURRENT_SURFACE:
            name = "EGL_BAD_CURRENT_SURFACE";
            break;
        case EGL_BAD_DISPLAY:
            name = "EGL_BAD_DISPLAY";
            break;
        case EGL_BAD_MATCH:
            name = "EGL_BAD_MATCH";
            break;
        case EGL_BAD_NATIVE_PIXMAP:
            name = "EGL_BAD_NATIVE_PIXMAP";
            break;
        case EGL_BAD_NATIVE_WINDOW:
            name = "EGL_BAD_NATIVE_WINDOW";
            break;
        case EGL_BAD_PARAMETER:
            name = "EGL_BAD_PARAMETER";
            break;
        case EGL_BAD_SURFACE:
            name = "EGL_BAD_SURFACE";
            break;
        case EGL_CONTEXT_LOST:
            name = "EGL_CONTEXT_LOST";
            break;
        default:
            break;
    }
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%s (0x%04x)", name, static_cast<unsigned>(code));
    return buffer;
}

EGLDisplay GetDisplay(std::string* error) {
    DisplayState& state = State();
    std::call_once(state.once, [&state] { OpenDisplay(state); });
    if (state.display == EGL_NO_DISPLAY) {
        SetError(error, state.error);
    }
    return state.display;
}

EGLContext CreateContext(EGLDisplay display, EGLContext shareWith, int major, int minor, bool debug,
                         std::string* error) {
    if (display == EGL_NO_DISPLAY) {
        SetError(error, "no EGL display to create a context on");
        return EGL_NO_CONTEXT;
    }
    // The bound API is per thread; a context created on a fresh thread needs it again.
    if (eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) {
        SetError(error, LastError("eglBindAPI(EGL_OPENGL_API)"));
        return EGL_NO_CONTEXT;
    }
    const EGLint attributes[] = {EGL_CONTEXT_MAJOR_VERSION_KHR,
                                 major,
                                 EGL_CONTEXT_MINOR_VERSION_KHR,
                                 minor,
                                 EGL_CONTEXT_OPENGL_PROFILE_MASK_KHR,
                                 EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT_KHR,
                                 EGL_CONTEXT_FLAGS_KHR,
                                 debug ? EGL_CONTEXT_OPENGL_DEBUG_BIT_KHR : 0,
                                 EGL_NONE};
    EGLContext context = eglCreateContext(display, EGL_NO_CONFIG_KHR, shareWith, attributes);
    if (context == EGL_NO_CONTEXT) {
        char version[32];
        std::snprintf(version, sizeof version, "%d.%d", major, minor);
        SetError(error, std::string("eglCreateContext for OpenGL ") + version + " core" +
                            (shareWith != EGL_NO_CONTEXT ? " with a share context" : "") +
                            " failed: " + ErrorText(eglGetError()));
    }
    return context;
}

bool MakeCurrent(EGLDisplay display, EGLContext context, std::string* error) {
    if (eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) {
        SetError(error, LastError("eglBindAPI(EGL_OPENGL_API)"));
        return false;
    }
    if (eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context) != EGL_TRUE) {
        SetError(error, LastError("eglMakeCurrent"));
        return false;
    }
    return true;
}

bool ReleaseCurrent(EGLDisplay display, std::string* error) {
    if (display == EGL_NO_DISPLAY) {
        return true;
    }
    eglBindAPI(EGL_OPENGL_API);
    if (eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT) != EGL_TRUE) {
        SetError(error, LastError("eglMakeCurrent(EGL_NO_CONTEXT)"));
        return false;
    }
    return true;
}

void DestroyContext(EGLDisplay display, EGLContext context) {
    if (display == EGL_NO_DISPLAY || context == EGL_NO_CONTEXT) {
        return;
    }
    if (eglGetCurrentContext() == context) {
        ReleaseCurrent(display, nullptr);
    }
    eglDestroyContext(display, context);
}

bool LoadGLFunctions(std::string* error) {
    if (eglGetCurrentContext() == EGL_NO_CONTEXT) {
        SetError(error, "no OpenGL context is current to load functions for");
        return false;
    }
    glewExperimental = GL_TRUE;
    const GLenum result = glewInit();
    if (result != GLEW_OK && result != GLEW_ERROR_NO_GLX_DISPLAY) {
        SetError(error, std::string("glewInit failed: ") +
                            reinterpret_cast<const char*>(glewGetErrorString(result)));
        return false;
    }
    if (glGenBuffers == nullptr || glGetString(GL_VERSION) == nullptr) {
        SetError(error, "glewInit left the OpenGL entry points unloaded");
        return false;
    }
    return true;
}

std::string DisplayVendor(EGLDisplay display) {
    if (display == EGL_NO_DISPLAY) {
        return std::string();
    }
    const char* vendor = eglQueryString(display, EGL_VENDOR);
    return vendor != nullptr ? vendor : "";
}

}  // namespace offscreen
}  // namespace GB
