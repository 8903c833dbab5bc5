// Reading a submitted eye texture back with the submitter's own context. A vendor compositor
// would share the texture into its own context; the simulation has none, so it reads on the
// caller's thread and puts back every binding it touched.
#define GL_GLEXT_PROTOTYPES 1
#include <GL/gl.h>
#include <GL/glext.h>

#include "sim_interfaces.h"

namespace simvr {

namespace {

constexpr uint32_t kMaxSide = 16384;

// Takes the errors already pending, so that the ones that follow are ours. Bounded: a lost
// context may keep answering with an error.
void DrainErrors() {
    for (int i = 0; i < 16 && glGetError() != GL_NO_ERROR; ++i) {
    }
}

struct PackState {
    GLint alignment = 4, rowLength = 0, skipRows = 0, skipPixels = 0, buffer = 0;

    void Save() {
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
    void Restore() const {
        glPixelStorei(GL_PACK_ALIGNMENT, alignment);
        glPixelStorei(GL_PACK_ROW_LENGTH, rowLength);
        glPixelStorei(GL_PACK_SKIP_ROWS, skipRows);
        glPixelStorei(GL_PACK_SKIP_PIXELS, skipPixels);
        glBindBuffer(GL_PIXEL_PACK_BUFFER, GLuint(buffer));
    }
};

const char* ReadTexture(GLuint name, uint32_t* width, uint32_t* height,
                        std::vector<uint8_t>* rgba) {
    if (glIsTexture(name) == GL_FALSE) {
        return "not a texture name";
    }
    GLint previous = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &previous);
    // A texture of another target (a multisample one, say) cannot be bound to GL_TEXTURE_2D:
    // that shows as an error, which is taken here and not left behind for the caller.
    DrainErrors();
    glBindTexture(GL_TEXTURE_2D, name);
    if (glGetError() != GL_NO_ERROR) {
        return "not a GL_TEXTURE_2D texture";
    }
    GLint w = 0, h = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &w);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &h);
    const char* failure = nullptr;
    if (w <= 0 || h <= 0 || uint32_t(w) > kMaxSide || uint32_t(h) > kMaxSide) {
        failure = "texture level 0 is empty or too large";
    } else {
        rgba->resize(size_t(w) * size_t(h) * 4);
        PackState pack;
        pack.Save();
        glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, rgba->data());
        pack.Restore();
        if (glGetError() != GL_NO_ERROR) {
            failure = "glGetTexImage failed";
        }
        *width = uint32_t(w);
        *height = uint32_t(h);
    }
    glBindTexture(GL_TEXTURE_2D, GLuint(previous));
    return failure;
}

const char* ReadRenderbuffer(GLuint name, uint32_t* width, uint32_t* height,
                             std::vector<uint8_t>* rgba) {
    if (glIsRenderbuffer(name) == GL_FALSE) {
        return "not a renderbuffer name";
    }
    GLint previousRenderbuffer = 0, previousRead = 0;
    glGetIntegerv(GL_RENDERBUFFER_BINDING, &previousRenderbuffer);
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &previousRead);
    DrainErrors();
    glBindRenderbuffer(GL_RENDERBUFFER, name);
    GLint w = 0, h = 0;
    glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_WIDTH, &w);
    glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_HEIGHT, &h);
    glBindRenderbuffer(GL_RENDERBUFFER, GLuint(previousRenderbuffer));
    if (w <= 0 || h <= 0 || uint32_t(w) > kMaxSide || uint32_t(h) > kMaxSide) {
        return "renderbuffer is empty or too large";
    }
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffer);
    glFramebufferRenderbuffer(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, name);
    // The read buffer belongs to the framebuffer object, so this leaves the caller's alone.
    glReadBuffer(GL_COLOR_ATTACHMENT0);
    const char* failure = nullptr;
    if (glCheckFramebufferStatus(GL_READ_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        failure = "renderbuffer cannot be read through a framebuffer";
    } else {
        rgba->resize(size_t(w) * size_t(h) * 4);
        PackState pack;
        pack.Save();
        // A multisample renderbuffer fails here: it has to be resolved before it can be read.
        glReadPixels(0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, rgba->data());
        pack.Restore();
        if (glGetError() != GL_NO_ERROR) {
            failure = "glReadPixels failed";
        }
        *width = uint32_t(w);
        *height = uint32_t(h);
    }
    glBindFramebuffer(GL_READ_FRAMEBUFFER, GLuint(previousRead));
    glDeleteFramebuffers(1, &framebuffer);
    return failure;
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
    return renderbuffer ? ReadRenderbuffer(name, width, height, rgba)
                        : ReadTexture(name, width, height, rgba);
}

}  // namespace simvr
