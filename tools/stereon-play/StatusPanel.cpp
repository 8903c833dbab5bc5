#include "StatusPanel.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "Glyphs.h"
#include "IVRPanelManager.h"
#include "hostmediatypes/PixelFormat.h"

namespace stnplay {

namespace {

// B, G, R, A; the panel shader premultiplies the straight alpha.
const std::uint8_t kBackground[4] = {26, 20, 18, 200};
const std::uint8_t kTrack[4] = {78, 70, 70, 255};
const std::uint8_t kBar[4] = {40, 150, 255, 255};
const std::uint8_t kInk[4] = {245, 245, 245, 255};

constexpr int kMargin = 16;
constexpr int kTextTop = 12;
constexpr int kTextScale = 4;
constexpr int kBarTop = 52;
constexpr int kBarBottom = 106;
constexpr float kPixelSize = 0.001f;  // a panel pixel is a millimetre at scale 1

void Fill(std::vector<std::uint8_t>& image, int left, int top, int right, int bottom,
          const std::uint8_t bgra[4]) {
    for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
            std::memcpy(&image[(static_cast<std::size_t>(y) * StatusPanel::kWidth + x) * 4], bgra,
                        4);
        }
    }
}

// The file's own name without its directories, cut to `room` pixels.
std::string Fitted(const std::string& title, int room) {
    const std::size_t slash = title.find_last_of('/');
    std::string name = slash == std::string::npos ? title : title.substr(slash + 1);
    if (TextWidth(name, kTextScale) <= room) {
        return name;
    }
    while (!name.empty() && TextWidth(name + "..", kTextScale) > room) {
        name.pop_back();
    }
    return name + "..";
}

}  // namespace

const char* const StatusPanel::kName = "stereon-play status";

StatusPanel::StatusPanel(const std::string& title, double frameRate)
    : title(title), frameRate(frameRate), image(static_cast<std::size_t>(kWidth) * kHeight * 4) {
    // The first picture goes up as soon as the panel is there, before any frame.
    wanted = 1;
}

StatusPanel::~StatusPanel() {
    Stop();
}

void StatusPanel::OnRenderThread(STN::IStereonService& service) {
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (made || stopping) {
            return;
        }
    }
    const boost::shared_ptr<STN::IVRPanelManager> manager = service.GetPanelManager();
    if (!manager) {
        return;
    }
    const boost::shared_ptr<STN::IPanel> created = manager->CreatePanel(kName, 1.0f, false, 0);
    if (!created) {
        return;
    }
    STN::Matrix4 placement = STN::Matrix4::Identity();
    placement.m[12] = kCentre[0];
    placement.m[13] = kCentre[1];
    placement.m[14] = kCentre[2];
    created->SetTransform(placement, true);
    const boost::shared_ptr<hostvirtualui::vr::VRQuad> surface = created->GetQuad();
    {
        std::lock_guard<std::mutex> lock(mutex);
        panel = created;
        quad = surface;
        made = true;
    }
    changed.notify_all();
}

void StatusPanel::Start() {
    std::lock_guard<std::mutex> lock(mutex);
    if (!thread.joinable() && !stopping) {
        thread = std::thread([this] { Run(); });
    }
}

void StatusPanel::Show(std::int64_t frameIndex, double runProgress) {
    {
        std::lock_guard<std::mutex> lock(mutex);
        index = frameIndex;
        progress = runProgress;
        ++wanted;
    }
    changed.notify_all();
}

bool StatusPanel::WaitPainted(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, timeout,
                     [this] { return stopping || (made && !quad) || painted == wanted; });
    return quad && painted == wanted;
}

void StatusPanel::Stop() {
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    if (thread.joinable()) {
        thread.join();
    }
    // The library keeps its own references and frees the panel when it stops.
    std::lock_guard<std::mutex> lock(mutex);
    quad.reset();
    panel.reset();
}

void StatusPanel::Run() {
    bool shown = false;
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return stopping || (quad && painted != wanted); });
        if (stopping) {
            return;
        }
        const std::uint64_t version = wanted;
        const std::int64_t frameIndex = index;
        const double runProgress = progress;
        const boost::shared_ptr<hostvirtualui::vr::VRQuad> surface = quad;
        lock.unlock();
        if (!shown) {
            surface->SetOpacity(1.0f);
            surface->SetVisible(true);
            shown = true;
        }
        Paint(frameIndex, runProgress);
        boost::shared_ptr<hostvirtualui::vr::QuadFrame> frame(new hostvirtualui::vr::QuadFrame());
        frame->width = static_cast<std::int32_t>(kWidth);
        frame->height = static_cast<std::int32_t>(kHeight);
        frame->pixelFormat = hostmediatypes::kPixelFormat_BGRA_4444_8u;
        frame->reserved = 0;
        frame->rowBytes = static_cast<std::int32_t>(kWidth * 4);
        frame->pixels = image.data();
        // The library copies the image before Update returns: the buffer is ours again after.
        surface->Update(kWidth, kHeight, frame);
        lock.lock();
        painted = version;
        changed.notify_all();
    }
}

