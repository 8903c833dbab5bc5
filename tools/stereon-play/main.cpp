// stereon-play: a host program over the Stereon library and the host stand-in. It plays a video
// file, or a generated test pattern, into a VR headset (the simulated one when there is no real
// one) and writes what each eye saw.
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>

#include "HeadsetRuntime.h"
#include "Options.h"
#include "Player.h"
#include "TestPattern.h"
#include "VideoFileSource.h"

namespace {

void OnSignal(int) {
    stnplay::RequestStop();
}

int Fail(int code, const std::string& message) {
    std::fprintf(stderr, "stereon-play: %s\n", message.c_str());
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    stnplay::Options options;
    std::string error;
    if (!stnplay::ParseOptions(argc, argv, options, error)) {
        return Fail(stnplay::kExitUsage, error);
    }
    if (options.help) {
        std::fputs(stnplay::HelpText().c_str(), stdout);
        return stnplay::kExitOK;
    }

    std::unique_ptr<stnplay::FrameSource> source;
    if (options.file.empty()) {
        source.reset(new stnplay::TestPattern(2048, 1024, -1));
    } else {
        source = stnplay::VideoFileSource::Open(options.file, error);
        if (!source) {
            return Fail(stnplay::kExitBadInput, error);
        }
    }
    // Drawing a cubemap as if it were equirectangular gives a picture that looks broken; the
    // user decides whether to see it anyway.
    const std::string foreign = source->Layout().foreignProjection;
    if (!foreign.empty()) {
        if (options.projection.empty()) {
            return Fail(stnplay::kExitBadInput,
                        source->Name() + " is " + foreign +
                            " 360 video, which the library cannot draw (it draws "
                            "equirectangular and flat pictures); --projection equirect or "
                            "--projection flat plays it anyway");
        }
        std::fprintf(stderr, "stereon-play: warning: %s is %s 360 video, drawn as %s as asked\n",
                     source->Name().c_str(), foreign.c_str(), options.projection.c_str());
    }
    for (const std::string& warning : source->Warnings()) {
        std::fprintf(stderr, "stereon-play: warning: %s\n", warning.c_str());
    }

    int exitCode = stnplay::kExitOK;
    std::unique_ptr<stnplay::HeadsetRuntime> runtime =
        stnplay::HeadsetRuntime::Choose(options, error, exitCode);
    if (!runtime) {
        return Fail(exitCode, error);
    }
    if (options.controllers && !runtime->Simulated()) {
        std::fprintf(stderr,
                     "stereon-play: warning: --controllers is for the simulated headset; the "
                     "controllers of %s are listened to as they are\n",
                     runtime->Description().c_str());
    }

    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    stnplay::Player player(options, *source, *runtime);
    exitCode = player.Run();
    if (exitCode != stnplay::kExitOK) {
        return Fail(exitCode, player.Error());
    }
    return exitCode;
}
