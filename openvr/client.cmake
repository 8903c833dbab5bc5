# stereon_openvr: the OpenVR client that applications link to find and load a runtime.
set(stnvr_client_sources
    src/client_core_state.cpp
    src/openvr_context.cpp
    src/runtime_loader.cpp
    src/shared_library.cpp
    src/vr_client.cpp)
if(WIN32)
    list(APPEND stnvr_client_sources src/shared_library_win32.cpp)
else()
    list(APPEND stnvr_client_sources src/shared_library_posix.cpp)
endif()

add_library(stereon_openvr SHARED ${stnvr_client_sources})
stereon_strict_warnings(stereon_openvr)
set_target_properties(stereon_openvr PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
target_compile_definitions(stereon_openvr PRIVATE STNVR_CLIENT_BUILDING)
target_include_directories(stereon_openvr PRIVATE ${CMAKE_CURRENT_LIST_DIR}/src)
target_link_libraries(stereon_openvr
    PUBLIC openvr_headers
    PRIVATE stnvr_paths Threads::Threads ${CMAKE_DL_LIBS})
