// The runtime's implementations of the OpenVR interfaces. One object of each lives for the
// life of the library; all of them work on State.
#pragma once

#include <cstdint>
#include <vector>

#include "stnvr/vr_interfaces.h"

namespace simvr {

class SimSystem final : public vr::IVRSystem {
public:
    void GetRecommendedRenderTargetSize(uint32_t* pnWidth, uint32_t* pnHeight) override;
    vr::HmdMatrix44_t GetProjectionMatrix(vr::EVREye eEye, float fNearZ, float fFarZ) override;
    void GetProjectionRaw(vr::EVREye eEye, float* pfLeft, float* pfRight, float* pfTop,
                          float* pfBottom) override;
    bool ComputeDistortion(vr::EVREye eEye, float fU, float fV,
                           vr::DistortionCoordinates_t* pDistortionCoordinates) override;
    vr::HmdMatrix34_t GetEyeToHeadTransform(vr::EVREye eEye) override;
    bool GetTimeSinceLastVsync(float* pfSecondsSinceLastVsync, uint64_t* pulFrameCounter) override;
    int32_t GetD3D9AdapterIndex() override;
    void GetDXGIOutputInfo(int32_t* pnAdapterIndex) override;
    void GetOutputDevice(uint64_t* pnDevice, vr::ETextureType textureType,
                         VkInstance_T* pInstance) override;
    bool IsDisplayOnDesktop() override;
    bool SetDisplayVisibility(bool bIsVisibleOnDesktop) override;
    void GetDeviceToAbsoluteTrackingPose(vr::ETrackingUniverseOrigin eOrigin,
                                         float fPredictedSecondsToPhotonsFromNow,
                                         vr::TrackedDevicePose_t* pTrackedDevicePoseArray,
                                         uint32_t unTrackedDevicePoseArrayCount) override;
    void ResetSeatedZeroPose() override;
    vr::HmdMatrix34_t GetSeatedZeroPoseToStandingAbsoluteTrackingPose() override;
    vr::HmdMatrix34_t GetRawZeroPoseToStandingAbsoluteTrackingPose() override;
    uint32_t GetSortedTrackedDeviceIndicesOfClass(
        vr::ETrackedDeviceClass eTrackedDeviceClass,
        vr::TrackedDeviceIndex_t* punTrackedDeviceIndexArray,
        uint32_t unTrackedDeviceIndexArrayCount,
        vr::TrackedDeviceIndex_t unRelativeToTrackedDeviceIndex) override;
    vr::EDeviceActivityLevel GetTrackedDeviceActivityLevel(
        vr::TrackedDeviceIndex_t unDeviceId) override;
    void ApplyTransform(vr::TrackedDevicePose_t* pOutputPose,
                        const vr::TrackedDevicePose_t* pTrackedDevicePose,
                        const vr::HmdMatrix34_t* pTransform) override;
    vr::TrackedDeviceIndex_t GetTrackedDeviceIndexForControllerRole(
        vr::ETrackedControllerRole unDeviceType) override;
    vr::ETrackedControllerRole GetControllerRoleForTrackedDeviceIndex(
        vr::TrackedDeviceIndex_t unDeviceIndex) override;
    vr::ETrackedDeviceClass GetTrackedDeviceClass(vr::TrackedDeviceIndex_t unDeviceIndex) override;
    bool IsTrackedDeviceConnected(vr::TrackedDeviceIndex_t unDeviceIndex) override;
    bool GetBoolTrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                      vr::ETrackedDeviceProperty prop,
                                      vr::ETrackedPropertyError* pError) override;
    float GetFloatTrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                        vr::ETrackedDeviceProperty prop,
                                        vr::ETrackedPropertyError* pError) override;
    int32_t GetInt32TrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                          vr::ETrackedDeviceProperty prop,
                                          vr::ETrackedPropertyError* pError) override;
    uint64_t GetUint64TrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                            vr::ETrackedDeviceProperty prop,
                                            vr::ETrackedPropertyError* pError) override;
    vr::HmdMatrix34_t GetMatrix34TrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                                       vr::ETrackedDeviceProperty prop,
                                                       vr::ETrackedPropertyError* pError) override;
    uint32_t GetStringTrackedDeviceProperty(vr::TrackedDeviceIndex_t unDeviceIndex,
                                            vr::ETrackedDeviceProperty prop, char* pchValue,
                                            uint32_t unBufferSize,
                                            vr::ETrackedPropertyError* pError) override;
    const char* GetPropErrorNameFromEnum(vr::ETrackedPropertyError error) override;
    bool PollNextEvent(vr::VREvent_t* pEvent, uint32_t uncbVREvent) override;
    bool PollNextEventWithPose(vr::ETrackingUniverseOrigin eOrigin, vr::VREvent_t* pEvent,
                               uint32_t uncbVREvent,
                               vr::TrackedDevicePose_t* pTrackedDevicePose) override;
    const char* GetEventTypeNameFromEnum(vr::EVREventType eType) override;
    vr::HiddenAreaMesh_t GetHiddenAreaMesh(vr::EVREye eEye, vr::EHiddenAreaMeshType type) override;
    bool GetControllerState(vr::TrackedDeviceIndex_t unControllerDeviceIndex,
                            vr::VRControllerState_t* pControllerState,
                            uint32_t unControllerStateSize) override;
    bool GetControllerStateWithPose(vr::ETrackingUniverseOrigin eOrigin,
                                    vr::TrackedDeviceIndex_t unControllerDeviceIndex,
                                    vr::VRControllerState_t* pControllerState,
                                    uint32_t unControllerStateSize,
                                    vr::TrackedDevicePose_t* pTrackedDevicePose) override;
    void TriggerHapticPulse(vr::TrackedDeviceIndex_t unControllerDeviceIndex, uint32_t unAxisId,
                            unsigned short usDurationMicroSec) override;
    const char* GetButtonIdNameFromEnum(vr::EVRButtonId eButtonId) override;
    const char* GetControllerAxisTypeNameFromEnum(vr::EVRControllerAxisType eAxisType) override;
    bool CaptureInputFocus() override;
    void ReleaseInputFocus() override;
    bool IsInputFocusCapturedByAnotherProcess() override;
    uint32_t DriverDebugRequest(vr::TrackedDeviceIndex_t unDeviceIndex, const char* pchRequest,
                                char* pchResponseBuffer, uint32_t unResponseBufferSize) override;
    vr::EVRFirmwareError PerformFirmwareUpdate(vr::TrackedDeviceIndex_t unDeviceIndex) override;
    void AcknowledgeQuit_Exiting() override;
    void AcknowledgeQuit_UserPrompt() override;
};

