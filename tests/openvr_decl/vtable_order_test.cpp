// Slot order of the declared interfaces against the runtime's vtables, and their version strings.
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

struct Slot {
    const char* name;
    long slot;
};

#define STNVR_SLOT(I, M)      \
    Slot {                    \
#M, SlotOf(&vr::I::M) \
    }

// A virtual added after the interface's own lands on the first free slot: the slot count.
template <typename I>
struct Extended : I {
    virtual void Appended() = 0;
};

template <typename I>
long SlotCount() {
    return SlotOf(&Extended<I>::Appended);
}

// Lists are in the runtime's order; entry i must sit in slot i and nothing may follow the last.
template <typename I, size_t N>
void ExpectOrder(const Slot (&slots)[N]) {
    for (size_t i = 0; i < N; ++i) {
        EXPECT_EQ(slots[i].slot, static_cast<long>(i)) << slots[i].name;
    }
    EXPECT_EQ(SlotCount<I>(), static_cast<long>(N));
}

class VtableOrder : public ::testing::Test {
protected:
    void SetUp() override {
        if (!kItaniumPmf) {
            GTEST_SKIP() << "slot numbers are read from Itanium-ABI member pointers";
        }
    }
};

TEST_F(VtableOrder, SystemMatchesIVRSystem017) {
    const Slot slots[] = {
        STNVR_SLOT(IVRSystem, GetRecommendedRenderTargetSize),
        STNVR_SLOT(IVRSystem, GetProjectionMatrix),
        STNVR_SLOT(IVRSystem, GetProjectionRaw),
        STNVR_SLOT(IVRSystem, ComputeDistortion),
        STNVR_SLOT(IVRSystem, GetEyeToHeadTransform),
        STNVR_SLOT(IVRSystem, GetTimeSinceLastVsync),
        STNVR_SLOT(IVRSystem, GetD3D9AdapterIndex),
        STNVR_SLOT(IVRSystem, GetDXGIOutputInfo),
        STNVR_SLOT(IVRSystem, GetOutputDevice),
        STNVR_SLOT(IVRSystem, IsDisplayOnDesktop),
        STNVR_SLOT(IVRSystem, SetDisplayVisibility),
        STNVR_SLOT(IVRSystem, GetDeviceToAbsoluteTrackingPose),
        STNVR_SLOT(IVRSystem, ResetSeatedZeroPose),
        STNVR_SLOT(IVRSystem, GetSeatedZeroPoseToStandingAbsoluteTrackingPose),
        STNVR_SLOT(IVRSystem, GetRawZeroPoseToStandingAbsoluteTrackingPose),
        STNVR_SLOT(IVRSystem, GetSortedTrackedDeviceIndicesOfClass),
        STNVR_SLOT(IVRSystem, GetTrackedDeviceActivityLevel),
        STNVR_SLOT(IVRSystem, ApplyTransform),
        STNVR_SLOT(IVRSystem, GetTrackedDeviceIndexForControllerRole),
        STNVR_SLOT(IVRSystem, GetControllerRoleForTrackedDeviceIndex),
        STNVR_SLOT(IVRSystem, GetTrackedDeviceClass),
        STNVR_SLOT(IVRSystem, IsTrackedDeviceConnected),
        STNVR_SLOT(IVRSystem, GetBoolTrackedDeviceProperty),
        STNVR_SLOT(IVRSystem, GetFloatTrackedDeviceProperty),
        STNVR_SLOT(IVRSystem, GetInt32TrackedDeviceProperty),
        STNVR_SLOT(IVRSystem, GetUint64TrackedDeviceProperty),
        STNVR_SLOT(IVRSystem, GetMatrix34TrackedDeviceProperty),
        STNVR_SLOT(IVRSystem, GetStringTrackedDeviceProperty),
        STNVR_SLOT(IVRSystem, GetPropErrorNameFromEnum),
        STNVR_SLOT(IVRSystem, PollNextEvent),
        STNVR_SLOT(IVRSystem, PollNextEventWithPose),
        STNVR_SLOT(IVRSystem, GetEventTypeNameFromEnum),
        STNVR_SLOT(IVRSystem, GetHiddenAreaMesh),
        STNVR_SLOT(IVRSystem, GetControllerState),
        STNVR_SLOT(IVRSystem, GetControllerStateWithPose),
        STNVR_SLOT(IVRSystem, TriggerHapticPulse),
        STNVR_SLOT(IVRSystem, GetButtonIdNameFromEnum),
        STNVR_SLOT(IVRSystem, GetControllerAxisTypeNameFromEnum),
        STNVR_SLOT(IVRSystem, CaptureInputFocus),
        STNVR_SLOT(IVRSystem, ReleaseInputFocus),
        STNVR_SLOT(IVRSystem, IsInputFocusCapturedByAnotherProcess),
        STNVR_SLOT(IVRSystem, DriverDebugRequest),
        STNVR_SLOT(IVRSystem, PerformFirmwareUpdate),
        STNVR_SLOT(IVRSystem, AcknowledgeQuit_Exiting),
        STNVR_SLOT(IVRSystem, AcknowledgeQuit_UserPrompt),
    };
    static_assert(sizeof slots / sizeof slots[0] == 45, "IVRSystem_017 has 45 slots");
    ExpectOrder<vr::IVRSystem>(slots);
}

