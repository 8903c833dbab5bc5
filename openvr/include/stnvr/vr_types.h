// OpenVR 1.0.10 ABI: enums, constants and records, declared by this project.
//
// Layouts must match what a vendor runtime was built with, byte for byte, on Linux x86-64 and on
// Windows x64. The only records that differ between the two are the four the runtime's own
// headers pack to 4 bytes on Linux; see STNVR_LINUX_PACK4 below.
#pragma once

// C headers rather than <cstdint>/<cstddef>: they are the ones a freestanding compiler provides,
// which lets the Windows layouts be checked on a Linux machine with a cross-targeting clang.
#include <stddef.h>
#include <stdint.h>

// Vulkan handles travel as opaque pointers; the runtime declares them at global scope too.
struct VkDevice_T;
struct VkInstance_T;
struct VkPhysicalDevice_T;
struct VkQueue_T;

// The runtime's headers wrap VREvent_t, VRControllerState001_t, RenderModel_TextureMap_t and
// RenderModel_t in pack(4) on Linux and macOS only; runtimes there were built that way.
#if defined(__linux__) || defined(__APPLE__)
#define STNVR_LINUX_PACK4 1
#else
#define STNVR_LINUX_PACK4 0
#endif

#if defined(__linux__) && defined(__x86_64__)
#define STNVR_ABI_LINUX64 1
#else
#define STNVR_ABI_LINUX64 0
#endif

#if defined(_WIN64)
#define STNVR_ABI_WIN64 1
#else
#define STNVR_ABI_WIN64 0
#endif

