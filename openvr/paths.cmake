# stnvr_paths: what the client and the simulated runtime both need, built once. The init error
# names, and the path registry (openvrpaths.vrpath) with the platform's directories: the client
# finds the runtime through it, and the runtime finds its config directory the same way.
add_library(stnvr_paths STATIC
    src/init_error_names.cpp
    src/path_tools.cpp
    src/vr_path_registry.cpp)
if(WIN32)
    target_sources(stnvr_paths PRIVATE src/platform_paths_win32.cpp)
else()
    target_sources(stnvr_paths PRIVATE src/platform_paths_posix.cpp)
endif()
stereon_strict_warnings(stnvr_paths)
# Linked into two shared libraries that export only their entry points; the runtime must unload
# completely when the client lets it go, so no unique symbols either.
set_target_properties(stnvr_paths PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
target_compile_options(stnvr_paths PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
target_include_directories(stnvr_paths PUBLIC ${CMAKE_CURRENT_LIST_DIR}/src)
target_link_libraries(stnvr_paths
    PUBLIC openvr_headers
    PRIVATE nlohmann_json::nlohmann_json)
if(WIN32)
    target_link_libraries(stnvr_paths PRIVATE shell32)
endif()