class SimCompositor final : public vr::IVRCompositor {
public:
    void SetTrackingSpace(vr::ETrackingUniverseOrigin eOrigin) override;
    vr::ETrackingUniverseOrigin GetTrackingSpace() override;
    vr::EVRCompositorError WaitGetPoses(vr::TrackedDevicePose_t* pRenderPoseArray,
                                        uint32_t unRenderPoseArrayCount,
                                        vr::TrackedDevicePose_t* pGamePoseArray,
                                        uint32_t unGamePoseArrayCount) override;
    vr::EVRCompositorError GetLastPoses(vr::TrackedDevicePose_t* pRenderPoseArray,
                                        uint32_t unRenderPoseArrayCount,
                                        vr::TrackedDevicePose_t* pGamePoseArray,
                                        uint32_t unGamePoseArrayCount) override;
    vr::EVRCompositorError GetLastPoseForTrackedDeviceIndex(
        vr::TrackedDeviceIndex_t unDeviceIndex, vr::TrackedDevicePose_t* pOutputPose,
        vr::TrackedDevicePose_t* pOutputGamePose) override;
    vr::EVRCompositorError Submit(vr::EVREye eEye, const vr::Texture_t* pTexture,
                                  const vr::VRTextureBounds_t* pBounds,
                                  vr::EVRSubmitFlags nSubmitFlags) override;
    void ClearLastSubmittedFrame() override;
    void PostPresentHandoff() override;
    bool GetFrameTiming(vr::Compositor_FrameTiming* pTiming, uint32_t unFramesAgo) override;
    uint32_t GetFrameTimings(vr::Compositor_FrameTiming* pTiming, uint32_t nFrames) override;
    float GetFrameTimeRemaining() override;
    void GetCumulativeStats(vr::Compositor_CumulativeStats* pStats,
                            uint32_t nStatsSizeInBytes) override;
    void FadeToColor(float fSeconds, float fRed, float fGreen, float fBlue, float fAlpha,
                     bool bBackground) override;
    vr::HmdColor_t GetCurrentFadeColor(bool bBackground) override;
    void FadeGrid(float fSeconds, bool bFadeIn) override;
    float GetCurrentGridAlpha() override;
    vr::EVRCompositorError SetSkyboxOverride(const vr::Texture_t* pTextures,
                                             uint32_t unTextureCount) override;
    void ClearSkyboxOverride() override;
    void CompositorBringToFront() override;
    void CompositorGoToBack() override;
    void CompositorQuit() override;
    bool IsFullscreen() override;
    uint32_t GetCurrentSceneFocusProcess() override;
    uint32_t GetLastFrameRenderer() override;
    bool CanRenderScene() override;
    void ShowMirrorWindow() override;
    void HideMirrorWindow() override;
    bool IsMirrorWindowVisible() override;
    void CompositorDumpImages() override;
    bool ShouldAppRenderWithLowResources() override;
    void ForceInterleavedReprojectionOn(bool bOverride) override;
    void ForceReconnectProcess() override;
    void SuspendRendering(bool bSuspend) override;
    vr::EVRCompositorError GetMirrorTextureD3D11(vr::EVREye eEye, void* pD3D11DeviceOrResource,
                                                 void** ppD3D11ShaderResourceView) override;
    void ReleaseMirrorTextureD3D11(void* pD3D11ShaderResourceView) override;
    vr::EVRCompositorError GetMirrorTextureGL(
        vr::EVREye eEye, vr::glUInt_t* pglTextureId,
        vr::glSharedTextureHandle_t* pglSharedTextureHandle) override;
    bool ReleaseSharedGLTexture(vr::glUInt_t glTextureId,
                                vr::glSharedTextureHandle_t glSharedTextureHandle) override;
    void LockGLSharedTextureForAccess(vr::glSharedTextureHandle_t glSharedTextureHandle) override;
    void UnlockGLSharedTextureForAccess(vr::glSharedTextureHandle_t glSharedTextureHandle) override;
    uint32_t GetVulkanInstanceExtensionsRequired(char* pchValue, uint32_t unBufferSize) override;
    uint32_t GetVulkanDeviceExtensionsRequired(VkPhysicalDevice_T* pPhysicalDevice, char* pchValue,
                                               uint32_t unBufferSize) override;
    void SetExplicitTimingMode(bool bExplicitTimingMode) override;
    vr::EVRCompositorError SubmitExplicitTimingData() override;
};

