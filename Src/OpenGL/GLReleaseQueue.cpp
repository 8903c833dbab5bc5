#include <GL/glew.h>

#include "OpenGL/GLReleaseQueue.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "OpenGL/GraphicsContextOGL.h"

namespace STN {

namespace {

struct OwnContext {
    const void* native;
    std::uint32_t group;
};

struct Waiting {
    GLObjectKind kind;
    std::uintptr_t handle;
    std::uint32_t group;
};

struct Queue {
    std::mutex mutex;
    std::vector<OwnContext> own;
    std::uint32_t lastGroup = 0;
    std::vector<Waiting> waiting;

    // The group of `native` if it is one of the library's contexts, else 0. Under the mutex.
    std::uint32_t GroupOf(const void* native) const {
        const auto found = std::find_if(own.begin(), own.end(), [native](const OwnContext& c) {
            return native != nullptr && c.native == native;
        });
        return found != own.end() ? found->group : 0;
    }
    bool GroupAlive(std::uint32_t group) const {
        return std::any_of(own.begin(), own.end(),
                           [group](const OwnContext& context) { return context.group == group; });
    }
};

Queue& Shared() {
    static Queue* queue = new Queue();  // used until the process ends
    return *queue;
}

void Delete(GLObjectKind kind, std::uintptr_t handle) {
    const GLuint name = static_cast<GLuint>(handle);
    switch (kind) {
        case GLObjectKind::kTexture:
            glDeleteTextures(1, &name);
            break;
        case GLObjectKind::kBuffer:
            glDeleteBuffers(1, &name);
            break;
        case GLObjectKind::kVertexArray:
            glDeleteVertexArrays(1, &name);
            break;
        case GLObjectKind::kFramebuffer:
            glDeleteFramebuffers(1, &name);
            break;
        case GLObjectKind::kRenderbuffer:
            glDeleteRenderbuffers(1, &name);
            break;
        case GLObjectKind::kProgram:
            glDeleteProgram(name);
            break;
        case GLObjectKind::kSync:
            glDeleteSync(reinterpret_cast<GLsync>(handle));
            break;
    }
}

}  // namespace

std::uint32_t GLReleaseQueue::NewGroup() {
    Queue& queue = Shared();
    std::lock_guard<std::mutex> lock(queue.mutex);
    return ++queue.lastGroup;
}

void GLReleaseQueue::AddOwnContext(const void* native, std::uint32_t group) {
    Queue& queue = Shared();
    std::lock_guard<std::mutex> lock(queue.mutex);
    queue.own.push_back({native, group});
}

void GLReleaseQueue::RemoveOwnContext(const void* native) {
    Queue& queue = Shared();
    std::lock_guard<std::mutex> lock(queue.mutex);
    const auto found =
        std::find_if(queue.own.begin(), queue.own.end(),
                     [native](const OwnContext& context) { return context.native == native; });
    if (found == queue.own.end()) {
        return;
    }
    const std::uint32_t group = found->group;
    queue.own.erase(found);
    if (!queue.GroupAlive(group)) {
        // Gone with the group's contexts.
        queue.waiting.erase(
            std::remove_if(queue.waiting.begin(), queue.waiting.end(),
                           [group](const Waiting& object) { return object.group == group; }),
            queue.waiting.end());
    }
}

std::uint32_t GLReleaseQueue::CurrentGroup() {
    const void* current = GraphicsContextOGL::CurrentNativeContext();
    Queue& queue = Shared();
    std::lock_guard<std::mutex> lock(queue.mutex);
    return queue.GroupOf(current);
}

void GLReleaseQueue::Release(GLObjectKind kind, std::uintptr_t handle, std::uint32_t group) {
    if (handle == 0) {
        return;
    }
    if (group == 0) {
        // Made where no context of the library's was current: on its maker's own context.
        Delete(kind, handle);
        return;
    }
    const void* current = GraphicsContextOGL::CurrentNativeContext();
    Queue& queue = Shared();
    {
        std::lock_guard<std::mutex> lock(queue.mutex);
        if (!queue.GroupAlive(group)) {
            return;  // its group's contexts are gone, and the object with them
        }
        if (queue.GroupOf(current) != group) {
            queue.waiting.push_back({kind, handle, group});
            return;
        }
    }
    Delete(kind, handle);
}

void GLReleaseQueue::Drain() {
    Queue& queue = Shared();
    std::vector<Waiting> due;
    {
        // Once a pass of the render loop: with nothing waiting, a lock and no more.
        std::lock_guard<std::mutex> lock(queue.mutex);
        if (queue.waiting.empty()) {
            return;
        }
        const std::uint32_t group = queue.GroupOf(GraphicsContextOGL::CurrentNativeContext());
        if (group == 0) {
            return;
        }
        const auto others =
            std::partition(queue.waiting.begin(), queue.waiting.end(),
                           [group](const Waiting& object) { return object.group != group; });
        due.assign(others, queue.waiting.end());
        queue.waiting.erase(others, queue.waiting.end());
    }
    for (const Waiting& object : due) {
        Delete(object.kind, object.handle);
    }
}

}  // namespace STN