void StatusPanel::Paint(std::int64_t frameIndex, double runProgress) {
    const int width = static_cast<int>(kWidth);
    const int height = static_cast<int>(kHeight);
    Fill(image, 0, 0, width, height, kBackground);
    TextStyle style;
    style.scale = kTextScale;
    std::memcpy(style.ink, kInk, 4);
    const std::string time = frameIndex >= 0 ? TimeCode(frameIndex, frameRate) : "--:--:--:--";
    const int timeWidth = TextWidth(time, kTextScale);
    const int timeLeft = width - kMargin - timeWidth;
    DrawText(image.data(), width, height, kWidth * 4, time, timeLeft, kTextTop, style);
    const std::string name = Fitted(title, timeLeft - 2 * kMargin);
    DrawText(image.data(), width, height, kWidth * 4, name, kMargin, kTextTop, style);

    Fill(image, kMargin, kBarTop, width - kMargin, kBarBottom, kTrack);
    if (runProgress >= 0.0) {
        const int length =
            static_cast<int>(std::lround(std::min(1.0, runProgress) * (width - 2 * kMargin)));
        Fill(image, kMargin, kBarTop, kMargin + length, kBarBottom, kBar);
    }
}

nlohmann::json StatusPanel::Describe(const float eye[3], std::uint32_t x, std::uint32_t y) {
    boost::shared_ptr<STN::IPanel> described;
    {
        std::lock_guard<std::mutex> lock(mutex);
        described = panel;
    }
    if (!described) {
        return nlohmann::json();
    }
    nlohmann::json result;
    result["name"] = described->GetName();
    result["size"] = {kWidth, kHeight};
    result["scale"] = 1.0;
    result["centre"] = {kCentre[0], kCentre[1], kCentre[2]};
    result["painted"] = static_cast<bool>(described->GetQuad());

    // Through the middle of the pixel, in room space: x right and y up from the panel's centre.
    const float target[3] = {kCentre[0] + (x + 0.5f - kWidth / 2.0f) * kPixelSize,
                             kCentre[1] + (kHeight / 2.0f - y - 0.5f) * kPixelSize, kCentre[2]};
    float direction[4] = {target[0] - eye[0], target[1] - eye[1], target[2] - eye[2], 0.0f};
    const float length = std::sqrt(direction[0] * direction[0] + direction[1] * direction[1] +
                                   direction[2] * direction[2]);
    for (int i = 0; i < 3; ++i) {
        direction[i] /= length;
    }
    const float origin[4] = {eye[0], eye[1], eye[2], 1.0f};
    float distance = 0.0f;
    float pixel[2] = {0.0f, 0.0f};
    const bool hit = described->IntersectRay(origin, direction, &distance, pixel);
    nlohmann::json pointer;
    pointer["origin"] = {origin[0], origin[1], origin[2]};
    pointer["direction"] = {direction[0], direction[1], direction[2]};
    pointer["aimed_at"] = {x, y};
    pointer["hit"] = hit;
    pointer["pixel"] = hit ? nlohmann::json({pixel[0], pixel[1]}) : nlohmann::json();
    pointer["distance"] = hit ? nlohmann::json(distance) : nlohmann::json();
    result["pointer"] = pointer;
    return result;
}

std::string StatusPanel::TimeCode(std::int64_t frameIndex, double rate) {
    // Whole frames a second: 29.97 counts as 30, as non-drop-frame time code does.
    const std::int64_t perSecond = std::max<std::int64_t>(1, std::llround(rate));
    const std::int64_t frames = frameIndex % perSecond;
    const std::int64_t seconds = frameIndex / perSecond;
    char text[48];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld:%02lld",
                  static_cast<long long>(seconds / 3600), static_cast<long long>(seconds / 60 % 60),
                  static_cast<long long>(seconds % 60), static_cast<long long>(frames));
    return text;
}

}  // namespace stnplay
