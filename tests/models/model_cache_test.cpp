// Controller render models loaded through the project's OpenVR client from the simulated runtime
// onto a real GL context: the polling, the component table, failures and the second chance, the
// OpenVR memory given back, the Windows Mixed Reality remap to the library's own files, and
// clearing.
#include <GL/glew.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "GB/Device.h"
#include "IMesh.h"
#include "ITexture.h"
#include "Model.h"
#include "ModelCache.h"
#include "OpenGL/GraphicsContextOGL.h"
#include "OpenGL/MeshOGL.h"
#include "OpenGL/TextureOGL.h"
#include "OpenVRManager.h"
#include "ShaderRegistry.h"
#include "hostcore/filesupport.h"
#include "simulated_headset.h"
#include "simvr/simvr_control.h"
#include "stnvr/vr_client.h"
#include "stnvr/vr_interfaces.h"

namespace {

using STN::Model;
using STN::ModelCache;
using STN::ModelState;

const char* const kVive = "vr_controller_vive_1_5";
const char* const kRiftLeft = "oculus_cv1_controller_left";
const char* const kRiftRight = "oculus_cv1_controller_right";
// Listed by the simulated runtime, which has no components for it.
const char* const kGeneric = "simvr_controller";
// The names the simulated Windows Mixed Reality driver gives its controllers.
const char* const kWinMRLeft =
    "C:\\Users\\simvr\\AppData\\Local\\Microsoft\\Windows\\OpenVR\\controller_1115_16_1\\"
    "controller.obj";
const char* const kWinMRRight =
    "C:\\Users\\simvr\\AppData\\Local\\Microsoft\\Windows\\OpenVR\\controller_1115_16_2\\"
    "controller.obj";

const int kPolls = 3;
// Far more polls than any load here needs.
const int kPollLimit = 40;

std::string ModelsDirectory(const std::string& modules) {
    return modules + "/Stereon/models/winmr";
}

// Triangles of an OBJ file's polygon faces, counted the way a loader fans them.
int CountObjTriangles(const std::string& path) {
    std::ifstream file(path);
    int triangles = 0;
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream in(line);
        std::string tag;
        in >> tag;
        if (tag != "f") {
            continue;
        }
        int corners = 0;
        std::string corner;
        while (in >> corner) {
            ++corners;
        }
        triangles += corners - 2;
    }
    return triangles;
}

std::vector<std::string> ComponentNames(const Model& model) {
    std::vector<std::string> names;
    for (const boost::shared_ptr<STN::IMesh>& mesh : model.GetComponents()) {
        names.push_back(mesh->GetName());
    }
    return names;
}

class ModelCacheTest : public stereon::test::SimulatedHeadsetTest {
protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(SimulatedHeadsetTest::SetUp());
        ::unsetenv("STEREON_MODULES_DIR");
        simvr_set_model_load_polls(kPolls);
        liveModelsBefore = simvr_get_live_model_count();
        liveTexturesBefore = simvr_get_live_texture_count();

        std::string reason;
        device = GB::Device::Create(GB::kDeviceKind_OpenCLNoSharing, &reason);
        if (!device) {
            GTEST_SKIP() << "no host device with an offscreen context: " << reason;
        }
        context = STN::CreateGraphicsContext("RenderContext");
        context->BindDevice(device);
        ASSERT_TRUE(context->CreateVersionedContext(4, boost::shared_ptr<STN::IGraphicsContext>()));
        context->MakeCurrentAndLock();
        STN::ShaderRegistry::Instance().SetGraphicsContext(context);

