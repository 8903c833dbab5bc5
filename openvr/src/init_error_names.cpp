#include "init_error_names.h"

#include <cstdio>

namespace stnvr {
namespace init_error_names {
namespace {

struct Entry {
    vr::EVRInitError value;
    const char* symbol;
    // The English text OpenVR's own table gives, word for word (typos included: callers and
    // logs match on it); null where that table has none.
    const char* description;
};

#define STNVR_INIT_ERROR(name, text) \
    { vr::name, #name, text }
constexpr Entry kEntries[] = {
    STNVR_INIT_ERROR(VRInitError_None, "No Error (0)"),
    // No text of its own: described as any value without one.
    STNVR_INIT_ERROR(VRInitError_Unknown, nullptr),
    STNVR_INIT_ERROR(VRInitError_Init_InstallationNotFound, "Installation Not Found (100)"),
    STNVR_INIT_ERROR(VRInitError_Init_InstallationCorrupt, "Installation Corrupt (101)"),
    STNVR_INIT_ERROR(VRInitError_Init_VRClientDLLNotFound, "vrclient Shared Lib Not Found (102)"),
    STNVR_INIT_ERROR(VRInitError_Init_FileNotFound, "File Not Found (103)"),
    STNVR_INIT_ERROR(VRInitError_Init_FactoryNotFound, "Factory Function Not Found (104)"),
    STNVR_INIT_ERROR(VRInitError_Init_InterfaceNotFound, "Interface Not Found (105)"),
    STNVR_INIT_ERROR(VRInitError_Init_InvalidInterface, "Invalid Interface (106)"),
    STNVR_INIT_ERROR(VRInitError_Init_UserConfigDirectoryInvalid,
                     "User Config Directory Invalid (107)"),
    STNVR_INIT_ERROR(VRInitError_Init_HmdNotFound, "Hmd Not Found (108)"),
    STNVR_INIT_ERROR(VRInitError_Init_NotInitialized, "Not Initialized (109)"),
    STNVR_INIT_ERROR(VRInitError_Init_PathRegistryNotFound,
                     "Installation path could not be located (110)"),
    STNVR_INIT_ERROR(VRInitError_Init_NoConfigPath, "Config path could not be located (111)"),
    STNVR_INIT_ERROR(VRInitError_Init_NoLogPath, "Log path could not be located (112)"),
    STNVR_INIT_ERROR(VRInitError_Init_PathRegistryNotWritable,
                     "Unable to write path registry (113)"),
    STNVR_INIT_ERROR(VRInitError_Init_AppInfoInitFailed, "App info manager init failed (114)"),
    STNVR_INIT_ERROR(VRInitError_Init_Retry, "Internal Retry (115)"),
    STNVR_INIT_ERROR(VRInitError_Init_InitCanceledByUser, "User Canceled Init (116)"),
    STNVR_INIT_ERROR(VRInitError_Init_AnotherAppLaunching,
                     "Another app was already launching (117)"),
    STNVR_INIT_ERROR(VRInitError_Init_SettingsInitFailed, "Settings manager init failed (118)"),
    STNVR_INIT_ERROR(VRInitError_Init_ShuttingDown, "VR system shutting down (119)"),
    STNVR_INIT_ERROR(VRInitError_Init_TooManyObjects, "Too many tracked objects (120)"),
    STNVR_INIT_ERROR(VRInitError_Init_NoServerForBackgroundApp,
                     "Not starting vrserver for background app (121)"),
    STNVR_INIT_ERROR(VRInitError_Init_NotSupportedWithCompositor,
                     "The requested interface is incompatible with the compositor and the "
                     "compositor is running (122)"),
    STNVR_INIT_ERROR(VRInitError_Init_NotAvailableToUtilityApps,
                     "This interface is not available to utility applications (123)"),
    STNVR_INIT_ERROR(VRInitError_Init_Internal, "vrserver internal error (124)"),
    STNVR_INIT_ERROR(VRInitError_Init_HmdDriverIdIsNone, "Hmd DriverId is invalid (125)"),
    STNVR_INIT_ERROR(VRInitError_Init_HmdNotFoundPresenceFailed,
                     "Hmd Not Found Presence Failed (126)"),
    STNVR_INIT_ERROR(VRInitError_Init_VRMonitorNotFound, "VR Monitor Not Found (127)"),
    STNVR_INIT_ERROR(VRInitError_Init_VRMonitorStartupFailed, "VR Monitor startup failed (128)"),
    STNVR_INIT_ERROR(VRInitError_Init_LowPowerWatchdogNotSupported,
                     "Low Power Watchdog Not Supported (129)"),
    STNVR_INIT_ERROR(VRInitError_Init_InvalidApplicationType, "Invalid Application Type (130)"),
    STNVR_INIT_ERROR(VRInitError_Init_NotAvailableToWatchdogApps,
                     "Not available to watchdog apps (131)"),
    STNVR_INIT_ERROR(VRInitError_Init_WatchdogDisabledInSettings,
                     "Watchdog disabled in settings (132)"),
    STNVR_INIT_ERROR(VRInitError_Init_VRDashboardNotFound, "VR Dashboard Not Found (133)"),
    STNVR_INIT_ERROR(VRInitError_Init_VRDashboardStartupFailed,
                     "VR Dashboard startup failed (134)"),
    STNVR_INIT_ERROR(VRInitError_Init_VRHomeNotFound, "VR Home Not Found (135)"),
    STNVR_INIT_ERROR(VRInitError_Init_VRHomeStartupFailed, "VR home startup failed (136)"),
    STNVR_INIT_ERROR(VRInitError_Init_RebootingBusy, "Rebooting In Progress (137)"),
    STNVR_INIT_ERROR(VRInitError_Init_FirmwareUpdateBusy, "Firmware Update In Progress (138)"),
    STNVR_INIT_ERROR(VRInitError_Init_FirmwareRecoveryBusy, "Firmware Recovery In Progress (139)"),
    STNVR_INIT_ERROR(VRInitError_Driver_Failed, "Driver Failed (200)"),
    STNVR_INIT_ERROR(VRInitError_Driver_Unknown, "Driver Not Known (201)"),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdUnknown, "HMD Not Known (202)"),
    STNVR_INIT_ERROR(VRInitError_Driver_NotLoaded, "Driver Not Loaded (203)"),
    STNVR_INIT_ERROR(VRInitError_Driver_RuntimeOutOfDate, "Driver runtime is out of date (204)"),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdInUse,
                     "HMD already in use by another application (205)"),
    STNVR_INIT_ERROR(VRInitError_Driver_NotCalibrated, "Device is not calibrated (206)"),
    STNVR_INIT_ERROR(VRInitError_Driver_CalibrationInvalid, "Device Calibration is invalid (207)"),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdDisplayNotFound,
                     "HMD detected over USB, but Monitor not found (208)"),
    STNVR_INIT_ERROR(VRInitError_Driver_TrackedDeviceInterfaceUnknown,
                     "Driver Tracked Device Interface unknown (209)"),
    STNVR_INIT_ERROR(VRInitError_Driver_HmdDriverIdOutOfBounds,
                     "Hmd DriverId is our of bounds (211)"),
    STNVR_INIT_ERROR(
        VRInitError_Driver_HmdDisplayMirrored,
        "HMD detected over USB, but Monitor may be mirrored instead of extended (212)"),
    STNVR_INIT_ERROR(VRInitError_IPC_ServerInitFailed, "VR Server Init Failed (300)"),
    STNVR_INIT_ERROR(VRInitError_IPC_ConnectFailed, "Connect to VR Server Failed (301)"),
    STNVR_INIT_ERROR(VRInitError_IPC_SharedStateInitFailed, "Shared IPC State Init Failed (302)"),
    STNVR_INIT_ERROR(VRInitError_IPC_CompositorInitFailed,
                     "Shared IPC Compositor Init Failed (303)"),
    STNVR_INIT_ERROR(VRInitError_IPC_MutexInitFailed, "Shared IPC Mutex Init Failed (304)"),
    STNVR_INIT_ERROR(VRInitError_IPC_Failed, "Shared IPC Failed (305)"),
    STNVR_INIT_ERROR(VRInitError_IPC_CompositorConnectFailed,
                     "Shared IPC Compositor Connect Failed (306)"),
    STNVR_INIT_ERROR(VRInitError_IPC_CompositorInvalidConnectResponse,
                     "Shared IPC Compositor Invalid Connect Response (307)"),
    STNVR_INIT_ERROR(VRInitError_IPC_ConnectFailedAfterMultipleAttempts,
                     "Shared IPC Connect Failed After Multiple Attempts (308)"),
    STNVR_INIT_ERROR(VRInitError_Compositor_Failed, "Compositor failed to initialize (400)"),
    STNVR_INIT_ERROR(VRInitError_Compositor_D3D11HardwareRequired,
                     "Compositor failed to find DX11 hardware (401)"),
    STNVR_INIT_ERROR(VRInitError_Compositor_FirmwareRequiresUpdate,
                     "Compositor requires mandatory firmware update (402)"),
    STNVR_INIT_ERROR(VRInitError_Compositor_OverlayInitFailed,
                     "Compositor initialization succeeded, but overlay init failed (403)"),
    STNVR_INIT_ERROR(VRInitError_Compositor_ScreenshotsInitFailed,
                     "Compositor initialization succeeded, but screenshot init failed (404)"),
    STNVR_INIT_ERROR(VRInitError_Compositor_UnableToCreateDevice,
                     "Compositor unable to create graphics device (405)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_UnableToConnectToOculusRuntime,
                     "Unable to connect to Oculus Runtime (1000)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_CantOpenDevice,
                     "HMD found, but can not open device (1101)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToRequestConfigStart,
                     "HMD found, but unable to request config (1102)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_NoStoredConfig,
                     "HMD found, but no stored config (1103)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_ConfigTooBig,
                     "HMD found, but config too big (1104)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_ConfigTooSmall,
                     "HMD found, but config too small (1105)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToInitZLib,
                     "HMD found, but unable to init ZLib (1106)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_CantReadFirmwareVersion,
                     "HMD found, but problems with the data (1107)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToSendUserDataStart,
                     "HMD found, but problems with the data (1108)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToGetUserDataStart,
                     "HMD found, but problems with the data (1109)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UnableToGetUserDataNext,
                     "HMD found, but problems with the data (1110)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UserDataAddressRange,
                     "HMD found, but problems with the data (1111)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_UserDataError,
                     "HMD found, but problems with the data (1112)"),
    STNVR_INIT_ERROR(VRInitError_VendorSpecific_HmdFound_ConfigFailedSanityCheck,
                     "HMD found, but failed configuration check (1113)"),
    STNVR_INIT_ERROR(VRInitError_Steam_SteamInstallationNotFound,
                     "Unable to find Steam installation (2000)"),
};
#undef STNVR_INIT_ERROR

const Entry* Find(vr::EVRInitError error) {
    for (const Entry& entry : kEntries) {
        if (entry.value == error) {
            return &entry;
        }
    }
    return nullptr;
}

const char* Unknown(vr::EVRInitError error) {
    thread_local char buffer[48];
    std::snprintf(buffer, sizeof(buffer), "Unknown error (%d)", static_cast<int>(error));
    return buffer;
}

}  // namespace

const char* Symbol(vr::EVRInitError error) {
    const Entry* entry = Find(error);
    return entry != nullptr ? entry->symbol : Unknown(error);
}

const char* EnglishDescription(vr::EVRInitError error) {
    const Entry* entry = Find(error);
    return entry != nullptr && entry->description != nullptr ? entry->description : Unknown(error);
}

}  // namespace init_error_names
}  // namespace stnvr
