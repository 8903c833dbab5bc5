#include "VRPanelManager.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "IGraphicsContext.h"
#include "IPanelRenderer.h"
#include "Panel.h"
#include "StaticPanel.h"
#include "VideoFramePanel.h"
#include "hostcore/debug.h"

namespace STN {

namespace {

const char* const kVideoWindowName = "EquirectPanel_EquirectWindow";

}  // namespace

VRPanelManager::VRPanelManager(const boost::shared_ptr<IGraphicsContext>& context,
                               const boost::shared_ptr<IGraphicsContext>& quadContext)
    : mutex(new hostcore::threads::RecursiveMutex()), context(context), quadContext(quadContext) {
    char fallback[16];
    std::snprintf(fallback, sizeof(fallback), "%i", 2);
    const std::string mode =
        hostcore::debug::DebugDatabase::Instance().GetEntry("VidariumVR.PanelDrawMode", fallback);
    const long value = std::strtol(mode.c_str(), nullptr, 10);
    if (!context || (value != 1 && value != 2)) {
        return;
    }
    panelRenderer =
        context->CreatePanelRenderer(value == 1 ? "WeightedAverageBlending" : "DepthPeeling");
    // A context without the strategy gives none: the panels are then blended plainly.
    if (panelRenderer) {
        panelRenderer->SetDrawCallback(
            value == 1 ? &VRPanelManager::WeightedCallback : &VRPanelManager::PeelingCallback,
            this);
    }
}

VRPanelManager::~VRPanelManager() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(*mutex, "VRPanelManager::Clear");
    ClearLocked();
}

boost::shared_ptr<IPanel> VRPanelManager::CreatePanel(const std::string& name, float scale,
                                                      bool depthComposited,
                                                      std::uint32_t drawOrder) {
    hostcore::threads::RecursiveMutex::ScopedLock lock(*mutex, "VRPanelManager::CreatePanel");
    boost::shared_ptr<Panel> panel(name == kVideoWindowName ? new VideoFramePanel(name)
                                                            : new Panel(name));
    panel->Initialize(context, quadContext, scale, depthComposited, drawOrder);
    panel->SetBoundsLimit(limitEnabled, limit);
    panel->SetDrawLock(mutex);
    panels.push_back(panel);
    return panel;
}

boost::shared_ptr<IPanel> VRPanelManager::CreateStaticPanel(
    const std::string& name, std::uint32_t width, std::uint32_t height, std::uint32_t bytesPerRow,
    const void* pixels, float scale, bool depthComposited, std::uint32_t drawOrder) {
    hostcore::threads::RecursiveMutex::ScopedLock lock(*mutex, "VRPanelManager::CreateStaticPanel");
    boost::shared_ptr<StaticPanel> panel(new StaticPanel(name));
    if (context && context->IsCurrent()) {
        panel->Initialize(context, width, height, bytesPerRow, pixels, scale, depthComposited,
                          drawOrder);
    } else {
        panel->DeferInitialize(context, width, height, bytesPerRow, pixels, scale, depthComposited,
                               drawOrder);
    }
    panel->SetBoundsLimit(limitEnabled, limit);
    panel->SetDrawLock(mutex);
    panels.push_back(panel);
    return panel;
}

boost::shared_ptr<IPanel> VRPanelManager::FindPanel(const std::string& name) {
    // Locked, unlike a walk on the render thread alone: static panels are made on host threads.
    hostcore::threads::RecursiveMutex::ScopedLock lock(*mutex, "VRPanelManager::FindPanel");
    for (const boost::shared_ptr<PanelBase>& panel : panels) {
        if (panel && panel->Name() == name) {
            return panel;
        }
    }
    return boost::shared_ptr<IPanel>();
}

void VRPanelManager::SetPanelLimit(const bool& enabled, const Vector3& newLimit) {
    hostcore::threads::RecursiveMutex::ScopedLock lock(*mutex, "VRPanelManager::SetPanelLimit");
    limitEnabled = enabled;
    limit = newLimit;
    for (const boost::shared_ptr<PanelBase>& panel : panels) {
        if (panel) {
            panel->SetBoundsLimit(enabled, newLimit);
        }
    }
}

std::vector<boost::shared_ptr<PanelBase>> VRPanelManager::GetPanels() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(*mutex, "VRPanelManager::GetPanels");
    return panels;
}

