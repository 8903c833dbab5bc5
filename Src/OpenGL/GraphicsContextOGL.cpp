// The platform-neutral part of the context: factories, the steps of creation and destruction
// that both platforms share, the lock pair and GL state. Making, deleting and binding the context
// itself live in the EGL and WGL files.

#include <GL/glew.h>

#include "OpenGL/GraphicsContextOGL.h"

#include "GB/Device.h"
#include "OpenGL/DepthPeelingPanelRendererOGL.h"
#include "OpenGL/GLHooks.h"
#include "OpenGL/GLReleaseQueue.h"
#include "OpenGL/MeshOGL.h"
#include "OpenGL/RenderTargetOGL.h"
#include "OpenGL/RenderTextureOGL.h"
#include "OpenGL/ShaderOGL.h"
#include "OpenGL/TextureOGL.h"
#include "OpenGL/WeightedAverageBlendingPanelRendererOGL.h"

namespace STN {

GraphicsContextOGL::GraphicsContextOGL(const std::string& name, ContextPlatform platform)
    : name(name), platform(platform) {}

GraphicsContextOGL::~GraphicsContextOGL() {
    DestroyContext();
}

boost::shared_ptr<GraphicsContextOGL> CreateGraphicsContext(const std::string& name,
                                                            ContextPlatform platform) {
    return boost::shared_ptr<GraphicsContextOGL>(new GraphicsContextOGL(name, platform));
}

boost::shared_ptr<GraphicsContextOGL> CreateGraphicsContext(const std::string& name) {
    return CreateGraphicsContext(name, ChooseContextPlatform());
}

boost::shared_ptr<IShader> GraphicsContextOGL::CreateShader(const std::string& name) {
    return boost::shared_ptr<IShader>(new ShaderOGL(name));
}

boost::shared_ptr<ITexture> GraphicsContextOGL::CreateTexture(const std::string& name) {
    return boost::shared_ptr<ITexture>(new TextureOGL(name));
}

boost::shared_ptr<IMesh> GraphicsContextOGL::CreateMesh(const std::string& name) {
    return boost::shared_ptr<IMesh>(new MeshOGL(name));
}

boost::shared_ptr<IRenderTarget> GraphicsContextOGL::CreateRenderTarget(const std::string& name) {
    return boost::shared_ptr<IRenderTarget>(new RenderTargetOGL(name));
}

boost::shared_ptr<IRenderTexture> GraphicsContextOGL::CreateRenderTexture(const std::string& name) {
    return boost::shared_ptr<IRenderTexture>(new RenderTextureOGL(name));
}

boost::shared_ptr<IPanelRenderer> GraphicsContextOGL::CreatePanelRenderer(const std::string& kind) {
    if (kind == "DepthPeeling") {
        return boost::shared_ptr<IPanelRenderer>(new DepthPeelingPanelRendererOGL());
    }
    if (kind == "WeightedAverageBlending") {
        return boost::shared_ptr<IPanelRenderer>(new WeightedAverageBlendingPanelRendererOGL());
    }
    return boost::shared_ptr<IPanelRenderer>();
}

void GraphicsContextOGL::BindDevice(const boost::shared_ptr<GB::Device>& device) {
    DestroyContext();
    if (device) {
        deviceContext = static_cast<DeviceHandle>(device->GetOffscreenOpenGLDeviceHandle());
        glContext = static_cast<ContextHandle>(device->GetOffscreenOpenGLContextHandle());
        width = 1;
        height = 1;
    } else {
        deviceContext = nullptr;
        glContext = nullptr;
        width = 0;
        height = 0;
    }
    ownsContext = false;
}

bool GraphicsContextOGL::CreateVersionedContext(
    unsigned majorVersion, const boost::shared_ptr<IGraphicsContext>& shareWith) {
    // The new context goes on the device of the old one.
    const DeviceHandle device = deviceContext;
    DestroyContext();
    deviceContext = device;
    if (!CreateOwnContext(majorVersion, shareWith)) {
        return false;
    }
    // The share group of the library's context it shares with, or a new one.
    const GraphicsContextOGL* partner = dynamic_cast<const GraphicsContextOGL*>(shareWith.get());
    shareGroup = partner != nullptr && partner->shareGroup != 0 ? partner->shareGroup
                                                                : GLReleaseQueue::NewGroup();
    GLReleaseQueue::AddOwnContext(glContext, shareGroup);
    return true;
}

bool GraphicsContextOGL::CoreMinorVersion(unsigned majorVersion, int& minorVersion) {
    if (majorVersion != 3 && majorVersion != 4) {
        return false;
    }
    minorVersion = majorVersion == 3 ? 2 : 1;
    return true;
}

void GraphicsContextOGL::LoadEntryPoints() {
    // GLEW built for GLX reports that it found no GLX display under EGL while it has loaded every
    // GL entry point; its result is not a measure of success here.
    glewExperimental = GL_TRUE;
    (void)glewInit();
    CheckGLErrors(true);
}

void GraphicsContextOGL::DestroyContext() {
    if (glContext != nullptr) {
        if (ownsContext) {
            GLReleaseQueue::RemoveOwnContext(glContext);
            DeleteOwnContext();
        }
        shareGroup = 0;
        glContext = nullptr;
    }
    deviceContext = nullptr;
    ownsContext = false;
    width = 0;
    height = 0;
}

void GraphicsContextOGL::MakeCurrentAndLock() {
    // Lock before touching the context, so it is never current on a thread without the lock.
    mutex.Lock("GraphicsContextOGL::MakeCurrentAndLock");
    locked = true;
    MakeCurrent();
}

void GraphicsContextOGL::UnlockAndRelease() {
    ClearCurrent();
    locked = false;
    mutex.Unlock();
}

void GraphicsContextOGL::Flush() {
    CheckErrors();
    glFlush();
}

void GraphicsContextOGL::Finish() {
    glFinish();
}

void GraphicsContextOGL::Clear() {
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

void GraphicsContextOGL::SetDepthTest(bool enable, int function) {
    if (enable) {
        glEnable(GL_DEPTH_TEST);
    } else {
        glDisable(GL_DEPTH_TEST);
    }
    glDepthFunc(function == kDepthLessEqual ? GL_LEQUAL : GL_LESS);
}

void GraphicsContextOGL::SetDepthWrite(bool enable) {
    glDepthMask(enable ? GL_TRUE : GL_FALSE);
}

void GraphicsContextOGL::SetBlending(bool enable) {
    if (enable) {
        glEnable(GL_BLEND);
        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    } else {
        glDisable(GL_BLEND);
    }
}

void GraphicsContextOGL::EnableDebugOutput(bool enable) {
    SetGLDebugOutput(enable);
}

void GraphicsContextOGL::CheckErrors() {
    CheckGLErrors(false);
}

}  // namespace STN