namespace vr {

typedef uint32_t TrackedDeviceIndex_t;
typedef int32_t TextureID_t;
typedef uint32_t glUInt_t;
typedef void* glSharedTextureHandle_t;
typedef uint64_t PropertyContainerHandle_t;
typedef uint32_t PropertyTypeTag_t;
typedef uint64_t VROverlayHandle_t;
typedef uint32_t VRComponentProperties;
typedef uint32_t VRNotificationId;
typedef uint32_t ScreenshotHandle_t;

// ---------------------------------------------------------------------------------------------
// Enums. All are plain 4-byte enums, as in the runtime's ABI.

enum EVRInitError {
    VRInitError_None = 0,
    VRInitError_Unknown = 1,
    VRInitError_Init_InstallationNotFound = 100,
    VRInitError_Init_InstallationCorrupt = 101,
    VRInitError_Init_VRClientDLLNotFound = 102,
    VRInitError_Init_FileNotFound = 103,
    VRInitError_Init_FactoryNotFound = 104,
    VRInitError_Init_InterfaceNotFound = 105,
    VRInitError_Init_InvalidInterface = 106,
    VRInitError_Init_UserConfigDirectoryInvalid = 107,
    VRInitError_Init_HmdNotFound = 108,
    VRInitError_Init_NotInitialized = 109,
    VRInitError_Init_PathRegistryNotFound = 110,
    VRInitError_Init_NoConfigPath = 111,
    VRInitError_Init_NoLogPath = 112,
    VRInitError_Init_PathRegistryNotWritable = 113,
    VRInitError_Init_AppInfoInitFailed = 114,
    VRInitError_Init_Retry = 115,
    VRInitError_Init_InitCanceledByUser = 116,
    VRInitError_Init_AnotherAppLaunching = 117,
    VRInitError_Init_SettingsInitFailed = 118,
    VRInitError_Init_ShuttingDown = 119,
    VRInitError_Init_TooManyObjects = 120,
    VRInitError_Init_NoServerForBackgroundApp = 121,
    VRInitError_Init_NotSupportedWithCompositor = 122,
    VRInitError_Init_NotAvailableToUtilityApps = 123,
    VRInitError_Init_Internal = 124,
    VRInitError_Init_HmdDriverIdIsNone = 125,
    VRInitError_Init_HmdNotFoundPresenceFailed = 126,
    VRInitError_Init_VRMonitorNotFound = 127,
    VRInitError_Init_VRMonitorStartupFailed = 128,
    VRInitError_Init_LowPowerWatchdogNotSupported = 129,
    VRInitError_Init_InvalidApplicationType = 130,
    VRInitError_Init_NotAvailableToWatchdogApps = 131,
    VRInitError_Init_WatchdogDisabledInSettings = 132,
    VRInitError_Init_VRDashboardNotFound = 133,
    VRInitError_Init_VRDashboardStartupFailed = 134,
    VRInitError_Init_VRHomeNotFound = 135,
    VRInitError_Init_VRHomeStartupFailed = 136,
    VRInitError_Init_RebootingBusy = 137,
    VRInitError_Init_FirmwareUpdateBusy = 138,
    VRInitError_Init_FirmwareRecoveryBusy = 139,
    VRInitError_Driver_Failed = 200,
    VRInitError_Driver_Unknown = 201,
    VRInitError_Driver_HmdUnknown = 202,
    VRInitError_Driver_NotLoaded = 203,
    VRInitError_Driver_RuntimeOutOfDate = 204,
    VRInitError_Driver_HmdInUse = 205,
    VRInitError_Driver_NotCalibrated = 206,
    VRInitError_Driver_CalibrationInvalid = 207,
    VRInitError_Driver_HmdDisplayNotFound = 208,
    VRInitError_Driver_TrackedDeviceInterfaceUnknown = 209,
    VRInitError_Driver_HmdDriverIdOutOfBounds = 211,
    VRInitError_Driver_HmdDisplayMirrored = 212,
    VRInitError_IPC_ServerInitFailed = 300,
    VRInitError_IPC_ConnectFailed = 301,
    VRInitError_IPC_SharedStateInitFailed = 302,
    VRInitError_IPC_CompositorInitFailed = 303,
    VRInitError_IPC_MutexInitFailed = 304,
    VRInitError_IPC_Failed = 305,
    VRInitError_IPC_CompositorConnectFailed = 306,
    VRInitError_IPC_CompositorInvalidConnectResponse = 307,
    VRInitError_IPC_ConnectFailedAfterMultipleAttempts = 308,
    VRInitError_Compositor_Failed = 400,
    VRInitError_Compositor_D3D11HardwareRequired = 401,
    VRInitError_Compositor_FirmwareRequiresUpdate = 402,
    VRInitError_Compositor_OverlayInitFailed = 403,
    VRInitError_Compositor_ScreenshotsInitFailed = 404,
    VRInitError_Compositor_UnableToCreateDevice = 405,
    VRInitError_VendorSpecific_UnableToConnectToOculusRuntime = 1000,
    VRInitError_VendorSpecific_HmdFound_CantOpenDevice = 1101,
    VRInitError_VendorSpecific_HmdFound_UnableToRequestConfigStart = 1102,
    VRInitError_VendorSpecific_HmdFound_NoStoredConfig = 1103,
    VRInitError_VendorSpecific_HmdFound_ConfigTooBig = 1104,
    VRInitError_VendorSpecific_HmdFound_ConfigTooSmall = 1105,
    VRInitError_VendorSpecific_HmdFound_UnableToInitZLib = 1106,
    VRInitError_VendorSpecific_HmdFound_CantReadFirmwareVersion = 1107,
    VRInitError_VendorSpecific_HmdFound_UnableToSendUserDataStart = 1108,
    VRInitError_VendorSpecific_HmdFound_UnableToGetUserDataStart = 1109,
    VRInitError_VendorSpecific_HmdFound_UnableToGetUserDataNext = 1110,
    VRInitError_VendorSpecific_HmdFound_UserDataAddressRange = 1111,
    VRInitError_VendorSpecific_HmdFound_UserDataError = 1112,
    VRInitError_VendorSpecific_HmdFound_ConfigFailedSanityCheck = 1113,
    VRInitError_Steam_SteamInstallationNotFound = 2000,
};

enum EVRApplicationType {
    VRApplication_Other = 0,
    VRApplication_Scene = 1,
    VRApplication_Overlay = 2,
    VRApplication_Background = 3,
    VRApplication_Utility = 4,
    VRApplication_VRMonitor = 5,
    VRApplication_SteamWatchdog = 6,
    VRApplication_Bootstrapper = 7,
    VRApplication_Max = 8,
};

enum ETrackedDeviceClass {
    TrackedDeviceClass_Invalid = 0,
    TrackedDeviceClass_HMD = 1,
    TrackedDeviceClass_Controller = 2,
    TrackedDeviceClass_GenericTracker = 3,
    TrackedDeviceClass_TrackingReference = 4,
    TrackedDeviceClass_DisplayRedirect = 5,
};

enum ETrackedControllerRole {
    TrackedControllerRole_Invalid = 0,
    TrackedControllerRole_LeftHand = 1,
    TrackedControllerRole_RightHand = 2,
};

enum ETrackedDeviceProperty {
    Prop_Invalid = 0,
    Prop_TrackingSystemName_String = 1000,
    Prop_ModelNumber_String = 1001,
    Prop_SerialNumber_String = 1002,
    Prop_RenderModelName_String = 1003,
    Prop_WillDriftInYaw_Bool = 1004,
    Prop_ManufacturerName_String = 1005,
    Prop_TrackingFirmwareVersion_String = 1006,
    Prop_HardwareRevision_String = 1007,
    Prop_AllWirelessDongleDescriptions_String = 1008,
    Prop_ConnectedWirelessDongle_String = 1009,
    Prop_DeviceIsWireless_Bool = 1010,
    Prop_DeviceIsCharging_Bool = 1011,
    Prop_DeviceBatteryPercentage_Float = 1012,
    Prop_StatusDisplayTransform_Matrix34 = 1013,
    Prop_Firmware_UpdateAvailable_Bool = 1014,
    Prop_Firmware_ManualUpdate_Bool = 1015,
    Prop_Firmware_ManualUpdateURL_String = 1016,
    Prop_HardwareRevision_Uint64 = 1017,
    Prop_FirmwareVersion_Uint64 = 1018,
    Prop_FPGAVersion_Uint64 = 1019,
    Prop_VRCVersion_Uint64 = 1020,
    Prop_RadioVersion_Uint64 = 1021,
    Prop_DongleVersion_Uint64 = 1022,
    Prop_BlockServerShutdown_Bool = 1023,
    Prop_CanUnifyCoordinateSystemWithHmd_Bool = 1024,
    Prop_ContainsProximitySensor_Bool = 1025,
    Prop_DeviceProvidesBatteryStatus_Bool = 1026,
    Prop_DeviceCanPowerOff_Bool = 1027,
    Prop_Firmware_ProgrammingTarget_String = 1028,
    Prop_DeviceClass_Int32 = 1029,
    Prop_HasCamera_Bool = 1030,
    Prop_DriverVersion_String = 1031,
    Prop_Firmware_ForceUpdateRequired_Bool = 1032,
    Prop_ViveSystemButtonFixRequired_Bool = 1033,
    Prop_ParentDriver_Uint64 = 1034,
    Prop_ResourceRoot_String = 1035,
    Prop_ReportsTimeSinceVSync_Bool = 2000,
    Prop_SecondsFromVsyncToPhotons_Float = 2001,
    Prop_DisplayFrequency_Float = 2002,
    Prop_UserIpdMeters_Float = 2003,
    Prop_CurrentUniverseId_Uint64 = 2004,
    Prop_PreviousUniverseId_Uint64 = 2005,
    Prop_DisplayFirmwareVersion_Uint64 = 2006,
    Prop_IsOnDesktop_Bool = 2007,
    Prop_DisplayMCType_Int32 = 2008,
    Prop_DisplayMCOffset_Float = 2009,
    Prop_DisplayMCScale_Float = 2010,
    Prop_EdidVendorID_Int32 = 2011,
    Prop_DisplayMCImageLeft_String = 2012,
    Prop_DisplayMCImageRight_String = 2013,
    Prop_DisplayGCBlackClamp_Float = 2014,
    Prop_EdidProductID_Int32 = 2015,
    Prop_CameraToHeadTransform_Matrix34 = 2016,
    Prop_DisplayGCType_Int32 = 2017,
    Prop_DisplayGCOffset_Float = 2018,
    Prop_DisplayGCScale_Float = 2019,
    Prop_DisplayGCPrescale_Float = 2020,
    Prop_DisplayGCImage_String = 2021,
    Prop_LensCenterLeftU_Float = 2022,
    Prop_LensCenterLeftV_Float = 2023,
    Prop_LensCenterRightU_Float = 2024,
    Prop_LensCenterRightV_Float = 2025,
    Prop_UserHeadToEyeDepthMeters_Float = 2026,
    Prop_CameraFirmwareVersion_Uint64 = 2027,
    Prop_CameraFirmwareDescription_String = 2028,
    Prop_DisplayFPGAVersion_Uint64 = 2029,
    Prop_DisplayBootloaderVersion_Uint64 = 2030,
    Prop_DisplayHardwareVersion_Uint64 = 2031,
    Prop_AudioFirmwareVersion_Uint64 = 2032,
    Prop_CameraCompatibilityMode_Int32 = 2033,
    Prop_ScreenshotHorizontalFieldOfViewDegrees_Float = 2034,
    Prop_ScreenshotVerticalFieldOfViewDegrees_Float = 2035,
    Prop_DisplaySuppressed_Bool = 2036,
    Prop_DisplayAllowNightMode_Bool = 2037,
    Prop_DisplayMCImageWidth_Int32 = 2038,
    Prop_DisplayMCImageHeight_Int32 = 2039,
    Prop_DisplayMCImageNumChannels_Int32 = 2040,
    Prop_DisplayMCImageData_Binary = 2041,
    Prop_SecondsFromPhotonsToVblank_Float = 2042,
    Prop_DriverDirectModeSendsVsyncEvents_Bool = 2043,
    Prop_DisplayDebugMode_Bool = 2044,
    Prop_GraphicsAdapterLuid_Uint64 = 2045,
    Prop_DriverProvidedChaperonePath_String = 2048,
    Prop_AttachedDeviceId_String = 3000,
    Prop_SupportedButtons_Uint64 = 3001,
    Prop_Axis0Type_Int32 = 3002,
    Prop_Axis1Type_Int32 = 3003,
    Prop_Axis2Type_Int32 = 3004,
    Prop_Axis3Type_Int32 = 3005,
    Prop_Axis4Type_Int32 = 3006,
    Prop_ControllerRoleHint_Int32 = 3007,
    Prop_FieldOfViewLeftDegrees_Float = 4000,
    Prop_FieldOfViewRightDegrees_Float = 4001,
    Prop_FieldOfViewTopDegrees_Float = 4002,
    Prop_FieldOfViewBottomDegrees_Float = 4003,
    Prop_TrackingRangeMinimumMeters_Float = 4004,
    Prop_TrackingRangeMaximumMeters_Float = 4005,
    Prop_ModeLabel_String = 4006,
    Prop_IconPathName_String = 5000,
    Prop_NamedIconPathDeviceOff_String = 5001,
    Prop_NamedIconPathDeviceSearching_String = 5002,
    Prop_NamedIconPathDeviceSearchingAlert_String = 5003,
    Prop_NamedIconPathDeviceReady_String = 5004,
    Prop_NamedIconPathDeviceReadyAlert_String = 5005,
    Prop_NamedIconPathDeviceNotReady_String = 5006,
    Prop_NamedIconPathDeviceStandby_String = 5007,
    Prop_NamedIconPathDeviceAlertLow_String = 5008,
    Prop_DisplayHiddenArea_Binary_Start = 5100,
    Prop_DisplayHiddenArea_Binary_End = 5150,
    Prop_UserConfigPath_String = 6000,
    Prop_InstallPath_String = 6001,
    Prop_HasDisplayComponent_Bool = 6002,
    Prop_HasControllerComponent_Bool = 6003,
    Prop_HasCameraComponent_Bool = 6004,
    Prop_HasDriverDirectModeComponent_Bool = 6005,
    Prop_HasVirtualDisplayComponent_Bool = 6006,
    Prop_VendorSpecific_Reserved_Start = 10000,
    Prop_VendorSpecific_Reserved_End = 10999,
};

enum ETrackedPropertyError {
    TrackedProp_Success = 0,
    TrackedProp_WrongDataType = 1,
    TrackedProp_WrongDeviceClass = 2,
    TrackedProp_BufferTooSmall = 3,
    TrackedProp_UnknownProperty = 4,
    TrackedProp_InvalidDevice = 5,
    TrackedProp_CouldNotContactServer = 6,
    TrackedProp_ValueNotProvidedByDevice = 7,
    TrackedProp_StringExceedsMaximumLength = 8,
    TrackedProp_NotYetAvailable = 9,
    TrackedProp_PermissionDenied = 10,
    TrackedProp_InvalidOperation = 11,
};

enum EVREventType {
    VREvent_None = 0,
    VREvent_TrackedDeviceActivated = 100,
    VREvent_TrackedDeviceDeactivated = 101,
    VREvent_TrackedDeviceUpdated = 102,
    VREvent_TrackedDeviceUserInteractionStarted = 103,
    VREvent_TrackedDeviceUserInteractionEnded = 104,
    VREvent_IpdChanged = 105,
    VREvent_EnterStandbyMode = 106,
    VREvent_LeaveStandbyMode = 107,
    VREvent_TrackedDeviceRoleChanged = 108,
    VREvent_WatchdogWakeUpRequested = 109,
    VREvent_LensDistortionChanged = 110,
    VREvent_PropertyChanged = 111,
    VREvent_WirelessDisconnect = 112,
    VREvent_WirelessReconnect = 113,
    VREvent_ButtonPress = 200,
    VREvent_ButtonUnpress = 201,
    VREvent_ButtonTouch = 202,
    VREvent_ButtonUntouch = 203,
    VREvent_MouseMove = 300,
    VREvent_MouseButtonDown = 301,
    VREvent_MouseButtonUp = 302,
    VREvent_FocusEnter = 303,
    VREvent_FocusLeave = 304,
    VREvent_Scroll = 305,
    VREvent_TouchPadMove = 306,
    VREvent_OverlayFocusChanged = 307,
    VREvent_InputFocusCaptured = 400,
    VREvent_InputFocusReleased = 401,
    VREvent_SceneFocusLost = 402,
    VREvent_SceneFocusGained = 403,
    VREvent_SceneApplicationChanged = 404,
    VREvent_SceneFocusChanged = 405,
    VREvent_InputFocusChanged = 406,
    VREvent_SceneApplicationSecondaryRenderingStarted = 407,
    VREvent_HideRenderModels = 410,
    VREvent_ShowRenderModels = 411,
    VREvent_OverlayShown = 500,
    VREvent_OverlayHidden = 501,
    VREvent_DashboardActivated = 502,
    VREvent_DashboardDeactivated = 503,
    VREvent_DashboardThumbSelected = 504,
    VREvent_DashboardRequested = 505,
    VREvent_ResetDashboard = 506,
    VREvent_RenderToast = 507,
    VREvent_ImageLoaded = 508,
    VREvent_ShowKeyboard = 509,
    VREvent_HideKeyboard = 510,
    VREvent_OverlayGamepadFocusGained = 511,
    VREvent_OverlayGamepadFocusLost = 512,
    VREvent_OverlaySharedTextureChanged = 513,
    VREvent_DashboardGuideButtonDown = 514,
    VREvent_DashboardGuideButtonUp = 515,
    VREvent_ScreenshotTriggered = 516,
    VREvent_ImageFailed = 517,
    VREvent_DashboardOverlayCreated = 518,
    VREvent_RequestScreenshot = 520,
    VREvent_ScreenshotTaken = 521,
    VREvent_ScreenshotFailed = 522,
    VREvent_SubmitScreenshotToDashboard = 523,
    VREvent_ScreenshotProgressToDashboard = 524,
    VREvent_PrimaryDashboardDeviceChanged = 525,
    VREvent_Notification_Shown = 600,
    VREvent_Notification_Hidden = 601,
    VREvent_Notification_BeginInteraction = 602,
    VREvent_Notification_Destroyed = 603,
    VREvent_Quit = 700,
    VREvent_ProcessQuit = 701,
    VREvent_QuitAborted_UserPrompt = 702,
    VREvent_QuitAcknowledged = 703,
    VREvent_DriverRequestedQuit = 704,
    VREvent_ChaperoneDataHasChanged = 800,
    VREvent_ChaperoneUniverseHasChanged = 801,
    VREvent_ChaperoneTempDataHasChanged = 802,
    VREvent_ChaperoneSettingsHaveChanged = 803,
    VREvent_SeatedZeroPoseReset = 804,
    VREvent_AudioSettingsHaveChanged = 820,
    VREvent_BackgroundSettingHasChanged = 850,
    VREvent_CameraSettingsHaveChanged = 851,
    VREvent_ReprojectionSettingHasChanged = 852,
    VREvent_ModelSkinSettingsHaveChanged = 853,
    VREvent_EnvironmentSettingsHaveChanged = 854,
    VREvent_PowerSettingsHaveChanged = 855,
    VREvent_EnableHomeAppSettingsHaveChanged = 856,
    VREvent_StatusUpdate = 900,
    VREvent_MCImageUpdated = 1000,
    VREvent_FirmwareUpdateStarted = 1100,
    VREvent_FirmwareUpdateFinished = 1101,
    VREvent_KeyboardClosed = 1200,
    VREvent_KeyboardCharInput = 1201,
    VREvent_KeyboardDone = 1202,
    VREvent_ApplicationTransitionStarted = 1300,
    VREvent_ApplicationTransitionAborted = 1301,
    VREvent_ApplicationTransitionNewAppStarted = 1302,
    VREvent_ApplicationListUpdated = 1303,
    VREvent_ApplicationMimeTypeLoad = 1304,
    VREvent_ApplicationTransitionNewAppLaunchComplete = 1305,
    VREvent_ProcessConnected = 1306,
    VREvent_ProcessDisconnected = 1307,
    VREvent_Compositor_MirrorWindowShown = 1400,
    VREvent_Compositor_MirrorWindowHidden = 1401,
    VREvent_Compositor_ChaperoneBoundsShown = 1410,
    VREvent_Compositor_ChaperoneBoundsHidden = 1411,
    VREvent_TrackedCamera_StartVideoStream = 1500,
    VREvent_TrackedCamera_StopVideoStream = 1501,
    VREvent_TrackedCamera_PauseVideoStream = 1502,
    VREvent_TrackedCamera_ResumeVideoStream = 1503,
    VREvent_TrackedCamera_EditingSurface = 1550,
    VREvent_PerformanceTest_EnableCapture = 1600,
    VREvent_PerformanceTest_DisableCapture = 1601,
    VREvent_PerformanceTest_FidelityLevel = 1602,
    VREvent_MessageOverlay_Closed = 1650,
    VREvent_MessageOverlayCloseRequested = 1651,
    VREvent_VendorSpecific_Reserved_Start = 10000,
    VREvent_VendorSpecific_Reserved_End = 19999,
};

enum EVRButtonId {
    k_EButton_System = 0,
    k_EButton_ApplicationMenu = 1,
    k_EButton_Grip = 2,
    k_EButton_DPad_Left = 3,
    k_EButton_DPad_Up = 4,
    k_EButton_DPad_Right = 5,
    k_EButton_DPad_Down = 6,
    k_EButton_A = 7,
    k_EButton_ProximitySensor = 31,
    k_EButton_Axis0 = 32,
    k_EButton_Axis1 = 33,
    k_EButton_Axis2 = 34,
    k_EButton_Axis3 = 35,
    k_EButton_Axis4 = 36,
    k_EButton_SteamVR_Touchpad = 32,
    k_EButton_SteamVR_Trigger = 33,
    k_EButton_Dashboard_Back = 2,
    k_EButton_Max = 64,
};

enum EVRControllerAxisType {
    k_eControllerAxis_None = 0,
    k_eControllerAxis_TrackPad = 1,
    k_eControllerAxis_Joystick = 2,
    k_eControllerAxis_Trigger = 3,
};

enum ETrackingUniverseOrigin {
    TrackingUniverseSeated = 0,
    TrackingUniverseStanding = 1,
    TrackingUniverseRawAndUncalibrated = 2,
};

enum ETrackingResult {
    TrackingResult_Uninitialized = 1,
    TrackingResult_Calibrating_InProgress = 100,
    TrackingResult_Calibrating_OutOfRange = 101,
    TrackingResult_Running_OK = 200,
    TrackingResult_Running_OutOfRange = 201,
};

enum EVREye {
    Eye_Left = 0,
    Eye_Right = 1,
};

enum ETextureType {
    TextureType_DirectX = 0,
    TextureType_OpenGL = 1,
    TextureType_Vulkan = 2,
    TextureType_IOSurface = 3,
    TextureType_DirectX12 = 4,
};

enum EColorSpace {
    ColorSpace_Auto = 0,
    ColorSpace_Gamma = 1,
    ColorSpace_Linear = 2,
};

enum EVRSubmitFlags {
    Submit_Default = 0,
    Submit_LensDistortionAlreadyApplied = 1,
    Submit_GlRenderBuffer = 2,
    Submit_Reserved = 4,
    Submit_TextureWithPose = 8,
};

enum EVRCompositorError {
    VRCompositorError_None = 0,
    VRCompositorError_RequestFailed = 1,
    VRCompositorError_IncompatibleVersion = 100,
    VRCompositorError_DoNotHaveFocus = 101,
    VRCompositorError_InvalidTexture = 102,
    VRCompositorError_IsNotSceneApplication = 103,
    VRCompositorError_TextureIsOnWrongDevice = 104,
    VRCompositorError_TextureUsesUnsupportedFormat = 105,
    VRCompositorError_SharedTexturesNotSupported = 106,
    VRCompositorError_IndexOutOfRange = 107,
    VRCompositorError_AlreadySubmitted = 108,
    VRCompositorError_InvalidBounds = 109,
};

enum EVRRenderModelError {
    VRRenderModelError_None = 0,
    VRRenderModelError_Loading = 100,
    VRRenderModelError_NotSupported = 200,
    VRRenderModelError_InvalidArg = 300,
    VRRenderModelError_InvalidModel = 301,
    VRRenderModelError_NoShapes = 302,
    VRRenderModelError_MultipleShapes = 303,
    VRRenderModelError_TooManyVertices = 304,
    VRRenderModelError_MultipleTextures = 305,
    VRRenderModelError_BufferTooSmall = 306,
    VRRenderModelError_NotEnoughNormals = 307,
    VRRenderModelError_NotEnoughTexCoords = 308,
    VRRenderModelError_InvalidTexture = 400,
};

enum EVRSettingsError {
    VRSettingsError_None = 0,
    VRSettingsError_IPCFailed = 1,
    VRSettingsError_WriteFailed = 2,
    VRSettingsError_ReadFailed = 3,
    VRSettingsError_JsonParseFailed = 4,
    VRSettingsError_UnsetSettingHasNoDefault = 5,
};

enum ChaperoneCalibrationState {
    ChaperoneCalibrationState_OK = 1,
    ChaperoneCalibrationState_Warning = 100,
    ChaperoneCalibrationState_Warning_BaseStationMayHaveMoved = 101,
    ChaperoneCalibrationState_Warning_BaseStationRemoved = 102,
    ChaperoneCalibrationState_Warning_SeatedBoundsInvalid = 103,
    ChaperoneCalibrationState_Error = 200,
    ChaperoneCalibrationState_Error_BaseStationUninitialized = 201,
    ChaperoneCalibrationState_Error_BaseStationConflict = 202,
    ChaperoneCalibrationState_Error_PlayAreaInvalid = 203,
    ChaperoneCalibrationState_Error_CollisionBoundsInvalid = 204,
};

enum EVRFirmwareError {
    VRFirmwareError_None = 0,
    VRFirmwareError_Success = 1,
    VRFirmwareError_Fail = 2,
};

enum EDeviceActivityLevel {
    k_EDeviceActivityLevel_Unknown = -1,
    k_EDeviceActivityLevel_Idle = 0,
    k_EDeviceActivityLevel_UserInteraction = 1,
    k_EDeviceActivityLevel_UserInteraction_Timeout = 2,
    k_EDeviceActivityLevel_Standby = 3,
};

enum EHiddenAreaMeshType {
    k_eHiddenAreaMesh_Standard = 0,
    k_eHiddenAreaMesh_Inverse = 1,
    k_eHiddenAreaMesh_LineLoop = 2,
    k_eHiddenAreaMesh_Max = 3,
};

enum EVRState {
    VRState_Undefined = -1,
    VRState_Off = 0,
    VRState_Searching = 1,
    VRState_Searching_Alert = 2,
    VRState_Ready = 3,
    VRState_Ready_Alert = 4,
    VRState_NotReady = 5,
    VRState_Standby = 6,
    VRState_Ready_Alert_Low = 7,
};

enum EVRComponentProperty {
    VRComponentProperty_IsStatic = 1,
    VRComponentProperty_IsVisible = 2,
    VRComponentProperty_IsTouched = 4,
    VRComponentProperty_IsPressed = 8,
    VRComponentProperty_IsScrolled = 16,
};

enum ECollisionBoundsStyle {
    COLLISION_BOUNDS_STYLE_BEGINNER = 0,
    COLLISION_BOUNDS_STYLE_INTERMEDIATE = 1,
    COLLISION_BOUNDS_STYLE_SQUARES = 2,
    COLLISION_BOUNDS_STYLE_ADVANCED = 3,
    COLLISION_BOUNDS_STYLE_NONE = 4,
    COLLISION_BOUNDS_STYLE_COUNT = 5,
};

// ---------------------------------------------------------------------------------------------
// Constants.

constexpr uint32_t k_nDriverNone = 0xFFFFFFFFu;
constexpr uint32_t k_unMaxDriverDebugResponseSize = 32768;
constexpr TrackedDeviceIndex_t k_unTrackedDeviceIndex_Hmd = 0;
constexpr uint32_t k_unMaxTrackedDeviceCount = 16;
constexpr TrackedDeviceIndex_t k_unTrackedDeviceIndexOther = 0xFFFFFFFEu;
constexpr TrackedDeviceIndex_t k_unTrackedDeviceIndexInvalid = 0xFFFFFFFFu;

constexpr PropertyContainerHandle_t k_ulInvalidPropertyContainer = 0;
constexpr PropertyTypeTag_t k_unInvalidPropertyTag = 0;
constexpr PropertyTypeTag_t k_unFloatPropertyTag = 1;
constexpr PropertyTypeTag_t k_unInt32PropertyTag = 2;
constexpr PropertyTypeTag_t k_unUint64PropertyTag = 3;
constexpr PropertyTypeTag_t k_unBoolPropertyTag = 4;
constexpr PropertyTypeTag_t k_unStringPropertyTag = 5;
constexpr PropertyTypeTag_t k_unHmdMatrix34PropertyTag = 20;
constexpr PropertyTypeTag_t k_unHmdMatrix44PropertyTag = 21;
constexpr PropertyTypeTag_t k_unHmdVector3PropertyTag = 22;
constexpr PropertyTypeTag_t k_unHmdVector4PropertyTag = 23;
constexpr PropertyTypeTag_t k_unHiddenAreaPropertyTag = 30;
constexpr PropertyTypeTag_t k_unOpenVRInternalReserved_Start = 1000;
constexpr PropertyTypeTag_t k_unOpenVRInternalReserved_End = 10000;
constexpr uint32_t k_unMaxPropertyStringSize = 32768;

constexpr uint32_t k_unControllerStateAxisCount = 5;
constexpr VROverlayHandle_t k_ulOverlayHandleInvalid = 0;
constexpr uint32_t k_unScreenshotHandleInvalid = 0;
constexpr uint32_t k_unMaxApplicationKeyLength = 128;
constexpr uint32_t k_unVROverlayMaxKeyLength = 128;
constexpr uint32_t k_unVROverlayMaxNameLength = 128;
constexpr uint32_t k_unMaxOverlayCount = 64;
constexpr uint32_t k_unMaxOverlayIntersectionMaskPrimitivesCount = 32;
constexpr uint32_t k_unNotificationTextMaxSize = 256;
constexpr uint32_t k_unMaxSettingsKeyLength = 128;

// A render model without a diffuse texture carries this id (any negative id means none).
constexpr TextureID_t INVALID_TEXTURE_ID = -1;

// Compositor_FrameTiming::m_nReprojectionFlags bits.
constexpr uint32_t VRCompositor_ReprojectionReason_Cpu = 0x01;
constexpr uint32_t VRCompositor_ReprojectionReason_Gpu = 0x02;
constexpr uint32_t VRCompositor_ReprojectionAsync = 0x04;

// Render-model component names.
constexpr const char* k_pch_Controller_Component_GDC2015 = "gdc2015";
constexpr const char* k_pch_Controller_Component_Base = "base";
constexpr const char* k_pch_Controller_Component_Tip = "tip";
constexpr const char* k_pch_Controller_Component_HandGrip = "handgrip";
constexpr const char* k_pch_Controller_Component_Status = "status";

// Settings sections and keys.
constexpr const char* k_pch_UserInterface_Section = "userinterface";
constexpr const char* k_pch_UserInterface_StatusAlwaysOnTop_Bool = "StatusAlwaysOnTop";
constexpr const char* k_pch_UserInterface_MinimizeToTray_Bool = "MinimizeToTray";
constexpr const char* k_pch_UserInterface_Screenshots_Bool = "screenshots";
constexpr const char* k_pch_UserInterface_ScreenshotType_Int = "screenshotType";
constexpr const char* k_pch_CollisionBounds_Section = "collisionBounds";
constexpr const char* k_pch_CollisionBounds_Style_Int32 = "CollisionBoundsStyle";
constexpr const char* k_pch_CollisionBounds_GroundPerimeterOn_Bool =
    "CollisionBoundsGroundPerimeterOn";
constexpr const char* k_pch_CollisionBounds_CenterMarkerOn_Bool = "CollisionBoundsCenterMarkerOn";
constexpr const char* k_pch_CollisionBounds_PlaySpaceOn_Bool = "CollisionBoundsPlaySpaceOn";
constexpr const char* k_pch_CollisionBounds_FadeDistance_Float = "CollisionBoundsFadeDistance";
constexpr const char* k_pch_CollisionBounds_ColorGammaR_Int32 = "CollisionBoundsColorGammaR";
constexpr const char* k_pch_CollisionBounds_ColorGammaG_Int32 = "CollisionBoundsColorGammaG";
constexpr const char* k_pch_CollisionBounds_ColorGammaB_Int32 = "CollisionBoundsColorGammaB";
constexpr const char* k_pch_CollisionBounds_ColorGammaA_Int32 = "CollisionBoundsColorGammaA";

// The bit of VRControllerState_t::ulButtonPressed / ulButtonTouched that belongs to a button.
inline uint64_t ButtonMaskFromId(EVRButtonId id) {
    return 1ull << id;
}

// ---------------------------------------------------------------------------------------------
// Records. pack(8) guards against an includer's own packing; it changes nothing on x86-64.

#pragma pack(push, 8)

struct HmdMatrix34_t {
    float m[3][4];
};

struct HmdMatrix44_t {
    float m[4][4];
};

struct HmdVector2_t {
    float v[2];
};

struct HmdVector3_t {
    float v[3];
};

struct HmdVector4_t {
    float v[4];
};

struct HmdVector3d_t {
    double v[3];
};

struct HmdQuaternion_t {
    double w, x, y, z;
};

struct HmdColor_t {
    float r, g, b, a;
};

struct HmdQuad_t {
    HmdVector3_t vCorners[4];
};

struct HmdRect2_t {
    HmdVector2_t vTopLeft;
    HmdVector2_t vBottomRight;
};

struct DistortionCoordinates_t {
    float rfRed[2];
    float rfGreen[2];
    float rfBlue[2];
};

// For TextureType_OpenGL the handle carries the GL texture name (or a renderbuffer name when
// Submit_GlRenderBuffer is passed), cast to a pointer.
struct Texture_t {
    void* handle;
    ETextureType eType;
    EColorSpace eColorSpace;
};

struct VRTextureBounds_t {
    float uMin, vMin;
    float uMax, vMax;
};

// Submitted with Submit_TextureWithPose.
struct VRTextureWithPose_t : public Texture_t {
    HmdMatrix34_t mDeviceToAbsoluteTracking;
};

struct VRVulkanTextureData_t {
    uint64_t m_nImage;
    VkDevice_T* m_pDevice;
    VkPhysicalDevice_T* m_pPhysicalDevice;
    VkInstance_T* m_pInstance;
    VkQueue_T* m_pQueue;
    uint32_t m_nQueueFamilyIndex;
    uint32_t m_nWidth, m_nHeight, m_nFormat, m_nSampleCount;
};

struct TrackedDevicePose_t {
    HmdMatrix34_t mDeviceToAbsoluteTracking;
    HmdVector3_t vVelocity;         // metres per second, tracking space
    HmdVector3_t vAngularVelocity;  // radians per second
    ETrackingResult eTrackingResult;
    bool bPoseIsValid;
    bool bDeviceIsConnected;
};

// Event payloads; which one is valid depends on VREvent_t::eventType.
struct VREvent_Reserved_t {
    uint64_t reserved0;
    uint64_t reserved1;
};

struct VREvent_Controller_t {
    uint32_t button;  // EVRButtonId
};

struct VREvent_Mouse_t {
    float x, y;
    uint32_t button;
};

struct VREvent_Scroll_t {
    float xdelta, ydelta;
    uint32_t repeatCount;
};

struct VREvent_Process_t {
    uint32_t pid;
    uint32_t oldPid;
    bool bForced;
};

struct VREvent_Notification_t {
    uint64_t ulUserValue;
    uint32_t notificationId;
};

struct VREvent_Overlay_t {
    uint64_t overlayHandle;
};

struct VREvent_Status_t {
    uint32_t statusState;  // EVRState
};

struct VREvent_Keyboard_t {
    char cNewInput[8];
    uint64_t uUserValue;
};

struct VREvent_Ipd_t {
    float ipdMeters;
};

struct VREvent_Chaperone_t {
    uint64_t m_nPreviousUniverse;
    uint64_t m_nCurrentUniverse;
};

struct VREvent_PerformanceTest_t {
    uint32_t m_nFidelityLevel;
};

struct VREvent_TouchPadMove_t {
    bool bFingerDown;
    float flSecondsFingerDown;
    float fValueXFirst;
    float fValueYFirst;
    float fValueXRaw;
    float fValueYRaw;
};

struct VREvent_SeatedZeroPoseReset_t {
    bool bResetBySystemMenu;
};

struct VREvent_Screenshot_t {
    uint32_t handle;
    uint32_t type;
};

struct VREvent_ScreenshotProgress_t {
    float progress;
};

struct VREvent_ApplicationLaunch_t {
    uint32_t pid;
    uint32_t unArgsHandle;
};

struct VREvent_EditingCameraSurface_t {
    uint64_t overlayHandle;
    uint32_t nVisualMode;
};

struct VREvent_MessageOverlay_t {
    uint32_t unVRMessageOverlayResponse;
};

struct VREvent_Property_t {
    PropertyContainerHandle_t container;
    ETrackedDeviceProperty prop;
};

union VREvent_Data_t {
    VREvent_Reserved_t reserved;
    VREvent_Controller_t controller;
    VREvent_Mouse_t mouse;
    VREvent_Scroll_t scroll;
    VREvent_Process_t process;
    VREvent_Notification_t notification;
    VREvent_Overlay_t overlay;
    VREvent_Status_t status;
    VREvent_Keyboard_t keyboard;
    VREvent_Ipd_t ipd;
    VREvent_Chaperone_t chaperone;
    VREvent_PerformanceTest_t performanceTest;
    VREvent_TouchPadMove_t touchPadMove;
    VREvent_SeatedZeroPoseReset_t seatedZeroPoseReset;
    VREvent_Screenshot_t screenshot;
    VREvent_ScreenshotProgress_t screenshotProgress;
    VREvent_ApplicationLaunch_t applicationLaunch;
    VREvent_EditingCameraSurface_t cameraSurface;
    VREvent_MessageOverlay_t messageOverlay;
    VREvent_Property_t property;
};

#if STNVR_LINUX_PACK4
#pragma pack(push, 4)
#endif
// PollNextEvent takes sizeof(VREvent_t): 36 on Linux, 40 on Windows.
struct VREvent_t {
    uint32_t eventType;  // EVREventType
    TrackedDeviceIndex_t trackedDeviceIndex;
    float eventAgeSeconds;
    VREvent_Data_t data;
};
#if STNVR_LINUX_PACK4
#pragma pack(pop)
#endif

// Returned by value from IVRSystem::GetHiddenAreaMesh.
struct HiddenAreaMesh_t {
    const HmdVector2_t* pVertexData;
    uint32_t unTriangleCount;
};

struct VRControllerAxis_t {
    float x;  // -1..1; 0..1 for a trigger
    float y;
};

#if STNVR_LINUX_PACK4
#pragma pack(push, 4)
#endif
// GetControllerState takes sizeof(VRControllerState_t): 60 on Linux, 64 on Windows.
struct VRControllerState001_t {
    uint32_t unPacketNum;  // changes whenever the state changes
    uint64_t ulButtonPressed;
    uint64_t ulButtonTouched;
    VRControllerAxis_t rAxis[k_unControllerStateAxisCount];
};
#if STNVR_LINUX_PACK4
#pragma pack(pop)
#endif
typedef VRControllerState001_t VRControllerState_t;

struct Compositor_FrameTiming {
    uint32_t m_nSize;  // the caller sets sizeof(Compositor_FrameTiming)
    uint32_t m_nFrameIndex;
    uint32_t m_nNumFramePresents;
    uint32_t m_nNumMisPresented;
    uint32_t m_nNumDroppedFrames;
    uint32_t m_nReprojectionFlags;
    double m_flSystemTimeInSeconds;
    float m_flPreSubmitGpuMs;
    float m_flPostSubmitGpuMs;
    float m_flTotalRenderGpuMs;
    float m_flCompositorRenderGpuMs;
    float m_flCompositorRenderCpuMs;
    float m_flCompositorIdleCpuMs;
    float m_flClientFrameIntervalMs;
    float m_flPresentCallCpuMs;
    float m_flWaitForPresentCpuMs;
    float m_flSubmitFrameMs;
    float m_flWaitGetPosesCalledMs;
    float m_flNewPosesReadyMs;
    float m_flNewFrameReadyMs;
    float m_flCompositorUpdateStartMs;
    float m_flCompositorUpdateEndMs;
    float m_flCompositorRenderStartMs;
    TrackedDevicePose_t m_HmdPose;
};

struct Compositor_CumulativeStats {
    uint32_t m_nPid;
    uint32_t m_nNumFramePresents;
    uint32_t m_nNumDroppedFrames;
    uint32_t m_nNumReprojectedFrames;
    uint32_t m_nNumFramePresentsOnStartup;
    uint32_t m_nNumDroppedFramesOnStartup;
    uint32_t m_nNumReprojectedFramesOnStartup;
    uint32_t m_nNumLoading;
    uint32_t m_nNumFramePresentsLoading;
    uint32_t m_nNumDroppedFramesLoading;
    uint32_t m_nNumReprojectedFramesLoading;
    uint32_t m_nNumTimedOut;
    uint32_t m_nNumFramePresentsTimedOut;
    uint32_t m_nNumDroppedFramesTimedOut;
    uint32_t m_nNumReprojectedFramesTimedOut;
};

struct RenderModel_ComponentState_t {
    HmdMatrix34_t mTrackingToComponentRenderModel;  // where to draw the component's model
    HmdMatrix34_t mTrackingToComponentLocal;        // the component's local frame
    VRComponentProperties uProperties;              // EVRComponentProperty bits
};

struct RenderModel_Vertex_t {
    HmdVector3_t vPosition;
    HmdVector3_t vNormal;
    float rfTextureCoord[2];
};

#if STNVR_LINUX_PACK4
#pragma pack(push, 4)
#endif
// RGBA8, unWidth * unHeight * 4 bytes.
struct RenderModel_TextureMap_t {
    uint16_t unWidth, unHeight;
    const uint8_t* rubTextureMapData;
};

// rIndexData holds 3 * unTriangleCount indices.
struct RenderModel_t {
    const RenderModel_Vertex_t* rVertexData;
    uint32_t unVertexCount;
    const uint16_t* rIndexData;
    uint32_t unTriangleCount;
    TextureID_t diffuseTextureId;  // negative when the model has no texture
};
#if STNVR_LINUX_PACK4
#pragma pack(pop)
#endif

struct RenderModel_ControllerMode_State_t {
    bool bScrollWheelVisible;
};

#pragma pack(pop)

// ---------------------------------------------------------------------------------------------
// Layout checks against the runtime's ABI.

#if STNVR_ABI_LINUX64 || STNVR_ABI_WIN64
// Identical on both platforms.
static_assert(sizeof(EVRInitError) == 4 && sizeof(ETrackedDeviceProperty) == 4 &&
                  sizeof(EDeviceActivityLevel) == 4 && sizeof(EVRButtonId) == 4,
              "enums are 4 bytes");
static_assert(sizeof(HmdMatrix34_t) == 48 && alignof(HmdMatrix34_t) == 4, "HmdMatrix34_t");
static_assert(sizeof(HmdMatrix44_t) == 64 && alignof(HmdMatrix44_t) == 4, "HmdMatrix44_t");
static_assert(sizeof(HmdVector2_t) == 8 && alignof(HmdVector2_t) == 4, "HmdVector2_t");
static_assert(sizeof(HmdVector3_t) == 12 && alignof(HmdVector3_t) == 4, "HmdVector3_t");
static_assert(sizeof(HmdVector4_t) == 16 && alignof(HmdVector4_t) == 4, "HmdVector4_t");
static_assert(sizeof(HmdVector3d_t) == 24 && alignof(HmdVector3d_t) == 8, "HmdVector3d_t");
static_assert(sizeof(HmdQuaternion_t) == 32 && alignof(HmdQuaternion_t) == 8, "HmdQuaternion_t");
static_assert(offsetof(HmdQuaternion_t, x) == 8, "HmdQuaternion_t::x");
static_assert(offsetof(HmdQuaternion_t, y) == 16, "HmdQuaternion_t::y");
static_assert(offsetof(HmdQuaternion_t, z) == 24, "HmdQuaternion_t::z");
static_assert(sizeof(HmdColor_t) == 16 && alignof(HmdColor_t) == 4, "HmdColor_t");
static_assert(offsetof(HmdColor_t, g) == 4, "HmdColor_t::g");
static_assert(offsetof(HmdColor_t, b) == 8, "HmdColor_t::b");
static_assert(offsetof(HmdColor_t, a) == 12, "HmdColor_t::a");
static_assert(sizeof(HmdQuad_t) == 48 && alignof(HmdQuad_t) == 4, "HmdQuad_t");
static_assert(sizeof(HmdRect2_t) == 16 && alignof(HmdRect2_t) == 4, "HmdRect2_t");
static_assert(offsetof(HmdRect2_t, vBottomRight) == 8, "HmdRect2_t::vBottomRight");
static_assert(sizeof(DistortionCoordinates_t) == 24 && alignof(DistortionCoordinates_t) == 4,
              "DistortionCoordinates_t");
static_assert(offsetof(DistortionCoordinates_t, rfGreen) == 8, "DistortionCoordinates_t::rfGreen");
static_assert(offsetof(DistortionCoordinates_t, rfBlue) == 16, "DistortionCoordinates_t::rfBlue");
static_assert(sizeof(Texture_t) == 16 && alignof(Texture_t) == 8, "Texture_t");
static_assert(offsetof(Texture_t, eType) == 8, "Texture_t::eType");
static_assert(offsetof(Texture_t, eColorSpace) == 12, "Texture_t::eColorSpace");
static_assert(sizeof(VRTextureBounds_t) == 16 && alignof(VRTextureBounds_t) == 4,
              "VRTextureBounds_t");
static_assert(offsetof(VRTextureBounds_t, vMin) == 4, "VRTextureBounds_t::vMin");
static_assert(offsetof(VRTextureBounds_t, uMax) == 8, "VRTextureBounds_t::uMax");
static_assert(offsetof(VRTextureBounds_t, vMax) == 12, "VRTextureBounds_t::vMax");
static_assert(sizeof(VRTextureWithPose_t) == 64 && alignof(VRTextureWithPose_t) == 8,
              "VRTextureWithPose_t");
static_assert(sizeof(TrackedDevicePose_t) == 80 && alignof(TrackedDevicePose_t) == 4,
              "TrackedDevicePose_t");
static_assert(offsetof(TrackedDevicePose_t, vVelocity) == 48, "TrackedDevicePose_t::vVelocity");
static_assert(offsetof(TrackedDevicePose_t, vAngularVelocity) == 60,
              "TrackedDevicePose_t::vAngularVelocity");
static_assert(offsetof(TrackedDevicePose_t, eTrackingResult) == 72,
              "TrackedDevicePose_t::eTrackingResult");
static_assert(offsetof(TrackedDevicePose_t, bPoseIsValid) == 76,
              "TrackedDevicePose_t::bPoseIsValid");
static_assert(offsetof(TrackedDevicePose_t, bDeviceIsConnected) == 77,
              "TrackedDevicePose_t::bDeviceIsConnected");
static_assert(sizeof(VREvent_Data_t) == 24 && alignof(VREvent_Data_t) == 8, "VREvent_Data_t");
static_assert(sizeof(VREvent_Reserved_t) == 16 && alignof(VREvent_Reserved_t) == 8,
              "VREvent_Reserved_t");
static_assert(offsetof(VREvent_Reserved_t, reserved1) == 8, "VREvent_Reserved_t::reserved1");
static_assert(sizeof(VREvent_Controller_t) == 4 && alignof(VREvent_Controller_t) == 4,
              "VREvent_Controller_t");
static_assert(sizeof(VREvent_Mouse_t) == 12 && alignof(VREvent_Mouse_t) == 4, "VREvent_Mouse_t");
static_assert(offsetof(VREvent_Mouse_t, y) == 4, "VREvent_Mouse_t::y");
static_assert(offsetof(VREvent_Mouse_t, button) == 8, "VREvent_Mouse_t::button");
static_assert(sizeof(VREvent_Scroll_t) == 12 && alignof(VREvent_Scroll_t) == 4, "VREvent_Scroll_t");
static_assert(offsetof(VREvent_Scroll_t, ydelta) == 4, "VREvent_Scroll_t::ydelta");
static_assert(offsetof(VREvent_Scroll_t, repeatCount) == 8, "VREvent_Scroll_t::repeatCount");
static_assert(sizeof(VREvent_Process_t) == 12 && alignof(VREvent_Process_t) == 4,
              "VREvent_Process_t");
static_assert(offsetof(VREvent_Process_t, oldPid) == 4, "VREvent_Process_t::oldPid");
static_assert(offsetof(VREvent_Process_t, bForced) == 8, "VREvent_Process_t::bForced");
static_assert(sizeof(VREvent_Notification_t) == 16 && alignof(VREvent_Notification_t) == 8,
              "VREvent_Notification_t");
static_assert(offsetof(VREvent_Notification_t, notificationId) == 8,
              "VREvent_Notification_t::notificationId");
static_assert(sizeof(VREvent_Overlay_t) == 8 && alignof(VREvent_Overlay_t) == 8,
              "VREvent_Overlay_t");
static_assert(sizeof(VREvent_Status_t) == 4 && alignof(VREvent_Status_t) == 4, "VREvent_Status_t");
static_assert(sizeof(VREvent_Keyboard_t) == 16 && alignof(VREvent_Keyboard_t) == 8,
              "VREvent_Keyboard_t");
static_assert(offsetof(VREvent_Keyboard_t, uUserValue) == 8, "VREvent_Keyboard_t::uUserValue");
static_assert(sizeof(VREvent_Ipd_t) == 4 && alignof(VREvent_Ipd_t) == 4, "VREvent_Ipd_t");
static_assert(sizeof(VREvent_Chaperone_t) == 16 && alignof(VREvent_Chaperone_t) == 8,
              "VREvent_Chaperone_t");
static_assert(offsetof(VREvent_Chaperone_t, m_nCurrentUniverse) == 8,
              "VREvent_Chaperone_t::m_nCurrentUniverse");
static_assert(sizeof(VREvent_PerformanceTest_t) == 4 && alignof(VREvent_PerformanceTest_t) == 4,
              "VREvent_PerformanceTest_t");
static_assert(sizeof(VREvent_TouchPadMove_t) == 24 && alignof(VREvent_TouchPadMove_t) == 4,
              "VREvent_TouchPadMove_t");
static_assert(offsetof(VREvent_TouchPadMove_t, flSecondsFingerDown) == 4,
              "VREvent_TouchPadMove_t::flSecondsFingerDown");
static_assert(offsetof(VREvent_TouchPadMove_t, fValueXFirst) == 8,
              "VREvent_TouchPadMove_t::fValueXFirst");
static_assert(offsetof(VREvent_TouchPadMove_t, fValueYFirst) == 12,
              "VREvent_TouchPadMove_t::fValueYFirst");
static_assert(offsetof(VREvent_TouchPadMove_t, fValueXRaw) == 16,
              "VREvent_TouchPadMove_t::fValueXRaw");
static_assert(offsetof(VREvent_TouchPadMove_t, fValueYRaw) == 20,
              "VREvent_TouchPadMove_t::fValueYRaw");
static_assert(sizeof(VREvent_SeatedZeroPoseReset_t) == 1 &&
                  alignof(VREvent_SeatedZeroPoseReset_t) == 1,
              "VREvent_SeatedZeroPoseReset_t");
static_assert(sizeof(VREvent_Screenshot_t) == 8 && alignof(VREvent_Screenshot_t) == 4,
              "VREvent_Screenshot_t");
static_assert(offsetof(VREvent_Screenshot_t, type) == 4, "VREvent_Screenshot_t::type");
static_assert(sizeof(VREvent_ScreenshotProgress_t) == 4 &&
                  alignof(VREvent_ScreenshotProgress_t) == 4,
              "VREvent_ScreenshotProgress_t");
static_assert(sizeof(VREvent_ApplicationLaunch_t) == 8 && alignof(VREvent_ApplicationLaunch_t) == 4,
              "VREvent_ApplicationLaunch_t");
static_assert(offsetof(VREvent_ApplicationLaunch_t, unArgsHandle) == 4,
              "VREvent_ApplicationLaunch_t::unArgsHandle");
static_assert(sizeof(VREvent_EditingCameraSurface_t) == 16 &&
                  alignof(VREvent_EditingCameraSurface_t) == 8,
              "VREvent_EditingCameraSurface_t");
static_assert(offsetof(VREvent_EditingCameraSurface_t, nVisualMode) == 8,
              "VREvent_EditingCameraSurface_t::nVisualMode");
static_assert(sizeof(VREvent_MessageOverlay_t) == 4 && alignof(VREvent_MessageOverlay_t) == 4,
              "VREvent_MessageOverlay_t");
static_assert(sizeof(VREvent_Property_t) == 16 && alignof(VREvent_Property_t) == 8,
              "VREvent_Property_t");
static_assert(offsetof(VREvent_Property_t, prop) == 8, "VREvent_Property_t::prop");
static_assert(sizeof(HiddenAreaMesh_t) == 16 && alignof(HiddenAreaMesh_t) == 8, "HiddenAreaMesh_t");
static_assert(offsetof(HiddenAreaMesh_t, unTriangleCount) == 8,
              "HiddenAreaMesh_t::unTriangleCount");
static_assert(sizeof(VRControllerAxis_t) == 8 && alignof(VRControllerAxis_t) == 4,
              "VRControllerAxis_t");
static_assert(offsetof(VRControllerAxis_t, y) == 4, "VRControllerAxis_t::y");
static_assert(sizeof(RenderModel_ComponentState_t) == 100 &&
                  alignof(RenderModel_ComponentState_t) == 4,
              "RenderModel_ComponentState_t");
static_assert(offsetof(RenderModel_ComponentState_t, mTrackingToComponentLocal) == 48,
              "RenderModel_ComponentState_t::mTrackingToComponentLocal");
static_assert(offsetof(RenderModel_ComponentState_t, uProperties) == 96,
              "RenderModel_ComponentState_t::uProperties");
static_assert(sizeof(RenderModel_Vertex_t) == 32 && alignof(RenderModel_Vertex_t) == 4,
              "RenderModel_Vertex_t");
static_assert(offsetof(RenderModel_Vertex_t, vNormal) == 12, "RenderModel_Vertex_t::vNormal");
static_assert(offsetof(RenderModel_Vertex_t, rfTextureCoord) == 24,
              "RenderModel_Vertex_t::rfTextureCoord");
static_assert(sizeof(RenderModel_ControllerMode_State_t) == 1 &&
                  alignof(RenderModel_ControllerMode_State_t) == 1,
              "RenderModel_ControllerMode_State_t");
static_assert(sizeof(Compositor_FrameTiming) == 176 && alignof(Compositor_FrameTiming) == 8,
              "Compositor_FrameTiming");
static_assert(offsetof(Compositor_FrameTiming, m_nFrameIndex) == 4,
              "Compositor_FrameTiming::m_nFrameIndex");
static_assert(offsetof(Compositor_FrameTiming, m_nNumFramePresents) == 8,
              "Compositor_FrameTiming::m_nNumFramePresents");
static_assert(offsetof(Compositor_FrameTiming, m_nNumMisPresented) == 12,
              "Compositor_FrameTiming::m_nNumMisPresented");
static_assert(offsetof(Compositor_FrameTiming, m_nNumDroppedFrames) == 16,
              "Compositor_FrameTiming::m_nNumDroppedFrames");
static_assert(offsetof(Compositor_FrameTiming, m_nReprojectionFlags) == 20,
              "Compositor_FrameTiming::m_nReprojectionFlags");
static_assert(offsetof(Compositor_FrameTiming, m_flSystemTimeInSeconds) == 24,
              "Compositor_FrameTiming::m_flSystemTimeInSeconds");
static_assert(offsetof(Compositor_FrameTiming, m_flPreSubmitGpuMs) == 32,
              "Compositor_FrameTiming::m_flPreSubmitGpuMs");
static_assert(offsetof(Compositor_FrameTiming, m_flPostSubmitGpuMs) == 36,
              "Compositor_FrameTiming::m_flPostSubmitGpuMs");
static_assert(offsetof(Compositor_FrameTiming, m_flTotalRenderGpuMs) == 40,
              "Compositor_FrameTiming::m_flTotalRenderGpuMs");
static_assert(offsetof(Compositor_FrameTiming, m_flCompositorRenderGpuMs) == 44,
              "Compositor_FrameTiming::m_flCompositorRenderGpuMs");
static_assert(offsetof(Compositor_FrameTiming, m_flCompositorRenderCpuMs) == 48,
              "Compositor_FrameTiming::m_flCompositorRenderCpuMs");
static_assert(offsetof(Compositor_FrameTiming, m_flCompositorIdleCpuMs) == 52,
              "Compositor_FrameTiming::m_flCompositorIdleCpuMs");
static_assert(offsetof(Compositor_FrameTiming, m_flClientFrameIntervalMs) == 56,
              "Compositor_FrameTiming::m_flClientFrameIntervalMs");
static_assert(offsetof(Compositor_FrameTiming, m_flPresentCallCpuMs) == 60,
              "Compositor_FrameTiming::m_flPresentCallCpuMs");
static_assert(offsetof(Compositor_FrameTiming, m_flWaitForPresentCpuMs) == 64,
              "Compositor_FrameTiming::m_flWaitForPresentCpuMs");
static_assert(offsetof(Compositor_FrameTiming, m_flSubmitFrameMs) == 68,
              "Compositor_FrameTiming::m_flSubmitFrameMs");
static_assert(offsetof(Compositor_FrameTiming, m_flWaitGetPosesCalledMs) == 72,
              "Compositor_FrameTiming::m_flWaitGetPosesCalledMs");
static_assert(offsetof(Compositor_FrameTiming, m_flNewPosesReadyMs) == 76,
              "Compositor_FrameTiming::m_flNewPosesReadyMs");
static_assert(offsetof(Compositor_FrameTiming, m_flNewFrameReadyMs) == 80,
              "Compositor_FrameTiming::m_flNewFrameReadyMs");
static_assert(offsetof(Compositor_FrameTiming, m_flCompositorUpdateStartMs) == 84,
              "Compositor_FrameTiming::m_flCompositorUpdateStartMs");
static_assert(offsetof(Compositor_FrameTiming, m_flCompositorUpdateEndMs) == 88,
              "Compositor_FrameTiming::m_flCompositorUpdateEndMs");
static_assert(offsetof(Compositor_FrameTiming, m_flCompositorRenderStartMs) == 92,
              "Compositor_FrameTiming::m_flCompositorRenderStartMs");
static_assert(offsetof(Compositor_FrameTiming, m_HmdPose) == 96,
              "Compositor_FrameTiming::m_HmdPose");
static_assert(sizeof(Compositor_CumulativeStats) == 60 && alignof(Compositor_CumulativeStats) == 4,
              "Compositor_CumulativeStats");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumFramePresents) == 4,
              "Compositor_CumulativeStats::m_nNumFramePresents");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumDroppedFrames) == 8,
              "Compositor_CumulativeStats::m_nNumDroppedFrames");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumReprojectedFrames) == 12,
              "Compositor_CumulativeStats::m_nNumReprojectedFrames");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumFramePresentsOnStartup) == 16,
              "Compositor_CumulativeStats::m_nNumFramePresentsOnStartup");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumDroppedFramesOnStartup) == 20,
              "Compositor_CumulativeStats::m_nNumDroppedFramesOnStartup");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumReprojectedFramesOnStartup) == 24,
              "Compositor_CumulativeStats::m_nNumReprojectedFramesOnStartup");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumLoading) == 28,
              "Compositor_CumulativeStats::m_nNumLoading");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumFramePresentsLoading) == 32,
              "Compositor_CumulativeStats::m_nNumFramePresentsLoading");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumDroppedFramesLoading) == 36,
              "Compositor_CumulativeStats::m_nNumDroppedFramesLoading");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumReprojectedFramesLoading) == 40,
              "Compositor_CumulativeStats::m_nNumReprojectedFramesLoading");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumTimedOut) == 44,
              "Compositor_CumulativeStats::m_nNumTimedOut");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumFramePresentsTimedOut) == 48,
              "Compositor_CumulativeStats::m_nNumFramePresentsTimedOut");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumDroppedFramesTimedOut) == 52,
              "Compositor_CumulativeStats::m_nNumDroppedFramesTimedOut");
