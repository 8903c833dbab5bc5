#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

#include "IGraphicsContext.h"
#include "OpenGL/ContextPlatform.h"
#include "hostcore/threads.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include "OpenGL/GLXSupport.h"
#endif

namespace STN {

// The OpenGL context: WGL on Windows; on Linux GLX or EGL (no config, no surface), as chosen
// for the start (ContextPlatform.h). A context either adopts the host device's offscreen context
// (never deleted here; on Linux always the host's EGL context) or creates its own on its platform.
class GraphicsContextOGL : public IGraphicsContext {
public:
#if defined(_WIN32)
    using DeviceHandle = HDC;
    using ContextHandle = HGLRC;
#else
    // EGLDisplay and EGLContext, or Display* and GLXContext for a context made on GLX.
    using DeviceHandle = void*;
    using ContextHandle = void*;
#endif

    GraphicsContextOGL(const std::string& name, ContextPlatform platform);
    ~GraphicsContextOGL() override;
    GraphicsContextOGL(const GraphicsContextOGL&) = delete;
    GraphicsContextOGL& operator=(const GraphicsContextOGL&) = delete;

    boost::shared_ptr<IShader> CreateShader(const std::string& name) override;
    boost::shared_ptr<ITexture> CreateTexture(const std::string& name) override;
    boost::shared_ptr<IMesh> CreateMesh(const std::string& name) override;
    boost::shared_ptr<IRenderTarget> CreateRenderTarget(const std::string& name) override;
    boost::shared_ptr<IRenderTexture> CreateRenderTexture(const std::string& name) override;
    boost::shared_ptr<IPanelRenderer> CreatePanelRenderer(const std::string& kind) override;

    void BindDevice(const boost::shared_ptr<GB::Device>& device) override;
    bool CreateVersionedContext(unsigned majorVersion,
                                const boost::shared_ptr<IGraphicsContext>& shareWith) override;

    bool IsCurrent() override;
    // The native context current on the calling thread (EGL, GLX or WGL), whoever made it;
    // null for none. Tells two contexts apart on one thread.
    static const void* CurrentNativeContext();
    void MakeCurrent() override;
    void ClearCurrent() override;
    void MakeCurrentAndLock() override;
    void UnlockAndRelease() override;
    void SwapBuffers() override;

    unsigned GetWidth() override {
        return width;
    }
    unsigned GetHeight() override {
        return height;
    }

    void Flush() override;
    void Finish() override;
    void Clear() override;
    void SetDepthTest(bool enable, int function) override;
    void SetDepthWrite(bool enable) override;
    void SetBlending(bool enable) override;
    void EnableDebugOutput(bool enable) override;
    void CheckErrors() override;
    void DestroyContext() override;

    const std::string& GetName() const {
        return name;
    }
    DeviceHandle GetDeviceHandle() const {
        return deviceContext;
    }
    ContextHandle GetContextHandle() const {
        return glContext;
    }
    bool OwnsContext() const {
        return ownsContext;
    }
    // The platform this object makes its own context on.
    ContextPlatform GetPlatform() const {
        return platform;
    }

private:
    // The platform's part of CreateVersionedContext, on the device kept from before.
    bool CreateOwnContext(unsigned majorVersion,
                          const boost::shared_ptr<IGraphicsContext>& shareWith);
#if !defined(_WIN32)
    // CreateOwnContext on GLX, sharing with `shareWith` (null: none).
    bool CreateOwnGLXContext(unsigned majorVersion, int minorVersion,
                             const GraphicsContextOGL* shareWith);
#endif
    // The platform's deletion of a context this object made.
    void DeleteOwnContext();
    // 3.2 for major version 3 and 4.1 for 4, the core versions the library asks for; false for
    // any other major version.
    static bool CoreMinorVersion(unsigned majorVersion, int& minorVersion);
    // Loads the GL entry points for the current context, dropping what the loader's probing left.
    static void LoadEntryPoints();

    // The share group of a context this object made (GLReleaseQueue); 0 for none.
    std::uint32_t shareGroup = 0;
    std::string name;
    const ContextPlatform platform;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    hostcore::threads::RecursiveMutex mutex;
    bool locked = false;
    bool ownsContext = false;
    DeviceHandle deviceContext = nullptr;
    ContextHandle glContext = nullptr;
#if !defined(_WIN32)
    // The X connection and pbuffer of a context made on GLX.
    boost::shared_ptr<glxsupport::Connection> connection;
    unsigned long glxDrawable = 0;
#endif
};

// A context to be made on `platform`; without one, on the platform ChooseContextPlatform picks
// now. Contexts that share must be made on one platform.
boost::shared_ptr<GraphicsContextOGL> CreateGraphicsContext(const std::string& name,
                                                            ContextPlatform platform);
boost::shared_ptr<GraphicsContextOGL> CreateGraphicsContext(const std::string& name);

}  // namespace STN
