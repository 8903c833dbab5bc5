#include <GL/glew.h>

#include "OpenGL/MeshOGL.h"

#include <cstddef>

#include "OpenGL/GLHooks.h"
#include "stnvr/vr_types.h"

namespace STN {

namespace {

const void* ByteOffset(std::size_t bytes) {
    return reinterpret_cast<const void*>(bytes);
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

    GLuint name = 0;
    glGenVertexArrays(1, &name);
    vertexArray = name;
    glBindVertexArray(vertexArray);

    glGenBuffers(1, &name);
    vertexBuffer = name;
    glBindBuffer(GL_ARRAY_BUFFER, vertexBuffer);
    glBufferData(GL_ARRAY_BUFFER,
                 static_cast<GLsizeiptr>(sizeof(vr::RenderModel_Vertex_t) * model.unVertexCount),
                 model.rVertexData, GL_STATIC_DRAW);

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

    glGenBuffers(1, &name);
    indexBuffer = name;
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indexBuffer);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER,
                 static_cast<GLsizeiptr>(sizeof(std::uint16_t) * 3 * model.unTriangleCount),
                 model.rIndexData, GL_STATIC_DRAW);

    glBindVertexArray(0);
    CheckGLErrors(false);
}

void MeshOGL::Release() {
    // Staged vertices stay; only the uploaded description goes.
    if (vertexBuffer == 0) {
        return;
    }
    GLuint name = indexBuffer;
    glDeleteBuffers(1, &name);
    name = vertexArray;
    glDeleteVertexArrays(1, &name);
    name = vertexBuffer;
    glDeleteBuffers(1, &name);
    indexBuffer = 0;
    vertexArray = 0;
    vertexBuffer = 0;
    indexCount = 0;
    primitive = GL_TRIANGLES;
    hasNormal = false;
    hasTexcoord = false;
    hasColor = false;
    CheckGLErrors(false);
}

void MeshOGL::Begin(MeshPrimitive primitive, bool hasNormal, bool hasTexcoord, bool hasColor) {
    Release();
    switch (primitive) {
        case kPrimitiveTriangles:
            this->primitive = GL_TRIANGLES;
            break;
        case kPrimitiveTriangleStrip:
            this->primitive = GL_TRIANGLE_STRIP;
            break;
        case kPrimitiveLines:
            this->primitive = GL_LINES;
            break;
        case kPrimitivePoints:
            this->primitive = GL_POINTS;
            break;
        default:
            this->primitive = GL_TRIANGLES;
            break;
    }
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

    GLuint name = 0;
    glGenVertexArrays(1, &name);
    vertexArray = name;
    glBindVertexArray(vertexArray);
    glGenBuffers(1, &name);
    vertexBuffer = name;
    glBindBuffer(GL_ARRAY_BUFFER, vertexBuffer);
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(vertices.size() * sizeof(float)),
                 vertices.data(), GL_STATIC_DRAW);

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
    glGenBuffers(1, &name);
    indexBuffer = name;
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indexBuffer);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER,
                 static_cast<GLsizeiptr>(indices.size() * sizeof(std::uint16_t)), indices.data(),
                 GL_STATIC_DRAW);

    glBindVertexArray(0);
    vertices.clear();
    indices.clear();
    CheckGLErrors(false);
}

void MeshOGL::Draw() {
    glBindVertexArray(vertexArray);
    glDrawElements(primitive, static_cast<GLsizei>(indexCount), GL_UNSIGNED_SHORT, nullptr);
    glBindVertexArray(0);
}

}  // namespace STN
