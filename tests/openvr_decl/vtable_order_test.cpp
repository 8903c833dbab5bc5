// Slot order of the declared interfaces against the runtime's vtables, and their button masks.
// Layouts are checked at compile time in vr_types.h; this covers what static_assert cannot see.
#include "stnvr/vr_interfaces.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

#if defined(__x86_64__) && !defined(_WIN32)
constexpr bool kItaniumPmf = true;
#else
constexpr bool kItaniumPmf = false;
#endif

// Itanium C++ ABI: a pointer to a virtual member function stores 1 + the slot's byte offset in
// the vtable (an even address for a non-virtual one), so the slot can be read off by name.
template <typename Pmf>
long SlotOf(Pmf pmf) {
    static_assert(sizeof(Pmf) == 2 * sizeof(std::uintptr_t), "Itanium member pointer");
    std::uintptr_t words[2];
    std::memcpy(words, &pmf, sizeof words);
    if ((words[0] & 1u) == 0) {
        return -1;
    }
    return static_cast<long>((words[0] - 1) / sizeof(void*));
}

// A virtual added after the interface's own lands on the first free slot: the slot count.
template <typename I>
struct Extended : I {
    virtual void Appended() = 0;
};

// Members listed in the runtime's order, all kCount of them: entry i must sit in slot i and
// nothing may follow the last. `names` is the list as written, for the messages.
template <typename I, std::size_t kCount, typename... Pmf>
void ExpectOrder(const char* names, Pmf... members) {
    static_assert(sizeof...(Pmf) == kCount, "every slot of the interface is listed");
    const long slots[] = {SlotOf(members)...};
    for (std::size_t i = 0; i < kCount; ++i) {
        EXPECT_EQ(slots[i], static_cast<long>(i)) << "entry " << i << " of " << names;
    }
    EXPECT_EQ(SlotOf(&Extended<I>::Appended), static_cast<long>(kCount));
}

// For the interface `I` in scope.
#define STNVR_EXPECT_ORDER(count, ...) ExpectOrder<I, count>(#__VA_ARGS__, __VA_ARGS__)

class VtableOrder : public ::testing::Test {
protected:
    void SetUp() override {
        if (!kItaniumPmf) {
            GTEST_SKIP() << "slot numbers are read from Itanium-ABI member pointers";
        }
    }
};

TEST_F(VtableOrder, SystemMatchesIVRSystem017) {
    using I = vr::IVRSystem;
    STNVR_EXPECT_ORDER(
        45, &I::GetRecommendedRenderTargetSize, &I::GetProjectionMatrix, &I::GetProjectionRaw,
        &I::ComputeDistortion, &I::GetEyeToHeadTransform, &I::GetTimeSinceLastVsync,
        &I::GetD3D9AdapterIndex, &I::GetDXGIOutputInfo, &I::GetOutputDevice, &I::IsDisplayOnDesktop,
        &I::SetDisplayVisibility, &I::GetDeviceToAbsoluteTrackingPose, &I::ResetSeatedZeroPose,
        &I::GetSeatedZeroPoseToStandingAbsoluteTrackingPose,
        &I::GetRawZeroPoseToStandingAbsoluteTrackingPose, &I::GetSortedTrackedDeviceIndicesOfClass,
        &I::GetTrackedDeviceActivityLevel, &I::ApplyTransform,
        &I::GetTrackedDeviceIndexForControllerRole, &I::GetControllerRoleForTrackedDeviceIndex,
        &I::GetTrackedDeviceClass, &I::IsTrackedDeviceConnected, &I::GetBoolTrackedDeviceProperty,
        &I::GetFloatTrackedDeviceProperty, &I::GetInt32TrackedDeviceProperty,
        &I::GetUint64TrackedDeviceProperty, &I::GetMatrix34TrackedDeviceProperty,
        &I::GetStringTrackedDeviceProperty, &I::GetPropErrorNameFromEnum, &I::PollNextEvent,
        &I::PollNextEventWithPose, &I::GetEventTypeNameFromEnum, &I::GetHiddenAreaMesh,
        &I::GetControllerState, &I::GetControllerStateWithPose, &I::TriggerHapticPulse,
        &I::GetButtonIdNameFromEnum, &I::GetControllerAxisTypeNameFromEnum, &I::CaptureInputFocus,
        &I::ReleaseInputFocus, &I::IsInputFocusCapturedByAnotherProcess, &I::DriverDebugRequest,
        &I::PerformFirmwareUpdate, &I::AcknowledgeQuit_Exiting, &I::AcknowledgeQuit_UserPrompt);
}

