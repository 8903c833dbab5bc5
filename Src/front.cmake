# The service front: runtime manager, usage metrics, machine lock, render thread and service,
# and the shared library `stereon` that exports the two entry points.
target_sources(stereon_internal PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/MachineLock.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OpenVRManager.cpp
    ${CMAKE_CURRENT_LIST_DIR}/RenderThread.cpp
    ${CMAKE_CURRENT_LIST_DIR}/StereonService.cpp
    ${CMAKE_CURRENT_LIST_DIR}/UsageMetrics.cpp)

# Nothing of the library is visible outside it but the two exports; the archive is built
# hidden too, since the shared library takes it whole.
set_target_properties(stereon_internal PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
target_compile_definitions(stereon_internal PUBLIC STEREON_BUILDING)

add_library(stereon SHARED ${CMAKE_CURRENT_LIST_DIR}/Exports.cpp)
stereon_strict_warnings(stereon)
set_target_properties(stereon PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(stereon PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
target_link_libraries(stereon
    PUBLIC Boost::boost
    PRIVATE $<LINK_LIBRARY:WHOLE_ARCHIVE,stereon_internal>)
if(NOT WIN32 AND NOT APPLE)
    # Only the two entry points and the matrix helpers leave the library, whatever the archive's
    # objects declare.
    target_link_options(stereon PRIVATE
        "LINKER:--version-script=${CMAKE_CURRENT_LIST_DIR}/stereon.map" "LINKER:--no-undefined")
    set_property(TARGET stereon APPEND PROPERTY LINK_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/stereon.map)
endif()
