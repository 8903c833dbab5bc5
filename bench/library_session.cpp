#include "library_session.h"

#include <algorithm>
#include <thread>

#include "GB/Device.h"
#include "MF/VideoFrame.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "RenderThread.h"
#include "ScopedContextLock.h"
#include "StereonService.h"
#include "UploadSynchronizer.h"
#include "UsageMetrics.h"
#include "VF/VideoFrame.h"
#include "hostmediatypes/PixelFormat.h"
#include "simvr/simvr_control.h"

namespace stereon_bench {

bool MakeHostFrame(int width, int height, HostFrame& out) {
    out = HostFrame();
    if (VF::CreateHostVideoFrame(out.frame, hostmediatypes::kPixelFormat_ARGB_4444_8u, width,
                                 height) != VF::kCreateResult_OK) {
        return false;
    }
    const hostcore::classref::InterfaceRef<VF::IVideoFrameMemoryAccess> memory =
        out.frame.QueryInterface<VF::IVideoFrameMemoryAccess>();
    const hostcore::classref::InterfaceRef<VF::IVideoFrame2DPixelMemoryAccess> rows =
        out.frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    if (!memory || !rows) {
        return false;
    }
    out.pixels = static_cast<std::uint8_t*>(memory->GetPixels());
    out.width = width;
    out.height = height;
    out.rowBytes = rows->GetRowBytes();
    out.bytes = static_cast<std::size_t>(out.rowBytes) * static_cast<std::size_t>(height);
    return out.pixels != nullptr;
}

void FillHostFrame(const HostFrame& frame, std::uint32_t argb) {
    for (int y = 0; y < frame.height; ++y) {
        std::uint32_t* row = reinterpret_cast<std::uint32_t*>(frame.pixels + y * frame.rowBytes);
        std::fill(row, row + frame.width, argb);
    }
}

LibrarySession::~LibrarySession() {
    // A held loop would keep the stop waiting for the compositor.
    ReleaseLoop();
    sync.reset();
    renderThread.reset();
    // The last client leaving stops the render thread. ResetHMDPoseCallback is left out: its
    // deferred stop could land in the next session's start-up.
    if (service) {
        service->RemoveClient(kClient);
        service.reset();
    }
    deviceContext.reset();
    device.reset();
    home.reset();
}

bool LibrarySession::Start(int eyeWidth, int eyeHeight, double refreshHz, bool paced,
                           std::string& error) {
    home.reset(new RuntimeHome());
    if (!home->ok()) {
        error = "simulated runtime: " + home->error();
        return false;
    }
    simvr_set_render_target_size(static_cast<std::uint32_t>(eyeWidth),
                                 static_cast<std::uint32_t>(eyeHeight));
    simvr_set_refresh_rate(static_cast<float>(refreshHz));
    simvr_set_paced(paced ? 1 : 0);
    std::string reason;
    device = GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    if (!device) {
        error = "no OpenCL device: " + reason;
        return false;
    }
    // What the exported GetStereonServiceInstance returns; the benchmark links the library's
    // classes directly so that it can look at the hand-over.
    service = STN::StereonService::Instance();
    if (!service->Init(device)) {
        error = "the render thread did not start (is another process holding the headset?)";
        service.reset();
        return false;
    }
    service->AddClient(kClient);
    if (!service->SetHMDPoseCallback(kClient, STN::HMDPoseCallback())) {
        error = "the benchmark's client could not become the active one";
        return false;
    }
    service->SetVideoLayout(STN::kVideoProjectionEquirectangular, STN::kStereoLayoutMonoscopic, 360,
                            180);
    renderThread = STN::RenderThread::Instance();
    sync = renderThread->GetUploadSynchronizer();
    deviceContext = STN::CreateGraphicsContext("BenchDeviceContext");
    deviceContext->BindDevice(device);
    return true;
}

bool LibrarySession::Send(const FrameRef& frame) {
    return service->UpdateVideoTexture(kClient, frame);
}

std::uint64_t LibrarySession::AcceptedFrames() const {
    return STN::UsageMetrics::Get().MonoscopicFramesPlayed;
}

bool LibrarySession::Pending() const {
    return sync->pending;
}

bool LibrarySession::WaitForHandOver(double timeoutMs) {
    const Clock::time_point start = Clock::now();
    while (Pending()) {
        if (MillisecondsSince(start) > timeoutMs) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

bool LibrarySession::HoldLoop(double timeoutMs) {
    const Clock::time_point start = Clock::now();
    ReleaseLoop();
    if (!WaitForHandOver(timeoutMs)) {
        return false;
    }
    // The loop blocks the next time it asks for poses, or at once if it is asking now.
    simvr_set_wait_blocked(1);
    while (simvr_get_waiting_count() == 0) {
        if (MillisecondsSince(start) > timeoutMs) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return true;
}

void LibrarySession::ReleaseLoop() {
    simvr_set_wait_blocked(0);
}

boost::shared_ptr<STN::GraphicsContextOGL> LibrarySession::CreateSharedContext(
    const std::string& name) {
    boost::shared_ptr<STN::GraphicsContextOGL> context = STN::CreateGraphicsContext(name);
    STN::ScopedContextLock scope(context);
    context->BindDevice(device);
    if (!context->CreateVersionedContext(4, deviceContext)) {
        return boost::shared_ptr<STN::GraphicsContextOGL>();
    }
    return context;
}

}  // namespace stereon_bench
