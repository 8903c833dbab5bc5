# The graphics layer: the context, meshes, targets, textures, shaders and their registry.
target_sources(stereon_internal PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/ScopedContextLock.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ShaderRegistry.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/DepthPeelingPanelRendererOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/ContextPlatform.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/GLHooks.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/GLReleaseQueue.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/GraphicsContextOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/WeightedAverageBlendingPanelRendererOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/MeshOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/PanelRendererBaseOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/RenderTargetOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/RenderTextureOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/ShaderOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/ShaderSources.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/TextureFormatOGL.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenGL/TextureOGL.cpp)
# The context is WGL on Windows; GLX or EGL on Linux.
if(WIN32)
    target_sources(stereon_internal PRIVATE
        ${CMAKE_CURRENT_LIST_DIR}/OpenGL/GraphicsContextOGL_WGL.cpp)
else()
    target_sources(stereon_internal PRIVATE
        ${CMAKE_CURRENT_LIST_DIR}/OpenGL/GraphicsContextOGL_Linux.cpp
        ${CMAKE_CURRENT_LIST_DIR}/OpenGL/GLXSupport.cpp)
endif()