void VRPanelManager::Draw(const Matrix4& viewProjection) {
    hostcore::threads::RecursiveMutex::ScopedLock lock(*mutex, "VRPanelManager::Draw");
    // Indices rather than the pointers: no reference count moves while sorting, and the list
    // keeps its capacity from frame to frame.
    drawList.resize(panels.size());
    for (std::size_t i = 0; i < drawList.size(); ++i) {
        drawList[i] = static_cast<std::int32_t>(i);
    }
    std::sort(drawList.begin(), drawList.end(), [this](std::int32_t a, std::int32_t b) {
        const PanelBase* first = panels[static_cast<std::size_t>(a)].get();
        const PanelBase* second = panels[static_cast<std::size_t>(b)].get();
        const std::int32_t orderA = first ? static_cast<std::int32_t>(first->GetDrawOrder()) : 0;
        const std::int32_t orderB = second ? static_cast<std::int32_t>(second->GetDrawOrder()) : 0;
        return orderA > orderB;
    });
    if (!panelRenderer) {
        DrawPass(viewProjection, false);
        DrawPass(viewProjection, true);
    } else if (!AnyCompositedPanelShows()) {
        // With nothing to composite the strategy's layers stay clear and change no pixel; its
        // passes over the whole eye are skipped.
        DrawPass(viewProjection, false);
    } else {
        if (!panelRenderer->IsInitialized()) {
            panelRenderer->Init(context);
        }
        DrawPass(viewProjection, false);
        panelRenderer->Draw(viewProjection);
    }
    context->SetBlending(false);
    context->SetDepthTest(true, IGraphicsContext::kDepthLess);
    context->SetDepthWrite(true);
}

bool VRPanelManager::AnyCompositedPanelShows() {
    for (const boost::shared_ptr<PanelBase>& panel : panels) {
        if (panel && panel->IsDepthComposited() && panel->IsVisible()) {
            return true;
        }
    }
    return false;
}

void VRPanelManager::DrawPass(const Matrix4& viewProjection, bool depthComposited) {
    context->SetBlending(true);
    context->SetDepthTest(true, IGraphicsContext::kDepthLess);
    context->SetDepthWrite(depthComposited);
    static hostcore::debug::TraceSite site("STN", 1);
    // One handler for the pass: a panel that throws ends it, and the frame goes on.
    try {
        for (const std::int32_t index : drawList) {
            const boost::shared_ptr<PanelBase>& panel = panels[static_cast<std::size_t>(index)];
            if (!panel || panel->IsDepthComposited() != depthComposited) {
                continue;
            }
            // The video window switches blending off after its draw; the panels after it in
            // the pass still blend over what is behind them.
            context->SetBlending(true);
            panel->Draw(viewProjection, boost::shared_ptr<IShader>());
        }
    } catch (const std::exception& error) {
        site.Write(std::string("UserInterface::Draw unexpected exception:") + error.what());
    } catch (...) {
        site.Write("UserInterface::Draw unknown exception");
    }
}

void VRPanelManager::DrawComposited(const Matrix4& viewProjection,
                                    const boost::shared_ptr<IShader>& shader, bool opaqueOnly) {
    for (const std::int32_t index : drawList) {
        // Held for the call: the panel outlives it whatever the host does meanwhile.
        const boost::shared_ptr<PanelBase> panel = panels[static_cast<std::size_t>(index)];
        if (!panel || !panel->IsDepthComposited() || (opaqueOnly && panel->GetOpacity() < 1.0f)) {
            continue;
        }
        panel->Draw(viewProjection, shader);
    }
}

void VRPanelManager::PeelingCallback(const Matrix4& viewProjection,
                                     const boost::shared_ptr<IShader>& shader, unsigned /*pass*/,
                                     void* userData) {
    static_cast<VRPanelManager*>(userData)->DrawComposited(viewProjection, shader, false);
}

void VRPanelManager::WeightedCallback(const Matrix4& viewProjection,
                                      const boost::shared_ptr<IShader>& shader, unsigned pass,
                                      void* userData) {
    if (pass > 1) {
        return;
    }
    static_cast<VRPanelManager*>(userData)->DrawComposited(viewProjection, shader, pass == 0);
}

void VRPanelManager::Clear() {
    hostcore::threads::RecursiveMutex::ScopedLock lock(*mutex, "VRPanelManager::Clear");
    ClearLocked();
}

void VRPanelManager::ClearLocked() {
    for (const boost::shared_ptr<PanelBase>& panel : panels) {
        if (panel) {
            panel->Shutdown();
        }
    }
    panels.clear();
    drawList.clear();
    panelRenderer.reset();
}

}  // namespace STN
