// What every panel kind shares: size, placement, opacity, tint, draw order and the ray test.
// The kinds add what touches the graphics layer.
#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>

#include "IPanel.h"
#include "hostcore/threads.h"

namespace STN {

class IShader;

class PanelBase : public IPanel {
public:
    explicit PanelBase(const std::string& name) : name(name) {}

    void SetOffsetTransform(const Matrix4& offset) override;
    void SetTransform(const Matrix4& transform, bool absolute) override;
    Matrix4 GetOffsetTransform() override;
    Matrix4 GetTransform() override;
    void SetOpacity(float value) override;
    float GetOpacity() override;
    void SetColor(float red, float green, float blue) override;
    void SetSize(std::uint32_t newWidth, std::uint32_t newHeight) override;
    void SetContentRect(const std::int32_t /*rect*/[4]) override {}
    std::string GetName() override { return name; }
    // Without the copy.
    const std::string& Name() const { return name; }
    bool IntersectRay(const float origin[4], const float direction[4], float* distance,
                      float* pixel) override;

    // With the render context current. An empty shader: the panel binds its own; otherwise the
    // given one is in use already and the panel only sets its uniforms.
    virtual void Draw(const Matrix4& viewProjection, const boost::shared_ptr<IShader>& shader) = 0;
    virtual bool IsVisible() { return opacity > 0.0f; }
    // Metres per panel pixel at scale 1.
    float GetPixelSize() const { return kPixelSize; }
    std::uint32_t GetDrawOrder() const { return drawOrder; }
    bool IsDepthComposited() const { return depthComposited != 0; }
    // Acts at the next SetTransform; the placement already made stays.
    void SetBoundsLimit(const bool& enabled, const Vector3& newLimit);

    // The lock the manager draws under. Given before the panel is handed out, it orders the
    // host's calls on other threads against the draws.
    void SetDrawLock(const boost::shared_ptr<hostcore::threads::RecursiveMutex>& lock) {
        drawLock = lock;
    }

    std::uint32_t GetWidth() const { return width; }
    std::uint32_t GetHeight() const { return height; }

    PanelBase(const PanelBase&) = delete;
    PanelBase& operator=(const PanelBase&) = delete;

protected:
    static constexpr float kPixelSize = 0.001f;

    // Holds the draw lock, when there is one, for a scope.
    class DrawLockScope {
    public:
        DrawLockScope(PanelBase& panel, const char* text) : mutex(panel.drawLock.get()) {
            if (mutex != nullptr) {
                mutex->Lock(text);
            }
        }
        ~DrawLockScope() {
            if (mutex != nullptr) {
                mutex->Unlock();
            }
        }
        DrawLockScope(const DrawLockScope&) = delete;
        DrawLockScope& operator=(const DrawLockScope&) = delete;

    private:
        hostcore::threads::RecursiveMutex* mutex;
    };

    boost::shared_ptr<hostcore::threads::RecursiveMutex> drawLock;

    std::string name;
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    Matrix4 offsetTransform = Matrix4::Identity();
    Matrix4 transform = Matrix4::Identity();
    float opacity = 1.0f;
    float scale = 1.0f;
    float colorRed = 1.0f;
    float colorGreen = 1.0f;
    float colorBlue = 1.0f;
    std::uint32_t drawOrder = 100;
    std::uint8_t depthComposited = 1;
    std::uint8_t limitEnabled = 0;
    Vector3 limit = {0.0f, 0.0f, 0.0f};
};

}  // namespace STN
