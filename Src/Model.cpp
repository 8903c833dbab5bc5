#include "Model.h"

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IShader.h"
#include "ITexture.h"
#include "ModelCache.h"
#include "OpenVRManager.h"
#include "ShaderRegistry.h"
#include "ShaderUniform.h"
#include "stnvr/vr_interfaces.h"

namespace STN {

Model::Model(const std::string& name) : name(name) {}

void Model::InitResources(const ModelCache& cache, const vr::RenderModel_TextureMap_t& textureMap) {
    ReleaseResources();
    const boost::shared_ptr<IGraphicsContext>& context = cache.GetContext();
    if (!context) {
        return;
    }
    shader = ShaderRegistry::Instance().GetShader("ModelShader");
    texture = context->CreateTexture(name + "_Texture");
    if (texture) {
        texture->CreateFromRenderModel(textureMap);
    }
}

void Model::AddComponent(const ModelCache& cache, const std::string& componentName,
                         const vr::RenderModel_t& renderModel) {
    const boost::shared_ptr<IGraphicsContext>& context = cache.GetContext();
    if (!context) {
        return;
    }
    boost::shared_ptr<IMesh> mesh = context->CreateMesh(componentName);
    if (!mesh) {
        return;
    }
    components.push_back(mesh);
    mesh->CreateFromRenderModel(renderModel);
}

void Model::ReleaseResources() {
    // The model made these objects and is their only user: free the GL side now rather than
    // whenever the last reference happens to go.
    for (const boost::shared_ptr<IMesh>& mesh : components) {
        mesh->Release();
    }
    components.clear();
    if (texture) {
        texture->Release();
        texture.reset();
    }
    // The registry owns the program.
    shader.reset();
    state = ModelState::None;
}

void Model::Draw(const vr::VRControllerState_t& state, const Matrix4& modelViewProjection) {
    if (this->state != ModelState::Loaded || !shader || !texture) {
        return;
    }
    shader->Bind();
    shader->SetUniform1i(kUniformModelTexture0, 0);
    texture->Bind();

    const boost::shared_ptr<OpenVRManager> openVR = OpenVRManager::Instance();
    // No controller mode is asked for: scroll wheels stay in their default mode.
    const vr::RenderModel_ControllerMode_State_t modeState = {};
    for (const boost::shared_ptr<IMesh>& mesh : components) {
        Matrix4 placement = Matrix4::Identity();
        // Held per query, not across the draws, so that a haptic pulse waits for the runtime
        // only; held at all so that the interface cannot go while it is asked.
        openVR->Lock();
        if (vr::IVRRenderModels* renderModels = openVR->GetRenderModels()) {
            vr::RenderModel_ComponentState_t componentState = {};
            // The visibility bit of the answer is not consulted: a component the runtime
            // reports as hidden is drawn all the same.
            if (renderModels->GetComponentState(name.c_str(), mesh->GetName().c_str(), &state,
                                                &modeState, &componentState)) {
                placement = ToMatrix4(componentState.mTrackingToComponentRenderModel);
            }
        }
        openVR->Unlock();
        const Matrix4 matrix = modelViewProjection * placement;
        shader->SetUniformMatrix4(kUniformModelMatrix, matrix.m);
        mesh->Draw();
    }

    texture->Unbind();
    shader->Unbind();
}

}  // namespace STN
