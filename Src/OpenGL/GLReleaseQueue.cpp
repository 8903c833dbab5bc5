#include <GL/glew.h>

#include "OpenGL/GLReleaseQueue.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "OpenGL/GraphicsContextOGL.h"

namespace STN {

namespace {

struct Waiting {
    GLObjectKind kind;
    std::uintptr_t handle;
};

struct Queue {
    std::mutex mutex;
    std::vector<const void*> own;
    std::uint32_t run = 0;
    std::vector<Waiting> waiting;
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

void GLReleaseQueue::AddOwnContext(const void* native) {
    Queue& queue = Shared();
    std::lock_guard<std::mutex> lock(queue.mutex);
    if (queue.own.empty()) {
        ++queue.run;
        queue.waiting.clear();
    }
    queue.own.push_back(native);
}

void GLReleaseQueue::RemoveOwnContext(const void* native) {
    Queue& queue = Shared();
    std::lock_guard<std::mutex> lock(queue.mutex);
    const auto found = std::find(queue.own.begin(), queue.own.end(), native);
    if (found != queue.own.end()) {
        queue.own.erase(found);
    }
    if (queue.own.empty()) {
        queue.waiting.clear();  // gone with the contexts
    }
}

std::uint32_t GLReleaseQueue::CurrentRun() {
    Queue& queue = Shared();
    std::lock_guard<std::mutex> lock(queue.mutex);
    return queue.own.empty() ? 0 : queue.run;
}

void GLReleaseQueue::Release(GLObjectKind kind, std::uintptr_t handle, std::uint32_t run) {
    if (handle == 0) {
        return;
    }
    if (run == 0) {
        // Made where no context of the library's was alive: the maker's own context is current.
        Delete(kind, handle);
        return;
    }
    const void* current = GraphicsContextOGL::CurrentNativeContext();
    Queue& queue = Shared();
    {
        std::lock_guard<std::mutex> lock(queue.mutex);
        if (run != queue.run || queue.own.empty()) {
            return;  // its run's contexts are gone, and the object with them
        }
        if (current == nullptr ||
            std::find(queue.own.begin(), queue.own.end(), current) == queue.own.end()) {
            queue.waiting.push_back({kind, handle});
            return;
        }
    }
    Delete(kind, handle);
}

void GLReleaseQueue::Drain() {
    Queue& queue = Shared();
    std::vector<Waiting> batch;
    {
        std::lock_guard<std::mutex> lock(queue.mutex);
        if (queue.waiting.empty()) {
            return;
        }
        batch.swap(queue.waiting);
    }
    for (const Waiting& object : batch) {
        Delete(object.kind, object.handle);
    }
}

}  // namespace STN
