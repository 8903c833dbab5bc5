#include "TheaterMode.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "IGraphicsContext.h"
#include "IMesh.h"
#include "IRenderTexture.h"
#include "IShader.h"
#include "ITexture.h"
#include "ShaderRegistry.h"
#include "ShaderUniform.h"
#include "hostcore/debug.h"

namespace STN {

namespace {

// 16:9, the shape of the screen mesh.
const float kWideAspect = 1.7777778f;
const float kScreenHeight = 1.2f;

// A length key, clamped to 1 to 10. Text that does not parse reads as 0 and so as 1.
float ReadLengthKey(const char* key, double fallback) {
    char text[512];
    std::snprintf(text, sizeof(text), "%1.*lg", 12, fallback);
    const std::string entry = hostcore::debug::DebugDatabase::Instance().GetEntry(key, text);
    return static_cast<float>(std::strtod(entry.c_str(), nullptr));
}

float ClampLength(float value) {
    // NaN fails both comparisons of a plain clamp; it gets the lower bound as unparsable text does.
    if (!(value >= 1.0f)) {
        return 1.0f;
    }
    return value > 10.0f ? 10.0f : value;
}

void AddTexturedVertex(IMesh& mesh, float x, float y, float z, float u, float v) {
    mesh.AddVertex(x, y, z, 0.0f, 0.0f, 0.0f, u, v, 0.0f, 0.0f, 0.0f, 0.0f);
}

}  // namespace

TheaterMode::TheaterMode(const std::string& name) : name(name) {}

void TheaterMode::Init(const boost::shared_ptr<IGraphicsContext>& context, bool rectangle) {
    if (initialized || !context) {
        return;
    }
    meshes.resize(kMeshCount);
    this->rectangle = rectangle;
    ShaderRegistry& registry = ShaderRegistry::Instance();
    screenShader =
        registry.GetShader(rectangle ? "TheaterVideoShader_Rectangle" : "TheaterVideoShader");
    BuildScreenMesh(context);

    roomWidth = 20.0f;
    roomDepth = 20.0f;
    roomHeight = 10.0f;
    floorShader = registry.GetShader("TheaterFloorShader");
    wallShader = registry.GetShader("TheaterWallShader");
    meshes[kMeshFloor] = CreateRoomPlane(context, "TheaterModeMesh_Floor", roomWidth, roomDepth);
    meshes[kMeshCeiling] =
        CreateRoomPlane(context, "TheaterModeMesh_Ceiling", roomWidth, roomDepth);
    meshes[kMeshFront] = CreateRoomPlane(context, "TheaterModeMesh_Front", roomWidth, roomHeight);
    meshes[kMeshLeft] = CreateRoomPlane(context, "TheaterModeMesh_Left", roomWidth, roomHeight);
    meshes[kMeshBack] = CreateRoomPlane(context, "TheaterModeMesh_Back", roomWidth, roomHeight);
    meshes[kMeshRight] = CreateRoomPlane(context, "TheaterModeMesh_Right", roomWidth, roomHeight);

    // Placeholders until the first frame gives the filter its size.
    blurTargetA = context->CreateRenderTexture("BlurTargetHorizontal");
    blurTargetB = context->CreateRenderTexture("BlurTargetVertical");
    blurTargetA->Create(1, 1);
    blurTargetB->Create(1, 1);

    screenDistance = ClampLength(ReadLengthKey("Stereon.TheaterModeDistance", 2.74));
    screenScale = ClampLength(ReadLengthKey("Stereon.TheaterModeScale", 2.0));
    filterStrength = ClampLength(ReadLengthKey("Stereon.TheaterModeFilterStrength", 1.2));
    screenPosition = {0.0f, kScreenHeight, -screenDistance};
    initialized = true;
}

void TheaterMode::BuildScreenMesh(const boost::shared_ptr<IGraphicsContext>& context) {
    // One unit wide and 0.564 high (16:9 within a third of a percent); the coordinates keep half
    // a percent from each edge of the picture.
    boost::shared_ptr<IMesh> mesh = context->CreateMesh("TheaterModeMesh_TV");
    mesh->Begin(kPrimitiveTriangleStrip, false, true, false);
    for (int i = 0; i <= 20; ++i) {
        const float x = static_cast<float>(i) * 0.05f - 0.5f;
        const float u = (x + 0.5f) / 1.01f + 0.005f;
        AddTexturedVertex(*mesh, x, 0.282f, 0.0f, u, 0.005f);
        AddTexturedVertex(*mesh, x, -0.282f, 0.0f, u, 0.995f);
    }
    mesh->End();
    meshes[kMeshScreen] = mesh;
}

boost::shared_ptr<IMesh> TheaterMode::CreateRoomPlane(
    const boost::shared_ptr<IGraphicsContext>& context, const std::string& meshName,
    float planeWidth, float planeHeight) {
    // A 3 by 3 grid in the XY plane, numbered down each column. Neither room shader reads the
    // texture coordinate, whose u is the odd sum of column and x.
    float positions[9][2];
    float coordinates[9][2];
    for (int c = 0; c < 3; ++c) {
        const float x = static_cast<float>(c) * planeWidth * 0.5f - planeWidth * 0.5f;
        const float u = (static_cast<float>(c) + x) / planeWidth;
        const float ys[3] = {planeHeight * 0.5f, 0.0f, -planeHeight * 0.5f};
        const float vs[3] = {0.0f, 0.5f, 1.0f};
        for (int r = 0; r < 3; ++r) {
            positions[3 * c + r][0] = x;
            positions[3 * c + r][1] = ys[r];
            coordinates[3 * c + r][0] = u;
            coordinates[3 * c + r][1] = vs[r];
        }
    }
    static const int kStrip[24] = {0, 1, 3, 1, 3, 4, 3, 4, 6, 4, 6, 7,
                                   1, 2, 4, 2, 4, 5, 4, 5, 7, 5, 7, 8};
    boost::shared_ptr<IMesh> mesh = context->CreateMesh(meshName);
    mesh->Begin(kPrimitiveTriangleStrip, false, true, false);
    for (int index : kStrip) {
        AddTexturedVertex(*mesh, positions[index][0], positions[index][1], 0.0f,
                          coordinates[index][0], coordinates[index][1]);
    }
    mesh->End();
    return mesh;
}

void TheaterMode::SetDistance(float distance) {
    screenDistance = ClampLength(distance);
    screenPosition = {0.0f, kScreenHeight, -screenDistance};
}

void TheaterMode::ReleaseBlur() {
    blurReady = false;
    // The registry keeps the programs; only this object's references go.
    blurShader.reset();
    blurRectangleShader.reset();
    if (blurMesh) {
        blurMesh->Release();
        blurMesh.reset();
    }
    if (blurTargetA) {
        blurTargetA->Release();
        blurTargetA.reset();
    }
    if (blurTargetB) {
        blurTargetB->Release();
        blurTargetB.reset();
    }
}

void TheaterMode::BuildBlur(const boost::shared_ptr<IGraphicsContext>& context, unsigned width,
                            unsigned height) {
    ShaderRegistry& registry = ShaderRegistry::Instance();
    blurShader = registry.GetShader("TheaterBlurShader");
    blurRectangleShader = registry.GetShader("TheaterBlurShader_Rectangle");
    // The screen shows a filter target from now on, never the video itself.
    screenShader = registry.GetShader("TheaterVideoShader");

    const int w = static_cast<int>(width);
    const int h = static_cast<int>(height);
    blurTargetA = context->CreateRenderTexture("BlurTarget1");
    blurTargetB = context->CreateRenderTexture("BlurTarget2");
    blurTargetA->Create(w, h);
    blurTargetB->Create(w, h);

    // In pixels, so that the shader's screen-space derivative of the position is one.
    const float fw = static_cast<float>(w);
    const float fh = static_cast<float>(h);
    static const float kCorners[6][2] = {{0, 0}, {1, 0}, {1, 1}, {1, 1}, {0, 1}, {0, 0}};
    blurMesh = context->CreateMesh("BlurMesh_Full");
    blurMesh->Begin(kPrimitiveTriangles, false, true, false);
    for (const auto& corner : kCorners) {
        AddTexturedVertex(*blurMesh, corner[0] * fw, corner[1] * fh, 0.0f, corner[0], corner[1]);
    }
    blurMesh->End();
    blurReady = true;
}

void TheaterMode::UpdateBlur(const boost::shared_ptr<ITexture>& video,
                             const boost::shared_ptr<IGraphicsContext>& context) {
    if (!filterEnabled || !initialized || !video || !context) {
        return;
    }
    const unsigned videoWidth = video->GetWidth();
    const unsigned videoHeight = video->GetHeight();
    if (blurReady && (static_cast<int>(videoWidth) != blurTargetA->GetWidth() ||
                      static_cast<int>(videoHeight) != blurTargetA->GetHeight())) {
        ReleaseBlur();
    }
    if (!blurReady && videoWidth > 1) {
        BuildBlur(context, videoWidth, videoHeight);
    }
    if (!blurReady) {
        return;
    }

    const float w = static_cast<float>(blurTargetB->GetWidth());
    const float h = static_cast<float>(blurTargetB->GetHeight());
    Matrix4 ortho = Matrix4::Identity();
    ortho.m[0] = 2.0f / w;
    ortho.m[5] = 2.0f / h;
    ortho.m[10] = -0.02f;
    ortho.m[12] = -1.0f;
    ortho.m[13] = -1.0f;
    ortho.m[14] = -1.0f;
    const float level = (1.0f / w) * filterStrength;

    // Across the rows, from the video.
    blurTargetA->BindTarget();
    context->Clear();
    const bool rectangleVideo = video->IsRectangle();
    IShader& first = rectangleVideo ? *blurRectangleShader : *blurShader;
    first.Bind();
    first.SetUniformMatrix4(kUniformBlurMatrix, ortho.m);
    first.SetUniform1i(kUniformBlurTexture0, 0);
    first.SetUniform2f(kUniformBlurDirection, 1.0f, 0.0f);
    first.SetUniform1f(kUniformBlurLevel, level);
    if (rectangleVideo) {
        first.SetUniform2f(kUniformBlurFrameSize, static_cast<float>(videoWidth),
                           static_cast<float>(videoHeight));
    }
    video->Bind();
    blurMesh->Draw();
    video->Unbind();
    first.Unbind();
    blurTargetA->UnbindTarget();

    // Down the columns, from the first pass.
    blurTargetB->BindTarget();
    context->Clear();
    blurShader->Bind();
    blurShader->SetUniformMatrix4(kUniformBlurMatrix, ortho.m);
    blurShader->SetUniform1i(kUniformBlurTexture0, 0);
    blurShader->SetUniform2f(kUniformBlurDirection, 0.0f, 1.0f);
    blurShader->SetUniform1f(kUniformBlurLevel, level);
    blurTargetA->BindTexture();
    blurMesh->Draw();
    blurTargetA->UnbindTexture();
    blurShader->Unbind();
    blurTargetB->UnbindTarget();
}

void TheaterMode::DrawWall(int mesh, const Matrix4& viewProjection, const Matrix4& model) {
    const Matrix4 matrix = viewProjection * model;
    wallShader->SetUniformMatrix4(kUniformWallMatrix, matrix.m);
    meshes[static_cast<std::size_t>(mesh)]->Draw();
}

void TheaterMode::Draw(int /*eye*/, const boost::shared_ptr<ITexture>& video, bool verticalFlip,
                       bool redBlueSwap, hostmediatypes::PixelAspectRatio pixelAspectRatio,
                       const Matrix4& viewProjection) {
    if (!initialized) {
        return;
    }
    screenPosition = {0.0f, kScreenHeight, -screenDistance};
    // A half turn about X: the mesh's top edge, the picture's first row, comes to the bottom.
    Matrix4 screenModel = Matrix4::Identity();
    screenModel.Rotate(180.0f, 0.0f, 1.0f, 0.0f)
        .Rotate(180.0f, 0.0f, 0.0f, 1.0f)
        .Translate(screenPosition.x, screenPosition.y, screenPosition.z);
    if (video) {
        const unsigned width = video->GetWidth();
        const unsigned height = video->GetHeight();
        // A 1 by 1 texture is the stand-in before the first frame: the screen keeps its shape.
        if (width * height != 1 && height != 0) {
            const double pixelWidth = pixelAspectRatio.AsDouble();
            screenAspect = static_cast<float>(pixelWidth * width / height) / kWideAspect;
        }
    }

    const Matrix4 floorModel = Matrix4::Identity().Rotate(90.0f, 1.0f, 0.0f, 0.0f);
    const Matrix4 floorMatrix = viewProjection * floorModel;
    floorShader->Bind();
    floorShader->SetUniformMatrix4(kUniformFloorMatrix, floorMatrix.m);
    floorShader->SetUniform2f(kUniformFloorSize, roomWidth, roomDepth);
    floorShader->SetUniform2f(kUniformFloorPosHMD, headPosition.x, headPosition.z);
    floorShader->SetUniform4f(kUniformFloorPosTV, screenPosition.x, screenPosition.z,
                              screenAspect * 0.8f, 0.3f);
    meshes[kMeshFloor]->Draw();
    floorShader->Unbind();

    wallShader->Bind();
    wallShader->SetUniform2f(kUniformWallSize, roomWidth, roomHeight);
    wallShader->SetUniform1f(kUniformWallBandSize, 1.5f);
    DrawWall(kMeshFront, viewProjection,
             Matrix4::Identity().Translate(0.0f, roomHeight / 2.0f, -roomDepth / 2.0f));
    DrawWall(kMeshLeft, viewProjection,
             Matrix4::Identity()
                 .Rotate(90.0f, 0.0f, 1.0f, 0.0f)
                 .Translate(-roomWidth / 2.0f, roomHeight / 2.0f, 0.0f));
    DrawWall(kMeshRight, viewProjection,
             Matrix4::Identity()
                 .Rotate(90.0f, 0.0f, 1.0f, 0.0f)
                 .Translate(roomWidth / 2.0f, roomHeight / 2.0f, 0.0f));
    DrawWall(kMeshBack, viewProjection,
             Matrix4::Identity().Translate(0.0f, roomHeight / 2.0f, roomDepth / 2.0f));
    // A band size of 0 makes the wall shader draw plain grey.
    wallShader->SetUniform1f(kUniformWallBandSize, 0.0f);
    wallShader->SetUniform2f(kUniformWallSize, roomWidth, roomDepth);
    DrawWall(kMeshCeiling, viewProjection,
             Matrix4::Identity().Rotate(90.0f, 1.0f, 0.0f, 0.0f).Translate(0.0f, roomHeight, 0.0f));
    wallShader->Unbind();

    if (!video) {
        return;
    }
    const Matrix4 screenMatrix = viewProjection * screenModel;
    screenShader->Bind();
    screenShader->SetUniformMatrix4(kUniformTheaterVideoMatrix, screenMatrix.m);
    screenShader->SetUniform2f(kUniformTheaterVideoSize, screenAspect * screenScale, screenScale);
    screenShader->SetUniform1i(kUniformTheaterVideoTexture0, 0);
    screenShader->SetUniform4f(kUniformTheaterVideoColor, 1.0f, 1.0f, 1.0f, 1.0f);
    screenShader->SetUniform1i(kUniformTheaterVideoFlipVertical, verticalFlip ? 1 : 0);
    screenShader->SetUniform1i(kUniformTheaterVideoSwapRedBlue, redBlueSwap ? 1 : 0);
    if (filterEnabled && blurReady) {
        blurTargetB->BindTexture();
        meshes[kMeshScreen]->Draw();
        blurTargetB->UnbindTexture();
    } else {
        if (video->IsRectangle()) {
            screenShader->SetUniform2f(kUniformTheaterVideoFrameSize,
                                       static_cast<float>(video->GetWidth()),
                                       static_cast<float>(video->GetHeight()));
        }
        video->Bind();
        meshes[kMeshScreen]->Draw();
        video->Unbind();
    }
    screenShader->Unbind();
}

void TheaterMode::Shutdown() {
    screenShader.reset();
    floorShader.reset();
    wallShader.reset();
    ReleaseBlur();
    // The slots stay, empty; nothing is drawn or filtered from here on.
    for (boost::shared_ptr<IMesh>& mesh : meshes) {
        if (mesh) {
            mesh->Release();
            mesh.reset();
        }
    }
    initialized = false;
}

}  // namespace STN
