// OpenVR 1.0.10 interfaces at the versions this project speaks, declared by this project.
//
// The runtime hands out pointers to C++ objects and the caller goes through their vtables, so
// each interface lists every slot of its version in the runtime's order: pure virtual, no
// destructor, no base, no overloaded virtuals. Adding, removing or moving a virtual here breaks
// every call after it. Default arguments are for callers' convenience only; they are not ABI.
#pragma once

#include "stnvr/vr_types.h"

// Methods that return a record by value. The runtime is built with MSVC on Windows, where the
// hidden result pointer follows `this`; GCC and Clang targeting MinGW put it before `this`. For
// MinGW those slots are therefore declared with an explicit result pointer as first argument,
// which compiles to the MSVC call, and a non-virtual wrapper keeps the usual by-value call.
// Linux (SysV on both sides) and MSVC builds use the plain declarations.
#if defined(_WIN32) && !defined(_MSC_VER)
#define STNVR_RECORD_RETURN_VIA_POINTER 1
#else
#define STNVR_RECORD_RETURN_VIA_POINTER 0
#endif

namespace vr {

constexpr const char* IVRSystem_Version = "IVRSystem_017";
constexpr const char* IVRCompositor_Version = "IVRCompositor_021";
constexpr const char* IVRRenderModels_Version = "IVRRenderModels_005";
constexpr const char* IVRSettings_Version = "IVRSettings_002";
constexpr const char* IVRChaperone_Version = "IVRChaperone_003";
constexpr const char* IVRClientCore_Version = "IVRClientCore_003";

class IVRSystem {
public:
    // Display
    virtual void GetRecommendedRenderTargetSize(uint32_t* pnWidth, uint32_t* pnHeight) = 0;
#if STNVR_RECORD_RETURN_VIA_POINTER
    virtual HmdMatrix44_t* GetProjectionMatrix(HmdMatrix44_t* pResult, EVREye eEye, float fNearZ,
                                               float fFarZ) = 0;
    HmdMatrix44_t GetProjectionMatrix(EVREye eEye, float fNearZ, float fFarZ) {
        HmdMatrix44_t result;
        GetProjectionMatrix(&result, eEye, fNearZ, fFarZ);
        return result;
    }
#else
    virtual HmdMatrix44_t GetProjectionMatrix(EVREye eEye, float fNearZ, float fFarZ) = 0;
#endif
    virtual void GetProjectionRaw(EVREye eEye, float* pfLeft, float* pfRight, float* pfTop,
                                  float* pfBottom) = 0;
    virtual bool ComputeDistortion(EVREye eEye, float fU, float fV,
                                   DistortionCoordinates_t* pDistortionCoordinates) = 0;
#if STNVR_RECORD_RETURN_VIA_POINTER
    virtual HmdMatrix34_t* GetEyeToHeadTransform(HmdMatrix34_t* pResult, EVREye eEye) = 0;
    HmdMatrix34_t GetEyeToHeadTransform(EVREye eEye) {
        HmdMatrix34_t result;
        GetEyeToHeadTransform(&result, eEye);
        return result;
    }
#else
    virtual HmdMatrix34_t GetEyeToHeadTransform(EVREye eEye) = 0;
#endif
    virtual bool GetTimeSinceLastVsync(float* pfSecondsSinceLastVsync,
                                       uint64_t* pulFrameCounter) = 0;
    virtual int32_t GetD3D9AdapterIndex() = 0;
    virtual void GetDXGIOutputInfo(int32_t* pnAdapterIndex) = 0;
    virtual void GetOutputDevice(uint64_t* pnDevice, ETextureType textureType,
                                 VkInstance_T* pInstance = nullptr) = 0;

    // Display mode
    virtual bool IsDisplayOnDesktop() = 0;
    virtual bool SetDisplayVisibility(bool bIsVisibleOnDesktop) = 0;

