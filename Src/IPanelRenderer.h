// A way of compositing the depth-composited panels of one eye. The panel manager gives it a
// callback that draws those panels with the shader it is handed (empty: each panel's own).
#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include <string>

#include "StereonTypes.h"

namespace STN {

class IGraphicsContext;
class IShader;

typedef boost::function<void(const Matrix4& viewProjection,
                             const boost::shared_ptr<IShader>& shader, unsigned pass,
                             void* userData)>
    PanelDrawCallback;

class IPanelRenderer {
public:
    virtual std::string GetName() = 0;
    virtual bool IsInitialized() = 0;
    // Builds the targets at the size of the current viewport, on the render thread.
    virtual void Init(const boost::shared_ptr<IGraphicsContext>& context) = 0;
    virtual void Release() = 0;
    virtual void SetDrawCallback(const PanelDrawCallback& callback, void* userData) = 0;
    virtual void Draw(const Matrix4& viewProjection) = 0;
    virtual ~IPanelRenderer() = default;
};

}  // namespace STN
