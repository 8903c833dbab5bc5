#include "hostcore/filesupport.h"

#include "hostcore/utility.h"

#include <sys/stat.h>
#include <cstdlib>

#if defined(__linux__)
#include <dlfcn.h>
#include <unistd.h>
#endif

namespace hostcore {
namespace filesupport {

namespace {

constexpr char kSeparator = '/';

std::string StripTrailingSeparators(std::string path) {
    while (path.size() > 1 && path.back() == kSeparator) {
        path.pop_back();
    }
    return path;
}

std::string Join(const std::string& base, const std::string& component) {
    std::size_t start = 0;
    while (start < component.size() && component[start] == kSeparator) {
        ++start;
    }
    const std::string rest = StripTrailingSeparators(component.substr(start));
    if (rest.empty()) {
        return base;
    }
    if (base.empty()) {
        return rest;
    }
    if (base.back() == kSeparator) {
        return base + rest;
    }
    return base + kSeparator + rest;
}

std::string Absolute(const std::string& path) {
    if (!path.empty() && path[0] == kSeparator) {
        return path;
    }
#if defined(__linux__)
    char buffer[4096];
    if (::getcwd(buffer, sizeof buffer) != nullptr) {
        return Join(buffer, path);
    }
#endif
    return path;
}

bool StatIs(const std::string& path, bool directory) {
    struct stat st;
    if (path.empty() || ::stat(path.c_str(), &st) != 0) {
        return false;
    }
    return directory ? S_ISDIR(st.st_mode) : S_ISREG(st.st_mode);
}

}  // namespace

Dir::Dir(const std::string& p) : path(StripTrailingSeparators(p)) {}

Dir Dir::Append(const std::string& component) const {
    Dir d;
    d.path = Join(path, component);
    return d;
}

std::u16string Dir::FullPath() const {
    return utility::StdStringToUTF16(Absolute(path));
}

bool Dir::Exists() const {
    return StatIs(path, true);
}

File::File(const Dir& directory, const std::string& name) : path(Join(directory.Path(), name)) {}

File::File(const std::string& p) : path(p) {}

std::u16string File::FullPath() const {
    return utility::StdStringToUTF16(Absolute(path));
}

Dir File::Directory() const {
    const std::size_t slash = path.rfind(kSeparator);
    if (slash == std::string::npos) {
        return Dir();
    }
    return Dir(slash == 0 ? std::string(1, kSeparator) : path.substr(0, slash));
}

std::string File::Name() const {
    const std::size_t slash = path.rfind(kSeparator);
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool File::Exists() const {
    return StatIs(path, false);
}

namespace commondirs {

Dir ApplicationModules() {
    const char* overridden = std::getenv("STEREON_MODULES_DIR");
    if (overridden != nullptr && overridden[0] != '\0') {
        return Dir(overridden);
    }
#if defined(__linux__)
    Dl_info info;
    if (::dladdr(reinterpret_cast<void*>(&ApplicationModules), &info) != 0 &&
        info.dli_fname != nullptr) {
        return File(Absolute(info.dli_fname)).Directory();
    }
#endif
    return Dir(Absolute("."));
}

}  // namespace commondirs

}  // namespace filesupport
}  // namespace hostcore
