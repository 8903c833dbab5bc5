#pragma once

// Offscreen OpenGL on EGL: no window system, no surface. The GPU devices and the GL tests
// create their contexts here so that both run on the same display and the same kind of context.
//
// The display comes from EGL_MESA_platform_surfaceless (Mesa, software rendering included) or
// EGL_EXT_platform_device (a GPU driver). With EGL_PLATFORM=device the device platform is tried
// first, otherwise the surfaceless one. Displays are initialised once and never terminated:
// eglTerminate would pull every context of the process off a display that others still use.

#include <EGL/egl.h>

#include <string>

namespace GB {
namespace offscreen {

// The process's offscreen display, initialised. EGL_NO_DISPLAY with the reason in `error`
// when no platform gives one.
EGLDisplay GetDisplay(std::string* error);

// Creates an OpenGL context of at least `major`.`minor`, core profile, with the debug flag when
// asked, without config or surface. `shareWith` (may be EGL_NO_CONTEXT) must be on `display`.
// EGL_NO_CONTEXT with the reason in `error` on failure.
EGLContext CreateContext(EGLDisplay display, EGLContext shareWith, int major, int minor, bool debug,
                         std::string* error);

// Makes `context` current on the calling thread without a surface.
bool MakeCurrent(EGLDisplay display, EGLContext context, std::string* error);

// Leaves the calling thread with no current context.
bool ReleaseCurrent(EGLDisplay display, std::string* error);

// Destroys a context created by CreateContext; a current context is released first.
void DestroyContext(EGLDisplay display, EGLContext context);

// Loads the GL entry points through GLEW for the context current on this thread. GLEW built
// for GLX reports that it found no GLX display while it has loaded every GL function; that
// result counts as success.
bool LoadGLFunctions(std::string* error);

// "EGL_BAD_MATCH (0x3009)" and the like.
std::string ErrorText(EGLint code);

// The display's EGL_VENDOR text ("Mesa Project", "NVIDIA"); empty when unknown.
std::string DisplayVendor(EGLDisplay display);

}  // namespace offscreen
}  // namespace GB