    // Tracking
    virtual void GetDeviceToAbsoluteTrackingPose(ETrackingUniverseOrigin eOrigin,
                                                 float fPredictedSecondsToPhotonsFromNow,
                                                 TrackedDevicePose_t* pTrackedDevicePoseArray,
                                                 uint32_t unTrackedDevicePoseArrayCount) = 0;
    virtual void ResetSeatedZeroPose() = 0;
#if STNVR_RECORD_RETURN_VIA_POINTER
    virtual HmdMatrix34_t* GetSeatedZeroPoseToStandingAbsoluteTrackingPose(
        HmdMatrix34_t* pResult) = 0;
    HmdMatrix34_t GetSeatedZeroPoseToStandingAbsoluteTrackingPose() {
        HmdMatrix34_t result;
        GetSeatedZeroPoseToStandingAbsoluteTrackingPose(&result);
        return result;
    }
    virtual HmdMatrix34_t* GetRawZeroPoseToStandingAbsoluteTrackingPose(HmdMatrix34_t* pResult) = 0;
    HmdMatrix34_t GetRawZeroPoseToStandingAbsoluteTrackingPose() {
        HmdMatrix34_t result;
        GetRawZeroPoseToStandingAbsoluteTrackingPose(&result);
        return result;
    }
#else
    virtual HmdMatrix34_t GetSeatedZeroPoseToStandingAbsoluteTrackingPose() = 0;
    virtual HmdMatrix34_t GetRawZeroPoseToStandingAbsoluteTrackingPose() = 0;
#endif
    virtual uint32_t GetSortedTrackedDeviceIndicesOfClass(
        ETrackedDeviceClass eTrackedDeviceClass, TrackedDeviceIndex_t* punTrackedDeviceIndexArray,
        uint32_t unTrackedDeviceIndexArrayCount,
        TrackedDeviceIndex_t unRelativeToTrackedDeviceIndex = k_unTrackedDeviceIndex_Hmd) = 0;
    virtual EDeviceActivityLevel GetTrackedDeviceActivityLevel(TrackedDeviceIndex_t unDeviceId) = 0;
    virtual void ApplyTransform(TrackedDevicePose_t* pOutputPose,
                                const TrackedDevicePose_t* pTrackedDevicePose,
                                const HmdMatrix34_t* pTransform) = 0;
    virtual TrackedDeviceIndex_t GetTrackedDeviceIndexForControllerRole(
        ETrackedControllerRole unDeviceType) = 0;
    virtual ETrackedControllerRole GetControllerRoleForTrackedDeviceIndex(
        TrackedDeviceIndex_t unDeviceIndex) = 0;

    // Properties
    virtual ETrackedDeviceClass GetTrackedDeviceClass(TrackedDeviceIndex_t unDeviceIndex) = 0;
    virtual bool IsTrackedDeviceConnected(TrackedDeviceIndex_t unDeviceIndex) = 0;
    virtual bool GetBoolTrackedDeviceProperty(TrackedDeviceIndex_t unDeviceIndex,
                                              ETrackedDeviceProperty prop,
                                              ETrackedPropertyError* pError = nullptr) = 0;
    virtual float GetFloatTrackedDeviceProperty(TrackedDeviceIndex_t unDeviceIndex,
                                                ETrackedDeviceProperty prop,
                                                ETrackedPropertyError* pError = nullptr) = 0;
    virtual int32_t GetInt32TrackedDeviceProperty(TrackedDeviceIndex_t unDeviceIndex,
                                                  ETrackedDeviceProperty prop,
                                                  ETrackedPropertyError* pError = nullptr) = 0;
    virtual uint64_t GetUint64TrackedDeviceProperty(TrackedDeviceIndex_t unDeviceIndex,
                                                    ETrackedDeviceProperty prop,
                                                    ETrackedPropertyError* pError = nullptr) = 0;
#if STNVR_RECORD_RETURN_VIA_POINTER
    virtual HmdMatrix34_t* GetMatrix34TrackedDeviceProperty(HmdMatrix34_t* pResult,
                                                            TrackedDeviceIndex_t unDeviceIndex,
                                                            ETrackedDeviceProperty prop,
                                                            ETrackedPropertyError* pError) = 0;
    HmdMatrix34_t GetMatrix34TrackedDeviceProperty(TrackedDeviceIndex_t unDeviceIndex,
                                                   ETrackedDeviceProperty prop,
                                                   ETrackedPropertyError* pError = nullptr) {
        HmdMatrix34_t result;
        GetMatrix34TrackedDeviceProperty(&result, unDeviceIndex, prop, pError);
        return result;
    }
#else
    virtual HmdMatrix34_t GetMatrix34TrackedDeviceProperty(
        TrackedDeviceIndex_t unDeviceIndex, ETrackedDeviceProperty prop,
        ETrackedPropertyError* pError = nullptr) = 0;
#endif
    // Returns the length needed including the terminator; 0 on error.
    virtual uint32_t GetStringTrackedDeviceProperty(TrackedDeviceIndex_t unDeviceIndex,
                                                    ETrackedDeviceProperty prop, char* pchValue,
                                                    uint32_t unBufferSize,
                                                    ETrackedPropertyError* pError = nullptr) = 0;
    virtual const char* GetPropErrorNameFromEnum(ETrackedPropertyError error) = 0;

