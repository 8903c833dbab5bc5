#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "runtime_state.h"
#include "sim_interfaces.h"

namespace simvr {

namespace {

using Lock = std::lock_guard<std::mutex>;
using Clock = std::chrono::steady_clock;

void RecordOther(State& s, const char* name, int64_t value = 0) {
    if (simvr_call* call = s.Record(SIMVR_CALL_OTHER)) {
        CopyField(call->text, sizeof(call->text), name);
        call->int_value = value;
    }
}

void RecordOtherLocked(const char* name, int64_t value = 0) {
    State& s = State::Get();
    Lock lock(s.mutex);
    RecordOther(s, name, value);
}

// What a compositor answers a caller without a connection.
constexpr vr::EVRCompositorError kNotConnected = vr::VRCompositorError_RequestFailed;

vr::EVRCompositorError ConnectionError(const State& s) {
    if (!s.initialized) {
        return kNotConnected;
    }
    if (s.applicationType != vr::VRApplication_Scene) {
        return vr::VRCompositorError_IsNotSceneApplication;
    }
    return vr::VRCompositorError_None;
}

void FillPoses(const State& s, vr::TrackedDevicePose_t* poses, uint32_t count) {
    if (poses == nullptr) {
        return;
    }
    for (uint32_t i = 0; i < count; ++i) {
        poses[i] = i < s.lastPoses.size() ? s.lastPoses[i] : vr::TrackedDevicePose_t{};
    }
}

// The part of a read image that `bounds` select, as the frame buffer shows it: u runs across
// from uMin to uMax and v up the rows from vMin to vMax, in the texture's own coordinates (v = 0
// is its first row, which OpenGL keeps at the bottom), so bounds the wrong way round show the
// selection mirrored. A pixel is selected when its centre is; what lies outside the texture is
// left out. Null on success, else why there is no image.
const char* SelectBounds(const vr::VRTextureBounds_t& bounds, EyeImage* image) {
    struct Span {
        uint32_t first, end;
        bool reversed;
    };
    const auto span = [](float from, float to, uint32_t size) {
        const auto edge = [size](double t) {
            return uint32_t(std::clamp(std::ceil(t * size - 0.5), 0.0, double(size)));
        };
        return Span{edge(std::min(from, to)), edge(std::max(from, to)), from > to};
    };
    const Span columns = span(bounds.uMin, bounds.uMax, image->width);
    const Span rows = span(bounds.vMin, bounds.vMax, image->height);
    if (columns.first >= columns.end || rows.first >= rows.end) {
        return "the bounds select no pixels";
    }
    const uint32_t width = columns.end - columns.first, height = rows.end - rows.first;
    if (width == image->width && height == image->height && !columns.reversed && !rows.reversed) {
        return nullptr;
    }
    std::vector<uint8_t> selected(size_t(width) * height * 4);
    for (uint32_t y = 0; y < height; ++y) {
        const uint32_t row = rows.reversed ? rows.end - 1 - y : rows.first + y;
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t column = columns.reversed ? columns.end - 1 - x : columns.first + x;
            std::memcpy(&selected[(size_t(y) * width + x) * 4],
                        &image->rgba[(size_t(row) * image->width + column) * 4], 4);
        }
    }
    image->rgba.swap(selected);
    image->width = width;
    image->height = height;
    return nullptr;
}

}  // namespace

void SimCompositor::SetTrackingSpace(vr::ETrackingUniverseOrigin eOrigin) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.trackingSpace = eOrigin;
    if (simvr_call* call = s.Record(SIMVR_CALL_SET_TRACKING_SPACE)) {
        call->int_value = eOrigin;
    }
}

vr::ETrackingUniverseOrigin SimCompositor::GetTrackingSpace() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.trackingSpace;
}

