#include "settings_file.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>

#include "path_tools.h"
#include "vr_path_registry.h"

namespace simvr {

namespace {

using Json = nlohmann::json;

constexpr char kFileName[] = "steamvr.vrsettings";

// A float as the shortest decimal that reads back as the same float, so that 0.1f is written
// as 0.1 and not as the double nearest to it.
Json FloatJson(float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof(text) - 1, value);
    *end.ptr = '\0';
    return Json(std::strtod(text, nullptr));
}

Json ToJson(const Setting& setting) {
    switch (setting.type) {
        case SIMVR_VALUE_BOOL:
            return Json(setting.b);
        case SIMVR_VALUE_INT32:
            return Json(setting.i);
        case SIMVR_VALUE_FLOAT:
            return FloatJson(setting.f);
        default:
            return Json(setting.s);
    }
}

// The setting `value` holds, or false for a kind IVRSettings has no getter for.
bool FromJson(const Json& value, Setting* setting) {
    if (value.is_boolean()) {
        setting->type = SIMVR_VALUE_BOOL;
        setting->b = value.get<bool>();
    } else if (value.is_number_integer()) {
        // Unsigned values come as their own kind; both must fit a 32-bit integer.
        if (value.is_number_unsigned()
                ? value.get<uint64_t>() > uint64_t(INT32_MAX)
                : value.get<int64_t>() < INT32_MIN || value.get<int64_t>() > INT32_MAX) {
            return false;
        }
        setting->type = SIMVR_VALUE_INT32;
        setting->i = int32_t(value.get<int64_t>());
    } else if (value.is_number_float()) {
        setting->type = SIMVR_VALUE_FLOAT;
        setting->f = float(value.get<double>());
    } else if (value.is_string()) {
        setting->type = SIMVR_VALUE_STRING;
        setting->s = value.get<std::string>();
    } else {
        return false;
    }
    return true;
}

std::string Dump(const Json& value, int indent) {
    // Strings are written as they were set; bytes that are not UTF-8 become U+FFFD rather
    // than an exception.
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string SettingsFilePath() {
    try {
        stnvr::VRPathRegistry::Paths paths;
        stnvr::VRPathRegistry::GetPaths(paths);
        return paths.config.empty() ? std::string()
                                    : stnvr::path_tools::Join(paths.config, kFileName);
    } catch (const std::exception&) {
        return {};
    }
}

SettingsFileRead ReadSettingsFile(const std::string& path, SettingsSections* typed,
                                  UnreadSettings* unread) {
    typed->clear();
    unread->clear();
    try {
        const std::string text = stnvr::path_tools::ReadTextFile(path);
        if (text.empty()) {
            return SettingsFileRead::Missing;
        }
        const Json root = Json::parse(text, nullptr, /*allow_exceptions=*/false,
                                      /*ignore_comments=*/true);
        if (!root.is_object()) {
            return SettingsFileRead::Unreadable;
        }
        for (const auto& section : root.items()) {
            // A settings file has sections only; anything else at the top is not a setting.
            if (!section.value().is_object()) {
                continue;
            }
            for (const auto& key : section.value().items()) {
                Setting setting;
                if (FromJson(key.value(), &setting)) {
                    (*typed)[section.key()][key.key()] = setting;
                } else {
                    (*unread)[section.key()][key.key()] = Dump(key.value(), -1);
                }
            }
        }
        return SettingsFileRead::Loaded;
    } catch (const std::exception&) {
        typed->clear();
        unread->clear();
        return SettingsFileRead::Unreadable;
    }
}

bool WriteSettingsFile(const std::string& path, const SettingsSections& typed,
                       const UnreadSettings& unread) {
    if (path.empty()) {
        return false;
    }
    const std::string temporary = path + ".tmp";
    try {
        Json root = Json::object();
        for (const auto& section : unread) {
            for (const auto& key : section.second) {
                root[section.first][key.first] = Json::parse(key.second, nullptr, false);
            }
        }
        for (const auto& section : typed) {
            for (const auto& key : section.second) {
                root[section.first][key.first] = ToJson(key.second);
            }
        }
        {
            std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
            // Three spaces a level, as SteamVR indents its own.
            file << Dump(root, 3) << '\n';
            file.close();
            if (!file) {
                std::remove(temporary.c_str());
                return false;
            }
        }
        if (std::rename(temporary.c_str(), path.c_str()) != 0) {
            std::remove(temporary.c_str());
            return false;
        }
        return true;
    } catch (const std::exception&) {
        std::remove(temporary.c_str());
        return false;
    }
}

}  // namespace simvr
