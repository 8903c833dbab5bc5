// Where the library's GL objects are deleted. They are often let go of on a host's thread: a
// panel shut down there, a panel manager the host kept past the stop. Deleting a name there
// deletes nothing when no context is current (the object stays until the stop), and, with the
// host's own GL context current, deletes the host's object of the same name. So a name let go of
// where none of the library's contexts is current waits here for the render thread, which deletes
// it at the start of its next pass; a name of a run whose contexts are gone is dropped with them.
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
    // A context the library made, current on the threads that may delete its objects at once.
    // The first one after none begins a new run; when the last one goes, what waits is dropped.
    static void AddOwnContext(const void* native);
    static void RemoveOwnContext(const void* native);
    // The run that names made now belong to; 0 while the library has no context (names made
    // then, on a context of someone else's, are deleted wherever they are let go of).
    static std::uint32_t CurrentRun();
    // Deletes the object now when one of the library's contexts is current, else leaves it for
    // the render thread; drops it when its run has ended. Handle 0 is nothing.
    static void Release(GLObjectKind kind, std::uintptr_t handle, std::uint32_t run);
    // Deletes what waits; on the render thread, with its context current.
    static void Drain();
};

}  // namespace STN
