#include "OpenGL/ContextPlatform.h"

#include <cstdlib>
#include <string>

#include "hostcore/debug.h"

#if !defined(_WIN32)
#include "OpenGL/GLXSupport.h"
#endif

namespace STN {

#if defined(_WIN32)

ContextPlatform ChooseContextPlatform() {
    return ContextPlatform::kWGL;
}

#else

namespace {

// "egl", "glx" or "" (choose by the display) from the environment, else from the debug key.
std::string ForcedPlatform() {
    const char* variable = std::getenv("STEREON_GL_PLATFORM");
    std::string text = variable != nullptr ? variable : "";
    if (text != "egl" && text != "glx") {
        text =
            hostcore::debug::DebugDatabase::Instance().GetEntry("Stereon.OpenGLPlatform", "auto");
    }
    return text == "egl" || text == "glx" ? text : std::string();
}

}  // namespace

ContextPlatform ChooseContextPlatform() {
    const std::string forced = ForcedPlatform();
    if (forced == "egl") {
        return ContextPlatform::kEGL;
    }
    // A display that opens may still refuse the contexts (one forwarded from another machine
    // offers only indirect ones): a context of the version the library asks for is made and
    // dropped to be sure.
    std::string why;
    if (const boost::shared_ptr<glxsupport::Connection> connection = glxsupport::Open(&why)) {
        const glxsupport::Context probe =
            glxsupport::CreateContext(*connection, nullptr, 4, 1, &why);
        if (probe.context != nullptr) {
            glxsupport::DestroyContext(*connection, probe);
            return ContextPlatform::kGLX;
        }
    }
    // Without a display EGL is the expected choice; say so only when GLX was asked for or a
    // display was named and failed, which a user would want to know.
    if (!forced.empty() || std::getenv("DISPLAY") != nullptr) {
        static hostcore::debug::TraceSite site("STN", 1);
        site.Write("OpenGL contexts use EGL: " + why);
    }
    return ContextPlatform::kEGL;
}

#endif

}  // namespace STN