class SimRenderModels final : public vr::IVRRenderModels {
public:
    vr::EVRRenderModelError LoadRenderModel_Async(const char* pchRenderModelName,
                                                  vr::RenderModel_t** ppRenderModel) override;
    void FreeRenderModel(vr::RenderModel_t* pRenderModel) override;
    vr::EVRRenderModelError LoadTexture_Async(vr::TextureID_t textureId,
                                              vr::RenderModel_TextureMap_t** ppTexture) override;
    void FreeTexture(vr::RenderModel_TextureMap_t* pTexture) override;
    vr::EVRRenderModelError LoadTextureD3D11_Async(vr::TextureID_t textureId, void* pD3D11Device,
                                                   void** ppD3D11Texture2D) override;
    vr::EVRRenderModelError LoadIntoTextureD3D11_Async(vr::TextureID_t textureId,
                                                       void* pDstTexture) override;
    void FreeTextureD3D11(void* pD3D11Texture2D) override;
    uint32_t GetRenderModelName(uint32_t unRenderModelIndex, char* pchRenderModelName,
                                uint32_t unRenderModelNameLen) override;
    uint32_t GetRenderModelCount() override;
    uint32_t GetComponentCount(const char* pchRenderModelName) override;
    uint32_t GetComponentName(const char* pchRenderModelName, uint32_t unComponentIndex,
                              char* pchComponentName, uint32_t unComponentNameLen) override;
    uint64_t GetComponentButtonMask(const char* pchRenderModelName,
                                    const char* pchComponentName) override;
    uint32_t GetComponentRenderModelName(const char* pchRenderModelName,
                                         const char* pchComponentName,
                                         char* pchComponentRenderModelName,
                                         uint32_t unComponentRenderModelNameLen) override;
    bool GetComponentState(const char* pchRenderModelName, const char* pchComponentName,
                           const vr::VRControllerState_t* pControllerState,
                           const vr::RenderModel_ControllerMode_State_t* pState,
                           vr::RenderModel_ComponentState_t* pComponentState) override;
    bool RenderModelHasComponent(const char* pchRenderModelName,
                                 const char* pchComponentName) override;
    uint32_t GetRenderModelThumbnailURL(const char* pchRenderModelName, char* pchThumbnailURL,
                                        uint32_t unThumbnailURLLen,
                                        vr::EVRRenderModelError* peError) override;
    uint32_t GetRenderModelOriginalPath(const char* pchRenderModelName, char* pchOriginalPath,
                                        uint32_t unOriginalPathLen,
                                        vr::EVRRenderModelError* peError) override;
    const char* GetRenderModelErrorNameFromEnum(vr::EVRRenderModelError error) override;
};

