// Small pieces the GL resource classes share: making and deleting object names, the colour of a
// render framebuffer, the resize rule of render targets, and binding on texture unit 0. Inline,
// so that the graphics build needs no further source.
#pragma once

#include <GL/glew.h>

#include <cstdint>

namespace STN {
namespace globjects {

// One new name from a glGen* function (glGenTextures, glGenBuffers, ...).
template <typename Generate>
std::uint32_t NewName(Generate generate) {
    GLuint name = 0;
    generate(1, &name);
    return name;
}

// Deletes the named object with a glDelete* function and clears the name.
template <typename Delete>
void DeleteName(Delete destroy, std::uint32_t& name) {
    const GLuint doomed = name;
    destroy(1, &doomed);
    name = 0;
}

// Deletes a framebuffer's colour texture and then the framebuffer. A name of 0 is skipped: GL
// would ignore it anyway, and an object never made may have had no context to call.
inline void DeleteFramebuffer(std::uint32_t& framebuffer, std::uint32_t& color) {
    if (color != 0) {
        DeleteName(glDeleteTextures, color);
    }
    if (framebuffer != 0) {
        DeleteName(glDeleteFramebuffers, framebuffer);
    }
}

// The same for a framebuffer with a depth renderbuffer as well, which goes first.
inline void DeleteFramebuffer(std::uint32_t& framebuffer, std::uint32_t& color,
                              std::uint32_t& depth) {
    if (depth != 0) {
        DeleteName(glDeleteRenderbuffers, depth);
    }
    DeleteFramebuffer(framebuffer, color);
}

// Gives the bound `texture` one RGBA8 level of `width` x `height`, linearly filtered, and makes
// it the colour of the bound framebuffer.
inline void AttachColorLevel(GLenum target, std::uint32_t texture, GLsizei width, GLsizei height) {
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(target, GL_TEXTURE_MAX_LEVEL, 0);
    glTexImage2D(target, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, target, texture, 0);
}

// The render targets' rule for Create: one that has this size already keeps what it holds
// (false); any other is released and takes the new size, to be made afresh (true).
template <typename Target>
bool Resize(Target& target, std::int32_t& width, std::int32_t& height, int newWidth,
            int newHeight) {
    if (newWidth == width && newHeight == height) {
        return false;
    }
    target.Release();
    width = newWidth;
    height = newHeight;
    return true;
}

// Binds `texture` (0: none) to `target` on texture unit 0.
inline void BindOnUnitZero(GLenum target, std::uint32_t texture) {
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(target, texture);
}

}  // namespace globjects
}  // namespace STN