TEST_F(VtableOrder, CompositorMatchesIVRCompositor021) {
    using I = vr::IVRCompositor;
    STNVR_EXPECT_ORDER(
        43, &I::SetTrackingSpace, &I::GetTrackingSpace, &I::WaitGetPoses, &I::GetLastPoses,
        &I::GetLastPoseForTrackedDeviceIndex, &I::Submit, &I::ClearLastSubmittedFrame,
        &I::PostPresentHandoff, &I::GetFrameTiming, &I::GetFrameTimings, &I::GetFrameTimeRemaining,
        &I::GetCumulativeStats, &I::FadeToColor, &I::GetCurrentFadeColor, &I::FadeGrid,
        &I::GetCurrentGridAlpha, &I::SetSkyboxOverride, &I::ClearSkyboxOverride,
        &I::CompositorBringToFront, &I::CompositorGoToBack, &I::CompositorQuit, &I::IsFullscreen,
        &I::GetCurrentSceneFocusProcess, &I::GetLastFrameRenderer, &I::CanRenderScene,
        &I::ShowMirrorWindow, &I::HideMirrorWindow, &I::IsMirrorWindowVisible,
        &I::CompositorDumpImages, &I::ShouldAppRenderWithLowResources,
        &I::ForceInterleavedReprojectionOn, &I::ForceReconnectProcess, &I::SuspendRendering,
        &I::GetMirrorTextureD3D11, &I::ReleaseMirrorTextureD3D11, &I::GetMirrorTextureGL,
        &I::ReleaseSharedGLTexture, &I::LockGLSharedTextureForAccess,
        &I::UnlockGLSharedTextureForAccess, &I::GetVulkanInstanceExtensionsRequired,
        &I::GetVulkanDeviceExtensionsRequired, &I::SetExplicitTimingMode,
        &I::SubmitExplicitTimingData);
}

TEST_F(VtableOrder, RenderModelsMatchesIVRRenderModels005) {
    using I = vr::IVRRenderModels;
    STNVR_EXPECT_ORDER(18, &I::LoadRenderModel_Async, &I::FreeRenderModel, &I::LoadTexture_Async,
                       &I::FreeTexture, &I::LoadTextureD3D11_Async, &I::LoadIntoTextureD3D11_Async,
                       &I::FreeTextureD3D11, &I::GetRenderModelName, &I::GetRenderModelCount,
                       &I::GetComponentCount, &I::GetComponentName, &I::GetComponentButtonMask,
                       &I::GetComponentRenderModelName, &I::GetComponentState,
                       &I::RenderModelHasComponent, &I::GetRenderModelThumbnailURL,
                       &I::GetRenderModelOriginalPath, &I::GetRenderModelErrorNameFromEnum);
}

TEST_F(VtableOrder, SettingsChaperoneAndClientCore) {
    {
        using I = vr::IVRSettings;
        STNVR_EXPECT_ORDER(12, &I::GetSettingsErrorNameFromEnum, &I::Sync, &I::SetBool,
                           &I::SetInt32, &I::SetFloat, &I::SetString, &I::GetBool, &I::GetInt32,
                           &I::GetFloat, &I::GetString, &I::RemoveSection, &I::RemoveKeyInSection);
    }
    {
        using I = vr::IVRChaperone;
        STNVR_EXPECT_ORDER(8, &I::GetCalibrationState, &I::GetPlayAreaSize, &I::GetPlayAreaRect,
                           &I::ReloadInfo, &I::SetSceneColor, &I::GetBoundsColor,
                           &I::AreBoundsVisible, &I::ForceBoundsVisible);
    }
    {
        using I = vr::IVRClientCore;
        STNVR_EXPECT_ORDER(7, &I::Init, &I::Cleanup, &I::IsInterfaceVersionValid,
                           &I::GetGenericInterface, &I::BIsHmdPresent,
                           &I::GetEnglishStringForHmdError, &I::GetIDForVRInitError);
    }
}

// The version strings are checked by the loader and simulated-runtime tests, which name them.
TEST(VrDeclarations, AxisButtonMasksReachAboveBit31) {
    // A 32-bit shift would lose them.
    EXPECT_EQ(vr::ButtonMaskFromId(vr::k_EButton_SteamVR_Trigger), uint64_t{1} << 33);
    EXPECT_EQ(vr::ButtonMaskFromId(vr::k_EButton_Axis4), uint64_t{1} << 36);
    EXPECT_EQ(vr::ButtonMaskFromId(vr::k_EButton_Grip), uint64_t{4});
}

}  // namespace