    // Events. uncbVREvent is sizeof(VREvent_t).
    virtual bool PollNextEvent(VREvent_t* pEvent, uint32_t uncbVREvent) = 0;
    virtual bool PollNextEventWithPose(ETrackingUniverseOrigin eOrigin, VREvent_t* pEvent,
                                       uint32_t uncbVREvent,
                                       TrackedDevicePose_t* pTrackedDevicePose) = 0;
    virtual const char* GetEventTypeNameFromEnum(EVREventType eType) = 0;

    // Rendering helpers
#if STNVR_RECORD_RETURN_VIA_POINTER
    virtual HiddenAreaMesh_t* GetHiddenAreaMesh(HiddenAreaMesh_t* pResult, EVREye eEye,
                                                EHiddenAreaMeshType type) = 0;
    HiddenAreaMesh_t GetHiddenAreaMesh(EVREye eEye,
                                       EHiddenAreaMeshType type = k_eHiddenAreaMesh_Standard) {
        HiddenAreaMesh_t result;
        GetHiddenAreaMesh(&result, eEye, type);
        return result;
    }
#else
    virtual HiddenAreaMesh_t GetHiddenAreaMesh(
        EVREye eEye, EHiddenAreaMeshType type = k_eHiddenAreaMesh_Standard) = 0;
#endif

    // Controllers. unControllerStateSize is sizeof(VRControllerState_t).
    virtual bool GetControllerState(TrackedDeviceIndex_t unControllerDeviceIndex,
                                    VRControllerState_t* pControllerState,
                                    uint32_t unControllerStateSize) = 0;
    virtual bool GetControllerStateWithPose(ETrackingUniverseOrigin eOrigin,
                                            TrackedDeviceIndex_t unControllerDeviceIndex,
                                            VRControllerState_t* pControllerState,
                                            uint32_t unControllerStateSize,
                                            TrackedDevicePose_t* pTrackedDevicePose) = 0;
    virtual void TriggerHapticPulse(TrackedDeviceIndex_t unControllerDeviceIndex, uint32_t unAxisId,
                                    unsigned short usDurationMicroSec) = 0;
    virtual const char* GetButtonIdNameFromEnum(EVRButtonId eButtonId) = 0;
    virtual const char* GetControllerAxisTypeNameFromEnum(EVRControllerAxisType eAxisType) = 0;
    virtual bool CaptureInputFocus() = 0;
    virtual void ReleaseInputFocus() = 0;
    virtual bool IsInputFocusCapturedByAnotherProcess() = 0;

