// The panels' ray test (PanelBase::IntersectRay), which answers the host's pointer rays with a
// panel pixel. The input is, as little-endian 32-bit values (missing bytes read as zero): the
// panel's placement (16 floats, column-major), its scale (a float), its width and height in
// pixels, the ray's origin and direction (4 floats each), and a last word whose low bit asks for
// the placement to go through the bounds limit. Whatever the numbers, a hit names a pixel inside
// the panel at a distance that is a number, and asking again gives the same answer.
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "PanelBase.h"
#include "fuzz_input.h"

namespace {

using fuzzinput::Check;

// A panel with nothing to draw: the ray test and the placement are the shared part's.
class BarePanel : public STN::PanelBase {
public:
    explicit BarePanel(float panelScale) : PanelBase("fuzz") { scale = panelScale; }
    void Draw(const STN::Matrix4&, const boost::shared_ptr<STN::IShader>&) override {}
    void Shutdown() override {}
    boost::shared_ptr<hostvirtualui::vr::VRQuad> GetQuad() override {
        return boost::shared_ptr<hostvirtualui::vr::VRQuad>();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzinput::Reader in(data, size);
    STN::Matrix4 placement;
    in.Floats(placement.m);
    BarePanel panel(in.Float());
    const std::uint32_t width = in.Word();
    const std::uint32_t height = in.Word();
    float origin[4];
    float direction[4];
    in.Floats(origin);
    in.Floats(direction);
    const bool limited = (in.Word() & 1u) != 0;

    panel.SetSize(width, height);
    panel.SetBoundsLimit(limited, STN::Vector3{0.0f, 0.0f, -2.0f});
    panel.SetTransform(placement, true);

    float distance = -1.0f;
    float pixel[2] = {-1.0f, -1.0f};
    const bool hit = panel.IntersectRay(origin, direction, &distance, pixel);
    if (hit) {
        Check(pixel[0] >= 0.0f && pixel[0] < static_cast<float>(width), "column outside the panel");
        Check(pixel[1] >= 0.0f && pixel[1] < static_cast<float>(height), "row outside the panel");
        Check(!std::isnan(distance), "a hit at no distance");
    } else {
        Check(distance == -1.0f && pixel[0] == -1.0f && pixel[1] == -1.0f,
              "a miss wrote its answers");
    }
    // Null answers are allowed, and the question has one answer.
    Check(panel.IntersectRay(origin, direction, nullptr, nullptr) == hit, "a second answer");
    return 0;
}