class SimSettings final : public vr::IVRSettings {
public:
    const char* GetSettingsErrorNameFromEnum(vr::EVRSettingsError eError) override;
    bool Sync(bool bForce, vr::EVRSettingsError* peError) override;
    void SetBool(const char* pchSection, const char* pchSettingsKey, bool bValue,
                 vr::EVRSettingsError* peError) override;
    void SetInt32(const char* pchSection, const char* pchSettingsKey, int32_t nValue,
                  vr::EVRSettingsError* peError) override;
    void SetFloat(const char* pchSection, const char* pchSettingsKey, float flValue,
                  vr::EVRSettingsError* peError) override;
    void SetString(const char* pchSection, const char* pchSettingsKey, const char* pchValue,
                   vr::EVRSettingsError* peError) override;
    bool GetBool(const char* pchSection, const char* pchSettingsKey,
                 vr::EVRSettingsError* peError) override;
    int32_t GetInt32(const char* pchSection, const char* pchSettingsKey,
                     vr::EVRSettingsError* peError) override;
    float GetFloat(const char* pchSection, const char* pchSettingsKey,
                   vr::EVRSettingsError* peError) override;
    void GetString(const char* pchSection, const char* pchSettingsKey, char* pchValue,
                   uint32_t unValueLen, vr::EVRSettingsError* peError) override;
    void RemoveSection(const char* pchSection, vr::EVRSettingsError* peError) override;
    void RemoveKeyInSection(const char* pchSection, const char* pchSettingsKey,
                            vr::EVRSettingsError* peError) override;
};

class SimChaperone final : public vr::IVRChaperone {
public:
    vr::ChaperoneCalibrationState GetCalibrationState() override;
    bool GetPlayAreaSize(float* pSizeX, float* pSizeZ) override;
    bool GetPlayAreaRect(vr::HmdQuad_t* rect) override;
    void ReloadInfo() override;
    void SetSceneColor(vr::HmdColor_t color) override;
    void GetBoundsColor(vr::HmdColor_t* pOutputColorArray, int nNumOutputColors,
                        float flCollisionBoundsFadeDistance,
                        vr::HmdColor_t* pOutputCameraColor) override;
    bool AreBoundsVisible() override;
    void ForceBoundsVisible(bool bForce) override;
};

class SimClientCore final : public vr::IVRClientCore {
public:
    vr::EVRInitError Init(vr::EVRApplicationType eApplicationType,
                          const char* pStartupInfo) override;
    void Cleanup() override;
    vr::EVRInitError IsInterfaceVersionValid(const char* pchInterfaceVersion) override;
    void* GetGenericInterface(const char* pchNameAndVersion, vr::EVRInitError* peError) override;
    bool BIsHmdPresent() override;
    const char* GetEnglishStringForHmdError(vr::EVRInitError eError) override;
    const char* GetIDForVRInitError(vr::EVRInitError eError) override;
};

// Reads an OpenGL texture (or renderbuffer) back as RGBA8 with the calling thread's current
// context, leaving the context's bindings as they were. Null on success, else why it could not.
const char* ReadBackGlImage(uint32_t name, bool renderbuffer, uint32_t* width, uint32_t* height,
                            std::vector<uint8_t>* rgba);

// simvr_gl_context of the context current on the calling thread: a runtime learns the
// application's binding this way (an OpenXR-backed one needs the GLX display and drawable).
int32_t CurrentGlContextKind();

}  // namespace simvr
