// The context on the platform chosen for the run (EGL without a display, GLX under an X server):
// creating versioned contexts that share, current-state handling, the lock pair across threads
// and GL errors.

#include <GL/glew.h>

#include <EGL/egl.h>
#include <gtest/gtest.h>

// After gtest: Xlib's macros (None, Bool) would break its headers.
#include <GL/glx.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "GB/Device.h"
#include "ITexture.h"
#include "OpenGL/GLHooks.h"
#include "OpenGL/GLReleaseQueue.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenGL/TextureOGL.h"
#include "ScopedContextLock.h"
#include "gl_test_context.h"
#include "hostcore/debug.h"
#include "hostcore/threads.h"

namespace {

using STN::GraphicsContextOGL;

class GraphicsContextTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string reason;
        device = GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
        if (!device) {
            GTEST_SKIP() << "no host device with an offscreen context: " << reason;
        }
    }
    void TearDown() override {
        // Whatever a test left current goes before the device's context does.
        if (Display* x = glXGetCurrentDisplay()) {
            glXMakeContextCurrent(x, 0, 0, nullptr);
        }
        const EGLDisplay display = eglGetCurrentDisplay();
        if (display != EGL_NO_DISPLAY) {
            eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        }
    }

    // A context built the way the render thread builds its own: bind the device, then create.
    boost::shared_ptr<GraphicsContextOGL> MakeVersioned(
        const std::string& name, const boost::shared_ptr<STN::IGraphicsContext>& shareWith = {}) {
        boost::shared_ptr<GraphicsContextOGL> context = STN::CreateGraphicsContext(name);
        context->BindDevice(device);
        if (!context->CreateVersionedContext(4, shareWith)) {
            return boost::shared_ptr<GraphicsContextOGL>();
        }
        return context;
    }
    // A versioned context left current nowhere, as the lock tests want it.
    boost::shared_ptr<GraphicsContextOGL> MakeReleased() {
        boost::shared_ptr<GraphicsContextOGL> context = MakeVersioned("RenderContext");
        if (context) {
            context->ClearCurrent();
        }
        return context;
    }
    // Texture names up to name + 8 in the current context, `name` among them; the caller deletes.
    static std::vector<GLuint> TakeNamesUpTo(GLuint name) {
        std::vector<GLuint> names(name + 8);
        glGenTextures(static_cast<GLsizei>(names.size()), names.data());
        for (const GLuint each : names) {
            glBindTexture(GL_TEXTURE_2D, each);
        }
        glBindTexture(GL_TEXTURE_2D, 0);
        return names;
    }

    boost::shared_ptr<GB::Device> device;
};

// glClientWaitSync, counted.
int clientWaits = 0;
PFNGLCLIENTWAITSYNCPROC realClientWait = nullptr;
GLenum GLAPIENTRY CountedClientWait(GLsync sync, GLbitfield flags, GLuint64 timeout) {
    ++clientWaits;
    return realClientWait(sync, flags, timeout);
}

bool NothingCurrent() {
    return eglGetCurrentContext() == EGL_NO_CONTEXT && glXGetCurrentContext() == nullptr;
}

TEST_F(GraphicsContextTest, VersionedContextIsA41CoreDebugContextAndBadRequestsLeaveNone) {
    boost::shared_ptr<GraphicsContextOGL> context = MakeVersioned("RenderContext");
    ASSERT_TRUE(context);
    EXPECT_TRUE(context->IsCurrent());
    EXPECT_TRUE(context->OwnsContext());
    EXPECT_GE(stereon::test::CurrentGlVersion(), 41);
    GLint profile = 0;
    GLint flags = 0;
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    glGetIntegerv(GL_CONTEXT_FLAGS, &flags);
    EXPECT_NE(profile & GL_CONTEXT_CORE_PROFILE_BIT, 0);
    EXPECT_NE(flags & GL_CONTEXT_FLAG_DEBUG_BIT, 0);
    context->ClearCurrent();
    context.reset();
    EXPECT_TRUE(NothingCurrent());

    // Without a device there is nothing to create on, and nothing is left current.
    boost::shared_ptr<GraphicsContextOGL> unbound = STN::CreateGraphicsContext("Unbound");
    unbound->BindDevice(boost::shared_ptr<GB::Device>());
    EXPECT_FALSE(unbound->CreateVersionedContext(4, boost::shared_ptr<GraphicsContextOGL>()));
    EXPECT_EQ(unbound->GetContextHandle(), nullptr);
    EXPECT_TRUE(NothingCurrent());
}