vr::EVRCompositorError SimCompositor::WaitGetPoses(vr::TrackedDevicePose_t* pRenderPoseArray,
                                                   uint32_t unRenderPoseArrayCount,
                                                   vr::TrackedDevicePose_t* pGamePoseArray,
                                                   uint32_t unGamePoseArrayCount) {
    State& s = State::Get();
    std::unique_lock<std::mutex> lock(s.mutex);
    const vr::EVRCompositorError error = ConnectionError(s);
    if (error != vr::VRCompositorError_None) {
        s.Record(SIMVR_CALL_WAIT_GET_POSES, error);
        return error;
    }
    // Counted while inside, so that Cleanup can wake this caller and wait for it to leave.
    ++s.waiters;
    const uint64_t connection = s.connection;
    const auto ended = [&] { return s.connection != connection; };

    // A compositor that stopped returning: hold the caller until released, reset or shut down.
    s.HoldWhileBlocked(lock, s.waitBlocked, connection);

    if (s.paced && !ended()) {
        const auto period = std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(1.0 / double(s.refreshRate)));
        Clock::time_point now = Clock::now();
        uint64_t vsync = uint64_t((now - s.initTime) / period) + 1;
        if (vsync <= s.frameIndex) {
            // The frame count ran ahead of the clock (free-running before): move the timeline
            // so that the next vsync is one period away.
            s.initTime = now - period * s.frameIndex;
            vsync = s.frameIndex + 1;
        }
        const Clock::time_point target = s.initTime + period * vsync;
        // Sleeps without the lock, like the blocked wait above, and ends early at Cleanup.
        s.waitCondition.wait_until(lock, target, ended);
        if (!ended()) {
            s.frameIndex = std::max(s.frameIndex + 1, vsync);
            s.lastVsync = target;
        }
    } else if (!ended()) {
        ++s.frameIndex;
        s.lastVsync = Clock::now();
    }

    vr::EVRCompositorError result = vr::VRCompositorError_None;
    if (ended()) {
        // The connection this caller waited under is gone: no poses, no frame.
        result = kNotConnected;
    } else {
        s.submittedThisFrame = {{false, false}};
        for (uint32_t i = 0; i < s.lastPoses.size(); ++i) {
            s.lastPoses[i] = s.TrackedPose(i);
        }
        FillPoses(s, pRenderPoseArray, unRenderPoseArrayCount);
        FillPoses(s, pGamePoseArray, unGamePoseArrayCount);
    }
    s.Record(SIMVR_CALL_WAIT_GET_POSES, result);
    --s.waiters;
    s.waitCondition.notify_all();
    return result;
}

vr::EVRCompositorError SimCompositor::GetLastPoses(vr::TrackedDevicePose_t* pRenderPoseArray,
                                                   uint32_t unRenderPoseArrayCount,
                                                   vr::TrackedDevicePose_t* pGamePoseArray,
                                                   uint32_t unGamePoseArrayCount) {
    State& s = State::Get();
    Lock lock(s.mutex);
    FillPoses(s, pRenderPoseArray, unRenderPoseArrayCount);
    FillPoses(s, pGamePoseArray, unGamePoseArrayCount);
    return vr::VRCompositorError_None;
}

vr::EVRCompositorError SimCompositor::GetLastPoseForTrackedDeviceIndex(
    vr::TrackedDeviceIndex_t unDeviceIndex, vr::TrackedDevicePose_t* pOutputPose,
    vr::TrackedDevicePose_t* pOutputGamePose) {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (unDeviceIndex >= s.lastPoses.size()) {
        return vr::VRCompositorError_IndexOutOfRange;
    }
    if (pOutputPose != nullptr) {
        *pOutputPose = s.lastPoses[unDeviceIndex];
    }
    if (pOutputGamePose != nullptr) {
        *pOutputGamePose = s.lastPoses[unDeviceIndex];
    }
    return vr::VRCompositorError_None;
}

