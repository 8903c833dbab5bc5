#pragma once

#include <cstdint>
#include <string>

namespace vr {
struct RenderModel_t;
}

namespace STN {

enum MeshPrimitive : std::int32_t {
    kPrimitiveTriangles = 0,
    kPrimitiveTriangleStrip = 1,
    kPrimitiveLines = 2,
    kPrimitivePoints = 3,
};

// Geometry in a vertex array. Staged vertices are interleaved floats with packed attribute
// locations: position at 0, then normal, texture coordinate and colour, each only when present.
class IMesh {
public:
    virtual const std::string& GetName() = 0;
    // Position, normal and texture coordinate at locations 0, 1 and 2; the data is copied.
    virtual void CreateFromRenderModel(const vr::RenderModel_t& model) = 0;
    virtual void Release() = 0;
    virtual void Begin(MeshPrimitive primitive, bool hasNormal, bool hasTexcoord,
                       bool hasColor) = 0;
    // Arguments of attributes the mesh does not have are ignored.
    virtual void AddVertex(float x, float y, float z, float nx, float ny, float nz, float u,
                           float v, float r, float g, float b, float a) = 0;
    virtual void End() = 0;
    virtual void Draw() = 0;
    virtual ~IMesh() = default;
};

}  // namespace STN
