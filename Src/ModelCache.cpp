#include "ModelCache.h"

#include <cstdint>

#include "OpenVRManager.h"
#include "hostcore/filesupport.h"
#include "hostcore/utility.h"
#include "stnvr/vr_interfaces.h"

namespace STN {

namespace {

// Controllers drawn in separately moving parts, each part in drawing order. Any other model is
// loaded whole, as one component of its own name.
const std::map<std::string, std::vector<std::string>> ControllerComponentTable = {
    {"vr_controller_vive_1_5",
     {"body", "button", "lgrip", "rgrip", "sys_button", "trackpad", "trigger"}},
    {"oculus_cv1_controller_left", {"body", "enter_button", "grip", "thumbstick", "trigger"}},
    {"oculus_cv1_controller_right", {"body", "home_button", "grip", "thumbstick", "trigger"}},
};

const std::uint32_t kComponentNameBufferSize = 32768;

}  // namespace

void OVRModelDestroyer::operator()(vr::RenderModel_t* model) const {
    const boost::shared_ptr<OpenVRManager> openVR = OpenVRManager::Instance();
    openVR->Lock();
    if (vr::IVRRenderModels* renderModels = openVR->GetRenderModels()) {
        renderModels->FreeRenderModel(model);
    }
    openVR->Unlock();
}

void OVRTextureDestroyer::operator()(vr::RenderModel_TextureMap_t* texture) const {
    const boost::shared_ptr<OpenVRManager> openVR = OpenVRManager::Instance();
    openVR->Lock();
    if (vr::IVRRenderModels* renderModels = openVR->GetRenderModels()) {
        renderModels->FreeTexture(texture);
    }
    openVR->Unlock();
}

boost::shared_ptr<Model> ModelCache::GetModel(const std::string& name) {
    if (name.empty()) {
        return boost::shared_ptr<Model>();
    }
    ModelCacheEntry& entry = entries[name];
    if (!entry.model) {
        entry.model.reset(new Model(name));
        entry.model->SetLoading();
        const auto row = ControllerComponentTable.find(name);
        if (row != ControllerComponentTable.end()) {
            entry.componentNames = row->second;
            entry.renderModels.assign(row->second.size(), boost::shared_ptr<vr::RenderModel_t>());
        } else {
            entry.componentNames.assign(1, ResolveRenderModelName(name));
            entry.renderModels.assign(1, boost::shared_ptr<vr::RenderModel_t>());
            entry.fallbackName = name;
        }
        entry.renderTexture.reset();
    }

    // The second chance: a remapped file that did not load falls back to the driver's own
    // name. The field is emptied first, so that it happens once.
    if (entry.model->GetState() == ModelState::Failed && !entry.fallbackName.empty()) {
        entry.renderModels.clear();
        entry.componentNames.clear();
        entry.model->ReleaseResources();
        entry.renderTexture.reset();
        std::string fallback;
        fallback.swap(entry.fallbackName);
        entry.model.reset(new Model(fallback));
        entry.model->SetLoading();
        entry.renderModels.assign(1, boost::shared_ptr<vr::RenderModel_t>());
        entry.componentNames.assign(1, fallback);
    }

    if (entry.model->GetState() == ModelState::Loading) {
        return PollModel(entry);
    }
    return entry.model;
}

boost::shared_ptr<Model> ModelCache::PollModel(ModelCacheEntry& entry) {
    const boost::shared_ptr<Model> model = entry.model;
    // Without a context the model could not be built once loaded; a later poll takes it up.
    if (!graphicsContext) {
        return model;
    }
    const boost::shared_ptr<OpenVRManager> openVR = OpenVRManager::Instance();
    // Held to the end, building included: the runtime's memory is read until the meshes and
    // the texture have their copies, and must not go with a shutdown in between.
    openVR->Lock();
    // Let go however the poll ends: an exception out of the building would otherwise keep the
    // runtime from every other user for good.
    struct EndOfPoll {
        OpenVRManager& manager;
        ~EndOfPoll() { manager.Unlock(); }
    } end{*openVR};
    vr::IVRRenderModels* renderModels = openVR->GetRenderModels();
    if (renderModels == nullptr) {
        return model;
    }

    // Every component is asked on every poll, also after one has failed.
    bool done = true;
    for (std::size_t index = 0; index < entry.renderModels.size(); ++index) {
        if (!LoadComponent(entry, index, *renderModels)) {
            done = false;
        }
    }
    const bool textureDone =
        model->GetState() != ModelState::Failed && LoadTexture(entry, *renderModels);

    if (model->GetState() == ModelState::Failed) {
        // Final for this model: what the runtime did hand out goes back now rather than with
        // the cache.
        entry.renderModels.clear();
        entry.renderTexture.reset();
    } else if (done && textureDone) {
        model->InitResources(*this, *entry.renderTexture);
        for (std::size_t index = 0; index < entry.renderModels.size(); ++index) {
            model->AddComponent(*this, entry.componentNames[index], *entry.renderModels[index]);
        }
        model->SetLoaded();
        // The meshes and the texture have their copies: OpenVR gets its memory back.
        entry.renderModels.clear();
        entry.renderTexture.reset();
    }
    return model;
}

namespace {

// Whether an asynchronous load has delivered. Loading is not yet; any other answer, and a
// finished load that delivered nothing, is a failure of the whole model.
bool Arrived(vr::EVRRenderModelError result, bool delivered, Model& model) {
    if (result == vr::VRRenderModelError_None && delivered) {
        return true;
    }
    if (result != vr::VRRenderModelError_Loading) {
        model.SetFailed();
    }
    return false;
}

}  // namespace

bool ModelCache::LoadComponent(ModelCacheEntry& entry, std::size_t index,
                               vr::IVRRenderModels& renderModels) {
    boost::shared_ptr<vr::RenderModel_t>& slot = entry.renderModels[index];
    if (slot.get() != nullptr) {
        return true;
    }
    // A component with a sub-model of its own is loaded by that name; any other by the
    // component's string, which is how a model without a table row loads whole.
    const std::string& componentName = entry.componentNames[index];
    std::vector<char> buffer(kComponentNameBufferSize, '\0');
    const std::uint32_t answer = renderModels.GetComponentRenderModelName(
        entry.model->GetName().c_str(), componentName.c_str(), buffer.data(),
        kComponentNameBufferSize);
    buffer.back() = '\0';
    const std::string loadName =
        answer > 0 && buffer[0] != '\0' ? std::string(buffer.data()) : componentName;

    vr::RenderModel_t* loaded = nullptr;
    const vr::EVRRenderModelError result =
        renderModels.LoadRenderModel_Async(loadName.c_str(), &loaded);
    slot = boost::shared_ptr<vr::RenderModel_t>(loaded, OVRModelDestroyer());
    return Arrived(result, loaded != nullptr, *entry.model);
}

bool ModelCache::LoadTexture(ModelCacheEntry& entry, vr::IVRRenderModels& renderModels) {
    if (entry.renderTexture.get() != nullptr) {
        return true;
    }
    const vr::RenderModel_t* first = nullptr;
    for (const boost::shared_ptr<vr::RenderModel_t>& slot : entry.renderModels) {
        if (slot.get() != nullptr) {
            first = slot.get();
            break;
        }
    }
    // A model without a texture never finishes loading and is never drawn.
    if (first == nullptr || first->diffuseTextureId == vr::INVALID_TEXTURE_ID) {
        return false;
    }
    vr::RenderModel_TextureMap_t* loaded = nullptr;
    const vr::EVRRenderModelError result =
        renderModels.LoadTexture_Async(first->diffuseTextureId, &loaded);
    entry.renderTexture =
        boost::shared_ptr<vr::RenderModel_TextureMap_t>(loaded, OVRTextureDestroyer());
    return Arrived(result, loaded != nullptr, *entry.model);
}

void ModelCache::Clear() {
    // Also models that a device still holds lose their GL objects here, while the context is
    // current; they read as None afterwards.
    for (auto& named : entries) {
        if (named.second.model) {
            named.second.model->ReleaseResources();
        }
    }
    entries.clear();
    graphicsContext.reset();
}

std::string ModelCache::ResolveRenderModelName(const std::string& name) {
    std::string path = name;
    for (char& c : path) {
        if (c == '/') {
            c = '\\';
        }
    }
    if (path.find("Microsoft\\Windows\\OpenVR\\controller") == std::string::npos) {
        return name;
    }
    using hostcore::filesupport::Dir;
    using hostcore::filesupport::File;
    const Dir models = hostcore::filesupport::commondirs::ApplicationModules()
                           .Append("Stereon")
                           .Append("models")
                           .Append("winmr");
    // A path that names both is the right controller.
    if (path.find("_2\\controller.obj") != std::string::npos) {
        return hostcore::utility::UTF16toStdString(
            File(models.Append("right"), "controller-right.obj").FullPath());
    }
    if (path.find("_1\\controller.obj") != std::string::npos) {
        return hostcore::utility::UTF16toStdString(
            File(models.Append("left"), "controller-left.obj").FullPath());
    }
    return name;
}

}  // namespace STN