vr::EVRCompositorError SimCompositor::Submit(vr::EVREye eEye, const vr::Texture_t* pTexture,
                                             const vr::VRTextureBounds_t* pBounds,
                                             vr::EVRSubmitFlags nSubmitFlags) {
    State& s = State::Get();
    vr::EVRCompositorError result;
    bool readBack = false;  // read-back is on and the submit was taken
    {
        std::unique_lock<std::mutex> lock(s.mutex);
        result = ConnectionError(s);
        if (result == vr::VRCompositorError_None && s.submitBlocked) {
            // A compositor stalled inside Submit: held like a blocked WaitGetPoses.
            ++s.waiters;
            ++s.blockedSubmits;
            const uint64_t connection = s.connection;
            s.HoldWhileBlocked(lock, s.submitBlocked, connection);
            --s.blockedSubmits;
            --s.waiters;
            s.waitCondition.notify_all();
            if (s.connection != connection) {
                result = kNotConnected;
            }
        }
        if (result == vr::VRCompositorError_None) {
            if (eEye != vr::Eye_Left && eEye != vr::Eye_Right) {
                result = vr::VRCompositorError_IndexOutOfRange;
            } else if (pTexture == nullptr || pTexture->handle == nullptr ||
                       (pTexture->eType != vr::TextureType_OpenGL &&
                        pTexture->eType != vr::TextureType_Vulkan)) {
                result = vr::VRCompositorError_InvalidTexture;
            } else if (pBounds != nullptr &&
                       !(std::isfinite(pBounds->uMin) && std::isfinite(pBounds->vMin) &&
                         std::isfinite(pBounds->uMax) && std::isfinite(pBounds->vMax))) {
                result = vr::VRCompositorError_InvalidBounds;
            } else if (s.submittedThisFrame[size_t(eEye)]) {
                result = vr::VRCompositorError_AlreadySubmitted;
            } else {
                s.submittedThisFrame[size_t(eEye)] = true;
                readBack = s.readback;
            }
        }
    }

    // GL work happens without the lock, on the caller's thread and context.
    EyeImage image;
    const char* readBackFailure = nullptr;
    if (readBack) {
        if (pTexture->eType != vr::TextureType_OpenGL) {
            readBackFailure = "not an OpenGL texture";
        } else {
            const uint32_t name = uint32_t(reinterpret_cast<uintptr_t>(pTexture->handle));
            readBackFailure = ReadBackGlImage(name, (nSubmitFlags & vr::Submit_GlRenderBuffer) != 0,
                                              &image.width, &image.height, &image.rgba);
        }
        if (readBackFailure == nullptr) {
            const vr::VRTextureBounds_t whole{0.0f, 0.0f, 1.0f, 1.0f};
            readBackFailure = SelectBounds(pBounds != nullptr ? *pBounds : whole, &image);
        }
    }

    Lock lock(s.mutex);
    if (readBack) {
        // A failed read leaves no image at all: the last one is not what the eye shows now.
        if (readBackFailure == nullptr) {
            image.frame = s.frameIndex;
            s.eyes[size_t(eEye)] = std::move(image);
        } else {
            s.eyes[size_t(eEye)] = EyeImage();
        }
    }
    if (simvr_call* call = s.Record(SIMVR_CALL_SUBMIT, result)) {
        call->eye = uint32_t(eEye);
        call->int_value = !readBack                    ? SIMVR_READBACK_NOT_ASKED
                          : readBackFailure == nullptr ? SIMVR_READBACK_DONE
                                                       : SIMVR_READBACK_FAILED;
        CopyField(call->text, sizeof(call->text), readBackFailure);
        call->flags = uint32_t(nSubmitFlags);
        call->gl_context = CurrentGlContextKind();
        if (pTexture != nullptr) {
            call->handle = uint64_t(reinterpret_cast<uintptr_t>(pTexture->handle));
            call->texture_type = pTexture->eType;
            call->color_space = pTexture->eColorSpace;
        }
        if (pBounds != nullptr) {
            call->has_bounds = 1;
            call->bounds[0] = pBounds->uMin;
            call->bounds[1] = pBounds->vMin;
            call->bounds[2] = pBounds->uMax;
            call->bounds[3] = pBounds->vMax;
        }
    }
    return result;
}

void SimCompositor::ClearLastSubmittedFrame() {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.Record(SIMVR_CALL_CLEAR_LAST_SUBMITTED_FRAME);
}

void SimCompositor::PostPresentHandoff() {
    State& s = State::Get();
    Lock lock(s.mutex);
    ++s.presentedFrames;
    s.Record(SIMVR_CALL_POST_PRESENT_HANDOFF);
}

