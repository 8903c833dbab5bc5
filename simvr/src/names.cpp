#include "names.h"

#include "init_error_names.h"

namespace simvr {

#define SIMVR_NAME(value) \
    case vr::value:       \
        return #value

const char* PropertyErrorName(vr::ETrackedPropertyError value) {
    switch (value) {
        SIMVR_NAME(TrackedProp_Success);
        SIMVR_NAME(TrackedProp_WrongDataType);
        SIMVR_NAME(TrackedProp_WrongDeviceClass);
        SIMVR_NAME(TrackedProp_BufferTooSmall);
        SIMVR_NAME(TrackedProp_UnknownProperty);
        SIMVR_NAME(TrackedProp_InvalidDevice);
        SIMVR_NAME(TrackedProp_CouldNotContactServer);
        SIMVR_NAME(TrackedProp_ValueNotProvidedByDevice);
        SIMVR_NAME(TrackedProp_StringExceedsMaximumLength);
        SIMVR_NAME(TrackedProp_NotYetAvailable);
        SIMVR_NAME(TrackedProp_PermissionDenied);
        SIMVR_NAME(TrackedProp_InvalidOperation);
        default:
            return "Unknown";
    }
}

const char* EventTypeName(vr::EVREventType value) {
    switch (value) {
        SIMVR_NAME(VREvent_None);
        SIMVR_NAME(VREvent_TrackedDeviceActivated);
        SIMVR_NAME(VREvent_TrackedDeviceDeactivated);
        SIMVR_NAME(VREvent_TrackedDeviceUpdated);
        SIMVR_NAME(VREvent_TrackedDeviceUserInteractionStarted);
        SIMVR_NAME(VREvent_TrackedDeviceUserInteractionEnded);
        SIMVR_NAME(VREvent_IpdChanged);
        SIMVR_NAME(VREvent_EnterStandbyMode);
        SIMVR_NAME(VREvent_LeaveStandbyMode);
        SIMVR_NAME(VREvent_TrackedDeviceRoleChanged);
        SIMVR_NAME(VREvent_WatchdogWakeUpRequested);
        SIMVR_NAME(VREvent_LensDistortionChanged);
        SIMVR_NAME(VREvent_PropertyChanged);
        SIMVR_NAME(VREvent_WirelessDisconnect);
        SIMVR_NAME(VREvent_WirelessReconnect);
        SIMVR_NAME(VREvent_ButtonPress);
        SIMVR_NAME(VREvent_ButtonUnpress);
        SIMVR_NAME(VREvent_ButtonTouch);
        SIMVR_NAME(VREvent_ButtonUntouch);
        SIMVR_NAME(VREvent_MouseMove);
        SIMVR_NAME(VREvent_MouseButtonDown);
        SIMVR_NAME(VREvent_MouseButtonUp);
        SIMVR_NAME(VREvent_FocusEnter);
        SIMVR_NAME(VREvent_FocusLeave);
        SIMVR_NAME(VREvent_Scroll);
        SIMVR_NAME(VREvent_TouchPadMove);
        SIMVR_NAME(VREvent_OverlayFocusChanged);
        SIMVR_NAME(VREvent_InputFocusCaptured);
        SIMVR_NAME(VREvent_InputFocusReleased);
        SIMVR_NAME(VREvent_SceneFocusLost);
        SIMVR_NAME(VREvent_SceneFocusGained);
        SIMVR_NAME(VREvent_SceneApplicationChanged);
        SIMVR_NAME(VREvent_SceneFocusChanged);
        SIMVR_NAME(VREvent_InputFocusChanged);
        SIMVR_NAME(VREvent_SceneApplicationSecondaryRenderingStarted);
        SIMVR_NAME(VREvent_HideRenderModels);
        SIMVR_NAME(VREvent_ShowRenderModels);
        SIMVR_NAME(VREvent_OverlayShown);
        SIMVR_NAME(VREvent_OverlayHidden);
        SIMVR_NAME(VREvent_DashboardActivated);
        SIMVR_NAME(VREvent_DashboardDeactivated);
        SIMVR_NAME(VREvent_DashboardThumbSelected);
        SIMVR_NAME(VREvent_DashboardRequested);
        SIMVR_NAME(VREvent_ResetDashboard);
        SIMVR_NAME(VREvent_RenderToast);
        SIMVR_NAME(VREvent_ImageLoaded);
        SIMVR_NAME(VREvent_ShowKeyboard);
        SIMVR_NAME(VREvent_HideKeyboard);
        SIMVR_NAME(VREvent_OverlayGamepadFocusGained);
        SIMVR_NAME(VREvent_OverlayGamepadFocusLost);
        SIMVR_NAME(VREvent_OverlaySharedTextureChanged);
        SIMVR_NAME(VREvent_DashboardGuideButtonDown);
        SIMVR_NAME(VREvent_DashboardGuideButtonUp);
        SIMVR_NAME(VREvent_ScreenshotTriggered);
        SIMVR_NAME(VREvent_ImageFailed);
        SIMVR_NAME(VREvent_DashboardOverlayCreated);
        SIMVR_NAME(VREvent_RequestScreenshot);
        SIMVR_NAME(VREvent_ScreenshotTaken);
        SIMVR_NAME(VREvent_ScreenshotFailed);
        SIMVR_NAME(VREvent_SubmitScreenshotToDashboard);
        SIMVR_NAME(VREvent_ScreenshotProgressToDashboard);
        SIMVR_NAME(VREvent_PrimaryDashboardDeviceChanged);
        SIMVR_NAME(VREvent_Notification_Shown);
        SIMVR_NAME(VREvent_Notification_Hidden);
        SIMVR_NAME(VREvent_Notification_BeginInteraction);
        SIMVR_NAME(VREvent_Notification_Destroyed);
        SIMVR_NAME(VREvent_Quit);
        SIMVR_NAME(VREvent_ProcessQuit);
        SIMVR_NAME(VREvent_QuitAborted_UserPrompt);
        SIMVR_NAME(VREvent_QuitAcknowledged);
        SIMVR_NAME(VREvent_DriverRequestedQuit);
        SIMVR_NAME(VREvent_ChaperoneDataHasChanged);
        SIMVR_NAME(VREvent_ChaperoneUniverseHasChanged);
        SIMVR_NAME(VREvent_ChaperoneTempDataHasChanged);
        SIMVR_NAME(VREvent_ChaperoneSettingsHaveChanged);
        SIMVR_NAME(VREvent_SeatedZeroPoseReset);
        SIMVR_NAME(VREvent_AudioSettingsHaveChanged);
        SIMVR_NAME(VREvent_BackgroundSettingHasChanged);
        SIMVR_NAME(VREvent_CameraSettingsHaveChanged);
        SIMVR_NAME(VREvent_ReprojectionSettingHasChanged);
        SIMVR_NAME(VREvent_ModelSkinSettingsHaveChanged);
        SIMVR_NAME(VREvent_EnvironmentSettingsHaveChanged);
        SIMVR_NAME(VREvent_PowerSettingsHaveChanged);
        SIMVR_NAME(VREvent_EnableHomeAppSettingsHaveChanged);
        SIMVR_NAME(VREvent_StatusUpdate);
        SIMVR_NAME(VREvent_MCImageUpdated);
        SIMVR_NAME(VREvent_FirmwareUpdateStarted);
        SIMVR_NAME(VREvent_FirmwareUpdateFinished);
        SIMVR_NAME(VREvent_KeyboardClosed);
        SIMVR_NAME(VREvent_KeyboardCharInput);
        SIMVR_NAME(VREvent_KeyboardDone);
        SIMVR_NAME(VREvent_ApplicationTransitionStarted);
        SIMVR_NAME(VREvent_ApplicationTransitionAborted);
        SIMVR_NAME(VREvent_ApplicationTransitionNewAppStarted);
        SIMVR_NAME(VREvent_ApplicationListUpdated);
        SIMVR_NAME(VREvent_ApplicationMimeTypeLoad);
        SIMVR_NAME(VREvent_ApplicationTransitionNewAppLaunchComplete);
        SIMVR_NAME(VREvent_ProcessConnected);
        SIMVR_NAME(VREvent_ProcessDisconnected);
        SIMVR_NAME(VREvent_Compositor_MirrorWindowShown);
        SIMVR_NAME(VREvent_Compositor_MirrorWindowHidden);
        SIMVR_NAME(VREvent_Compositor_ChaperoneBoundsShown);
        SIMVR_NAME(VREvent_Compositor_ChaperoneBoundsHidden);
        SIMVR_NAME(VREvent_TrackedCamera_StartVideoStream);
        SIMVR_NAME(VREvent_TrackedCamera_StopVideoStream);
        SIMVR_NAME(VREvent_TrackedCamera_PauseVideoStream);
        SIMVR_NAME(VREvent_TrackedCamera_ResumeVideoStream);
        SIMVR_NAME(VREvent_TrackedCamera_EditingSurface);
        SIMVR_NAME(VREvent_PerformanceTest_EnableCapture);
        SIMVR_NAME(VREvent_PerformanceTest_DisableCapture);
        SIMVR_NAME(VREvent_PerformanceTest_FidelityLevel);
        SIMVR_NAME(VREvent_MessageOverlay_Closed);
        SIMVR_NAME(VREvent_MessageOverlayCloseRequested);
        SIMVR_NAME(VREvent_VendorSpecific_Reserved_Start);
        SIMVR_NAME(VREvent_VendorSpecific_Reserved_End);
        default:
            return "Unknown";
    }
}

const char* ButtonName(vr::EVRButtonId value) {
    switch (value) {
        SIMVR_NAME(k_EButton_System);
        SIMVR_NAME(k_EButton_ApplicationMenu);
        SIMVR_NAME(k_EButton_Grip);
        SIMVR_NAME(k_EButton_DPad_Left);
        SIMVR_NAME(k_EButton_DPad_Up);
        SIMVR_NAME(k_EButton_DPad_Right);
        SIMVR_NAME(k_EButton_DPad_Down);
        SIMVR_NAME(k_EButton_A);
        SIMVR_NAME(k_EButton_ProximitySensor);
        SIMVR_NAME(k_EButton_Axis0);
        SIMVR_NAME(k_EButton_Axis1);
        SIMVR_NAME(k_EButton_Axis2);
        SIMVR_NAME(k_EButton_Axis3);
        SIMVR_NAME(k_EButton_Axis4);
        default:
            return "Unknown";
    }
}

const char* AxisTypeName(vr::EVRControllerAxisType value) {
    switch (value) {
        SIMVR_NAME(k_eControllerAxis_None);
        SIMVR_NAME(k_eControllerAxis_TrackPad);
        SIMVR_NAME(k_eControllerAxis_Joystick);
        SIMVR_NAME(k_eControllerAxis_Trigger);
        default:
            return "Unknown";
    }
}

const char* RenderModelErrorName(vr::EVRRenderModelError value) {
    switch (value) {
        SIMVR_NAME(VRRenderModelError_None);
        SIMVR_NAME(VRRenderModelError_Loading);
        SIMVR_NAME(VRRenderModelError_NotSupported);
        SIMVR_NAME(VRRenderModelError_InvalidArg);
        SIMVR_NAME(VRRenderModelError_InvalidModel);
        SIMVR_NAME(VRRenderModelError_NoShapes);
        SIMVR_NAME(VRRenderModelError_MultipleShapes);
        SIMVR_NAME(VRRenderModelError_TooManyVertices);
        SIMVR_NAME(VRRenderModelError_MultipleTextures);
        SIMVR_NAME(VRRenderModelError_BufferTooSmall);
        SIMVR_NAME(VRRenderModelError_NotEnoughNormals);
        SIMVR_NAME(VRRenderModelError_NotEnoughTexCoords);
        SIMVR_NAME(VRRenderModelError_InvalidTexture);
        default:
            return "Unknown";
    }
}

const char* SettingsErrorName(vr::EVRSettingsError value) {
    switch (value) {
        SIMVR_NAME(VRSettingsError_None);
        SIMVR_NAME(VRSettingsError_IPCFailed);
        SIMVR_NAME(VRSettingsError_WriteFailed);
        SIMVR_NAME(VRSettingsError_ReadFailed);
        SIMVR_NAME(VRSettingsError_JsonParseFailed);
        SIMVR_NAME(VRSettingsError_UnsetSettingHasNoDefault);
        default:
            return "Unknown";
    }
}

// The runtime answers with the same names the client keeps for when no runtime is loaded.
const char* InitErrorId(vr::EVRInitError error) {
    return stnvr::init_error_names::Symbol(error);
}

const char* InitErrorDescription(vr::EVRInitError error) {
    return stnvr::init_error_names::EnglishDescription(error);
}

#undef SIMVR_NAME

}  // namespace simvr
