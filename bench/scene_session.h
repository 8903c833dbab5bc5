// What the frame and panel parts share: the simulated runtime at the eye size, unpaced, a host
// device, a render context current and locked on this thread with the shader registry on it, and
// the runtime connected. Torn down in reverse on destruction.
#pragma once

#include <boost/shared_ptr.hpp>

#include <string>

#include "bench.h"

namespace GB {
class Device;
}
namespace STN {
class GraphicsContextOGL;
class OpenVRManager;
}  // namespace STN

namespace stereon_bench {

class SceneSession {
public:
    explicit SceneSession(const Options& options);
    ~SceneSession();
    SceneSession(const SceneSession&) = delete;
    SceneSession& operator=(const SceneSession&) = delete;

    // False with the reason when something could not start.
    bool ok() const { return error.empty(); }
    // ok(), with the reason written into a part's section when something could not start.
    bool ReportTo(nlohmann::json& section) const {
        if (!ok()) {
            section["error"] = error;
        }
        return ok();
    }

    boost::shared_ptr<GB::Device> device;
    boost::shared_ptr<STN::GraphicsContextOGL> context;
    boost::shared_ptr<STN::OpenVRManager> openVR;

private:
    RuntimeHome home;
    std::string error;
    bool locked = false;
};

}  // namespace stereon_bench
