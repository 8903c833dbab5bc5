#pragma once

// Which window-system binding the library's own OpenGL contexts are made with. Windows has
// WGL only. On Linux, runtimes built for desktop OpenVR applications expect GLX (an
// OpenVR-over-OpenXR runtime hands the current GLX display, drawable and context to OpenXR's Xlib
// binding), so GLX is used whenever an X display is reachable; EGL without a surface otherwise,
// which is what headless machines and tests have.

namespace STN {

enum class ContextPlatform { kEGL, kGLX, kWGL };

// The platform for the contexts of one start of the library. The environment variable
// STEREON_GL_PLATFORM, then the debug key "Stereon.OpenGLPlatform", may force "egl" or
// "glx"; otherwise ("auto", unset, or anything else) GLX is chosen when DISPLAY names a display
// that opens and makes a 4.1 core context. GLX that cannot be had, forced or not, falls back to
// EGL with a trace line ("STN" 1) that says why. Opens and closes an X connection when it
// probes; call it once per start and give the result to every context.
ContextPlatform ChooseContextPlatform();

}  // namespace STN
