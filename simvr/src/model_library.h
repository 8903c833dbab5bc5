// The render models the simulated runtime knows: generated geometry and textures for the
// headsets' controllers and their components, plus Wavefront OBJ files named by absolute path.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stnvr/vr_types.h"

namespace simvr {

constexpr const char* kViveControllerModel = "vr_controller_vive_1_5";
constexpr const char* kRiftControllerLeftModel = "oculus_cv1_controller_left";
constexpr const char* kRiftControllerRightModel = "oculus_cv1_controller_right";
// The Windows Mixed Reality driver names its controllers by the OBJ files it unpacked.
constexpr const char* kWindowsMrControllerLeftModel =
    "C:\\Users\\simvr\\AppData\\Local\\Microsoft\\Windows\\OpenVR\\controller_1115_16_1\\"
    "controller.obj";
constexpr const char* kWindowsMrControllerRightModel =
    "C:\\Users\\simvr\\AppData\\Local\\Microsoft\\Windows\\OpenVR\\controller_1115_16_2\\"
    "controller.obj";
constexpr const char* kGenericControllerModel = "simvr_controller";
constexpr const char* kHmdModel = "generic_hmd";
constexpr const char* kBaseStationModel = "lh_basestation_vive";

enum class ComponentMotion { Static, Button, Trigger, Pad, Stick };

struct ComponentInfo {
    std::string name;
    std::string renderModel;  // empty: a component without geometry ("tip", "base")
    uint64_t buttonMask = 0;
    ComponentMotion motion = ComponentMotion::Static;
    float center[3] = {0, 0, 0};
    float half[3] = {0, 0, 0};
};

struct Geometry {
    std::vector<vr::RenderModel_Vertex_t> vertices;
    std::vector<uint16_t> indices;
    vr::TextureID_t textureId = -1;
};

struct TextureImage {
    uint16_t width = 0;
    uint16_t height = 0;
    std::vector<uint8_t> rgba;
};

// Components of a controller model, in the runtime's order; empty for a model without any.
const std::vector<ComponentInfo>& ModelComponents(const std::string& modelName);
const ComponentInfo* FindComponent(const std::string& modelName, const std::string& component);

// Names GetRenderModelName lists (whole models, not component parts).
const std::vector<std::string>& ListedModelNames();

// Builds the model called `name`: a listed model, a component part, or an OBJ file given by
// absolute path. Returns an EVRRenderModelError.
vr::EVRRenderModelError BuildModel(const std::string& name, Geometry* geometry);

// Builds a texture that some model refers to; VRRenderModelError_InvalidTexture otherwise.
vr::EVRRenderModelError BuildTexture(vr::TextureID_t id, TextureImage* image);

// Whether `name` names something BuildModel can make, without building it.
bool IsKnownModel(const std::string& name);

}  // namespace simvr
