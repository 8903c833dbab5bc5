# GPU half of the host stand-in: pixel formats, offscreen EGL contexts, GB devices with their
# compute contexts (OpenCL through the ICD loader, CUDA through the driver loaded at run time),
# and the MF/VF video frames.

stereon_require(OpenGL "libgl-dev libegl-dev" COMPONENTS OpenGL EGL)
stereon_require(GLEW "libglew-dev")
stereon_require(OpenCL "ocl-icd-opencl-dev opencl-headers")

target_sources(hostkit PRIVATE
    ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/OffscreenGL.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/Device.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/OpenCLDevice.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/CudaDriver.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/CudaDevice.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/PixelConversion.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/VideoFrames.cpp
)
if(WIN32)
    target_sources(hostkit PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/SharedLibrary_win.cpp)
else()
    target_sources(hostkit PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/src/gpu/SharedLibrary_posix.cpp)
endif()

target_compile_definitions(hostkit PRIVATE CL_TARGET_OPENCL_VERSION=120)
target_link_libraries(hostkit
    PUBLIC OpenGL::EGL OpenGL::OpenGL GLEW::GLEW
    PRIVATE OpenCL::OpenCL ${CMAKE_DL_LIBS})
