// Context creation and current state on EGL: a configless, surfaceless core context on the
// host device's display. EGL cannot share after creation, so the share context is passed here.

#include <GL/glew.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdio>

#include "OpenGL/GLHooks.h"
#include "OpenGL/GraphicsContextOGL.h"

#ifndef EGL_NO_CONFIG_KHR
#define EGL_NO_CONFIG_KHR ((EGLConfig)0)
#endif

namespace STN {

namespace {

// The text of the last EGL error, for a log; the callers here drop it.
std::string GetLastErrorText() {
    const EGLint code = eglGetError();
    if (code == EGL_SUCCESS) {
        return std::string();
    }
    char text[32];
    std::snprintf(text, sizeof(text), "EGL error 0x%04X", static_cast<unsigned>(code));
    return text;
}

// EGL keeps the current context per client API, and each thread starts on OpenGL ES: a thread
// that never chose desktop OpenGL asks and releases the wrong slot. Drivers that track one
// current context for all APIs (Mesa with libglvnd) hide this; others do not.
void UseOpenGLOnThisThread() {
    if (eglQueryAPI() != EGL_OPENGL_API) {
        eglBindAPI(EGL_OPENGL_API);
    }
}

}  // namespace

bool GraphicsContextOGL::CreateOwnContext(unsigned majorVersion,
                                          const boost::shared_ptr<IGraphicsContext>& shareWith) {
    int minorVersion = 0;
    if (!CoreMinorVersion(majorVersion, minorVersion)) {
        ClearCurrent();
        return false;
    }
    EGLContext shareContext = EGL_NO_CONTEXT;
    if (shareWith) {
        const GraphicsContextOGL* other = dynamic_cast<const GraphicsContextOGL*>(shareWith.get());
        if (other == nullptr) {
            ClearCurrent();
            return false;
        }
        shareContext = other->glContext;
    }

    // clang-format off
    const EGLint attributes[] = {
        EGL_CONTEXT_MAJOR_VERSION, static_cast<EGLint>(majorVersion),
        EGL_CONTEXT_MINOR_VERSION, minorVersion,
        EGL_CONTEXT_OPENGL_DEBUG, EGL_TRUE,
        EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
        EGL_NONE};
    // clang-format on
    EGLContext created = EGL_NO_CONTEXT;
    UseOpenGLOnThisThread();
    if (deviceContext != EGL_NO_DISPLAY && eglQueryAPI() == EGL_OPENGL_API) {
        created = eglCreateContext(deviceContext, EGL_NO_CONFIG_KHR, shareContext, attributes);
    }
    if (created == EGL_NO_CONTEXT) {
        (void)GetLastErrorText();
        ClearCurrent();
        return false;
    }

    glContext = created;
    ownsContext = true;
    MakeCurrent();
    LoadEntryPoints();
    SetGLDebugOutput(true);

    // No surface is bound, so there is no swap interval to set.
    return true;
}

bool GraphicsContextOGL::IsCurrent() {
    UseOpenGLOnThisThread();
    return eglGetCurrentDisplay() == deviceContext && eglGetCurrentContext() == glContext;
}

void GraphicsContextOGL::MakeCurrent() {
    if (IsCurrent()) {
        return;
    }
    if (eglMakeCurrent(deviceContext, EGL_NO_SURFACE, EGL_NO_SURFACE, glContext) != EGL_TRUE) {
        (void)GetLastErrorText();
    }
}

void GraphicsContextOGL::ClearCurrent() {
    UseOpenGLOnThisThread();
    // Releasing needs a display; use the one that is current, whichever context that is.
    const EGLDisplay current = eglGetCurrentDisplay();
    if (current == EGL_NO_DISPLAY) {
        return;
    }
    if (eglMakeCurrent(current, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT) != EGL_TRUE) {
        (void)GetLastErrorText();
    }
}

void GraphicsContextOGL::SwapBuffers() {
    // Surfaceless: nothing to present. Work is still pushed to the GPU as a swap would.
    if (IsCurrent() && glContext != nullptr) {
        glFlush();
    }
}

void GraphicsContextOGL::DeleteOwnContext() {
    eglDestroyContext(deviceContext, glContext);
}

}  // namespace STN
