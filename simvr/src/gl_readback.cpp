// Reading a submitted eye image back with the submitter's own context. A vendor compositor
// would share the image into its own context; the simulation has none, so it reads on the
// caller's thread, and must leave that context as it found it: every binding and setting it
// changes is put back, and it never raises a GL error nor takes one. glGetError cannot put an
// error back once read, so an error the application has pending would be lost to it; instead,
// every call here is made only after queries that cannot fail have shown that it will succeed.
// That needs direct state access: without it, a texture's target can only be found by binding
// the texture, and binding it to the wrong target is an error.
#define GL_GLEXT_PROTOTYPES 1
#include <EGL/egl.h>
#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glx.h>

#include <cstdio>
#include <cstring>

#include "sim_interfaces.h"
#include "simvr/simvr_control.h"

namespace simvr {

namespace {

constexpr GLint kMaxSide = 16384;

// Major * 10 + minor of the current context's desktop OpenGL; 0 for OpenGL ES or unknown.
int GlVersion() {
    const char* version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
    int major = 0, minor = 0;
    if (version == nullptr || std::sscanf(version, "%d.%d", &major, &minor) != 2) {
        return 0;
    }
    return major * 10 + minor;
}

bool HasDirectStateAccess(int version) {
    if (version >= 45) {
        return true;
    }
    if (version < 30) {  // no glGetStringi to ask with
        return false;
    }
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    for (GLint i = 0; i < count; ++i) {
        const char* name = reinterpret_cast<const char*>(glGetStringi(GL_EXTENSIONS, GLuint(i)));
        if (name != nullptr && std::strcmp(name, "GL_ARB_direct_state_access") == 0) {
            return true;
        }
    }
    return false;
}

bool IsIntegerType(GLint type) {
    return type == GL_INT || type == GL_UNSIGNED_INT;
}

// Tightly packed rows into client memory for the one read, then the caller's settings again.
class PackState {
public:
    PackState() {
        glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
        glGetIntegerv(GL_PACK_ROW_LENGTH, &rowLength);
        glGetIntegerv(GL_PACK_SKIP_ROWS, &skipRows);
        glGetIntegerv(GL_PACK_SKIP_PIXELS, &skipPixels);
        glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &buffer);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glPixelStorei(GL_PACK_ROW_LENGTH, 0);
        glPixelStorei(GL_PACK_SKIP_ROWS, 0);
        glPixelStorei(GL_PACK_SKIP_PIXELS, 0);
        glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    }
    ~PackState() {
        glPixelStorei(GL_PACK_ALIGNMENT, alignment);
        glPixelStorei(GL_PACK_ROW_LENGTH, rowLength);
        glPixelStorei(GL_PACK_SKIP_ROWS, skipRows);
        glPixelStorei(GL_PACK_SKIP_PIXELS, skipPixels);
        glBindBuffer(GL_PIXEL_PACK_BUFFER, GLuint(buffer));
    }
    PackState(const PackState&) = delete;
    PackState& operator=(const PackState&) = delete;

private:
    GLint alignment = 4, rowLength = 0, skipRows = 0, skipPixels = 0, buffer = 0;
};

// A blit obeys the scissor test; the resolve has to cover the whole image.
class ScissorOff {
public:
    explicit ScissorOff(int version) {
        // Each viewport has a switch of its own from 4.1 on.
        GLint viewports = 1;
        if (version >= 41) {
            glGetIntegerv(GL_MAX_VIEWPORTS, &viewports);
            indexed = true;
        }
        for (GLint i = 0; i < viewports; ++i) {
            enabled.push_back(indexed ? glIsEnabledi(GL_SCISSOR_TEST, GLuint(i))
                                      : glIsEnabled(GL_SCISSOR_TEST));
        }
        glDisable(GL_SCISSOR_TEST);
    }
    ~ScissorOff() {
        for (size_t i = 0; i < enabled.size(); ++i) {
            if (enabled[i] == GL_FALSE) {
                continue;
            }
            if (indexed) {
                glEnablei(GL_SCISSOR_TEST, GLuint(i));
            } else {
                glEnable(GL_SCISSOR_TEST);
            }
        }
    }
    ScissorOff(const ScissorOff&) = delete;
    ScissorOff& operator=(const ScissorOff&) = delete;

private:
    bool indexed = false;
    std::vector<GLboolean> enabled;
};

// Framebuffer and renderbuffer names of our own, gone with the scope.
struct OwnObjects {
    GLuint framebuffers[2] = {0, 0};
    GLuint renderbuffer = 0;
    ~OwnObjects() {
        glDeleteFramebuffers(2, framebuffers);
        glDeleteRenderbuffers(1, &renderbuffer);
    }
};

const char* ReadTexture(GLuint name, uint32_t* width, uint32_t* height,
                        std::vector<uint8_t>* rgba) {
    if (glIsTexture(name) == GL_FALSE) {
        return "not a texture name";
    }
    GLint target = 0;
    glGetTextureParameteriv(name, GL_TEXTURE_TARGET, &target);
    // A multisample texture, among others, cannot be read without a resolve of its own.
    if (target != GL_TEXTURE_2D) {
        return "not a GL_TEXTURE_2D texture";
    }
    GLint w = 0, h = 0;
    glGetTextureLevelParameteriv(name, 0, GL_TEXTURE_WIDTH, &w);
    glGetTextureLevelParameteriv(name, 0, GL_TEXTURE_HEIGHT, &h);
    if (w <= 0 || h <= 0 || w > kMaxSide || h > kMaxSide) {
        return "texture level 0 is empty or too large";
    }
    GLint depthType = GL_NONE, stencilSize = 0;
    glGetTextureLevelParameteriv(name, 0, GL_TEXTURE_DEPTH_TYPE, &depthType);
    glGetTextureLevelParameteriv(name, 0, GL_TEXTURE_STENCIL_SIZE, &stencilSize);
    if (depthType != GL_NONE || stencilSize != 0) {
        return "a depth or stencil texture has no colour to read";
    }
    for (GLenum component : {GL_TEXTURE_RED_TYPE, GL_TEXTURE_GREEN_TYPE, GL_TEXTURE_BLUE_TYPE,
                             GL_TEXTURE_ALPHA_TYPE}) {
        GLint type = GL_NONE;
        glGetTextureLevelParameteriv(name, 0, component, &type);
        if (IsIntegerType(type)) {
            return "an integer texture cannot be read as colour";
        }
    }
    rgba->resize(size_t(w) * size_t(h) * 4);
    {
        PackState pack;
        glGetTextureImage(name, 0, GL_RGBA, GL_UNSIGNED_BYTE, GLsizei(rgba->size()), rgba->data());
    }
    *width = uint32_t(w);
    *height = uint32_t(h);
    return nullptr;
}

// A framebuffer of our own that reads colour attachment 0, holding `renderbuffer`.
GLuint ReadingFramebuffer(GLuint renderbuffer, GLuint* framebuffer) {
    glCreateFramebuffers(1, framebuffer);
    glNamedFramebufferRenderbuffer(*framebuffer, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER,
                                   renderbuffer);
    glNamedFramebufferReadBuffer(*framebuffer, GL_COLOR_ATTACHMENT0);
    return *framebuffer;
}

const char* ReadRenderbuffer(GLuint name, int version, uint32_t* width, uint32_t* height,
                             std::vector<uint8_t>* rgba) {
    if (glIsRenderbuffer(name) == GL_FALSE) {
        return "not a renderbuffer name";
    }
    GLint w = 0, h = 0, samples = 0, format = 0;
    glGetNamedRenderbufferParameteriv(name, GL_RENDERBUFFER_WIDTH, &w);
    glGetNamedRenderbufferParameteriv(name, GL_RENDERBUFFER_HEIGHT, &h);
    glGetNamedRenderbufferParameteriv(name, GL_RENDERBUFFER_SAMPLES, &samples);
    glGetNamedRenderbufferParameteriv(name, GL_RENDERBUFFER_INTERNAL_FORMAT, &format);
    if (w <= 0 || h <= 0 || w > kMaxSide || h > kMaxSide) {
        return "renderbuffer is empty or too large";
    }
    OwnObjects own;
    const GLuint source = ReadingFramebuffer(name, &own.framebuffers[0]);
    // A depth or stencil renderbuffer makes a colour attachment incomplete.
    if (glCheckNamedFramebufferStatus(source, GL_READ_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        return "renderbuffer cannot be read through a framebuffer";
    }
    GLint componentType = GL_NONE;
    glGetNamedFramebufferAttachmentParameteriv(
        source, GL_COLOR_ATTACHMENT0, GL_FRAMEBUFFER_ATTACHMENT_COMPONENT_TYPE, &componentType);
    if (IsIntegerType(componentType)) {
        return "an integer renderbuffer cannot be read as colour";
    }

    GLuint readFrom = source;
    if (samples > 0) {
        // Resolved as a compositor would, into a single-sample copy of the same format (a
        // multisample blit between formats is not allowed everywhere).
        glCreateRenderbuffers(1, &own.renderbuffer);
        glNamedRenderbufferStorage(own.renderbuffer, GLenum(format), w, h);
        readFrom = ReadingFramebuffer(own.renderbuffer, &own.framebuffers[1]);
        glNamedFramebufferDrawBuffer(readFrom, GL_COLOR_ATTACHMENT0);
        if (glCheckNamedFramebufferStatus(readFrom, GL_DRAW_FRAMEBUFFER) !=
            GL_FRAMEBUFFER_COMPLETE) {
            return "no single-sample renderbuffer of the same format to resolve into";
        }
        ScissorOff scissor(version);
        glBlitNamedFramebuffer(source, readFrom, 0, 0, w, h, 0, 0, w, h, GL_COLOR_BUFFER_BIT,
                               GL_NEAREST);
    }

    rgba->resize(size_t(w) * size_t(h) * 4);
    GLint previousRead = 0;
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &previousRead);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, readFrom);
    {
        PackState pack;
        glReadPixels(0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, rgba->data());
    }
    glBindFramebuffer(GL_READ_FRAMEBUFFER, GLuint(previousRead));
    *width = uint32_t(w);
    *height = uint32_t(h);
    return nullptr;
}

}  // namespace

const char* ReadBackGlImage(uint32_t name, bool renderbuffer, uint32_t* width, uint32_t* height,
                            std::vector<uint8_t>* rgba) {
    if (name == 0 || width == nullptr || height == nullptr || rgba == nullptr) {
        return "no texture name";
    }
    if (glGetString(GL_VERSION) == nullptr) {
        return "no OpenGL context current on the submitting thread";
    }
    const int version = GlVersion();
    if (!HasDirectStateAccess(version)) {
        return "the context has neither OpenGL 4.5 nor GL_ARB_direct_state_access";
    }
    return renderbuffer ? ReadRenderbuffer(name, version, width, height, rgba)
                        : ReadTexture(name, width, height, rgba);
}

int32_t CurrentGlContextKind() {
    if (glXGetCurrentContext() != nullptr) {
        return SIMVR_GL_CONTEXT_GLX;
    }
    return eglGetCurrentContext() != EGL_NO_CONTEXT ? SIMVR_GL_CONTEXT_EGL : SIMVR_GL_CONTEXT_NONE;
}

}  // namespace simvr
