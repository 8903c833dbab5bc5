#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "IMesh.h"
#include "hostcore/utility.h"

namespace STN {

class MeshOGL : public IMesh {
public:
    explicit MeshOGL(const std::string& name);
    ~MeshOGL() override;
    MeshOGL(const MeshOGL&) = delete;
    MeshOGL& operator=(const MeshOGL&) = delete;

    const std::string& GetName() override { return name; }
    void CreateFromRenderModel(const vr::RenderModel_t& model) override;
    void Release() override;
    void Begin(MeshPrimitive primitive, bool hasNormal, bool hasTexcoord, bool hasColor) override;
    void AddVertex(float x, float y, float z, float nx, float ny, float nz, float u, float v,
                   float r, float g, float b, float a) override;
    void End() override;
    void Draw() override;

    std::uint32_t GetIndexCount() const { return indexCount; }
    std::uint32_t GetVertexArray() const { return vertexArray; }
    std::uint32_t GetPrimitive() const { return primitive; }

private:
    // A new vertex array, left bound, with `bytes` of `data` in its vertex buffer; the caller
    // then describes the attributes.
    void UploadVertices(const void* data, std::size_t bytes);
    // The index buffer of the bound vertex array, which it then unbinds and checks for errors.
    void UploadIndices(const void* data, std::size_t bytes);

    std::string name;
    // The share group the names belong to (GLReleaseQueue).
    std::uint32_t group = 0;
    std::uint32_t vertexBuffer = 0;
    std::uint32_t indexBuffer = 0;
    std::uint32_t vertexArray = 0;
    std::uint32_t indexCount = 0;
    std::vector<float, hostcore::utility::SmallBlockAllocator<float>> vertices;
    std::vector<std::uint16_t, hostcore::utility::SmallBlockAllocator<std::uint16_t>> indices;
    std::uint32_t primitive;
    bool hasNormal = false;
    bool hasTexcoord = false;
    bool hasColor = false;
};

}  // namespace STN
