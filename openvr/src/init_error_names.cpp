#include "init_error_names.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>

namespace stnvr {
namespace init_error_names {
namespace {

struct Entry {
    vr::EVRInitError value;
    const char* symbol;
};

#define STNVR_INIT_ERROR(name) \
    { vr::name, #name }
constexpr Entry kEntries[] = {
    STNVR_INIT_ERROR(VRInitError_None),
    STNVR_INIT_ERROR(VRInitError_Unknown),
    STNVR_INIT_ERROR(VRInitError_Init_InstallationNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_InstallationCorrupt),
    STNVR_INIT_ERROR(VRInitError_Init_VRClientDLLNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_FileNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_FactoryNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_InterfaceNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_InvalidInterface),
    STNVR_INIT_ERROR(VRInitError_Init_UserConfigDirectoryInvalid),
    STNVR_INIT_ERROR(VRInitError_Init_HmdNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_NotInitialized),
    STNVR_INIT_ERROR(VRInitError_Init_PathRegistryNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_NoConfigPath),
    STNVR_INIT_ERROR(VRInitError_Init_NoLogPath),
    STNVR_INIT_ERROR(VRInitError_Init_PathRegistryNotWritable),
    STNVR_INIT_ERROR(VRInitError_Init_AppInfoInitFailed),
    STNVR_INIT_ERROR(VRInitError_Init_Retry),
    STNVR_INIT_ERROR(VRInitError_Init_InitCanceledByUser),
    STNVR_INIT_ERROR(VRInitError_Init_AnotherAppLaunching),
    STNVR_INIT_ERROR(VRInitError_Init_SettingsInitFailed),
    STNVR_INIT_ERROR(VRInitError_Init_ShuttingDown),
    STNVR_INIT_ERROR(VRInitError_Init_TooManyObjects),
    STNVR_INIT_ERROR(VRInitError_Init_NoServerForBackgroundApp),
    STNVR_INIT_ERROR(VRInitError_Init_NotSupportedWithCompositor),
    STNVR_INIT_ERROR(VRInitError_Init_NotAvailableToUtilityApps),
    STNVR_INIT_ERROR(VRInitError_Init_Internal),
    STNVR_INIT_ERROR(VRInitError_Init_HmdDriverIdIsNone),
    STNVR_INIT_ERROR(VRInitError_Init_HmdNotFoundPresenceFailed),
    STNVR_INIT_ERROR(VRInitError_Init_VRMonitorNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_VRMonitorStartupFailed),
    STNVR_INIT_ERROR(VRInitError_Init_LowPowerWatchdogNotSupported),
    STNVR_INIT_ERROR(VRInitError_Init_InvalidApplicationType),
    STNVR_INIT_ERROR(VRInitError_Init_NotAvailableToWatchdogApps),
    STNVR_INIT_ERROR(VRInitError_Init_WatchdogDisabledInSettings),
    STNVR_INIT_ERROR(VRInitError_Init_VRDashboardNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_VRDashboardStartupFailed),
    STNVR_INIT_ERROR(VRInitError_Init_VRHomeNotFound),
    STNVR_INIT_ERROR(VRInitError_Init_VRHomeStartupFailed),
    STNVR_INIT_ERROR(VRInitError_Init_RebootingBusy),
    STNVR_INIT_ERROR(VRInitError_Init_FirmwareUpdateBusy),
    STNVR_INIT_ERROR(VRInitError_Init_FirmwareRecoveryBusy),
    STNVR_INIT_ERROR(VRInitError_Driver_Failed),
    STNVR_INIT_ERROR(VRInitError_Driver_Unknown),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdUnknown),
    STNVR_INIT_ERROR(VRInitError_Driver_NotLoaded),
    STNVR_INIT_ERROR(VRInitError_Driver_RuntimeOutOfDate),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdInUse),
    STNVR_INIT_ERROR(VRInitError_Driver_NotCalibrated),
    STNVR_INIT_ERROR(VRInitError_Driver_CalibrationInvalid),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdDisplayNotFound),
    STNVR_INIT_ERROR(VRInitError_Driver_TrackedDeviceInterfaceUnknown),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdDriverIdOutOfBounds),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdDisplayMirrored),
    STNVR_INIT_ERROR(VRInitError_IPC_ServerInitFailed),
    STNVR_INIT_ERROR(VRInitError_IPC_ConnectFailed),
    STNVR_INIT_ERROR(VRInitError_IPC_SharedStateInitFailed),
    STNVR_INIT_ERROR(VRInitError_IPC_CompositorInitFailed),
    STNVR_INIT_ERROR(VRInitError_IPC_MutexInitFailed),
    STNVR_INIT_ERROR(VRInitError_IPC_Failed),
    STNVR_INIT_ERROR(VRInitError_IPC_CompositorConnectFailed),
    STNVR_INIT_ERROR(VRInitError_IPC_CompositorInvalidConnectResponse),
    STNVR_INIT_ERROR(VRInitError_IPC_ConnectFailedAfterMultipleAttempts),
    STNVR_INIT_ERROR(VRInitError_Compositor_Failed),
    STNVR_INIT_ERROR(VRInitError_Compositor_D3D11HardwareRequired),
    STNVR_INIT_ERROR(VRInitError_Compositor_FirmwareRequiresUpdate),
    STNVR_INIT_ERROR(VRInitError_Compositor_OverlayInitFailed),
    STNVR_INIT_ERROR(VRInitError_Compositor_ScreenshotsInitFailed),
    STNVR_INIT_ERROR(VRInitError_Compositor_UnableToCreateDevice),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_UnableToConnectToOculusRuntime),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_CantOpenDevice),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToRequestConfigStart),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_NoStoredConfig),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_ConfigTooBig),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_ConfigTooSmall),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToInitZLib),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_CantReadFirmwareVersion),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToSendUserDataStart),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToGetUserDataStart),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToGetUserDataNext),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UserDataAddressRange),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UserDataError),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_ConfigFailedSanityCheck),
    STNVR_INIT_ERROR(VRInitError_Steam_SteamInstallationNotFound),
};
#undef STNVR_INIT_ERROR

