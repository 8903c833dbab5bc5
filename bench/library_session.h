// The library as a host runs it: the service started on an OpenCL device of the host stand-in
// against the simulated runtime, with one active client sending host-memory frames through
// IStereonService::UpdateVideoTexture. The render thread and its hand-over are looked at from
// outside only, to tell when a frame was taken over and which texture it went into.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <memory>
#include <string>

#include "StereonTypes.h"
#include "bench.h"
#include "hostcore/classref.h"

namespace GB {
class Device;
}
namespace MF {
class IVideoFrame;
}

namespace STN {
class GraphicsContextOGL;
class IStereonService;
class RenderThread;
class UploadSynchronizer;
}  // namespace STN

namespace stereon_bench {

using FrameRef = hostcore::classref::InterfaceRef<MF::IVideoFrame>;

// A host-memory 'argb' frame and where its pixels are.
struct HostFrame {
    FrameRef frame;
    std::uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int rowBytes = 0;
    std::size_t bytes = 0;
};
bool MakeHostFrame(int width, int height, HostFrame& out);
// Every texel set to one native ARGB word.
void FillHostFrame(const HostFrame& frame, std::uint32_t argb);

class LibrarySession {
public:
    static constexpr STN::ClientHandle kClient = 0xBE7C;

    LibrarySession() = default;
    ~LibrarySession();
    LibrarySession(const LibrarySession&) = delete;
    LibrarySession& operator=(const LibrarySession&) = delete;

    // Sets the runtime up (eye size, refresh rate, pacing), starts the service and makes the
    // benchmark's client the active one, playing monoscopic 360x180 equirectangular video.
    // Unpaced, the render loop runs its passes back to back unless held.
    bool Start(int eyeWidth, int eyeHeight, double refreshHz, bool paced, std::string& error);
    // UpdateVideoTexture as the host calls it. True also when the library dropped the frame.
    bool Send(const FrameRef& frame);
    // Frames the library took so far (uploaded and handed over, not dropped): its own count of
    // monoscopic frames played, which only UpdateVideoTexture on the host's thread changes, so
    // the host's thread reads it exactly.
    std::uint64_t AcceptedFrames() const;
    // Waits until no frame is pending, the render loop having taken the last one over. False
    // after `timeoutMs`.
    bool WaitForHandOver(double timeoutMs);
    // Lets the render loop take a pending frame over, then holds it in the compositor's wait
    // for poses, outside its frame lock, until ReleaseLoop: nothing the loop does can then meet
    // what the caller measures. Returns once the loop is held; false after `timeoutMs`.
    bool HoldLoop(double timeoutMs);
    void ReleaseLoop();
    bool Pending() const;

    // A context of the render context's share group, for reading the video textures.
    boost::shared_ptr<STN::GraphicsContextOGL> CreateSharedContext(const std::string& name);

    const boost::shared_ptr<STN::UploadSynchronizer>& GetSync() const { return sync; }

private:
    std::unique_ptr<RuntimeHome> home;
    boost::shared_ptr<GB::Device> device;
    boost::shared_ptr<STN::IStereonService> service;
    boost::shared_ptr<STN::RenderThread> renderThread;
    boost::shared_ptr<STN::UploadSynchronizer> sync;
    boost::shared_ptr<STN::GraphicsContextOGL> deviceContext;
};

}  // namespace stereon_bench
