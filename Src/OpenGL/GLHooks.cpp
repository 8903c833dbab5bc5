#include "OpenGL/GLHooks.h"

#include <GL/glew.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "hostcore/debug.h"

namespace STN {

namespace {

hostcore::debug::TraceSite& ErrorSite() {
    static hostcore::debug::TraceSite site("GL", 1);
    return site;
}

void GLAPIENTRY OnDebugMessage(GLenum, GLenum type, GLuint, GLenum, GLsizei length,
                               const GLchar* message, const void*) {
    static hostcore::debug::TraceSite others("GL", 3);
    const std::string text =
        message == nullptr ? std::string()
                           : std::string(message, length >= 0 ? static_cast<std::size_t>(length)
                                                              : std::strlen(message));
    if (type == GL_DEBUG_TYPE_ERROR) {
        ErrorSite().Write("GL error: " + text);
    } else {
        others.Write("GL: " + text);
    }
}

bool HasDebugOutput() {
    return glDebugMessageCallback != nullptr && glIsEnabled(GL_DEBUG_OUTPUT) == GL_TRUE;
}

}  // namespace

void CheckGLErrors(bool afterLoaderInit) {
    if (!ErrorSite().Enabled()) {
        return;
    }
    const bool reported = afterLoaderInit || HasDebugOutput();
    for (int i = 0; i < 16; ++i) {
        const GLenum error = glGetError();
        if (error == GL_NO_ERROR) {
            return;
        }
        if (!reported) {
            char text[64];
            std::snprintf(text, sizeof(text), "GL error: 0x%04x", static_cast<unsigned>(error));
            ErrorSite().Write(text);
        }
    }
}

void SetGLDebugOutput(bool enable) {
    if (!ErrorSite().Enabled() || glDebugMessageCallback == nullptr) {
        return;
    }
    if (!enable) {
        glDisable(GL_DEBUG_OUTPUT);
        return;
    }
    glEnable(GL_DEBUG_OUTPUT);
    glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
    glDebugMessageCallback(&OnDebugMessage, nullptr);
}

}  // namespace STN