TEST_F(GraphicsContextTest, ShareChainSeesObjectsOfEveryMember) {
    // The render thread's chain: device <- render <- upload. The device's context is EGL, so
    // contexts made on GLX cannot share with it and the chain starts at render.
    boost::shared_ptr<GraphicsContextOGL> deviceContext =
        STN::CreateGraphicsContext("DeviceContext");
    deviceContext->BindDevice(device);
    const bool glx = deviceContext->GetPlatform() == STN::ContextPlatform::kGLX;
    if (glx) {
        EXPECT_FALSE(MakeVersioned("RenderContext", deviceContext));
        EXPECT_TRUE(NothingCurrent());
    }
    boost::shared_ptr<GraphicsContextOGL> render = MakeVersioned(
        "RenderContext", glx ? boost::shared_ptr<GraphicsContextOGL>() : deviceContext);
    ASSERT_TRUE(render);
    boost::shared_ptr<GraphicsContextOGL> upload = MakeVersioned("UploadContext", render);
    ASSERT_TRUE(upload);
    EXPECT_TRUE(upload->IsCurrent());
    EXPECT_FALSE(render->IsCurrent());

    // A texture filled on the upload context is read on the render context.
    boost::shared_ptr<STN::ITexture> texture = upload->CreateTexture("Shared");
    texture->Create(device, 2, 1, hostmediatypes::kPixelFormat_RGBA_4444_8u);
    const std::uint8_t pixels[8] = {10, 20, 30, 255, 40, 50, 60, 255};
    texture->Upload(pixels, hostmediatypes::kPixelFormat_RGBA_4444_8u, 8);
    upload->Finish();
    const GLuint name = static_cast<STN::TextureOGL&>(*texture).GetTexture();
    render->MakeCurrent();
    EXPECT_FALSE(upload->IsCurrent());
    EXPECT_EQ(stereon::test::ReadTextureRGBA8(name, 2, 1),
              std::vector<std::uint8_t>(pixels, pixels + 8));

    // A use fenced on one context is waited for on another, on the same thread too (a quad
    // painted from a callback on the render thread); on its own context it is not.
    realClientWait = __glewClientWaitSync;
    clientWaits = 0;
    __glewClientWaitSync = CountedClientWait;
    upload->MakeCurrent();
    texture->FenceUse();
    upload->Flush();
    render->MakeCurrent();
    texture->WaitForUse();
    EXPECT_EQ(clientWaits, 1) << "the other context's fence was not waited for";
    texture->FenceUse();
    texture->WaitForUse();
    EXPECT_EQ(clientWaits, 1) << "a context waited for its own fence";
    __glewClientWaitSync = realClientWait;

    texture->Release();
    render->ClearCurrent();
}

// An object let go of where none of the library's contexts is current (a host's thread, its own
// context current) is not deleted there, where its name means the host's object, but waits for
// the render thread's drain.
TEST_F(GraphicsContextTest, ObjectsLetGoOfElsewhereWaitForALibraryContext) {
    boost::shared_ptr<GraphicsContextOGL> render = MakeVersioned("RenderContext");
    ASSERT_TRUE(render);
    boost::shared_ptr<STN::ITexture> texture = render->CreateTexture("Waiting");
    texture->Create(device, 4, 4, hostmediatypes::kPixelFormat_RGBA_4444_8u);
    const GLuint name = static_cast<STN::TextureOGL&>(*texture).GetTexture();
    ASSERT_NE(name, 0u);
    render->ClearCurrent();

    stereon::test::GlTestContext host;
    host.MakeCurrent();
    ASSERT_TRUE(host.IsCurrent()) << host.Error();
    std::vector<GLuint> hostTextures = TakeNamesUpTo(name);
    ASSERT_TRUE(glIsTexture(name)) << "the host has an object of that name";
    texture.reset();
    EXPECT_TRUE(glIsTexture(name)) << "the host's object was deleted";
    glDeleteTextures(static_cast<GLsizei>(hostTextures.size()), hostTextures.data());
    host.ReleaseCurrent();

    render->MakeCurrent();
    EXPECT_TRUE(glIsTexture(name)) << "deleted before the drain";
    STN::GLReleaseQueue::Drain();
    EXPECT_FALSE(glIsTexture(name));

    // A run's object let go of while the next run's context is current (a host that kept a
    // panel across a restart) is never deleted there: it waits for a context of its own group,
    // and goes with the last one.
    boost::shared_ptr<STN::ITexture> old = render->CreateTexture("OfTheOldRun");
    old->Create(device, 4, 4, hostmediatypes::kPixelFormat_RGBA_4444_8u);
    const GLuint oldName = static_cast<STN::TextureOGL&>(*old).GetTexture();
    render->ClearCurrent();
    boost::shared_ptr<GraphicsContextOGL> next = MakeVersioned("NextRunsContext");
    ASSERT_TRUE(next);
    std::vector<GLuint> nextTextures = TakeNamesUpTo(oldName);
    old.reset();
    STN::GLReleaseQueue::Drain();
    render.reset();
    STN::GLReleaseQueue::Drain();
    EXPECT_TRUE(glIsTexture(oldName)) << "the next run's object was deleted";
    glDeleteTextures(static_cast<GLsizei>(nextTextures.size()), nextTextures.data());
    next->ClearCurrent();
}

