// Context creation and current state on WGL. The real context is made through a temporary
// legacy context, which is what loads wglCreateContextAttribsARB.

#include <GL/glew.h>
#include <GL/wglew.h>

#include <windows.h>

#include "OpenGL/GLHooks.h"
#include "OpenGL/GraphicsContextOGL.h"

namespace STN {

namespace {

std::string GetLastErrorText() {
    const DWORD code = ::GetLastError();
    if (code == 0) {
        return std::string();
    }
    LPSTR buffer = nullptr;
    const DWORD length = ::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
        nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<LPSTR>(&buffer),
        0, nullptr);
    std::string text(buffer != nullptr ? buffer : "", buffer != nullptr ? length : 0);
    if (buffer != nullptr) {
        ::LocalFree(buffer);
    }
    return text;
}

}  // namespace

bool GraphicsContextOGL::CreateOwnContext(unsigned majorVersion,
                                          const boost::shared_ptr<IGraphicsContext>& shareWith) {
    const HGLRC temporary = wglCreateContext(deviceContext);
    wglMakeCurrent(deviceContext, temporary);
    LoadEntryPoints();

    int minorVersion = 0;
    if (!CoreMinorVersion(majorVersion, minorVersion)) {
        ClearCurrent();
        wglDeleteContext(temporary);
        return false;
    }
    // clang-format off
    const int attributes[] = {
        WGL_CONTEXT_MAJOR_VERSION_ARB, static_cast<int>(majorVersion),
        WGL_CONTEXT_MINOR_VERSION_ARB, minorVersion,
        WGL_CONTEXT_FLAGS_ARB, WGL_CONTEXT_DEBUG_BIT_ARB,
        WGL_CONTEXT_PROFILE_MASK_ARB, WGL_CONTEXT_CORE_PROFILE_BIT_ARB,
        0};
    // clang-format on
    if (wglCreateContextAttribsARB == nullptr) {
        ClearCurrent();
        wglDeleteContext(temporary);
        return false;
    }
    const HGLRC created = wglCreateContextAttribsARB(deviceContext, nullptr, attributes);
    if (created == nullptr) {
        (void)GetLastErrorText();
        ClearCurrent();
        wglDeleteContext(temporary);
        return false;
    }
    glContext = created;
    ownsContext = true;
    MakeCurrent();
    wglDeleteContext(temporary);

    LoadEntryPoints();
    SetGLDebugOutput(true);

    wglSwapIntervalEXT(0);

    if (shareWith) {
        const GraphicsContextOGL* other = dynamic_cast<const GraphicsContextOGL*>(shareWith.get());
        if (other == nullptr || wglShareLists(other->glContext, glContext) != TRUE) {
            (void)GetLastErrorText();
            return false;
        }
    }
    return true;
}

bool GraphicsContextOGL::IsCurrent() {
    return wglGetCurrentDC() == deviceContext && wglGetCurrentContext() == glContext;
}

const void* GraphicsContextOGL::CurrentNativeContext() {
    return wglGetCurrentContext();
}

void GraphicsContextOGL::MakeCurrent() {
    if (IsCurrent()) {
        return;
    }
    if (!wglMakeCurrent(deviceContext, glContext)) {
        (void)GetLastErrorText();
    }
}

void GraphicsContextOGL::ClearCurrent() {
    if (!wglMakeCurrent(nullptr, nullptr)) {
        (void)GetLastErrorText();
    }
}

void GraphicsContextOGL::SwapBuffers() {
    ::SwapBuffers(deviceContext);
}

void GraphicsContextOGL::DeleteOwnContext() {
    wglDeleteContext(glContext);
}

}  // namespace STN