static_assert(offsetof(Compositor_CumulativeStats, m_nNumReprojectedFramesTimedOut) == 56,
              "Compositor_CumulativeStats::m_nNumReprojectedFramesTimedOut");
static_assert(sizeof(VRVulkanTextureData_t) == 64 && alignof(VRVulkanTextureData_t) == 8,
              "VRVulkanTextureData_t");
static_assert(offsetof(VRVulkanTextureData_t, m_pDevice) == 8, "VRVulkanTextureData_t::m_pDevice");
static_assert(offsetof(VRVulkanTextureData_t, m_pPhysicalDevice) == 16,
              "VRVulkanTextureData_t::m_pPhysicalDevice");
static_assert(offsetof(VRVulkanTextureData_t, m_pInstance) == 24,
              "VRVulkanTextureData_t::m_pInstance");
static_assert(offsetof(VRVulkanTextureData_t, m_pQueue) == 32, "VRVulkanTextureData_t::m_pQueue");
static_assert(offsetof(VRVulkanTextureData_t, m_nQueueFamilyIndex) == 40,
              "VRVulkanTextureData_t::m_nQueueFamilyIndex");
static_assert(offsetof(VRVulkanTextureData_t, m_nWidth) == 44, "VRVulkanTextureData_t::m_nWidth");
static_assert(offsetof(VRVulkanTextureData_t, m_nHeight) == 48, "VRVulkanTextureData_t::m_nHeight");
static_assert(offsetof(VRVulkanTextureData_t, m_nFormat) == 52, "VRVulkanTextureData_t::m_nFormat");
static_assert(offsetof(VRVulkanTextureData_t, m_nSampleCount) == 56,
              "VRVulkanTextureData_t::m_nSampleCount");