TEST_F(GraphicsContextTest, LockPairKeepsTwoThreadsOffOneContext) {
    boost::shared_ptr<GraphicsContextOGL> context = MakeReleased();
    ASSERT_TRUE(context);

    // Without the lock the second thread's eglMakeCurrent would fail (the context is current
    // elsewhere) and it would see no current context.
    std::atomic<int> inside{0};
    std::atomic<int> failures{0};  // overlaps, or a thread holding the lock without the context
    const auto work = [&]() {
        for (int i = 0; i < 200; ++i) {
            context->MakeCurrentAndLock();
            if (inside.fetch_add(1) != 0 || !context->IsCurrent()) {
                ++failures;
            }
            glFlush();
            inside.fetch_sub(1);
            context->UnlockAndRelease();
        }
    };
    std::thread a(work);
    std::thread b(work);
    a.join();
    b.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_TRUE(NothingCurrent());
}

// The outer hold is the scoped lock the library's callers use.
TEST_F(GraphicsContextTest, NestedPairReleasesTheContextButKeepsTheLock) {
    boost::shared_ptr<GraphicsContextOGL> context = MakeReleased();
    ASSERT_TRUE(context);
    std::atomic<bool> otherGotIn{false};
    std::thread other;
    {
        STN::ScopedContextLock outer(context);
        EXPECT_TRUE(context->IsCurrent());
        context->MakeCurrentAndLock();
        context->UnlockAndRelease();
        // The inner release cleared the context although the outer holder still owns the lock.
        EXPECT_FALSE(context->IsCurrent());
        // The other thread finds the lock held (the lock observer says so) and can only get in
        // once the outer hold ends.
        std::promise<void> contended;
        std::future<void> contendedSeen = contended.get_future();
        std::atomic<bool> told{false};
        hostcore::threads::SetLockObserver([&](const hostcore::threads::LockNotice& notice) {
            if (notice.event == hostcore::threads::LockEvent::kContended && !told.exchange(true)) {
                contended.set_value();
            }
        });
        other = std::thread([&]() {
            context->MakeCurrentAndLock();
            otherGotIn = true;
            context->UnlockAndRelease();
        });
        EXPECT_EQ(contendedSeen.wait_for(std::chrono::seconds(30)), std::future_status::ready);
        hostcore::threads::SetLockObserver(hostcore::threads::LockObserver());
        EXPECT_FALSE(otherGotIn.load());
    }
    other.join();
    EXPECT_TRUE(otherGotIn.load());
    EXPECT_TRUE(NothingCurrent());
    // An empty pointer is harmless.
    { STN::ScopedContextLock lock{boost::shared_ptr<STN::IGraphicsContext>()}; }
}

// What the trace received while a case ran, in place of the test main's sink.
struct TraceCapture {
    TraceCapture() {
        hostcore::debug::SetTraceLevel("GL", 1);
        hostcore::debug::SetTraceSink([this](const std::string& line) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(line);
        });
    }
    ~TraceCapture() { hostcore::debug::SetTraceSink(hostcore::debug::TraceSink()); }
    std::size_t Count(const std::string& text) {
        std::lock_guard<std::mutex> lock(mutex);
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(),
            [&](const std::string& line) { return line.find(text) != std::string::npos; }));
    }
    std::mutex mutex;
    std::vector<std::string> lines;
};

TEST_F(GraphicsContextTest, AGLErrorOnALibraryContextReachesTheTraceAtTheCall) {
    TraceCapture trace;
    const boost::shared_ptr<GraphicsContextOGL> context = MakeVersioned("RenderContext");
    ASSERT_TRUE(context);
    EXPECT_EQ(trace.Count("GL error"), 0u);
    // The debug output names the failing call as it happens, with no check in between.
    glEnable(0x1234);
    EXPECT_EQ(trace.Count("GL error"), 1u);
    // And the library's own check takes the pending error without reporting it twice.
    STN::CheckGLErrors(false);
    EXPECT_EQ(trace.Count("GL error"), 1u);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    // Without debug output the check reports what it takes.
    STN::SetGLDebugOutput(false);
    glEnable(0x1234);
    EXPECT_EQ(trace.Count("GL error"), 1u);
    STN::CheckGLErrors(false);
    EXPECT_EQ(trace.Count("GL error: 0x0500"), 1u);
    context->ClearCurrent();
}

}  // namespace
