#include "path_tools.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace stnvr {
namespace path_tools {

std::string FixSlashes(std::string path) {
    for (char& c : path) {
        if (c == '/' || c == '\\') {
            c = kSeparator;
        }
    }
    return path;
}

std::string Join(const std::string& first, const std::string& second) {
    if (first.empty()) {
        return second;
    }
    const char last = first.back();
    if (last == '/' || last == '\\') {
        return first + second;
    }
    return first + kSeparator + second;
}

bool IsDirectory(const std::string& path) {
    std::string fixed = FixSlashes(path);
    if (fixed.empty()) {
        return false;
    }
    // The root directory keeps its separator; anything else loses a trailing one.
    if (fixed.size() > 1 && fixed.back() == kSeparator) {
        fixed.pop_back();
    }
    std::error_code error;
    try {
        return std::filesystem::is_directory(std::filesystem::u8path(fixed), error);
    } catch (const std::exception&) {
        return false;  // not UTF-8 (Windows converts, and throws on a bad sequence)
    }
}

std::string ReadTextFile(const std::string& path) {
    std::error_code error;
    std::filesystem::path file;
    try {
        file = std::filesystem::u8path(path);
    } catch (const std::exception&) {
        return {};
    }
    if (!std::filesystem::is_regular_file(file, error)) {
        return {};
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return {};
    }
    std::string raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) {
        return {};
    }
    std::string text;
    text.reserve(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] == '\r' && i + 1 < raw.size() && raw[i + 1] == '\n') {
            continue;
        }
        text.push_back(raw[i]);
    }
    return text;
}

std::string GetEnvironmentVariable(const char* name) {
#if defined(_MSC_VER)
#pragma warning(suppress : 4996)  // getenv is fine here: the value is copied at once
#endif
    const char* value = std::getenv(name);
    return value != nullptr ? std::string(value) : std::string();
}

}  // namespace path_tools
}  // namespace stnvr
