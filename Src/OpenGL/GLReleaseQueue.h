// Where the library's GL objects are deleted. They are often let go of on a host's thread: a
// panel shut down there, a panel manager the host kept past the stop. Deleting a name there
// deletes nothing when no context is current (the object stays until the stop), and, with the
// host's own GL context current, deletes the host's object of the same name. So a name let go of
// where no context of its share group is current waits here for the render thread, which
// deletes it at the start of its next pass; a name whose group's contexts are all gone is dropped
// with them.
#pragma once

#include <cstdint>

namespace STN {

enum class GLObjectKind {
    kTexture,
    kBuffer,
    kVertexArray,
    kFramebuffer,
    kRenderbuffer,
    kProgram,
    kSync
};

class GLReleaseQueue {
public:
    // A new share group's number, for a context that shares with none of the library's.
    static std::uint32_t NewGroup();
    // A context the library made, in share group `group`.
    static void AddOwnContext(const void* native, std::uint32_t group);
    // The context goes; with the last one of its group, what of the group waits is dropped.
    static void RemoveOwnContext(const void* native);
    // The share group of the library's context current on this thread, which names made now
    // belong to; 0 for none (names made then, on a context of someone else's, are deleted
    // wherever they are let go of).
    static std::uint32_t CurrentGroup();
    // Deletes the object now when a context of its group is current, else leaves it for the
    // render thread; drops it when its group has no context left. Handle 0 is nothing.
    static void Release(GLObjectKind kind, std::uintptr_t handle, std::uint32_t group);
    // Deletes what waits of the current context's group; on the render thread.
    static void Drain();
};

}  // namespace STN