        openVR = STN::OpenVRManager::Instance();
        Connect();
        cache.SetContext(context);
    }

    void TearDown() override {
        ::unsetenv("STEREON_MODULES_DIR");
        cache.Clear();
        if (context) {
            STN::ShaderRegistry::DestroyInstance();
            context->UnlockAndRelease();
            context.reset();
        }
        if (openVR) {
            openVR->Shutdown();
            openVR.reset();
        }
        vr::VR_Shutdown();
        SimulatedHeadsetTest::TearDown();
    }

    void Connect() {
        vr::EVRInitError error = vr::VRInitError_None;
        ASSERT_TRUE(openVR->Init(error)) << error;
        ASSERT_NE(openVR->GetRenderModels(), nullptr);
    }

    // Asks for the model until it is no longer Loading; `polls` gets the number of requests.
    boost::shared_ptr<Model> Settle(const std::string& name, int* polls = nullptr) {
        boost::shared_ptr<Model> model;
        for (int poll = 1; poll <= kPollLimit; ++poll) {
            model = cache.GetModel(name);
            if (!model || model->GetState() != ModelState::Loading) {
                if (polls != nullptr) {
                    *polls = poll;
                }
                break;
            }
        }
        return model;
    }

    // Counted against what the runtime held when the test began: memory handed out to a
    // connection that ended without freeing it outlives a reset of the runtime.
    int LiveModels() const { return simvr_get_live_model_count() - liveModelsBefore; }
    int LiveTextures() const { return simvr_get_live_texture_count() - liveTexturesBefore; }

    // Settled: more requests of the name give the same model, unchanged, and cost no runtime call.
    void ExpectSettled(const char* name, const boost::shared_ptr<Model>& model, ModelState state) {
        const int calls = simvr_get_model_load_calls(nullptr);
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(cache.GetModel(name), model);
        }
        EXPECT_EQ(model->GetState(), state);
        EXPECT_EQ(simvr_get_model_load_calls(nullptr), calls);
    }

    void ExpectRuntimeMemoryReturned() const {
        EXPECT_EQ(LiveModels(), 0);
        EXPECT_EQ(LiveTextures(), 0);
        EXPECT_EQ(simvr_get_invalid_free_count(), 0);
    }

    int liveModelsBefore = 0;
    int liveTexturesBefore = 0;
    boost::shared_ptr<GB::Device> device;
    boost::shared_ptr<STN::GraphicsContextOGL> context;
    boost::shared_ptr<STN::OpenVRManager> openVR;
    ModelCache cache;
};

TEST_F(ModelCacheTest, TableModelLoadsOnePollAtATimeAndGivesTheRuntimeItsMemoryBack) {
    // The components answer Loading kPolls times, then the texture, asked for in the poll the
    // components arrive in, kPolls times more.
    boost::shared_ptr<Model> first;
    for (int poll = 1; poll <= 2 * kPolls; ++poll) {
        const boost::shared_ptr<Model> model = cache.GetModel(kVive);
        ASSERT_TRUE(model);
        if (!first) {
            first = model;
        }
        // Every request of the name, also from a second device, gets the same model.
        EXPECT_EQ(model, first);
        EXPECT_EQ(model->GetState(), ModelState::Loading) << "poll " << poll;
        EXPECT_EQ(model->GetComponentCount(), 0u);
        EXPECT_EQ(simvr_get_model_load_calls(nullptr),
                  poll <= kPolls + 1 ? 7 * poll : 7 * (kPolls + 1))
            << "each poll asks every component not yet held, once";
        if (poll > kPolls) {
            EXPECT_EQ(LiveModels(), 7) << "held until the meshes exist";
        }
    }
    const boost::shared_ptr<Model> model = cache.GetModel(kVive);
    EXPECT_EQ(model, first);
    ASSERT_EQ(model->GetState(), ModelState::Loaded);
    EXPECT_EQ(ComponentNames(*model),
              (std::vector<std::string>{"body", "button", "lgrip", "rgrip", "sys_button",
                                        "trackpad", "trigger"}));
    ASSERT_TRUE(model->GetTexture());
    EXPECT_GT(model->GetTexture()->GetWidth(), 0u);
    ExpectRuntimeMemoryReturned();

    // Loaded is final: no more runtime work for the name.
    ExpectSettled(kVive, model, ModelState::Loaded);
}