TEST_F(VtableOrder, CompositorMatchesIVRCompositor021) {
    const Slot slots[] = {
        STNVR_SLOT(IVRCompositor, SetTrackingSpace),
        STNVR_SLOT(IVRCompositor, GetTrackingSpace),
        STNVR_SLOT(IVRCompositor, WaitGetPoses),
        STNVR_SLOT(IVRCompositor, GetLastPoses),
        STNVR_SLOT(IVRCompositor, GetLastPoseForTrackedDeviceIndex),
        STNVR_SLOT(IVRCompositor, Submit),
        STNVR_SLOT(IVRCompositor, ClearLastSubmittedFrame),
        STNVR_SLOT(IVRCompositor, PostPresentHandoff),
        STNVR_SLOT(IVRCompositor, GetFrameTiming),
        STNVR_SLOT(IVRCompositor, GetFrameTimings),
        STNVR_SLOT(IVRCompositor, GetFrameTimeRemaining),
        STNVR_SLOT(IVRCompositor, GetCumulativeStats),
        STNVR_SLOT(IVRCompositor, FadeToColor),
        STNVR_SLOT(IVRCompositor, GetCurrentFadeColor),
        STNVR_SLOT(IVRCompositor, FadeGrid),
        STNVR_SLOT(IVRCompositor, GetCurrentGridAlpha),
        STNVR_SLOT(IVRCompositor, SetSkyboxOverride),
        STNVR_SLOT(IVRCompositor, ClearSkyboxOverride),
        STNVR_SLOT(IVRCompositor, CompositorBringToFront),
        STNVR_SLOT(IVRCompositor, CompositorGoToBack),
        STNVR_SLOT(IVRCompositor, CompositorQuit),
        STNVR_SLOT(IVRCompositor, IsFullscreen),
        STNVR_SLOT(IVRCompositor, GetCurrentSceneFocusProcess),
        STNVR_SLOT(IVRCompositor, GetLastFrameRenderer),
        STNVR_SLOT(IVRCompositor, CanRenderScene),
        STNVR_SLOT(IVRCompositor, ShowMirrorWindow),
        STNVR_SLOT(IVRCompositor, HideMirrorWindow),
        STNVR_SLOT(IVRCompositor, IsMirrorWindowVisible),
        STNVR_SLOT(IVRCompositor, CompositorDumpImages),
        STNVR_SLOT(IVRCompositor, ShouldAppRenderWithLowResources),
        STNVR_SLOT(IVRCompositor, ForceInterleavedReprojectionOn),
        STNVR_SLOT(IVRCompositor, ForceReconnectProcess),
        STNVR_SLOT(IVRCompositor, SuspendRendering),
        STNVR_SLOT(IVRCompositor, GetMirrorTextureD3D11),
        STNVR_SLOT(IVRCompositor, ReleaseMirrorTextureD3D11),
        STNVR_SLOT(IVRCompositor, GetMirrorTextureGL),
        STNVR_SLOT(IVRCompositor, ReleaseSharedGLTexture),
        STNVR_SLOT(IVRCompositor, LockGLSharedTextureForAccess),
        STNVR_SLOT(IVRCompositor, UnlockGLSharedTextureForAccess),
        STNVR_SLOT(IVRCompositor, GetVulkanInstanceExtensionsRequired),
        STNVR_SLOT(IVRCompositor, GetVulkanDeviceExtensionsRequired),
        STNVR_SLOT(IVRCompositor, SetExplicitTimingMode),
        STNVR_SLOT(IVRCompositor, SubmitExplicitTimingData),
    };
    static_assert(sizeof slots / sizeof slots[0] == 43, "IVRCompositor_021 has 43 slots");
    ExpectOrder<vr::IVRCompositor>(slots);
}