#endif

#if STNVR_ABI_LINUX64
static_assert(sizeof(VREvent_t) == 36 && alignof(VREvent_t) == 4, "VREvent_t");
static_assert(offsetof(VREvent_t, trackedDeviceIndex) == 4, "VREvent_t::trackedDeviceIndex");
static_assert(offsetof(VREvent_t, eventAgeSeconds) == 8, "VREvent_t::eventAgeSeconds");
static_assert(offsetof(VREvent_t, data) == 12, "VREvent_t::data");
static_assert(sizeof(VRControllerState001_t) == 60 && alignof(VRControllerState001_t) == 4,
              "VRControllerState001_t");
static_assert(offsetof(VRControllerState001_t, ulButtonPressed) == 4,
              "VRControllerState001_t::ulButtonPressed");
static_assert(offsetof(VRControllerState001_t, ulButtonTouched) == 12,
              "VRControllerState001_t::ulButtonTouched");
static_assert(offsetof(VRControllerState001_t, rAxis) == 20, "VRControllerState001_t::rAxis");
static_assert(sizeof(RenderModel_TextureMap_t) == 12 && alignof(RenderModel_TextureMap_t) == 4,
              "RenderModel_TextureMap_t");
static_assert(offsetof(RenderModel_TextureMap_t, unHeight) == 2,
              "RenderModel_TextureMap_t::unHeight");
