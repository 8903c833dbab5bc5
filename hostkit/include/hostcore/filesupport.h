#pragma once

// Directories and files by path.

#include <string>

namespace hostcore {
namespace filesupport {

// A directory path. Append adds one or more components and returns the new directory; the
// original is unchanged.
class Dir {
public:
    Dir() = default;
    explicit Dir(const std::string& path);

    Dir Append(const std::string& component) const;
    // The path, without a trailing separator (except for the root).
    const std::string& Path() const { return path; }
    std::u16string FullPath() const;
    bool Exists() const;

private:
    std::string path;
};

// A file in a directory.
class File {
public:
    File() = default;
    File(const Dir& directory, const std::string& name);
    explicit File(const std::string& path);

    // The absolute path, in UTF-16. A relative path is taken from the working directory.
    std::u16string FullPath() const;
    const std::string& Path() const { return path; }
    Dir Directory() const;
    std::string Name() const;
    bool Exists() const;

private:
    std::string path;
};

namespace commondirs {
// The directory that holds the host's modules: STEREON_MODULES_DIR when set and not empty,
// else the directory of the host library itself.
Dir ApplicationModules();
}  // namespace commondirs

}  // namespace filesupport
}  // namespace hostcore
