// The room that flat footage is shown in: a dim box with a floor of rings, a soft shadow under
// the screen, a mark under the viewer, and the screen itself, whose picture goes through a
// two-pass Gaussian filter first. Render thread only, with the render context current.
#pragma once

#include <boost/shared_ptr.hpp>

#include <string>
#include <vector>

#include "StereonTypes.h"
#include "hostmediatypes/PixelAspectRatio.h"

namespace STN {

class IGraphicsContext;
class IMesh;
class IRenderTexture;
class IShader;
class ITexture;

class TheaterMode {
public:
    explicit TheaterMode(const std::string& name);

    // Builds the room and reads the screen's keys; once only. `rectangle` says whether the
    // video arrives in rectangle textures.
    void Init(const boost::shared_ptr<IGraphicsContext>& context, bool rectangle);
    void SetFilterEnabled(bool enabled) { filterEnabled = enabled; }
    void SetHeadPosition(const Vector3& position) { headPosition = position; }
    // Metres to the screen, clamped to 1 to 10.
    void SetDistance(float distance);

    // Filters the frame into the screen's texture; rebuilds the filter's objects when the
    // frame's size changes. Runs every frame while the filter is on, shown or not.
    void UpdateBlur(const boost::shared_ptr<ITexture>& video,
                    const boost::shared_ptr<IGraphicsContext>& context);
    // The room and the screen for one eye. The eye itself is not used: the view-projection
    // says everything.
    void Draw(int eye, const boost::shared_ptr<ITexture>& video, bool verticalFlip,
              bool redBlueSwap, hostmediatypes::PixelAspectRatio pixelAspectRatio,
              const Matrix4& viewProjection);
    void Shutdown();

    const std::string& GetName() const { return name; }
    // Centre of the screen in tracking space.
    const Vector3& GetScreenPosition() const { return screenPosition; }

    TheaterMode(const TheaterMode&) = delete;
    TheaterMode& operator=(const TheaterMode&) = delete;

private:
    enum MeshIndex {
        kMeshScreen = 0,
        kMeshFloor = 1,
        kMeshFront = 2,
        kMeshLeft = 3,
        kMeshBack = 4,
        kMeshRight = 5,
        kMeshCeiling = 6,
        kMeshCount = 7,
    };

    void BuildScreenMesh(const boost::shared_ptr<IGraphicsContext>& context);
    boost::shared_ptr<IMesh> CreateRoomPlane(const boost::shared_ptr<IGraphicsContext>& context,
                                             const std::string& meshName, float planeWidth,
                                             float planeHeight);
    void ReleaseBlur();
    void BuildBlur(const boost::shared_ptr<IGraphicsContext>& context, unsigned width,
                   unsigned height);
    void DrawWall(int mesh, const Matrix4& viewProjection, const Matrix4& model);

    std::string name;
    float screenDistance = 0.0f;
    float screenScale = 0.0f;
    float screenAspect = 1.0f;
    Vector3 headPosition = {0.0f, 0.0f, 0.0f};
    Vector3 screenPosition = {0.0f, 0.0f, 0.0f};
    float roomWidth = 0.0f;
    float roomDepth = 0.0f;
    float roomHeight = 0.0f;
    bool initialized = false;
    bool rectangle = false;
    boost::shared_ptr<IShader> screenShader;
    boost::shared_ptr<IShader> floorShader;
    boost::shared_ptr<IShader> wallShader;
    std::vector<boost::shared_ptr<IMesh>> meshes;
    bool filterEnabled = false;
    bool blurReady = false;
    float filterStrength = 1.0f;
    boost::shared_ptr<IRenderTexture> blurTargetA;
    boost::shared_ptr<IRenderTexture> blurTargetB;
    boost::shared_ptr<IMesh> blurMesh;
    boost::shared_ptr<IShader> blurShader;
    boost::shared_ptr<IShader> blurRectangleShader;
};

}  // namespace STN
