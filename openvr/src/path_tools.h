#pragma once

#include <string>

namespace stnvr {

// Path helpers with the separator rules the OpenVR loader uses.
namespace path_tools {

#if defined(_WIN32)
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif

// Turns every '/' and '\' into the platform separator.
std::string FixSlashes(std::string path);

// Joins with one separator, whatever trailing separator `first` has.
std::string Join(const std::string& first, const std::string& second);

// True only for an existing directory (symbolic links followed); a trailing separator is allowed.
bool IsDirectory(const std::string& path);

// Whole content of a file, CRLF turned into LF. Empty when it cannot be read, and for
// anything that is not a regular file.
std::string ReadTextFile(const std::string& path);

// Value of an environment variable, empty when unset.
std::string GetEnvironmentVariable(const char* name);

}  // namespace path_tools
}  // namespace stnvr
