// Choosing GLX or EGL for the library's contexts, and the library's contexts on GLX under an X
// server of the test's own: whatever the machine's environment, both paths run here.

#include <GL/glew.h>

#include <gtest/gtest.h>

// After gtest: Xlib's macros (None, Bool) would break its headers.
#include <GL/glx.h>

#include <string>
#include <vector>

#include "GB/Device.h"
#include "ITexture.h"
#include "OpenGL/ContextPlatform.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenGL/TextureOGL.h"
#include "gl_test_context.h"
#include "hostcore/debug.h"
#include "x_server.h"

namespace {

using stereon::test::ScopedEnvironment;
using STN::ContextPlatform;

class ContextPlatformTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(server.Display().empty()) << server.Error();
        hostcore::debug::SetTraceLevel("STN", 1);
        hostcore::debug::SetTraceSink([this](const std::string& line) { traced += line + "\n"; });
    }
    void TearDown() override {
        hostcore::debug::SetTraceSink(hostcore::debug::TraceSink());
        hostcore::debug::ResetTraceLevels();
        hostcore::debug::DebugDatabase::Instance().RemoveEntry("Stereon.OpenGLPlatform");
    }

    // The choice under DISPLAY and STEREON_GL_PLATFORM (nullptr: unset); `traced` holds what it
    // said.
    ContextPlatform Choose(const char* display, const char* forced) {
        ScopedEnvironment displayVariable("DISPLAY", display);
        ScopedEnvironment forcedVariable("STEREON_GL_PLATFORM", forced);
        traced.clear();
        return STN::ChooseContextPlatform();
    }

    stereon::test::XServer server;
    std::string traced;
};

TEST_F(ContextPlatformTest, GLXWhenTheDisplayOpensAndEGLOtherwiseOrWhenForced) {
    const char* display = server.Display().c_str();
    EXPECT_EQ(Choose(display, nullptr), ContextPlatform::kGLX);
    EXPECT_EQ(Choose(display, "auto"), ContextPlatform::kGLX);
    EXPECT_EQ(traced, "");

    // No display: EGL, and nothing to say about it.
    EXPECT_EQ(Choose(nullptr, nullptr), ContextPlatform::kEGL);
    EXPECT_EQ(traced, "");
    // A display that is not there: EGL, and the trace says which display failed.
    EXPECT_EQ(Choose(":4711", nullptr), ContextPlatform::kEGL);
    EXPECT_NE(traced.find("\":4711\" does not open"), std::string::npos) << traced;
    // GLX asked for without a display cannot be had either.
    EXPECT_EQ(Choose(nullptr, "glx"), ContextPlatform::kEGL);
    EXPECT_NE(traced.find("DISPLAY is not set"), std::string::npos) << traced;

    // Forced to EGL with a display there, by the variable or by the debug key; the variable
    // decides over the key.
    EXPECT_EQ(Choose(display, "egl"), ContextPlatform::kEGL);
    hostcore::debug::DebugDatabase::Instance().SetEntry("Stereon.OpenGLPlatform", "egl");
    EXPECT_EQ(Choose(display, nullptr), ContextPlatform::kEGL);
    EXPECT_EQ(Choose(display, "glx"), ContextPlatform::kGLX);
}

TEST_F(ContextPlatformTest, GLXContextsShareAndAreNeverLeftCurrentBesideEGL) {
    ScopedEnvironment displayVariable("DISPLAY", server.Display().c_str());
    std::string reason;
    boost::shared_ptr<GB::Device> device =
        GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
    ASSERT_TRUE(device) << reason;

    const auto make = [&](const char* name, const boost::shared_ptr<STN::IGraphicsContext>& share,
                          ContextPlatform platform) {
        boost::shared_ptr<STN::GraphicsContextOGL> context =
            STN::CreateGraphicsContext(name, platform);
        context->BindDevice(device);
        if (!context->CreateVersionedContext(4, share)) {
            context.reset();
        }
        return context;
    };
    boost::shared_ptr<STN::GraphicsContextOGL> render =
        make("RenderContext", nullptr, ContextPlatform::kGLX);
    ASSERT_TRUE(render);
    EXPECT_EQ(glXGetCurrentContext(), render->GetContextHandle());
    EXPECT_NE(glXGetCurrentDrawable(), 0u);  // a runtime handing GLX on to OpenXR needs one
    boost::shared_ptr<STN::GraphicsContextOGL> upload =
        make("UploadContext", render, ContextPlatform::kGLX);
    ASSERT_TRUE(upload);
    EXPECT_EQ(upload->GetDeviceHandle(), render->GetDeviceHandle());  // one connection

    // A texture filled on the upload context is drawn from on the render context.
    boost::shared_ptr<STN::ITexture> texture = upload->CreateTexture("Shared");
    texture->Create(device, 2, 1, hostmediatypes::kPixelFormat_RGBA_4444_8u);
    const std::uint8_t pixels[8] = {10, 20, 30, 255, 40, 50, 60, 255};
    texture->Upload(pixels, hostmediatypes::kPixelFormat_RGBA_4444_8u, 8);
    upload->Flush();
    upload->ClearCurrent();
    render->MakeCurrent();
    EXPECT_EQ(
        stereon::test::ReadTextureRGBA8(static_cast<STN::TextureOGL&>(*texture).GetTexture(), 2, 1),
        std::vector<std::uint8_t>(pixels, pixels + 8));
    texture->Release();

    // An EGL context made current on this thread takes over from the GLX one, and back; GLX
    // would raise an X error (and end the process) were the other left current.
    boost::shared_ptr<STN::GraphicsContextOGL> egl =
        make("EGLContext", nullptr, ContextPlatform::kEGL);
    ASSERT_TRUE(egl);
    EXPECT_EQ(glXGetCurrentContext(), nullptr);
    EXPECT_FALSE(render->IsCurrent());
    render->MakeCurrent();
    EXPECT_TRUE(render->IsCurrent());
    EXPECT_FALSE(egl->IsCurrent());
    // GLX contexts do not share with EGL ones, nor with the host's adopted context.
    EXPECT_FALSE(make("Mixed", egl, ContextPlatform::kGLX));
    EXPECT_FALSE(make("Mixed", render, ContextPlatform::kEGL));
    render->ClearCurrent();
    EXPECT_EQ(glXGetCurrentContext(), nullptr);
    // The connection closes with the last context on it, before the server goes.
    upload.reset();
    render.reset();
}

}  // namespace
