#pragma once

// The table of every GLSL program of the library, compiled in; nothing is read from disk.

#include <string>

namespace STN {

struct ShaderSourceEntry {
    std::string name;  // empty in the last row, which ends the table
    const char* vertexSource;
    const char* fragmentHeader;
    const char* fragmentBody;
};

// The rows in order, ending with the row whose name is empty.
const ShaderSourceEntry* GetShaderSourceTable();

// The texts of the row of that name; false when there is none.
bool FindShaderSource(const std::string& name, const char*& vertexSource,
                      const char*& fragmentHeader, const char*& fragmentBody);

}  // namespace STN
