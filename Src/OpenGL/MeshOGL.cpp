#include <GL/glew.h>

#include "OpenGL/MeshOGL.h"

#include <cstddef>

#include "OpenGL/GLHooks.h"
#include "OpenGL/GLObjects.h"
#include "stnvr/vr_types.h"

namespace STN {

namespace {

const void* ByteOffset(std::size_t bytes) {
    return reinterpret_cast<const void*>(bytes);
}

// GL's mode for drawing `primitive`; triangles for a value outside the enum.
GLenum PrimitiveMode(MeshPrimitive primitive) {
    switch (primitive) {
        case kPrimitiveTriangles:
            return GL_TRIANGLES;
        case kPrimitiveTriangleStrip:
            return GL_TRIANGLE_STRIP;
        case kPrimitiveLines:
            return GL_LINES;
        case kPrimitivePoints:
            return GL_POINTS;
        default:
            return GL_TRIANGLES;
    }
}

}  // namespace

MeshOGL::MeshOGL(const std::string& name) : name(name), primitive(GL_TRIANGLES) {}

MeshOGL::~MeshOGL() {
    Release();
}

void MeshOGL::CreateFromRenderModel(const vr::RenderModel_t& model) {
    Release();
    primitive = GL_TRIANGLES;
    hasNormal = true;
    hasTexcoord = true;
    hasColor = false;
    indexCount = 3 * model.unTriangleCount;

    UploadVertices(model.rVertexData, sizeof(vr::RenderModel_Vertex_t) * model.unVertexCount);
    const GLsizei stride = sizeof(vr::RenderModel_Vertex_t);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, stride,
                          ByteOffset(offsetof(vr::RenderModel_Vertex_t, vPosition)));
    glEnableVertexAttribArray(1);
    glVertexAttribPointer(1, 3, GL_FLOAT, GL_FALSE, stride,
                          ByteOffset(offsetof(vr::RenderModel_Vertex_t, vNormal)));
    glEnableVertexAttribArray(2);
    glVertexAttribPointer(2, 2, GL_FLOAT, GL_FALSE, stride,
                          ByteOffset(offsetof(vr::RenderModel_Vertex_t, rfTextureCoord)));
    UploadIndices(model.rIndexData, sizeof(std::uint16_t) * 3 * model.unTriangleCount);
}

void MeshOGL::Release() {
    // Staged vertices stay; only the uploaded description goes.
    if (vertexBuffer == 0) {
        return;
    }
    globjects::DeleteName(GLObjectKind::kBuffer, indexBuffer, group);
    globjects::DeleteName(GLObjectKind::kVertexArray, vertexArray, group);
    globjects::DeleteName(GLObjectKind::kBuffer, vertexBuffer, group);
    indexCount = 0;
    primitive = GL_TRIANGLES;
    hasNormal = false;
    hasTexcoord = false;
    hasColor = false;
    CheckGLErrors(false);
}

void MeshOGL::Begin(MeshPrimitive primitive, bool hasNormal, bool hasTexcoord, bool hasColor) {
    Release();
    this->primitive = PrimitiveMode(primitive);
    this->hasNormal = hasNormal;
    this->hasTexcoord = hasTexcoord;
    this->hasColor = hasColor;
}

void MeshOGL::AddVertex(float x, float y, float z, float nx, float ny, float nz, float u, float v,
                        float r, float g, float b, float a) {
    vertices.insert(vertices.end(), {x, y, z});
    if (hasNormal) {
        vertices.insert(vertices.end(), {nx, ny, nz});
    }
    if (hasTexcoord) {
        vertices.insert(vertices.end(), {u, v});
    }
    if (hasColor) {
        vertices.insert(vertices.end(), {r, g, b, a});
    }
}

void MeshOGL::End() {
    if (vertices.empty()) {
        return;
    }
    const std::size_t stride = 3 + (hasNormal ? 3 : 0) + (hasTexcoord ? 2 : 0) + (hasColor ? 4 : 0);
    indexCount = static_cast<std::uint32_t>(vertices.size() / stride);

    UploadVertices(vertices.data(), vertices.size() * sizeof(float));

    // Locations are packed: each present attribute takes the next one.
    const GLsizei strideBytes = static_cast<GLsizei>(stride * sizeof(float));
    GLuint location = 0;
    std::size_t offset = 0;
    const auto attribute = [&](GLint components) {
        glEnableVertexAttribArray(location);
        glVertexAttribPointer(location, components, GL_FLOAT, GL_FALSE, strideBytes,
                              ByteOffset(offset * sizeof(float)));
        ++location;
        offset += static_cast<std::size_t>(components);
    };
    attribute(3);
    if (hasNormal) {
        attribute(3);
    }
    if (hasTexcoord) {
        attribute(2);
    }
    if (hasColor) {
        attribute(4);
    }

    // One index per staged float, wrapping at 16 bits; only the first indexCount are drawn.
    indices.resize(vertices.size());
    for (std::size_t i = 0; i < indices.size(); ++i) {
        indices[i] = static_cast<std::uint16_t>(i);
    }
    UploadIndices(indices.data(), indices.size() * sizeof(std::uint16_t));
    vertices.clear();
    indices.clear();
}

void MeshOGL::Draw() {
    glBindVertexArray(vertexArray);
    glDrawElements(primitive, static_cast<GLsizei>(indexCount), GL_UNSIGNED_SHORT, nullptr);
    glBindVertexArray(0);
}

void MeshOGL::UploadVertices(const void* data, std::size_t bytes) {
    vertexArray = globjects::NewName(glGenVertexArrays, group);
    glBindVertexArray(vertexArray);
    vertexBuffer = globjects::NewName(glGenBuffers, group);
    glBindBuffer(GL_ARRAY_BUFFER, vertexBuffer);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(bytes), data, GL_STATIC_DRAW);
}

void MeshOGL::UploadIndices(const void* data, std::size_t bytes) {
    indexBuffer = globjects::NewName(glGenBuffers, group);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indexBuffer);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, static_cast<GLsizeiptr>(bytes), data, GL_STATIC_DRAW);
    glBindVertexArray(0);
    CheckGLErrors(false);
}

}  // namespace STN
