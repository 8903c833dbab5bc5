#pragma once

// One OpenGL rendering context with the device it draws on, and the factory of every GL object
// of the library. Factories do no GL work; each object allocates in its own operations.

#include <boost/shared_ptr.hpp>

#include <string>

namespace GB {
class Device;
}

namespace STN {

class IShader;
class ITexture;
class IMesh;
class IRenderTarget;
class IRenderTexture;
class IPanelRenderer;

class IGraphicsContext {
public:
    virtual boost::shared_ptr<IShader> CreateShader(const std::string& name) = 0;
    virtual boost::shared_ptr<ITexture> CreateTexture(const std::string& name) = 0;
    virtual boost::shared_ptr<IMesh> CreateMesh(const std::string& name) = 0;
    virtual boost::shared_ptr<IRenderTarget> CreateRenderTarget(const std::string& name) = 0;
    virtual boost::shared_ptr<IRenderTexture> CreateRenderTexture(const std::string& name) = 0;
    // "DepthPeeling" or "WeightedAverageBlending"; any other kind gives an empty pointer.
    virtual boost::shared_ptr<IPanelRenderer> CreatePanelRenderer(const std::string& kind) = 0;

    // Adopts the device's offscreen context (null: forgets any context).
    virtual void BindDevice(const boost::shared_ptr<GB::Device>& device) = 0;
    // Creates a core debug context of the version on the bound device, sharing with
    // `shareWith` when it is set. The new context is left current on the calling thread.
    virtual bool CreateVersionedContext(unsigned majorVersion,
                                        const boost::shared_ptr<IGraphicsContext>& shareWith) = 0;

    virtual bool IsCurrent() = 0;
    virtual void MakeCurrent() = 0;
    // Leaves the calling thread with no current context, whichever was current.
    virtual void ClearCurrent() = 0;
    // The pair keeps two threads from using one context at the same time.
    virtual void MakeCurrentAndLock() = 0;
    virtual void UnlockAndRelease() = 0;
    virtual void SwapBuffers() = 0;

    virtual unsigned GetWidth() = 0;
    virtual unsigned GetHeight() = 0;

    virtual void Flush() = 0;
    virtual void Finish() = 0;
    virtual void Clear() = 0;
    // The depth function is set also when the test is disabled.
    static constexpr int kDepthLess = 0;
    static constexpr int kDepthLessEqual = 1;
    virtual void SetDepthTest(bool enable, int function) = 0;
    virtual void SetDepthWrite(bool enable) = 0;
    // Premultiplied alpha: GL_ONE, GL_ONE_MINUS_SRC_ALPHA.
    virtual void SetBlending(bool enable) = 0;
    virtual void EnableDebugOutput(bool enable) = 0;
    virtual void CheckErrors() = 0;
    virtual void DestroyContext() = 0;

    virtual ~IGraphicsContext() = default;
};

}  // namespace STN
