// The smallest host: starts the library on a GPU device, plays a few frames of one colour as a
// 360 degree mono picture with a panel of its own interface a metre ahead, asks which panel pixel
// the line of sight meets, and ends the way a host ends. Exit code 0 when the library took the
// frames and the panel answered, 1 otherwise (no device, no runtime, no headset).
#include <GB/Device.h>
#include <IPanel.h>
#include <IVRPanelManager.h>
#include <MF/VideoFrame.h>
#include <StereonExports.h>
#include <VF/VideoFrame.h>
#include <hostmediatypes/PixelFormat.h>
#include <hostvirtualui/vr/VRQuad.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

// A host-memory 'argb' frame (on little-endian machines the bytes B, G, R, A) of one colour.
hostcore::classref::InterfaceRef<MF::IVideoFrame> SolidFrame(int width, int height,
                                                             std::uint8_t red, std::uint8_t green,
                                                             std::uint8_t blue) {
    hostcore::classref::InterfaceRef<MF::IVideoFrame> frame;
    if (VF::CreateHostVideoFrame(frame, hostmediatypes::kPixelFormat_ARGB_4444_8u, width, height) !=
        VF::kCreateResult_OK) {
        return frame;
    }
    const auto memory = frame.QueryInterface<VF::IVideoFrameMemoryAccess>();
    const auto rows = frame.QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>();
    auto* bytes = static_cast<std::uint8_t*>(memory->GetPixels());
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = bytes + static_cast<std::size_t>(y) * rows->GetRowBytes();
        for (int x = 0; x < width; ++x) {
            row[x * 4 + 0] = blue;
            row[x * 4 + 1] = green;
            row[x * 4 + 2] = red;
            row[x * 4 + 3] = 255;
        }
    }
    return frame;
}

}  // namespace

int main(int argc, char** argv) {
    const int frames = argc > 1 ? std::atoi(argv[1]) : 30;
    std::string reason;
    boost::shared_ptr<GB::Device> created = GB::Device::Create(GB::kDeviceKind_OpenCL, &reason);
    if (!created) {
        std::fprintf(stderr, "no GPU device: %s\n", reason.c_str());
        return 1;
    }
    // The library lets the device go on a thread of its own a moment after the last client has
    // left; a host that ends right after waits for that, so that none of it runs during exit.
    const auto released = std::make_shared<std::promise<void>>();
    std::future<void> deviceGone = released->get_future();
    boost::shared_ptr<GB::Device> device(created.get(), [created, released](GB::Device*) mutable {
        created.reset();
        released->set_value();
    });
    created.reset();
    boost::shared_ptr<STN::IStereonService> service = STN::GetStereonServiceInstance();
    if (!service->Init(device)) {
        std::fprintf(stderr, "the library did not start (no runtime or no headset)\n");
        return 1;
    }
    const STN::ClientHandle client = 1;
    service->AddClient(client);
    // Panels are made on the render thread, where the library's context is current: here, the
    // first time the head pose arrives.
    std::promise<boost::shared_ptr<STN::IPanel>> made;
    std::future<boost::shared_ptr<STN::IPanel>> panelMade = made.get_future();
    bool asked = false;
    service->SetHMDPoseCallback(client, [&](float, float, float) {
        if (!asked) {
            asked = true;
            made.set_value(service->GetPanelManager()->CreatePanel("Status", 1.0f, false, 100));
        }
    });
    service->SetVideoLayout(STN::kVideoProjectionEquirectangular, STN::kStereoLayoutMonoscopic, 360,
                            180);
    // 256 by 64 panel pixels (a millimetre each), painted on this thread: white, blue at the right.
    boost::shared_ptr<STN::IPanel> panel;
    if (panelMade.wait_for(std::chrono::seconds(60)) == std::future_status::ready) {
        panel = panelMade.get();
    }
    if (panel && panel->GetQuad()) {
        std::vector<std::uint8_t> pixels(256 * 64 * 4, 255);
        for (int y = 0; y < 64; ++y) {
            for (int x = 128; x < 256; ++x) {
                pixels[(y * 256 + x) * 4 + 1] = 60;  // B, G, R, A
                pixels[(y * 256 + x) * 4 + 2] = 30;
            }
        }
        boost::shared_ptr<hostvirtualui::vr::QuadFrame> image(new hostvirtualui::vr::QuadFrame{
            256, 64, hostmediatypes::kPixelFormat_BGRA_4444_8u, 0, 256 * 4, pixels.data()});
        panel->GetQuad()->SetOpacity(1.0f);
        panel->GetQuad()->SetVisible(true);
        panel->GetQuad()->Update(256, 64, image);
        // The panel takes the quad's size when it is next drawn; set now, the ray test below
        // answers for the whole panel even if no draw has happened yet.
        panel->SetSize(256, 64);
        panel->SetTransform(STN::Matrix4::Identity().Translate(0.0f, 0.0f, -1.0f), true);
    }
    int accepted = 0;
    for (int i = 0; i < frames; ++i) {
        if (service->UpdateVideoTexture(client, SolidFrame(64, 32, 40, 90, 200))) {
            ++accepted;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(33));
    }
    // The line of sight from the head's resting place, straight ahead.
    const float eye[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    const float ahead[4] = {0.0f, 0.0f, -1.0f, 0.0f};
    float pixel[2] = {-1.0f, -1.0f};
    const bool hit = panel && panel->IntersectRay(eye, ahead, nullptr, pixel);
    service->ResetHMDPoseCallback(client);
    service->RemoveClient(client);
    service.reset();
    device.reset();
    deviceGone.wait_for(std::chrono::seconds(10));
    std::printf("the library took %d of %d frames\n", accepted, frames);
    if (hit) {
        std::printf("the line of sight meets panel pixel %.0f,%.0f\n", pixel[0], pixel[1]);
    }
    return accepted == frames && hit ? 0 : 1;
}
