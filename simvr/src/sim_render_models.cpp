#include <cstring>

#include "model_library.h"
#include "names.h"
#include "runtime_state.h"
#include "sim_interfaces.h"

namespace simvr {

namespace {

using Lock = std::lock_guard<std::mutex>;

// What LoadRenderModel_Async hands out: the record and the arrays it points into, in one
// allocation owned by State until FreeRenderModel.
struct ModelBlock {
    vr::RenderModel_t model{};
    std::vector<vr::RenderModel_Vertex_t> vertices;
    std::vector<uint16_t> indices;
};

struct TextureBlock {
    vr::RenderModel_TextureMap_t map{};
    std::vector<uint8_t> rgba;
};

// Counts one poll of a load keyed by `key`; true while the load is still running.
template <typename Key>
bool StillLoading(std::map<Key, int>& pollsLeft, const Key& key, int polls) {
    auto found = pollsLeft.find(key);
    if (found == pollsLeft.end()) {
        found = pollsLeft.emplace(key, polls < 0 ? 0 : polls).first;
    }
    if (found->second > 0) {
        --found->second;
        return true;
    }
    return false;
}

vr::HmdMatrix34_t Translation(float x, float y, float z) {
    vr::HmdMatrix34_t m = Identity34();
    m.m[0][3] = x;
    m.m[1][3] = y;
    m.m[2][3] = z;
    return m;
}

// The movement of a component for a controller state, about the component's own centre.
vr::HmdMatrix34_t Motion(const ComponentInfo& part, const vr::VRControllerState_t& state) {
    const bool pressed = (state.ulButtonPressed & part.buttonMask) != 0;
    switch (part.motion) {
        case ComponentMotion::Button:
            return Translation(0, pressed ? -0.0015f : 0.0f, 0);
        case ComponentMotion::Trigger: {
            const size_t axis = (part.buttonMask & (1ull << vr::k_EButton_Grip)) != 0 ? 2 : 1;
            return PoseFromYawPitchRoll(0, -20.0f * state.rAxis[axis].x, 0, 0, 0, 0);
        }
        case ComponentMotion::Pad:
            return PoseFromYawPitchRoll(0, -5.0f * state.rAxis[0].y, 5.0f * state.rAxis[0].x, 0, 0,
                                        pressed ? -0.001f : 0.0f);
        case ComponentMotion::Stick:
            return PoseFromYawPitchRoll(0, -15.0f * state.rAxis[0].y, -15.0f * state.rAxis[0].x, 0,
                                        0, 0);
        case ComponentMotion::Static:
        default:
            return Identity34();
    }
}

}  // namespace

vr::EVRRenderModelError SimRenderModels::LoadRenderModel_Async(const char* pchRenderModelName,
                                                               vr::RenderModel_t** ppRenderModel) {
    if (ppRenderModel != nullptr) {
        *ppRenderModel = nullptr;
    }
    if (pchRenderModelName == nullptr || ppRenderModel == nullptr) {
        return vr::VRRenderModelError_InvalidArg;
    }
    const std::string name = pchRenderModelName;
    State& s = State::Get();
    Lock lock(s.mutex);
    ++s.modelLoadCalls[name];
    auto injected = s.modelErrors.find(name);
    if (injected == s.modelErrors.end() && !IsKnownModel(name)) {
        return vr::VRRenderModelError_InvalidModel;
    }
    if (StillLoading(s.modelPollsLeft, name, s.modelLoadPolls)) {
        return vr::VRRenderModelError_Loading;
    }
    if (injected != s.modelErrors.end()) {
        return vr::EVRRenderModelError(injected->second);
    }
    auto block = std::make_shared<ModelBlock>();
    Geometry geometry;
    const vr::EVRRenderModelError error = BuildModel(name, &geometry);
    if (error != vr::VRRenderModelError_None) {
        return error;
    }
    block->vertices = std::move(geometry.vertices);
    block->indices = std::move(geometry.indices);
    block->model.rVertexData = block->vertices.data();
    block->model.unVertexCount = uint32_t(block->vertices.size());
    block->model.rIndexData = block->indices.data();
    block->model.unTriangleCount = uint32_t(block->indices.size() / 3);
    block->model.diffuseTextureId = geometry.textureId;
    *ppRenderModel = &block->model;
    s.liveModels[&block->model] = block;
    return vr::VRRenderModelError_None;
}

void SimRenderModels::FreeRenderModel(vr::RenderModel_t* pRenderModel) {
    if (pRenderModel == nullptr) {
        return;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (s.liveModels.erase(pRenderModel) == 0) {
        ++s.invalidFrees;
    }
}

vr::EVRRenderModelError SimRenderModels::LoadTexture_Async(
    vr::TextureID_t textureId, vr::RenderModel_TextureMap_t** ppTexture) {
    if (ppTexture == nullptr) {
        return vr::VRRenderModelError_InvalidArg;
    }
    *ppTexture = nullptr;
    State& s = State::Get();
    Lock lock(s.mutex);
    auto injected = s.textureErrors.find(textureId);
    TextureImage image;
    if (injected == s.textureErrors.end()) {
        const vr::EVRRenderModelError error = BuildTexture(textureId, &image);
        if (error != vr::VRRenderModelError_None) {
            return error;
        }
    }
    if (StillLoading(s.texturePollsLeft, textureId, s.modelLoadPolls)) {
        return vr::VRRenderModelError_Loading;
    }
    if (injected != s.textureErrors.end()) {
        return vr::EVRRenderModelError(injected->second);
    }
    auto block = std::make_shared<TextureBlock>();
    block->rgba = std::move(image.rgba);
    block->map.unWidth = image.width;
    block->map.unHeight = image.height;
    block->map.rubTextureMapData = block->rgba.data();
    *ppTexture = &block->map;
    s.liveTextures[&block->map] = block;
    return vr::VRRenderModelError_None;
}

void SimRenderModels::FreeTexture(vr::RenderModel_TextureMap_t* pTexture) {
    if (pTexture == nullptr) {
        return;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (s.liveTextures.erase(pTexture) == 0) {
        ++s.invalidFrees;
    }
}

vr::EVRRenderModelError SimRenderModels::LoadTextureD3D11_Async(vr::TextureID_t textureId,
                                                                void* pD3D11Device,
                                                                void** ppD3D11Texture2D) {
    if (ppD3D11Texture2D != nullptr) {
        *ppD3D11Texture2D = nullptr;
    }
    return vr::VRRenderModelError_NotSupported;
}

vr::EVRRenderModelError SimRenderModels::LoadIntoTextureD3D11_Async(vr::TextureID_t textureId,
                                                                    void* pDstTexture) {
    return vr::VRRenderModelError_NotSupported;
}

void SimRenderModels::FreeTextureD3D11(void* pD3D11Texture2D) {}

uint32_t SimRenderModels::GetRenderModelName(uint32_t unRenderModelIndex, char* pchRenderModelName,
                                             uint32_t unRenderModelNameLen) {
    const std::vector<std::string>& names = ListedModelNames();
    if (unRenderModelIndex >= names.size()) {
        return CopyString("", pchRenderModelName, unRenderModelNameLen) - 1;
    }
    return CopyString(names[unRenderModelIndex], pchRenderModelName, unRenderModelNameLen);
}

uint32_t SimRenderModels::GetRenderModelCount() {
    return uint32_t(ListedModelNames().size());
}

uint32_t SimRenderModels::GetComponentCount(const char* pchRenderModelName) {
    return pchRenderModelName == nullptr ? 0 : uint32_t(ModelComponents(pchRenderModelName).size());
}

uint32_t SimRenderModels::GetComponentName(const char* pchRenderModelName,
                                           uint32_t unComponentIndex, char* pchComponentName,
                                           uint32_t unComponentNameLen) {
    if (pchRenderModelName == nullptr) {
        return CopyString("", pchComponentName, unComponentNameLen) - 1;
    }
    const std::vector<ComponentInfo>& parts = ModelComponents(pchRenderModelName);
    if (unComponentIndex >= parts.size()) {
        return CopyString("", pchComponentName, unComponentNameLen) - 1;
    }
    return CopyString(parts[unComponentIndex].name, pchComponentName, unComponentNameLen);
}

uint64_t SimRenderModels::GetComponentButtonMask(const char* pchRenderModelName,
                                                 const char* pchComponentName) {
    if (pchRenderModelName == nullptr || pchComponentName == nullptr) {
        return 0;
    }
    const ComponentInfo* part = FindComponent(pchRenderModelName, pchComponentName);
    return part != nullptr ? part->buttonMask : 0;
}

uint32_t SimRenderModels::GetComponentRenderModelName(const char* pchRenderModelName,
                                                      const char* pchComponentName,
                                                      char* pchComponentRenderModelName,
                                                      uint32_t unComponentRenderModelNameLen) {
    const ComponentInfo* part = pchRenderModelName != nullptr && pchComponentName != nullptr
                                    ? FindComponent(pchRenderModelName, pchComponentName)
                                    : nullptr;
    if (part == nullptr || part->renderModel.empty()) {
        // No sub-model: 0, and an empty name where there is room for one.
        return CopyString("", pchComponentRenderModelName, unComponentRenderModelNameLen) - 1;
    }
    return CopyString(part->renderModel, pchComponentRenderModelName,
                      unComponentRenderModelNameLen);
}

bool SimRenderModels::GetComponentState(const char* pchRenderModelName,
                                        const char* pchComponentName,
                                        const vr::VRControllerState_t* pControllerState,
                                        const vr::RenderModel_ControllerMode_State_t* pState,
                                        vr::RenderModel_ComponentState_t* pComponentState) {
    if (pchRenderModelName == nullptr || pchComponentName == nullptr ||
        pComponentState == nullptr) {
        return false;
    }
    const ComponentInfo* part = FindComponent(pchRenderModelName, pchComponentName);
    if (part == nullptr) {
        return false;
    }
    const vr::VRControllerState_t state =
        pControllerState != nullptr ? *pControllerState : vr::VRControllerState_t{};
    const vr::HmdMatrix34_t motion = Motion(*part, state);
    const vr::HmdMatrix34_t toCenter =
        Translation(part->center[0], part->center[1], part->center[2]);
    const vr::HmdMatrix34_t fromCenter =
        Translation(-part->center[0], -part->center[1], -part->center[2]);
    // The part's geometry sits at its place already; it moves about its own centre.
    pComponentState->mTrackingToComponentRenderModel =
        Multiply34(Multiply34(toCenter, motion), fromCenter);
    pComponentState->mTrackingToComponentLocal = Multiply34(toCenter, motion);
    uint32_t properties = 0;
    if (!part->renderModel.empty()) {
        properties |= vr::VRComponentProperty_IsVisible;
    }
    if (part->motion == ComponentMotion::Static) {
        properties |= vr::VRComponentProperty_IsStatic;
    }
    if ((state.ulButtonPressed & part->buttonMask) != 0) {
        properties |= vr::VRComponentProperty_IsPressed;
    }
    if ((state.ulButtonTouched & part->buttonMask) != 0) {
        properties |= vr::VRComponentProperty_IsTouched;
    }
    pComponentState->uProperties = properties;
    return true;
}

bool SimRenderModels::RenderModelHasComponent(const char* pchRenderModelName,
                                              const char* pchComponentName) {
    return pchRenderModelName != nullptr && pchComponentName != nullptr &&
           FindComponent(pchRenderModelName, pchComponentName) != nullptr;
}

uint32_t SimRenderModels::GetRenderModelThumbnailURL(const char* pchRenderModelName,
                                                     char* pchThumbnailURL,
                                                     uint32_t unThumbnailURLLen,
                                                     vr::EVRRenderModelError* peError) {
    const bool known = pchRenderModelName != nullptr && IsKnownModel(pchRenderModelName);
    if (peError != nullptr) {
        *peError = known ? vr::VRRenderModelError_None : vr::VRRenderModelError_InvalidArg;
    }
    // The simulated models have no pictures.
    return known ? CopyString("", pchThumbnailURL, unThumbnailURLLen)
                 : CopyString("", pchThumbnailURL, unThumbnailURLLen) - 1;
}

uint32_t SimRenderModels::GetRenderModelOriginalPath(const char* pchRenderModelName,
                                                     char* pchOriginalPath,
                                                     uint32_t unOriginalPathLen,
                                                     vr::EVRRenderModelError* peError) {
    const bool known = pchRenderModelName != nullptr && IsKnownModel(pchRenderModelName);
    if (peError != nullptr) {
        *peError = known ? vr::VRRenderModelError_None : vr::VRRenderModelError_InvalidArg;
    }
    if (!known) {
        return CopyString("", pchOriginalPath, unOriginalPathLen) - 1;
    }
    const std::string name = pchRenderModelName;
    const bool path = name.find('/') != std::string::npos || name.find('\\') != std::string::npos;
    return CopyString(path ? name : "rendermodels/" + name + "/" + name + ".obj", pchOriginalPath,
                      unOriginalPathLen);
}

const char* SimRenderModels::GetRenderModelErrorNameFromEnum(vr::EVRRenderModelError error) {
    return RenderModelErrorName(error);
}

}  // namespace simvr