static_assert(offsetof(RenderModel_TextureMap_t, rubTextureMapData) == 4,
              "RenderModel_TextureMap_t::rubTextureMapData");
static_assert(sizeof(RenderModel_t) == 28 && alignof(RenderModel_t) == 4, "RenderModel_t");
static_assert(offsetof(RenderModel_t, unVertexCount) == 8, "RenderModel_t::unVertexCount");
static_assert(offsetof(RenderModel_t, rIndexData) == 12, "RenderModel_t::rIndexData");
static_assert(offsetof(RenderModel_t, unTriangleCount) == 20, "RenderModel_t::unTriangleCount");
static_assert(offsetof(RenderModel_t, diffuseTextureId) == 24, "RenderModel_t::diffuseTextureId");
static_assert(sizeof(VRControllerState_t) == 60, "VRControllerState_t");
#endif

#if STNVR_ABI_WIN64
static_assert(sizeof(VREvent_t) == 40 && alignof(VREvent_t) == 8, "VREvent_t");
static_assert(offsetof(VREvent_t, trackedDeviceIndex) == 4, "VREvent_t::trackedDeviceIndex");
static_assert(offsetof(VREvent_t, eventAgeSeconds) == 8, "VREvent_t::eventAgeSeconds");
static_assert(offsetof(VREvent_t, data) == 16, "VREvent_t::data");
static_assert(sizeof(VRControllerState001_t) == 64 && alignof(VRControllerState001_t) == 8,
              "VRControllerState001_t");