TEST_F(VtableOrder, RenderModelsMatchesIVRRenderModels005) {
    const Slot slots[] = {
        STNVR_SLOT(IVRRenderModels, LoadRenderModel_Async),
        STNVR_SLOT(IVRRenderModels, FreeRenderModel),
        STNVR_SLOT(IVRRenderModels, LoadTexture_Async),
        STNVR_SLOT(IVRRenderModels, FreeTexture),
        STNVR_SLOT(IVRRenderModels, LoadTextureD3D11_Async),
        STNVR_SLOT(IVRRenderModels, LoadIntoTextureD3D11_Async),
        STNVR_SLOT(IVRRenderModels, FreeTextureD3D11),
        STNVR_SLOT(IVRRenderModels, GetRenderModelName),
        STNVR_SLOT(IVRRenderModels, GetRenderModelCount),
        STNVR_SLOT(IVRRenderModels, GetComponentCount),
        STNVR_SLOT(IVRRenderModels, GetComponentName),
        STNVR_SLOT(IVRRenderModels, GetComponentButtonMask),
        STNVR_SLOT(IVRRenderModels, GetComponentRenderModelName),
        STNVR_SLOT(IVRRenderModels, GetComponentState),
        STNVR_SLOT(IVRRenderModels, RenderModelHasComponent),
        STNVR_SLOT(IVRRenderModels, GetRenderModelThumbnailURL),
        STNVR_SLOT(IVRRenderModels, GetRenderModelOriginalPath),
        STNVR_SLOT(IVRRenderModels, GetRenderModelErrorNameFromEnum),
    };
    static_assert(sizeof slots / sizeof slots[0] == 18, "IVRRenderModels_005 has 18 slots");
    ExpectOrder<vr::IVRRenderModels>(slots);
}

TEST_F(VtableOrder, SettingsChaperoneAndClientCore) {
    const Slot settings[] = {
        STNVR_SLOT(IVRSettings, GetSettingsErrorNameFromEnum),
        STNVR_SLOT(IVRSettings, Sync),
        STNVR_SLOT(IVRSettings, SetBool),
        STNVR_SLOT(IVRSettings, SetInt32),
        STNVR_SLOT(IVRSettings, SetFloat),
        STNVR_SLOT(IVRSettings, SetString),
        STNVR_SLOT(IVRSettings, GetBool),
        STNVR_SLOT(IVRSettings, GetInt32),
        STNVR_SLOT(IVRSettings, GetFloat),
        STNVR_SLOT(IVRSettings, GetString),
        STNVR_SLOT(IVRSettings, RemoveSection),
        STNVR_SLOT(IVRSettings, RemoveKeyInSection),
    };
    static_assert(sizeof settings / sizeof settings[0] == 12, "IVRSettings_002 has 12 slots");
    ExpectOrder<vr::IVRSettings>(settings);

    const Slot chaperone[] = {
        STNVR_SLOT(IVRChaperone, GetCalibrationState), STNVR_SLOT(IVRChaperone, GetPlayAreaSize),
        STNVR_SLOT(IVRChaperone, GetPlayAreaRect),     STNVR_SLOT(IVRChaperone, ReloadInfo),
        STNVR_SLOT(IVRChaperone, SetSceneColor),       STNVR_SLOT(IVRChaperone, GetBoundsColor),
        STNVR_SLOT(IVRChaperone, AreBoundsVisible),    STNVR_SLOT(IVRChaperone, ForceBoundsVisible),
    };
    static_assert(sizeof chaperone / sizeof chaperone[0] == 8, "IVRChaperone_003 has 8 slots");
    ExpectOrder<vr::IVRChaperone>(chaperone);

    const Slot core[] = {
        STNVR_SLOT(IVRClientCore, Init),
        STNVR_SLOT(IVRClientCore, Cleanup),
        STNVR_SLOT(IVRClientCore, IsInterfaceVersionValid),
        STNVR_SLOT(IVRClientCore, GetGenericInterface),
        STNVR_SLOT(IVRClientCore, BIsHmdPresent),
        STNVR_SLOT(IVRClientCore, GetEnglishStringForHmdError),
        STNVR_SLOT(IVRClientCore, GetIDForVRInitError),
    };
    static_assert(sizeof core / sizeof core[0] == 7, "IVRClientCore_003 has 7 slots");
    ExpectOrder<vr::IVRClientCore>(core);
}

TEST(VrDeclarations, VersionStringsAndButtonMasks) {
    EXPECT_STREQ(vr::IVRSystem_Version, "IVRSystem_017");
    EXPECT_STREQ(vr::IVRCompositor_Version, "IVRCompositor_021");
    EXPECT_STREQ(vr::IVRRenderModels_Version, "IVRRenderModels_005");
    EXPECT_STREQ(vr::IVRSettings_Version, "IVRSettings_002");
    EXPECT_STREQ(vr::IVRChaperone_Version, "IVRChaperone_003");
    EXPECT_STREQ(vr::IVRClientCore_Version, "IVRClientCore_003");

    // Axis buttons live above bit 31; a 32-bit shift would lose them.
    EXPECT_EQ(vr::ButtonMaskFromId(vr::k_EButton_SteamVR_Trigger), uint64_t{1} << 33);
    EXPECT_EQ(vr::ButtonMaskFromId(vr::k_EButton_Axis4), uint64_t{1} << 36);
    EXPECT_EQ(vr::ButtonMaskFromId(vr::k_EButton_Grip), uint64_t{4});
}

}  // namespace
