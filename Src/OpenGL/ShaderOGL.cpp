#include <GL/glew.h>

#include "OpenGL/ShaderOGL.h"

#include <vector>

#include "OpenGL/GLHooks.h"
#include "OpenGL/GLReleaseQueue.h"
#include "OpenGL/ShaderSources.h"
#include "hostcore/debug.h"

namespace STN {

ShaderOGL::ShaderOGL(const std::string& name) : name(name) {}

ShaderOGL::~ShaderOGL() {
    Release();
}

bool ShaderOGL::Load(const std::string& sourceName, bool rectangle) {
    Release();
    const char* vertexSource = nullptr;
    const char* fragmentHeader = nullptr;
    const char* fragmentBody = nullptr;
    if (!FindShaderSource(sourceName, vertexSource, fragmentHeader, fragmentBody)) {
        return false;
    }
    program = glCreateProgram();
    group = GLReleaseQueue::CurrentGroup();

    const GLuint vertexShader = glCreateShader(GL_VERTEX_SHADER);
    glShaderSource(vertexShader, 1, &vertexSource, nullptr);
    glCompileShader(vertexShader);
    GLint status = 0;
    glGetShaderiv(vertexShader, GL_COMPILE_STATUS, &status);
    if (status != 1) {
        return Fail(vertexShader);
    }
    // The program keeps the attached shader alive.
    glAttachShader(program, vertexShader);
    glDeleteShader(vertexShader);

    std::string fragmentText(fragmentHeader);
    if (rectangle) {
        fragmentText += "#define USE_TEXT_RECT 1\n";
    }
    fragmentText += fragmentBody;
    const char* fragmentSource = fragmentText.c_str();
    const GLuint fragmentShader = glCreateShader(GL_FRAGMENT_SHADER);
    glShaderSource(fragmentShader, 1, &fragmentSource, nullptr);
    glCompileShader(fragmentShader);
    status = 0;
    glGetShaderiv(fragmentShader, GL_COMPILE_STATUS, &status);
    if (status != 1) {
        return Fail(fragmentShader);
    }
    glAttachShader(program, fragmentShader);
    glDeleteShader(fragmentShader);

    glLinkProgram(program);
    status = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    if (status != 1) {
        return Fail(0);
    }
    CheckGLErrors(false);
    return true;
}

// Writes the log of the failed shader (or of the program after a link failure) to the trace, and
// leaves the shader empty.
bool ShaderOGL::Fail(std::uint32_t shader) {
    GLint length = 0;
    std::vector<char> log;
    if (shader != 0) {
        glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
        log.resize(static_cast<std::size_t>(length > 0 ? length : 0) + 1, '\0');
        glGetShaderInfoLog(shader, static_cast<GLsizei>(log.size()), nullptr, log.data());
    } else {
        glGetProgramiv(program, GL_INFO_LOG_LENGTH, &length);
        log.resize(static_cast<std::size_t>(length > 0 ? length : 0) + 1, '\0');
        glGetProgramInfoLog(program, static_cast<GLsizei>(log.size()), nullptr, log.data());
    }
    static hostcore::debug::TraceSite site("STN", 1);
    site.Write(std::string(shader != 0 ? "Shader failed to compile: " : "Shader failed to link: ") +
               log.data());
    glDeleteProgram(program);
    program = 0;
    if (shader != 0) {
        glDeleteShader(shader);
    }
    CheckGLErrors(false);
    return false;
}

void ShaderOGL::Release() {
    if (program == 0) {
        return;
    }
    GLReleaseQueue::Release(GLObjectKind::kProgram, program, group);
    program = 0;
    uniformLocations.clear();
}

void ShaderOGL::Bind() {
    glUseProgram(program);
}

void ShaderOGL::Unbind() {
    glUseProgram(0);
}

std::int32_t ShaderOGL::GetUniformLocation(ShaderUniform uniform) {
    const auto found = uniformLocations.find(uniform);
    if (found != uniformLocations.end()) {
        return found->second;
    }
    // A value without a name reads as a uniform the program does not have.
    const char* text = GetShaderUniformName(uniform);
    const GLint location =
        (text != nullptr && program != 0) ? glGetUniformLocation(program, text) : -1;
    uniformLocations[uniform] = location;
    return location;
}

void ShaderOGL::SetUniform4f(ShaderUniform uniform, float x, float y, float z, float w) {
    glUniform4f(GetUniformLocation(uniform), x, y, z, w);
}

void ShaderOGL::SetUniform2f(ShaderUniform uniform, float x, float y) {
    glUniform2f(GetUniformLocation(uniform), x, y);
}

void ShaderOGL::SetUniform1f(ShaderUniform uniform, float x) {
    glUniform1f(GetUniformLocation(uniform), x);
}

void ShaderOGL::SetUniform1i(ShaderUniform uniform, int value) {
    glUniform1i(GetUniformLocation(uniform), value);
}

void ShaderOGL::SetUniformMatrix4(ShaderUniform uniform, const float* matrix) {
    if (matrix == nullptr) {
        return;
    }
    glUniformMatrix4fv(GetUniformLocation(uniform), 1, GL_FALSE, matrix);
}

}  // namespace STN