bool SimCompositor::GetFrameTiming(vr::Compositor_FrameTiming* pTiming, uint32_t unFramesAgo) {
    if (pTiming == nullptr || pTiming->m_nSize != sizeof(vr::Compositor_FrameTiming)) {
        return false;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    if (unFramesAgo > s.frameIndex) {
        return false;
    }
    const uint32_t size = pTiming->m_nSize;
    *pTiming = vr::Compositor_FrameTiming{};
    pTiming->m_nSize = size;
    pTiming->m_nFrameIndex = uint32_t(s.frameIndex - unFramesAgo);
    pTiming->m_nNumFramePresents = 1;
    pTiming->m_flSystemTimeInSeconds =
        std::chrono::duration<double>(s.lastVsync.time_since_epoch()).count();
    pTiming->m_flClientFrameIntervalMs = 1000.0f / s.refreshRate;
    pTiming->m_HmdPose = s.lastPoses[0];
    return true;
}

uint32_t SimCompositor::GetFrameTimings(vr::Compositor_FrameTiming* pTiming, uint32_t nFrames) {
    if (pTiming == nullptr || nFrames == 0 ||
        pTiming[0].m_nSize != sizeof(vr::Compositor_FrameTiming)) {
        return 0;
    }
    // Oldest first, newest last; a history shorter than asked for fills fewer entries.
    uint64_t newest = 0;
    {
        State& s = State::Get();
        Lock lock(s.mutex);
        newest = s.frameIndex;
    }
    const uint32_t count = uint32_t(std::min<uint64_t>(nFrames, newest + 1));
    uint32_t filled = 0;
    for (; filled < count; ++filled) {
        pTiming[filled].m_nSize = sizeof(vr::Compositor_FrameTiming);
        if (!GetFrameTiming(&pTiming[filled], count - 1 - filled)) {
            break;
        }
    }
    return filled;
}

float SimCompositor::GetFrameTimeRemaining() {
    State& s = State::Get();
    Lock lock(s.mutex);
    if (!s.paced) {
        return 0.0f;
    }
    const auto next = s.lastVsync + std::chrono::duration<double>(1.0 / double(s.refreshRate));
    return std::max(0.0f, std::chrono::duration<float>(next - Clock::now()).count());
}

void SimCompositor::GetCumulativeStats(vr::Compositor_CumulativeStats* pStats,
                                       uint32_t nStatsSizeInBytes) {
    if (pStats == nullptr || nStatsSizeInBytes != sizeof(vr::Compositor_CumulativeStats)) {
        return;
    }
    State& s = State::Get();
    Lock lock(s.mutex);
    *pStats = vr::Compositor_CumulativeStats{};
    pStats->m_nPid = uint32_t(getpid());
    pStats->m_nNumFramePresents = s.presentedFrames;
}

void SimCompositor::FadeToColor(float fSeconds, float fRed, float fGreen, float fBlue, float fAlpha,
                                bool bBackground) {
    State& s = State::Get();
    Lock lock(s.mutex);
    const vr::HmdColor_t color{fRed, fGreen, fBlue, fAlpha};
    if (bBackground) {
        s.fadeBackgroundColor = color;
    } else {
        s.fadeColor = color;
        s.fadeMade = true;
    }
    if (simvr_call* call = s.Record(SIMVR_CALL_FADE_TO_COLOR)) {
        call->values[0] = fSeconds;
        call->values[1] = fRed;
        call->values[2] = fGreen;
        call->values[3] = fBlue;
        call->values[4] = fAlpha;
        call->int_value = bBackground ? 1 : 0;
    }
}

vr::HmdColor_t SimCompositor::GetCurrentFadeColor(bool bBackground) {
    State& s = State::Get();
    Lock lock(s.mutex);
    // Fades complete at once in the simulation: the current colour is the target.
    return bBackground ? s.fadeBackgroundColor : s.fadeColor;
}

void SimCompositor::FadeGrid(float fSeconds, bool bFadeIn) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.gridAlpha = bFadeIn ? 1.0f : 0.0f;
    if (simvr_call* call = s.Record(SIMVR_CALL_FADE_GRID)) {
        call->values[0] = fSeconds;
        call->int_value = bFadeIn ? 1 : 0;
    }
}

float SimCompositor::GetCurrentGridAlpha() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.gridAlpha;
}

vr::EVRCompositorError SimCompositor::SetSkyboxOverride(const vr::Texture_t* pTextures,
                                                        uint32_t unTextureCount) {
    State& s = State::Get();
    Lock lock(s.mutex);
    vr::EVRCompositorError result = vr::VRCompositorError_None;
    if (pTextures == nullptr ||
        (unTextureCount != 1 && unTextureCount != 2 && unTextureCount != 6)) {
        result = vr::VRCompositorError_InvalidTexture;
    }
    RecordOther(s, "SetSkyboxOverride", unTextureCount);
    return result;
}

void SimCompositor::ClearSkyboxOverride() {
    RecordOtherLocked("ClearSkyboxOverride");
}

void SimCompositor::CompositorBringToFront() {
    RecordOtherLocked("CompositorBringToFront");
}

