// A tracked controller's render model as drawn: one mesh per component, all sampling one diffuse
// texture. The ModelCache builds it from what OpenVR loads; the Scene draws it. Render thread
// only, with the render context current.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "StereonTypes.h"
#include "stnvr/vr_types.h"

namespace STN {

class IMesh;
class IShader;
class ITexture;
class ModelCache;

enum class ModelState : std::int32_t {
    None = 0,     // just constructed, or its resources released
    Loading = 1,  // OpenVR work is under way
    Loaded = 2,   // meshes and texture exist; the model can be drawn
    Failed = 3,   // OpenVR reported an error
};

class Model {
public:
    explicit Model(const std::string& name);

    // Draws every component where OpenVR places it for `state`, so that buttons, pads and
    // triggers move. Nothing is drawn unless the model is Loaded.
    void Draw(const vr::VRControllerState_t& state, const Matrix4& modelViewProjection);

    // Releases what the model had, takes "ModelShader" and uploads the diffuse texture through
    // the cache's context.
    void InitResources(const ModelCache& cache, const vr::RenderModel_TextureMap_t& textureMap);
    // Appends a mesh named `componentName`, made through the cache's context from the geometry.
    void AddComponent(const ModelCache& cache, const std::string& componentName,
                      const vr::RenderModel_t& renderModel);
    void SetLoading() { state = ModelState::Loading; }
    void SetLoaded() { state = ModelState::Loaded; }
    void SetFailed() { state = ModelState::Failed; }
    // Frees the meshes and the texture and goes back to None.
    void ReleaseResources();

    // The render model name it was asked for; OpenVR knows its components by this name.
    const std::string& GetName() const { return name; }
    ModelState GetState() const { return state; }
    std::size_t GetComponentCount() const { return components.size(); }
    // In the order they were added, each named after its component.
    const std::vector<boost::shared_ptr<IMesh>>& GetComponents() const { return components; }
    const boost::shared_ptr<ITexture>& GetTexture() const { return texture; }

    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

private:
    std::string name;
    ModelState state = ModelState::None;
    std::vector<boost::shared_ptr<IMesh>> components;
    boost::shared_ptr<ITexture> texture;
    boost::shared_ptr<IShader> shader;
};

}  // namespace STN
