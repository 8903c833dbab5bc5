// Controller render models by name, loaded through OpenVR's asynchronous calls. No thread does
// the loading: each GetModel of a model still loading polls the runtime once, so a model moves
// on only as often as the Scene asks for it. Render thread only, with the render context current
// when a model may finish loading.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "Model.h"
#include "stnvr/vr_types.h"

namespace vr {
class IVRRenderModels;
}

namespace STN {

class IGraphicsContext;

// Give what OpenVR handed out back to it, under the runtime manager's lock. A pointer is kept for
// every answer, also the null of a load still running, and freed as it is. When the runtime
// interface is gone nothing is freed: the memory went with the connection.
struct OVRModelDestroyer {
    void operator()(vr::RenderModel_t* model) const;
};
struct OVRTextureDestroyer {
    void operator()(vr::RenderModel_TextureMap_t* texture) const;
};

// What the cache keeps per requested name while and after its model loads.
struct ModelCacheEntry {
    boost::shared_ptr<Model> model;
    // What to load: the table's components, or the one (maybe remapped) name.
    std::vector<std::string> componentNames;
    // The name to retry with once after a failure; empty when no second chance remains.
    std::string fallbackName;
    // One slot per component name; held only until the meshes exist.
    std::vector<boost::shared_ptr<vr::RenderModel_t>> renderModels;
    boost::shared_ptr<vr::RenderModel_TextureMap_t> renderTexture;
};

class ModelCache {
public:
    ModelCache() = default;

    void SetContext(const boost::shared_ptr<IGraphicsContext>& context) {
        graphicsContext = context;
    }
    const boost::shared_ptr<IGraphicsContext>& GetContext() const { return graphicsContext; }

    // The model of a render model name, made on the first request; later requests get the same
    // object and poll its load once while it is Loading. A name that failed is retried once,
    // with a new model, under the name OpenVR gave, and then stays Failed. An empty name gives
    // an empty pointer.
    boost::shared_ptr<Model> GetModel(const std::string& name);
    // Drops every model and what OpenVR still holds for them, and the context. The render
    // context must be current for the models' GL objects to be freed.
    void Clear();

    std::size_t GetEntryCount() const { return entries.size(); }

    // The Windows Mixed Reality driver names its controllers by the OBJ files it unpacked; they
    // are drawn from the library's own files under <modules>/Stereon/models/winmr instead. Any
    // other name comes back as it was.
    static std::string ResolveRenderModelName(const std::string& name);

    ModelCache(const ModelCache&) = delete;
    ModelCache& operator=(const ModelCache&) = delete;

private:
    // One step of the entry's load; builds the model once everything has arrived.
    boost::shared_ptr<Model> PollModel(ModelCacheEntry& entry);
    // True once the component's render model is in its slot; the model is Failed when the
    // runtime refuses it.
    bool LoadComponent(ModelCacheEntry& entry, std::size_t index,
                       vr::IVRRenderModels& renderModels);
    // True once the diffuse texture of the first component that arrived is held; the model is
    // Failed when the runtime refuses it.
    bool LoadTexture(ModelCacheEntry& entry, vr::IVRRenderModels& renderModels);

    boost::shared_ptr<IGraphicsContext> graphicsContext;
    std::map<std::string, ModelCacheEntry> entries;
};

}  // namespace STN