TEST_F(ModelCacheTest, NameOutsideTheTableLoadsWholeAndAFailureGetsOneSecondChance) {
    // A model without a table row loads as one component named after the model.
    const boost::shared_ptr<Model> whole = Settle(kGeneric);
    ASSERT_TRUE(whole);
    ASSERT_EQ(whole->GetState(), ModelState::Loaded);
    EXPECT_EQ(ComponentNames(*whole), std::vector<std::string>{kGeneric});
    cache.Clear();
    cache.SetContext(context);

    ASSERT_EQ(simvr_set_model_error(kGeneric, vr::VRRenderModelError_InvalidModel), 1);
    const int before = simvr_get_model_load_calls(kGeneric);
    int polls = 0;
    const boost::shared_ptr<Model> failed = Settle(kGeneric, &polls);
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->GetState(), ModelState::Failed);
    const int afterFailure = simvr_get_model_load_calls(kGeneric);
    EXPECT_EQ(afterFailure - before, polls) << "one load of the name a poll until it fails";
    ExpectRuntimeMemoryReturned();

    // The next request starts over once, with a new model, under the same name.
    const boost::shared_ptr<Model> retried = cache.GetModel(kGeneric);
    ASSERT_TRUE(retried);
    EXPECT_NE(retried, failed);
    EXPECT_EQ(retried->GetState(), ModelState::Failed);
    EXPECT_EQ(simvr_get_model_load_calls(kGeneric), afterFailure + 1);

    // Then it stays failed, and the runtime is not asked again.
    ExpectSettled(kGeneric, retried, ModelState::Failed);
    ExpectRuntimeMemoryReturned();

    // A name that names nothing gets no model and costs no runtime call.
    const int all = simvr_get_model_load_calls(nullptr);
    EXPECT_FALSE(cache.GetModel(""));
    EXPECT_EQ(simvr_get_model_load_calls(nullptr), all);
}

TEST_F(ModelCacheTest, ABadComponentOrTextureFailsATableModelForGood) {
    // One of the Vive's components fails to load, and the texture of the Rift's.
    const std::string trigger = std::string(kVive) + "_trigger";
    ASSERT_EQ(simvr_set_model_error(trigger.c_str(), vr::VRRenderModelError_InvalidModel), 1);
    simvr_set_model_load_polls(0);
    vr::RenderModel_t* body = nullptr;
    ASSERT_EQ(openVR->GetRenderModels()->LoadRenderModel_Async(
                  (std::string(kRiftLeft) + "_body").c_str(), &body),
              vr::VRRenderModelError_None);
    ASSERT_TRUE(body);
    const vr::TextureID_t texture = body->diffuseTextureId;
    openVR->GetRenderModels()->FreeRenderModel(body);
    simvr_set_model_load_polls(kPolls);
    ASSERT_EQ(simvr_set_texture_error(texture, vr::VRRenderModelError_InvalidTexture), 1);

    for (const char* name : {kVive, kRiftLeft}) {
        SCOPED_TRACE(name);
        const boost::shared_ptr<Model> model = Settle(name);
        ASSERT_TRUE(model);
        EXPECT_EQ(model->GetState(), ModelState::Failed);
        EXPECT_FALSE(model->GetTexture());
        EXPECT_EQ(model->GetComponentCount(), 0u);
        // What did arrive is back with the runtime.
        ExpectRuntimeMemoryReturned();
        // No second chance: the runtime is not asked again.
        ExpectSettled(name, model, ModelState::Failed);
    }
    // The Vive's other components were asked for to the end.
    EXPECT_GT(simvr_get_model_load_calls((std::string(kVive) + "_body").c_str()), kPolls);
}

