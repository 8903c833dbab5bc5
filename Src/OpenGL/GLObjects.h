// Small pieces the GL resource classes share: making and letting go of object names, the colour
// of a render framebuffer, the resize rule of render targets, and binding on texture unit 0.
#pragma once

#include <GL/glew.h>

#include <cstdint>

#include "OpenGL/GLReleaseQueue.h"

namespace STN {
namespace globjects {

// One new name from a glGen* function (glGenTextures, glGenBuffers, ...); `group` is set to the
// group it belongs to (see GLReleaseQueue).
template <typename Generate>
std::uint32_t NewName(Generate generate, std::uint32_t& group) {
    GLuint name = 0;
    generate(1, &name);
    group = GLReleaseQueue::CurrentGroup();
    return name;
}

// Lets go of the named object (see GLReleaseQueue) and clears the name. A name of 0 is skipped.
inline void DeleteName(GLObjectKind kind, std::uint32_t& name, std::uint32_t group) {
    GLReleaseQueue::Release(kind, name, group);
    name = 0;
}

// Lets go of a framebuffer's colour texture and then the framebuffer.
inline void DeleteFramebuffer(std::uint32_t& framebuffer, std::uint32_t& color,
                              std::uint32_t group) {
    DeleteName(GLObjectKind::kTexture, color, group);
    DeleteName(GLObjectKind::kFramebuffer, framebuffer, group);
}

// The same for a framebuffer with a depth renderbuffer as well, which goes first.
inline void DeleteFramebuffer(std::uint32_t& framebuffer, std::uint32_t& color,
                              std::uint32_t& depth, std::uint32_t group) {
    DeleteName(GLObjectKind::kRenderbuffer, depth, group);
    DeleteFramebuffer(framebuffer, color, group);
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
