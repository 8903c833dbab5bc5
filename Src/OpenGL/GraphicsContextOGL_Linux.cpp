// Context creation and current state on Linux. On EGL: a configless, surfaceless core context on
// the host device's display. On GLX: a core context on a pbuffer, on an X connection of the
// library's own that the contexts of one share group use together. Neither can share after
// creation, so the share context is passed here. A thread has one current context whatever the
// API: making one current first lets go of a context of the other API.

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
    const GraphicsContextOGL* other = dynamic_cast<const GraphicsContextOGL*>(shareWith.get());
    if (shareWith && other == nullptr) {
        ClearCurrent();
        return false;
    }
    // A partner without a context of its own (never bound) leaves nothing to share.
    if (other != nullptr && other->glContext == nullptr) {
        other = nullptr;
    }
    if (platform == ContextPlatform::kGLX) {
        // Like the EGL context, a GLX one is made only for a bound device.
        if (deviceContext == nullptr) {
            ClearCurrent();
            return false;
        }
        return CreateOwnGLXContext(majorVersion, minorVersion, other);
    }
    // An adopted context is the host's EGL one; a context of ours made on GLX cannot share here.
    if (other != nullptr && other->connection) {
        ClearCurrent();
        return false;
    }
    const EGLContext shareContext = other != nullptr ? other->glContext : EGL_NO_CONTEXT;

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

bool GraphicsContextOGL::CreateOwnGLXContext(unsigned majorVersion, int minorVersion,
                                             const GraphicsContextOGL* shareWith) {
    // GLX shares only within one connection: the first context of a group opens it, the others
    // join it. A partner without one (the host's EGL context, or one of ours on EGL) leaves
    // nothing to join, and the creation fails.
    boost::shared_ptr<glxsupport::Connection> joined;
    void* shareContext = nullptr;
    std::string why;
    if (shareWith != nullptr) {
        joined = shareWith->connection;
        shareContext = shareWith->glContext;
    } else {
        joined = glxsupport::Open(&why);
    }
    glxsupport::Context made;
    if (joined) {
        made = glxsupport::CreateContext(*joined, shareContext, static_cast<int>(majorVersion),
                                         minorVersion, &why);
    }
    if (made.context == nullptr) {
        ClearCurrent();
        return false;
    }
    connection = joined;
    deviceContext = glxsupport::DisplayOf(*connection);
    glContext = made.context;
    glxDrawable = made.drawable;
    ownsContext = true;
    MakeCurrent();
    LoadEntryPoints();
    SetGLDebugOutput(true);
    return true;
}

bool GraphicsContextOGL::IsCurrent() {
    if (connection) {
        return glxsupport::IsCurrent(*connection, {glContext, glxDrawable});
    }
    UseOpenGLOnThisThread();
    return eglGetCurrentDisplay() == deviceContext && eglGetCurrentContext() == glContext;
}

const void* GraphicsContextOGL::CurrentNativeContext() {
    UseOpenGLOnThisThread();
    if (const EGLContext egl = eglGetCurrentContext()) {
        return egl;
    }
    return glxsupport::CurrentContext();
}

void GraphicsContextOGL::MakeCurrent() {
    if (IsCurrent()) {
        return;
    }
    if (connection) {
        (void)glxsupport::MakeCurrent(*connection, {glContext, glxDrawable});
        return;
    }
    glxsupport::ReleaseCurrent();
    if (eglMakeCurrent(deviceContext, EGL_NO_SURFACE, EGL_NO_SURFACE, glContext) != EGL_TRUE) {
        (void)GetLastErrorText();
    }
}

void GraphicsContextOGL::ClearCurrent() {
    glxsupport::ReleaseCurrent();
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
    // Nothing is presented (no surface, or a pbuffer nobody sees). Work is still pushed to the
    // GPU as a swap would.
    if (IsCurrent() && glContext != nullptr) {
        glFlush();
    }
}

void GraphicsContextOGL::DeleteOwnContext() {
    if (connection) {
        glxsupport::DestroyContext(*connection, {glContext, glxDrawable});
        connection.reset();
        glxDrawable = 0;
        return;
    }
    eglDestroyContext(deviceContext, glContext);
}

}  // namespace STN