TEST_F(ModelCacheTest, RuntimeGoneFreesNothingAndAModelAskedMeanwhileLoadsOnceItIsBack) {
    for (int poll = 0; poll <= kPolls; ++poll) {
        cache.GetModel(kRiftRight);
    }
    ASSERT_EQ(cache.GetModel(kRiftRight)->GetState(), ModelState::Loading);
    const int live = LiveModels();
    ASSERT_EQ(live, 5) << "the components arrived; the texture is still loading";

    openVR->Shutdown();
    ASSERT_EQ(openVR->GetRenderModels(), nullptr);
    EXPECT_EQ(cache.GetModel(kRiftRight)->GetState(), ModelState::Loading);
    // Freeing through an interface of a connection that has ended would reach a gone runtime.
    cache.Clear();
    EXPECT_EQ(LiveModels(), live);
    EXPECT_EQ(simvr_get_invalid_free_count(), 0);

    // Asked for while the runtime is away, a model waits without a runtime call and loads once
    // the runtime is back.
    cache.SetContext(context);
    const int calls = simvr_get_model_load_calls(nullptr);
    EXPECT_EQ(cache.GetModel(kVive)->GetState(), ModelState::Loading);
    EXPECT_EQ(simvr_get_model_load_calls(nullptr), calls);
    Connect();
    const boost::shared_ptr<Model> model = Settle(kVive);
    ASSERT_TRUE(model);
    EXPECT_EQ(model->GetState(), ModelState::Loaded);
    EXPECT_EQ(model->GetComponentCount(), 7u);
    EXPECT_EQ(LiveModels(), live);
}

TEST_F(ModelCacheTest, WindowsMixedRealityControllersAreDrawnFromTheLibrarysOwnFiles) {
    const std::string modules = hostcore::filesupport::commondirs::ApplicationModules().Path();
    const std::string left = ModelsDirectory(modules) + "/left/controller-left.obj";
    const std::string right = ModelsDirectory(modules) + "/right/controller-right.obj";

    // Remapped by the backslash form of a path, whichever slashes it came with; holding both
    // markers makes a right controller.
    const std::pair<const char*, std::string> remapped[] = {
        {kWinMRLeft, left},
        {kWinMRRight, right},
        {"C:/Users/someone/AppData/Local/Microsoft/Windows/OpenVR/controller_1/controller_1/"
         "controller.obj",
         left},
        {"D:\\Microsoft/Windows\\OpenVR/controller_045E_065B_1\\controller.obj", left},
        {"C:/Microsoft/Windows/OpenVR/controller_1/controller.obj/x_2/controller.obj", right},
        {"C:/Microsoft/Windows/OpenVR/controller_2/controller.obj/x_1/controller.obj", right}};
    for (const auto& name : remapped) {
        EXPECT_EQ(ModelCache::ResolveRenderModelName(name.first), name.second) << name.first;
    }
    // Anything else comes back as it was, slashes included.
    for (const char* unchanged :
         {"C:/Program Files/Steam/rendermodels/vr_controller_vive_1_5/body.obj",
          "C:/Users/x/AppData/Local/microsoft/windows/openvr/controller_1/controller.obj",
          "C:/Users/x/AppData/Local/Microsoft/Windows/OpenVR/controller_3/controller.obj",
          "C:/Users/x/AppData/Local/Microsoft/Windows/OpenVR/headset_1/controller.obj", kVive,
          ""}) {
        EXPECT_EQ(ModelCache::ResolveRenderModelName(unchanged), unchanged);
    }

    // The build put the files where the library looks, and every face of them is drawn.
    for (const auto& controller : {remapped[0], remapped[1]}) {
        const int triangles = CountObjTriangles(controller.second);
        ASSERT_GT(triangles, 0) << controller.second << " is missing or has no faces";
        const boost::shared_ptr<Model> model = Settle(controller.first);
        ASSERT_TRUE(model);
        ASSERT_EQ(model->GetState(), ModelState::Loaded) << controller.second;
        ASSERT_EQ(model->GetComponentCount(), 1u);
        EXPECT_EQ(model->GetComponents()[0]->GetName(), controller.second);
        const auto mesh = boost::dynamic_pointer_cast<STN::MeshOGL>(model->GetComponents()[0]);
        ASSERT_TRUE(mesh);
        EXPECT_EQ(mesh->GetIndexCount(), static_cast<std::uint32_t>(3 * triangles));
        EXPECT_EQ(simvr_get_model_load_calls(controller.first), 0)
            << "the driver's own model was not needed";
    }
    ExpectRuntimeMemoryReturned();
}