static_assert(offsetof(VRControllerState001_t, ulButtonPressed) == 8,
              "VRControllerState001_t::ulButtonPressed");
static_assert(offsetof(VRControllerState001_t, ulButtonTouched) == 16,
              "VRControllerState001_t::ulButtonTouched");
static_assert(offsetof(VRControllerState001_t, rAxis) == 24, "VRControllerState001_t::rAxis");
static_assert(sizeof(RenderModel_TextureMap_t) == 16 && alignof(RenderModel_TextureMap_t) == 8,
              "RenderModel_TextureMap_t");
static_assert(offsetof(RenderModel_TextureMap_t, unHeight) == 2,
              "RenderModel_TextureMap_t::unHeight");
static_assert(offsetof(RenderModel_TextureMap_t, rubTextureMapData) == 8,
              "RenderModel_TextureMap_t::rubTextureMapData");
static_assert(sizeof(RenderModel_t) == 32 && alignof(RenderModel_t) == 8, "RenderModel_t");
static_assert(offsetof(RenderModel_t, unVertexCount) == 8, "RenderModel_t::unVertexCount");
static_assert(offsetof(RenderModel_t, rIndexData) == 16, "RenderModel_t::rIndexData");
static_assert(offsetof(RenderModel_t, unTriangleCount) == 24, "RenderModel_t::unTriangleCount");
static_assert(offsetof(RenderModel_t, diffuseTextureId) == 28, "RenderModel_t::diffuseTextureId");
static_assert(sizeof(VRControllerState_t) == 64, "VRControllerState_t");
#endif

}  // namespace vr