constexpr const char kPrefix[] = "VRInitError_";

// "VRInitError_Init_VRClientDLLNotFound" -> "VR Client DLL Not Found (102)". The "Init" group
// name carries no meaning for a reader; the other groups say where the failure happened.
std::string Describe(const Entry& entry) {
    if (entry.value == vr::VRInitError_None) {
        return "No Error (0)";
    }
    std::string name = entry.symbol + (sizeof(kPrefix) - 1);
    if (name.compare(0, 5, "Init_") == 0) {
        name.erase(0, 5);
    }
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (c == '_') {
            text.push_back(' ');
            continue;
        }
        if (i > 0 && std::isupper(static_cast<unsigned char>(c)) && !text.empty() &&
            text.back() != ' ') {
            const char previous = name[i - 1];
            const bool afterLower = std::islower(static_cast<unsigned char>(previous)) != 0;
            const bool endsAcronym =
                i + 1 < name.size() && std::islower(static_cast<unsigned char>(name[i + 1])) != 0;
            if (afterLower || endsAcronym) {
                text.push_back(' ');
            }
        }
        text.push_back(c);
    }
    return text + " (" + std::to_string(static_cast<int>(entry.value)) + ")";
}

struct Tables {
    std::unordered_map<int, const char*> symbols;
    std::unordered_map<int, std::string> descriptions;

    Tables() {
        for (const Entry& entry : kEntries) {
            symbols.emplace(static_cast<int>(entry.value), entry.symbol);
            descriptions.emplace(static_cast<int>(entry.value), Describe(entry));
        }
    }
};

const Tables& GetTables() {
    static const Tables tables;
    return tables;
}

const char* Unknown(vr::EVRInitError error) {
    thread_local char buffer[48];
    std::snprintf(buffer, sizeof(buffer), "Unknown error (%d)", static_cast<int>(error));
    return buffer;
}

}  // namespace

const char* Symbol(vr::EVRInitError error) {
    const auto& symbols = GetTables().symbols;
    const auto it = symbols.find(static_cast<int>(error));
    return it != symbols.end() ? it->second : Unknown(error);
}

const char* EnglishDescription(vr::EVRInitError error) {
    const auto& descriptions = GetTables().descriptions;
    const auto it = descriptions.find(static_cast<int>(error));
    return it != descriptions.end() ? it->second.c_str() : Unknown(error);
}

}  // namespace init_error_names
}  // namespace stnvr
