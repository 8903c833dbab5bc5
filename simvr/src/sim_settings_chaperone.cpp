#include <cstring>

#include "names.h"
#include "runtime_state.h"
#include "settings_file.h"
#include "sim_interfaces.h"

namespace simvr {

namespace {

using Lock = std::lock_guard<std::mutex>;

void SetError(vr::EVRSettingsError* out, vr::EVRSettingsError error) {
    if (out != nullptr) {
        *out = error;
    }
}

// Forgets a value of the settings file that had no getter; a null key forgets the section's.
void EraseUnread(State& s, const char* section, const char* key) {
    const auto found = s.unreadSettings.find(section);
    if (found == s.unreadSettings.end()) {
        return;
    }
    if (key == nullptr) {
        s.unreadSettings.erase(found);
    } else if (found->second.erase(key) != 0 && found->second.empty()) {
        s.unreadSettings.erase(found);
    }
}

// Stores a value and records the write; false (with WriteFailed) for a missing section or key.
bool Store(const char* section, const char* key, const Setting& value,
           vr::EVRSettingsError* peError) {
    if (section == nullptr || key == nullptr) {
        SetError(peError, vr::VRSettingsError_WriteFailed);
        return false;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    s.settings[section][key] = value;
    EraseUnread(s, section, key);
    s.settingsDirty = true;
    if (simvr_call* call = s.Record(SIMVR_CALL_SETTINGS_SET)) {
        CopyField(call->section, sizeof(call->section), section);
        CopyField(call->key, sizeof(call->key), key);
        call->value_type = value.type;
        call->int_value = value.type == SIMVR_VALUE_BOOL ? (value.b ? 1 : 0) : value.i;
        call->values[0] = value.f;
        CopyField(call->text, sizeof(call->text), value.s.c_str());
    }
    SetError(peError, vr::VRSettingsError_None);
    return true;
}

// The stored value of `type`, or null with UnsetSettingHasNoDefault (ReadFailed for bad
// arguments). The simulated runtime has no defaults of its own.
const Setting* Find(State& s, const char* section, const char* key, int type,
                    vr::EVRSettingsError* peError) {
    if (section == nullptr || key == nullptr) {
        SetError(peError, vr::VRSettingsError_ReadFailed);
        return nullptr;
    }
    auto sectionIt = s.settings.find(section);
    if (sectionIt != s.settings.end()) {
        auto keyIt = sectionIt->second.find(key);
        if (keyIt != sectionIt->second.end() && keyIt->second.type == type) {
            SetError(peError, vr::VRSettingsError_None);
            return &keyIt->second;
        }
    }
    SetError(peError, vr::VRSettingsError_UnsetSettingHasNoDefault);
    return nullptr;
}

}  // namespace

const char* SimSettings::GetSettingsErrorNameFromEnum(vr::EVRSettingsError eError) {
    return SettingsErrorName(eError);
}

bool SimSettings::Sync(bool bForce, vr::EVRSettingsError* peError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    // True only when the file was written: forced, or with changes to write.
    vr::EVRSettingsError error = vr::VRSettingsError_None;
    bool written = false;
    if (bForce || s.settingsDirty) {
        if (s.settingsFileUnreadable) {
            error = vr::VRSettingsError_JsonParseFailed;
        } else if (!WriteSettingsFile(s.settingsFile, s.settings, s.unreadSettings)) {
            error = vr::VRSettingsError_WriteFailed;
        } else {
            written = true;
            s.settingsDirty = false;
        }
    }
    if (simvr_call* call = s.Record(SIMVR_CALL_SETTINGS_SYNC, error)) {
        call->int_value = bForce ? 1 : 0;
    }
    SetError(peError, error);
    return written;
}

void SimSettings::SetBool(const char* pchSection, const char* pchSettingsKey, bool bValue,
                          vr::EVRSettingsError* peError) {
    Setting v;
    v.type = SIMVR_VALUE_BOOL;
    v.b = bValue;
    Store(pchSection, pchSettingsKey, v, peError);
}

void SimSettings::SetInt32(const char* pchSection, const char* pchSettingsKey, int32_t nValue,
                           vr::EVRSettingsError* peError) {
    Setting v;
    v.type = SIMVR_VALUE_INT32;
    v.i = nValue;
    Store(pchSection, pchSettingsKey, v, peError);
}

void SimSettings::SetFloat(const char* pchSection, const char* pchSettingsKey, float flValue,
                           vr::EVRSettingsError* peError) {
    Setting v;
    v.type = SIMVR_VALUE_FLOAT;
    v.f = flValue;
    Store(pchSection, pchSettingsKey, v, peError);
}

void SimSettings::SetString(const char* pchSection, const char* pchSettingsKey,
                            const char* pchValue, vr::EVRSettingsError* peError) {
    if (pchValue == nullptr) {
        SetError(peError, vr::VRSettingsError_WriteFailed);
        return;
    }
    Setting v;
    v.type = SIMVR_VALUE_STRING;
    v.s = pchValue;
    Store(pchSection, pchSettingsKey, v, peError);
}

bool SimSettings::GetBool(const char* pchSection, const char* pchSettingsKey,
                          vr::EVRSettingsError* peError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const Setting* v = Find(s, pchSection, pchSettingsKey, SIMVR_VALUE_BOOL, peError);
    return v != nullptr && v->b;
}

int32_t SimSettings::GetInt32(const char* pchSection, const char* pchSettingsKey,
                              vr::EVRSettingsError* peError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const Setting* v = Find(s, pchSection, pchSettingsKey, SIMVR_VALUE_INT32, peError);
    return v != nullptr ? v->i : 0;
}

float SimSettings::GetFloat(const char* pchSection, const char* pchSettingsKey,
                            vr::EVRSettingsError* peError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const Setting* v = Find(s, pchSection, pchSettingsKey, SIMVR_VALUE_FLOAT, peError);
    return v != nullptr ? v->f : 0.0f;
}

void SimSettings::GetString(const char* pchSection, const char* pchSettingsKey, char* pchValue,
                            uint32_t unValueLen, vr::EVRSettingsError* peError) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const Setting* v = Find(s, pchSection, pchSettingsKey, SIMVR_VALUE_STRING, peError);
    const uint32_t needed = CopyString(v != nullptr ? v->s : std::string(), pchValue, unValueLen);
    if (v != nullptr && (pchValue == nullptr || unValueLen < needed)) {
        SetError(peError, vr::VRSettingsError_ReadFailed);
    }
}

void SimSettings::RemoveSection(const char* pchSection, vr::EVRSettingsError* peError) {
    if (pchSection == nullptr) {
        SetError(peError, vr::VRSettingsError_WriteFailed);
        return;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (s.settings.erase(pchSection) != 0 || s.unreadSettings.count(pchSection) != 0) {
        s.settingsDirty = true;
    }
    EraseUnread(s, pchSection, nullptr);
    if (simvr_call* call = s.Record(SIMVR_CALL_SETTINGS_REMOVE)) {
        CopyField(call->section, sizeof(call->section), pchSection);
    }
    SetError(peError, vr::VRSettingsError_None);
}

void SimSettings::RemoveKeyInSection(const char* pchSection, const char* pchSettingsKey,
                                     vr::EVRSettingsError* peError) {
    if (pchSection == nullptr || pchSettingsKey == nullptr) {
        SetError(peError, vr::VRSettingsError_WriteFailed);
        return;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    auto section = s.settings.find(pchSection);
    if (section != s.settings.end() && section->second.erase(pchSettingsKey) != 0) {
        s.settingsDirty = true;
        if (section->second.empty()) {
            s.settings.erase(section);
        }
    }
    const auto unread = s.unreadSettings.find(pchSection);
    if (unread != s.unreadSettings.end() && unread->second.count(pchSettingsKey) != 0) {
        s.settingsDirty = true;
        EraseUnread(s, pchSection, pchSettingsKey);
    }
    if (simvr_call* call = s.Record(SIMVR_CALL_SETTINGS_REMOVE)) {
        CopyField(call->section, sizeof(call->section), pchSection);
        CopyField(call->key, sizeof(call->key), pchSettingsKey);
    }
    SetError(peError, vr::VRSettingsError_None);
}

// --- Chaperone: a calibrated 2 m x 1.5 m play area around the origin. ---

namespace {
constexpr float kPlayAreaX = 2.0f;
constexpr float kPlayAreaZ = 1.5f;
}  // namespace

vr::ChaperoneCalibrationState SimChaperone::GetCalibrationState() {
    return vr::ChaperoneCalibrationState_OK;
}

bool SimChaperone::GetPlayAreaSize(float* pSizeX, float* pSizeZ) {
    if (pSizeX == nullptr || pSizeZ == nullptr) {
        return false;
    }
    *pSizeX = kPlayAreaX;
    *pSizeZ = kPlayAreaZ;
    return true;
}

bool SimChaperone::GetPlayAreaRect(vr::HmdQuad_t* rect) {
    if (rect == nullptr) {
        return false;
    }
    const float x = kPlayAreaX / 2, z = kPlayAreaZ / 2;
    const float corners[4][2] = {{-x, -z}, {x, -z}, {x, z}, {-x, z}};
    for (int i = 0; i < 4; ++i) {
        rect->vCorners[i].v[0] = corners[i][0];
        rect->vCorners[i].v[1] = 0.0f;
        rect->vCorners[i].v[2] = corners[i][1];
    }
    return true;
}

void SimChaperone::ReloadInfo() {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (simvr_call* call = s.Record(SIMVR_CALL_CHAPERONE)) {
        CopyField(call->text, sizeof(call->text), "ReloadInfo");
    }
}

void SimChaperone::SetSceneColor(vr::HmdColor_t color) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.sceneColor = color;
    if (simvr_call* call = s.Record(SIMVR_CALL_CHAPERONE)) {
        CopyField(call->text, sizeof(call->text), "SetSceneColor");
        call->values[0] = color.r;
        call->values[1] = color.g;
        call->values[2] = color.b;
        call->values[3] = color.a;
    }
}

void SimChaperone::GetBoundsColor(vr::HmdColor_t* pOutputColorArray, int nNumOutputColors,
                                  float flCollisionBoundsFadeDistance,
                                  vr::HmdColor_t* pOutputCameraColor) {
    const vr::HmdColor_t bounds{0.0f, 0.8f, 1.0f, 1.0f};
    if (pOutputColorArray != nullptr) {
        for (int i = 0; i < nNumOutputColors; ++i) {
            pOutputColorArray[i] = bounds;
        }
    }
    if (pOutputCameraColor != nullptr) {
        *pOutputCameraColor = bounds;
    }
}

bool SimChaperone::AreBoundsVisible() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.boundsForced;
}

void SimChaperone::ForceBoundsVisible(bool bForce) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.boundsForced = bForce;
    if (simvr_call* call = s.Record(SIMVR_CALL_CHAPERONE)) {
        CopyField(call->text, sizeof(call->text), "ForceBoundsVisible");
        call->int_value = bForce ? 1 : 0;
    }
}

}  // namespace simvr