TEST_F(ModelCacheTest, MissingRemappedFileFallsBackToTheDriversModel) {
    // Modules somewhere without the model files.
    const std::string modules = home + "/modules";
    ASSERT_EQ(std::system(("mkdir -p '" + modules + "'").c_str()), 0);
    ::setenv("STEREON_MODULES_DIR", modules.c_str(), 1);
    const std::string missing = ModelsDirectory(modules) + "/right/controller-right.obj";
    ASSERT_EQ(ModelCache::ResolveRenderModelName(kWinMRRight), missing);

    const boost::shared_ptr<Model> failed = Settle(kWinMRRight);
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->GetState(), ModelState::Failed);
    EXPECT_EQ(simvr_get_model_load_calls(missing.c_str()), 1);

    const boost::shared_ptr<Model> model = Settle(kWinMRRight);
    ASSERT_TRUE(model);
    EXPECT_NE(model, failed);
    ASSERT_EQ(model->GetState(), ModelState::Loaded);
    EXPECT_EQ(ComponentNames(*model), std::vector<std::string>{kWinMRRight});
    EXPECT_EQ(simvr_get_model_load_calls(missing.c_str()), 1);
    ExpectRuntimeMemoryReturned();
}

TEST_F(ModelCacheTest, ClearFreesEverythingAndTheNextRequestStartsAfresh) {
    const boost::shared_ptr<Model> loaded = Settle(kVive);
    ASSERT_TRUE(loaded);
    ASSERT_EQ(loaded->GetState(), ModelState::Loaded);
    std::vector<GLuint> vertexArrays;
    for (const boost::shared_ptr<STN::IMesh>& mesh : loaded->GetComponents()) {
        const auto meshOGL = boost::dynamic_pointer_cast<STN::MeshOGL>(mesh);
        ASSERT_TRUE(meshOGL);
        vertexArrays.push_back(meshOGL->GetVertexArray());
        EXPECT_TRUE(glIsVertexArray(vertexArrays.back()));
    }
    const auto texture = boost::dynamic_pointer_cast<STN::TextureOGL>(loaded->GetTexture());
    ASSERT_TRUE(texture);
    const GLuint textureName = texture->GetTexture();
    EXPECT_TRUE(glIsTexture(textureName));

    // A second model half way: the runtime holds its components for the cache.
    for (int poll = 0; poll <= kPolls; ++poll) {
        cache.GetModel(kRiftLeft);
    }
    ASSERT_EQ(cache.GetModel(kRiftLeft)->GetState(), ModelState::Loading);
    ASSERT_EQ(LiveModels(), 5);

    cache.Clear();
    ExpectRuntimeMemoryReturned();
    // Also a model a device still holds loses its GL objects now, with the context current.
    EXPECT_EQ(loaded->GetState(), ModelState::None);
    EXPECT_EQ(loaded->GetComponentCount(), 0u);
    EXPECT_FALSE(loaded->GetTexture());
    for (GLuint vertexArray : vertexArrays) {
        EXPECT_FALSE(glIsVertexArray(vertexArray));
    }
    EXPECT_FALSE(glIsTexture(textureName));

    // Without its context the cache waits; with it, the name loads again from the start.
    const int calls = simvr_get_model_load_calls(nullptr);
    EXPECT_EQ(cache.GetModel(kVive)->GetState(), ModelState::Loading);
    EXPECT_EQ(simvr_get_model_load_calls(nullptr), calls);
    cache.SetContext(context);
    const boost::shared_ptr<Model> again = Settle(kVive);
    ASSERT_TRUE(again);
    EXPECT_NE(again, loaded);
    EXPECT_EQ(again->GetState(), ModelState::Loaded);
    EXPECT_EQ(again->GetComponentCount(), 7u);
    EXPECT_GT(simvr_get_model_load_calls(nullptr), calls);
    ExpectRuntimeMemoryReturned();
}

}  // namespace