void SimCompositor::CompositorGoToBack() {
    RecordOtherLocked("CompositorGoToBack");
}

void SimCompositor::CompositorQuit() {
    RecordOtherLocked("CompositorQuit");
}

bool SimCompositor::IsFullscreen() {
    return true;
}

uint32_t SimCompositor::GetCurrentSceneFocusProcess() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.initialized && s.applicationType == vr::VRApplication_Scene ? uint32_t(getpid()) : 0;
}

uint32_t SimCompositor::GetLastFrameRenderer() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.callCounts[SIMVR_CALL_SUBMIT] > 0 ? uint32_t(getpid()) : 0;
}

bool SimCompositor::CanRenderScene() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.initialized && s.applicationType == vr::VRApplication_Scene;
}

void SimCompositor::ShowMirrorWindow() {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.mirrorVisible = true;
    RecordOther(s, "ShowMirrorWindow");
}

void SimCompositor::HideMirrorWindow() {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.mirrorVisible = false;
    RecordOther(s, "HideMirrorWindow");
}

bool SimCompositor::IsMirrorWindowVisible() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.mirrorVisible;
}

void SimCompositor::CompositorDumpImages() {
    RecordOtherLocked("CompositorDumpImages");
}

bool SimCompositor::ShouldAppRenderWithLowResources() {
    return false;
}

void SimCompositor::ForceInterleavedReprojectionOn(bool bOverride) {
    RecordOtherLocked("ForceInterleavedReprojectionOn", bOverride ? 1 : 0);
}

void SimCompositor::ForceReconnectProcess() {
    RecordOtherLocked("ForceReconnectProcess");
}

void SimCompositor::SuspendRendering(bool bSuspend) {
    RecordOtherLocked("SuspendRendering", bSuspend ? 1 : 0);
}

vr::EVRCompositorError SimCompositor::GetMirrorTextureD3D11(vr::EVREye eEye,
                                                            void* pD3D11DeviceOrResource,
                                                            void** ppD3D11ShaderResourceView) {
    if (ppD3D11ShaderResourceView != nullptr) {
        *ppD3D11ShaderResourceView = nullptr;
    }
    return vr::VRCompositorError_SharedTexturesNotSupported;
}

void SimCompositor::ReleaseMirrorTextureD3D11(void* pD3D11ShaderResourceView) {}

vr::EVRCompositorError SimCompositor::GetMirrorTextureGL(
    vr::EVREye eEye, vr::glUInt_t* pglTextureId,
    vr::glSharedTextureHandle_t* pglSharedTextureHandle) {
    // The simulated compositor has no context of its own to share a mirror image from.
    if (pglTextureId != nullptr) {
        *pglTextureId = 0;
    }
    if (pglSharedTextureHandle != nullptr) {
        *pglSharedTextureHandle = nullptr;
    }
    return vr::VRCompositorError_SharedTexturesNotSupported;
}

bool SimCompositor::ReleaseSharedGLTexture(vr::glUInt_t glTextureId,
                                           vr::glSharedTextureHandle_t glSharedTextureHandle) {
    return false;
}

void SimCompositor::LockGLSharedTextureForAccess(
    vr::glSharedTextureHandle_t glSharedTextureHandle) {}

void SimCompositor::UnlockGLSharedTextureForAccess(
    vr::glSharedTextureHandle_t glSharedTextureHandle) {}

uint32_t SimCompositor::GetVulkanInstanceExtensionsRequired(char* pchValue, uint32_t unBufferSize) {
    return CopyString("", pchValue, unBufferSize);
}

uint32_t SimCompositor::GetVulkanDeviceExtensionsRequired(VkPhysicalDevice_T* pPhysicalDevice,
                                                          char* pchValue, uint32_t unBufferSize) {
    return CopyString("", pchValue, unBufferSize);
}

void SimCompositor::SetExplicitTimingMode(bool bExplicitTimingMode) {
    State& s = State::Get();
    Lock lock(s.mutex);
    s.explicitTiming = bExplicitTimingMode;
    RecordOther(s, "SetExplicitTimingMode", bExplicitTimingMode ? 1 : 0);
}

vr::EVRCompositorError SimCompositor::SubmitExplicitTimingData() {
    State& s = State::Get();
    Lock lock(s.mutex);
    return s.explicitTiming ? vr::VRCompositorError_None : vr::VRCompositorError_RequestFailed;
}

}  // namespace simvr