    // Debugging, firmware, application life cycle
    virtual uint32_t DriverDebugRequest(TrackedDeviceIndex_t unDeviceIndex, const char* pchRequest,
                                        char* pchResponseBuffer, uint32_t unResponseBufferSize) = 0;
    virtual EVRFirmwareError PerformFirmwareUpdate(TrackedDeviceIndex_t unDeviceIndex) = 0;
    virtual void AcknowledgeQuit_Exiting() = 0;
    virtual void AcknowledgeQuit_UserPrompt() = 0;
};

class IVRCompositor {
public:
    virtual void SetTrackingSpace(ETrackingUniverseOrigin eOrigin) = 0;
    virtual ETrackingUniverseOrigin GetTrackingSpace() = 0;
    // Blocks until the compositor wants the next frame.
    virtual EVRCompositorError WaitGetPoses(TrackedDevicePose_t* pRenderPoseArray,
                                            uint32_t unRenderPoseArrayCount,
                                            TrackedDevicePose_t* pGamePoseArray,
                                            uint32_t unGamePoseArrayCount) = 0;
    virtual EVRCompositorError GetLastPoses(TrackedDevicePose_t* pRenderPoseArray,
                                            uint32_t unRenderPoseArrayCount,
                                            TrackedDevicePose_t* pGamePoseArray,
                                            uint32_t unGamePoseArrayCount) = 0;
    virtual EVRCompositorError GetLastPoseForTrackedDeviceIndex(
        TrackedDeviceIndex_t unDeviceIndex, TrackedDevicePose_t* pOutputPose,
        TrackedDevicePose_t* pOutputGamePose) = 0;
    virtual EVRCompositorError Submit(EVREye eEye, const Texture_t* pTexture,
                                      const VRTextureBounds_t* pBounds = nullptr,
                                      EVRSubmitFlags nSubmitFlags = Submit_Default) = 0;
    virtual void ClearLastSubmittedFrame() = 0;
    virtual void PostPresentHandoff() = 0;
    virtual bool GetFrameTiming(Compositor_FrameTiming* pTiming, uint32_t unFramesAgo = 0) = 0;
    virtual uint32_t GetFrameTimings(Compositor_FrameTiming* pTiming, uint32_t nFrames) = 0;
    virtual float GetFrameTimeRemaining() = 0;
    virtual void GetCumulativeStats(Compositor_CumulativeStats* pStats,
                                    uint32_t nStatsSizeInBytes) = 0;
    virtual void FadeToColor(float fSeconds, float fRed, float fGreen, float fBlue, float fAlpha,
                             bool bBackground = false) = 0;
#if STNVR_RECORD_RETURN_VIA_POINTER
    virtual HmdColor_t* GetCurrentFadeColor(HmdColor_t* pResult, bool bBackground) = 0;
    HmdColor_t GetCurrentFadeColor(bool bBackground = false) {
        HmdColor_t result;
        GetCurrentFadeColor(&result, bBackground);
        return result;
    }
#else
    virtual HmdColor_t GetCurrentFadeColor(bool bBackground = false) = 0;
#endif
    virtual void FadeGrid(float fSeconds, bool bFadeIn) = 0;
    virtual float GetCurrentGridAlpha() = 0;
    virtual EVRCompositorError SetSkyboxOverride(const Texture_t* pTextures,
                                                 uint32_t unTextureCount) = 0;
    virtual void ClearSkyboxOverride() = 0;
    virtual void CompositorBringToFront() = 0;
    virtual void CompositorGoToBack() = 0;
    virtual void CompositorQuit() = 0;
    virtual bool IsFullscreen() = 0;
    virtual uint32_t GetCurrentSceneFocusProcess() = 0;
    virtual uint32_t GetLastFrameRenderer() = 0;
    virtual bool CanRenderScene() = 0;
    virtual void ShowMirrorWindow() = 0;
    virtual void HideMirrorWindow() = 0;
    virtual bool IsMirrorWindowVisible() = 0;
    virtual void CompositorDumpImages() = 0;
    virtual bool ShouldAppRenderWithLowResources() = 0;
    virtual void ForceInterleavedReprojectionOn(bool bOverride) = 0;
    virtual void ForceReconnectProcess() = 0;
    virtual void SuspendRendering(bool bSuspend) = 0;
    virtual EVRCompositorError GetMirrorTextureD3D11(EVREye eEye, void* pD3D11DeviceOrResource,
                                                     void** ppD3D11ShaderResourceView) = 0;
    virtual void ReleaseMirrorTextureD3D11(void* pD3D11ShaderResourceView) = 0;
    virtual EVRCompositorError GetMirrorTextureGL(
        EVREye eEye, glUInt_t* pglTextureId, glSharedTextureHandle_t* pglSharedTextureHandle) = 0;
    virtual bool ReleaseSharedGLTexture(glUInt_t glTextureId,
                                        glSharedTextureHandle_t glSharedTextureHandle) = 0;
    virtual void LockGLSharedTextureForAccess(glSharedTextureHandle_t glSharedTextureHandle) = 0;
    virtual void UnlockGLSharedTextureForAccess(glSharedTextureHandle_t glSharedTextureHandle) = 0;
    virtual uint32_t GetVulkanInstanceExtensionsRequired(char* pchValue, uint32_t unBufferSize) = 0;
    virtual uint32_t GetVulkanDeviceExtensionsRequired(VkPhysicalDevice_T* pPhysicalDevice,
                                                       char* pchValue, uint32_t unBufferSize) = 0;
    virtual void SetExplicitTimingMode(bool bExplicitTimingMode) = 0;
    virtual EVRCompositorError SubmitExplicitTimingData() = 0;
};

class IVRRenderModels {
public:
    // Returns VRRenderModelError_Loading until the model is ready; call again later.
    virtual EVRRenderModelError LoadRenderModel_Async(const char* pchRenderModelName,
                                                      RenderModel_t** ppRenderModel) = 0;
    virtual void FreeRenderModel(RenderModel_t* pRenderModel) = 0;
    virtual EVRRenderModelError LoadTexture_Async(TextureID_t textureId,
                                                  RenderModel_TextureMap_t** ppTexture) = 0;
    virtual void FreeTexture(RenderModel_TextureMap_t* pTexture) = 0;
    virtual EVRRenderModelError LoadTextureD3D11_Async(TextureID_t textureId, void* pD3D11Device,
                                                       void** ppD3D11Texture2D) = 0;
    virtual EVRRenderModelError LoadIntoTextureD3D11_Async(TextureID_t textureId,
                                                           void* pDstTexture) = 0;
    virtual void FreeTextureD3D11(void* pD3D11Texture2D) = 0;
    virtual uint32_t GetRenderModelName(uint32_t unRenderModelIndex, char* pchRenderModelName,
                                        uint32_t unRenderModelNameLen) = 0;
    virtual uint32_t GetRenderModelCount() = 0;
    virtual uint32_t GetComponentCount(const char* pchRenderModelName) = 0;
    virtual uint32_t GetComponentName(const char* pchRenderModelName, uint32_t unComponentIndex,
                                      char* pchComponentName, uint32_t unComponentNameLen) = 0;
    virtual uint64_t GetComponentButtonMask(const char* pchRenderModelName,
                                            const char* pchComponentName) = 0;
    virtual uint32_t GetComponentRenderModelName(const char* pchRenderModelName,
                                                 const char* pchComponentName,
                                                 char* pchComponentRenderModelName,
                                                 uint32_t unComponentRenderModelNameLen) = 0;
    virtual bool GetComponentState(const char* pchRenderModelName, const char* pchComponentName,
                                   const VRControllerState_t* pControllerState,
                                   const RenderModel_ControllerMode_State_t* pState,
                                   RenderModel_ComponentState_t* pComponentState) = 0;
    virtual bool RenderModelHasComponent(const char* pchRenderModelName,
                                         const char* pchComponentName) = 0;
    virtual uint32_t GetRenderModelThumbnailURL(const char* pchRenderModelName,
                                                char* pchThumbnailURL, uint32_t unThumbnailURLLen,
                                                EVRRenderModelError* peError) = 0;
    virtual uint32_t GetRenderModelOriginalPath(const char* pchRenderModelName,
                                                char* pchOriginalPath, uint32_t unOriginalPathLen,
                                                EVRRenderModelError* peError) = 0;
    virtual const char* GetRenderModelErrorNameFromEnum(EVRRenderModelError error) = 0;
};

class IVRSettings {
public:
    virtual const char* GetSettingsErrorNameFromEnum(EVRSettingsError eError) = 0;
    virtual bool Sync(bool bForce = false, EVRSettingsError* peError = nullptr) = 0;
    virtual void SetBool(const char* pchSection, const char* pchSettingsKey, bool bValue,
                         EVRSettingsError* peError = nullptr) = 0;
    virtual void SetInt32(const char* pchSection, const char* pchSettingsKey, int32_t nValue,
                          EVRSettingsError* peError = nullptr) = 0;
    virtual void SetFloat(const char* pchSection, const char* pchSettingsKey, float flValue,
                          EVRSettingsError* peError = nullptr) = 0;
    virtual void SetString(const char* pchSection, const char* pchSettingsKey, const char* pchValue,
                           EVRSettingsError* peError = nullptr) = 0;
    virtual bool GetBool(const char* pchSection, const char* pchSettingsKey,
                         EVRSettingsError* peError = nullptr) = 0;
    virtual int32_t GetInt32(const char* pchSection, const char* pchSettingsKey,
                             EVRSettingsError* peError = nullptr) = 0;
    virtual float GetFloat(const char* pchSection, const char* pchSettingsKey,
                           EVRSettingsError* peError = nullptr) = 0;
    virtual void GetString(const char* pchSection, const char* pchSettingsKey, char* pchValue,
                           uint32_t unValueLen, EVRSettingsError* peError = nullptr) = 0;
    virtual void RemoveSection(const char* pchSection, EVRSettingsError* peError = nullptr) = 0;
    virtual void RemoveKeyInSection(const char* pchSection, const char* pchSettingsKey,
                                    EVRSettingsError* peError = nullptr) = 0;
};

class IVRChaperone {
public:
    virtual ChaperoneCalibrationState GetCalibrationState() = 0;
    virtual bool GetPlayAreaSize(float* pSizeX, float* pSizeZ) = 0;
    virtual bool GetPlayAreaRect(HmdQuad_t* rect) = 0;
    virtual void ReloadInfo() = 0;
    // By value is compatible everywhere: both Windows compilers pass a pointer to a copy.
    virtual void SetSceneColor(HmdColor_t color) = 0;
    virtual void GetBoundsColor(HmdColor_t* pOutputColorArray, int nNumOutputColors,
                                float flCollisionBoundsFadeDistance,
                                HmdColor_t* pOutputCameraColor) = 0;
    virtual bool AreBoundsVisible() = 0;
    virtual void ForceBoundsVisible(bool bForce) = 0;
};

// What the runtime library's VRClientCoreFactory returns for IVRClientCore_Version.
class IVRClientCore {
public:
    virtual EVRInitError Init(EVRApplicationType eApplicationType, const char* pStartupInfo) = 0;
    virtual void Cleanup() = 0;
    virtual EVRInitError IsInterfaceVersionValid(const char* pchInterfaceVersion) = 0;
    virtual void* GetGenericInterface(const char* pchNameAndVersion, EVRInitError* peError) = 0;
    // Callable without Init.
    virtual bool BIsHmdPresent() = 0;
    virtual const char* GetEnglishStringForHmdError(EVRInitError eError) = 0;
    virtual const char* GetIDForVRInitError(EVRInitError eError) = 0;
};

// Signature of VRClientCoreFactory, the one symbol a runtime library exports (plain C name).
typedef void* (*VRClientCoreFactoryFn)(const char* pInterfaceName, int* pReturnCode);

}  // namespace vr
