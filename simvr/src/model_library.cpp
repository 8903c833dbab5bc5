#include "model_library.h"

#include <sys/stat.h>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

namespace simvr {

namespace {

constexpr vr::TextureID_t kObjTextureId = 100;

uint64_t Bit(vr::EVRButtonId id) {
    return 1ull << id;
}

ComponentInfo Part(const std::string& model, const char* name, uint64_t mask,
                   ComponentMotion motion, float cx, float cy, float cz, float hx, float hy,
                   float hz) {
    ComponentInfo part;
    part.name = name;
    part.renderModel = model + "_" + name;
    part.buttonMask = mask;
    part.motion = motion;
    part.center[0] = cx;
    part.center[1] = cy;
    part.center[2] = cz;
    part.half[0] = hx;
    part.half[1] = hy;
    part.half[2] = hz;
    return part;
}

// Reference frames without geometry.
ComponentInfo Frame(const char* name, float cx, float cy, float cz) {
    ComponentInfo part;
    part.name = name;
    part.center[0] = cx;
    part.center[1] = cy;
    part.center[2] = cz;
    return part;
}

struct ModelTable {
    std::map<std::string, std::vector<ComponentInfo>> components;
    std::map<std::string, vr::TextureID_t> textures;  // whole models and their parts
    std::vector<std::string> listed;
};

const ModelTable& Table() {
    static const ModelTable table = [] {
        ModelTable t;
        using M = ComponentMotion;
        const std::string vive = kViveControllerModel;
        t.components[vive] = {
            Part(vive, "body", 0, M::Static, 0, 0, 0.03f, 0.025f, 0.02f, 0.08f),
            Part(vive, "button", Bit(vr::k_EButton_ApplicationMenu), M::Button, 0, 0.021f, -0.045f,
                 0.006f, 0.002f, 0.004f),
            Part(vive, "lgrip", Bit(vr::k_EButton_Grip), M::Button, -0.026f, 0, 0.04f, 0.002f,
                 0.008f, 0.012f),
            Part(vive, "rgrip", Bit(vr::k_EButton_Grip), M::Button, 0.026f, 0, 0.04f, 0.002f,
                 0.008f, 0.012f),
            Part(vive, "sys_button", Bit(vr::k_EButton_System), M::Button, 0, 0.021f, 0.02f, 0.004f,
                 0.002f, 0.004f),
            Part(vive, "trackpad", Bit(vr::k_EButton_SteamVR_Touchpad), M::Pad, 0, 0.021f, -0.02f,
                 0.018f, 0.002f, 0.018f),
            Part(vive, "trigger", Bit(vr::k_EButton_SteamVR_Trigger), M::Trigger, 0, -0.025f,
                 -0.03f, 0.008f, 0.01f, 0.012f),
            Frame("tip", 0, -0.015f, -0.09f),
            Frame("base", 0, -0.01f, 0.11f),
            Frame("handgrip", 0, 0, 0.05f),
        };
        for (const char* side : {"left", "right"}) {
            const bool left = std::string(side) == "left";
            const std::string rift = left ? kRiftControllerLeftModel : kRiftControllerRightModel;
            const float mirror = left ? 1.0f : -1.0f;
            t.components[rift] = {
                Part(rift, "body", 0, M::Static, 0, 0, 0.02f, 0.03f, 0.025f, 0.05f),
                Part(rift, left ? "enter_button" : "home_button", Bit(vr::k_EButton_System),
                     M::Button, -0.012f * mirror, 0.026f, 0.005f, 0.004f, 0.002f, 0.004f),
                Part(rift, "grip", Bit(vr::k_EButton_Grip), M::Trigger, 0.02f * mirror, -0.02f,
                     0.03f, 0.006f, 0.012f, 0.015f),
                Part(rift, "thumbstick", Bit(vr::k_EButton_Axis0), M::Stick, 0.006f * mirror, 0.03f,
                     -0.005f, 0.007f, 0.006f, 0.007f),
                Part(rift, "trigger", Bit(vr::k_EButton_SteamVR_Trigger), M::Trigger, 0, -0.02f,
                     -0.02f, 0.008f, 0.01f, 0.01f),
                Part(rift, left ? "x_button" : "a_button", Bit(vr::k_EButton_A), M::Button,
                     -0.008f * mirror, 0.026f, -0.015f, 0.005f, 0.002f, 0.005f),
                Part(rift, left ? "y_button" : "b_button", Bit(vr::k_EButton_ApplicationMenu),
                     M::Button, -0.016f * mirror, 0.026f, -0.025f, 0.005f, 0.002f, 0.005f),
                Frame("tip", 0, -0.02f, -0.06f),
                Frame("base", 0, -0.01f, 0.08f),
                Frame("handgrip", 0, 0, 0.04f),
            };
        }
        vr::TextureID_t id = 1;
        for (const char* model :
             {kViveControllerModel, kRiftControllerLeftModel, kRiftControllerRightModel,
              kWindowsMrControllerLeftModel, kWindowsMrControllerRightModel,
              kGenericControllerModel, kHmdModel, kBaseStationModel}) {
            t.listed.push_back(model);
            t.textures[model] = id;
            auto parts = t.components.find(model);
            if (parts != t.components.end()) {
                for (const ComponentInfo& part : parts->second) {
                    if (!part.renderModel.empty()) {
                        t.textures[part.renderModel] = id;
                    }
                }
            }
            ++id;
        }
        return t;
    }();
    return table;
}

void AddBox(Geometry* g, const float center[3], const float half[3]) {
    // Six faces, four vertices each, outward normals, the whole texture on each face.
    static const float kFaces[6][3] = {{1, 0, 0},  {-1, 0, 0}, {0, 1, 0},
                                       {0, -1, 0}, {0, 0, 1},  {0, 0, -1}};
    for (const auto& n : kFaces) {
        // Two axes spanning the face.
        float u[3] = {n[1] != 0 || n[2] != 0 ? 1.0f : 0.0f, n[0] != 0 ? 1.0f : 0.0f, 0};
        float v[3] = {n[1] * u[2] - n[2] * u[1], n[2] * u[0] - n[0] * u[2],
                      n[0] * u[1] - n[1] * u[0]};
        const uint16_t base = uint16_t(g->vertices.size());
        static const float kCorners[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
        for (const auto& c : kCorners) {
            vr::RenderModel_Vertex_t vertex{};
            for (int k = 0; k < 3; ++k) {
                vertex.vPosition.v[k] = center[k] + half[k] * (n[k] + c[0] * u[k] + c[1] * v[k]);
                vertex.vNormal.v[k] = n[k];
            }
            vertex.rfTextureCoord[0] = 0.5f * (c[0] + 1.0f);
            vertex.rfTextureCoord[1] = 0.5f * (c[1] + 1.0f);
            g->vertices.push_back(vertex);
        }
        for (uint16_t index : {0, 1, 2, 0, 2, 3}) {
            g->indices.push_back(uint16_t(base + index));
        }
    }
}

bool IsAbsolutePath(const std::string& name) {
    return (!name.empty() && name[0] == '/') ||
           (name.size() > 2 && name[1] == ':' && (name[2] == '\\' || name[2] == '/'));
}

bool FileExists(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// A Wavefront OBJ reader for what controller models hold: v, vt, vn and polygon faces.
vr::EVRRenderModelError LoadObj(const std::string& path, Geometry* g) {
    std::ifstream file(path);
    if (!file) {
        return vr::VRRenderModelError_InvalidModel;
    }
    std::vector<std::array<float, 3>> positions, normals;
    std::vector<std::array<float, 2>> uvs;
    std::map<std::string, uint16_t> vertexIndex;
    std::string line;
    auto resolve = [](long index, size_t count) -> long {
        return index < 0 ? long(count) + index : index - 1;
    };
    while (std::getline(file, line)) {
        std::istringstream in(line);
        std::string tag;
        in >> tag;
        if (tag == "v") {
            std::array<float, 3> p{};
            in >> p[0] >> p[1] >> p[2];
            positions.push_back(p);
        } else if (tag == "vn") {
            std::array<float, 3> n{};
            in >> n[0] >> n[1] >> n[2];
            normals.push_back(n);
        } else if (tag == "vt") {
            std::array<float, 2> t{};
            in >> t[0] >> t[1];
            uvs.push_back(t);
        } else if (tag == "f") {
            std::vector<uint16_t> face;
            std::string corner;
            while (in >> corner) {
                auto found = vertexIndex.find(corner);
                if (found != vertexIndex.end()) {
                    face.push_back(found->second);
                    continue;
                }
                long p = 0, t = 0, n = 0;
                const char* s = corner.c_str();
                char* end = nullptr;
                p = std::strtol(s, &end, 10);
                if (*end == '/') {
                    s = end + 1;
                    if (*s != '/') {
                        t = std::strtol(s, &end, 10);
                    } else {
                        end = const_cast<char*>(s);
                    }
                    if (*end == '/') {
                        n = std::strtol(end + 1, &end, 10);
                    }
                }
                const long pi = resolve(p, positions.size());
                if (p == 0 || pi < 0 || size_t(pi) >= positions.size()) {
                    return vr::VRRenderModelError_InvalidModel;
                }
                if (g->vertices.size() >= 0xFFFF) {
                    return vr::VRRenderModelError_TooManyVertices;
                }
                vr::RenderModel_Vertex_t vertex{};
                for (int k = 0; k < 3; ++k) {
                    vertex.vPosition.v[k] = positions[size_t(pi)][size_t(k)];
                }
                const long ti = resolve(t, uvs.size());
                if (t != 0 && ti >= 0 && size_t(ti) < uvs.size()) {
                    vertex.rfTextureCoord[0] = uvs[size_t(ti)][0];
                    vertex.rfTextureCoord[1] = uvs[size_t(ti)][1];
                }
                const long ni = resolve(n, normals.size());
                if (n != 0 && ni >= 0 && size_t(ni) < normals.size()) {
                    for (int k = 0; k < 3; ++k) {
                        vertex.vNormal.v[k] = normals[size_t(ni)][size_t(k)];
                    }
                }
                const uint16_t index = uint16_t(g->vertices.size());
                g->vertices.push_back(vertex);
                vertexIndex[corner] = index;
                face.push_back(index);
            }
            for (size_t k = 2; k < face.size(); ++k) {
                g->indices.push_back(face[0]);
                g->indices.push_back(face[k - 1]);
                g->indices.push_back(face[k]);
            }
        }
    }
    if (g->indices.empty()) {
        return vr::VRRenderModelError_NoShapes;
    }
    g->textureId = kObjTextureId;
    return vr::VRRenderModelError_None;
}

}  // namespace

const std::vector<ComponentInfo>& ModelComponents(const std::string& modelName) {
    static const std::vector<ComponentInfo> kNone;
    const auto& table = Table().components;
    auto found = table.find(modelName);
    return found == table.end() ? kNone : found->second;
}

const ComponentInfo* FindComponent(const std::string& modelName, const std::string& component) {
    for (const ComponentInfo& part : ModelComponents(modelName)) {
        if (part.name == component) {
            return &part;
        }
    }
    return nullptr;
}

const std::vector<std::string>& ListedModelNames() {
    return Table().listed;
}

bool IsKnownModel(const std::string& name) {
    return Table().textures.count(name) != 0 || (IsAbsolutePath(name) && FileExists(name));
}

vr::EVRRenderModelError BuildModel(const std::string& name, Geometry* geometry) {
    const ModelTable& table = Table();
    auto texture = table.textures.find(name);
    if (texture == table.textures.end()) {
        if (IsAbsolutePath(name) && FileExists(name)) {
            return LoadObj(name, geometry);
        }
        return vr::VRRenderModelError_InvalidModel;
    }
    geometry->textureId = texture->second;
    // A component part: its own box.
    for (const auto& entry : table.components) {
        for (const ComponentInfo& part : entry.second) {
            if (part.renderModel == name) {
                AddBox(geometry, part.center, part.half);
                return vr::VRRenderModelError_None;
            }
        }
    }
    // A whole model: a body and a nose that shows which way it points (-Z).
    const float body[3] = {0, 0, 0.02f}, bodyHalf[3] = {0.03f, 0.025f, 0.07f};
    const float nose[3] = {0, 0, -0.07f}, noseHalf[3] = {0.012f, 0.012f, 0.02f};
    AddBox(geometry, body, bodyHalf);
    AddBox(geometry, nose, noseHalf);
    return vr::VRRenderModelError_None;
}

vr::EVRRenderModelError BuildTexture(vr::TextureID_t id, TextureImage* image) {
    const ModelTable& table = Table();
    bool known = id == kObjTextureId;
    for (const auto& entry : table.textures) {
        known = known || entry.second == id;
    }
    if (!known) {
        return vr::VRRenderModelError_InvalidTexture;
    }
    // A checkerboard whose tint tells the textures apart.
    image->width = 16;
    image->height = 16;
    image->rgba.resize(16 * 16 * 4);
    const uint8_t tint[3] = {uint8_t(60 + 37 * id % 190), uint8_t(90 + 53 * id % 160),
                             uint8_t(120 + 71 * id % 130)};
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            const bool dark = ((x / 4) + (y / 4)) % 2 == 1;
            uint8_t* p = &image->rgba[size_t(y * 16 + x) * 4];
            for (int k = 0; k < 3; ++k) {
                p[k] = dark ? uint8_t(tint[k] / 2) : tint[k];
            }
            p[3] = 255;
        }
    }
    return vr::VRRenderModelError_None;
}

}  // namespace simvr
