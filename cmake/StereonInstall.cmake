# Install rules and package files: the library, its public headers, the host stand-in it is used
# with and the OpenVR client it links, so that a host builds against an installed copy with
# find_package(Stereon) (targets Stereon::stereon and Stereon::hostkit) or pkg-config (stereon).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(STEREON_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Stereon)

# The installed libraries find each other beside themselves.
set_target_properties(stereon hostkit stereon_openvr PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS stereon EXPORT StereonTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/stereon)
# The controller model files, which the library looks for in <modules>/Stereon/models, <modules>
# being the directory of the host's modules: where the library is installed.
if(WIN32)
    set(STEREON_INSTALL_MODULESDIR ${CMAKE_INSTALL_BINDIR})
else()
    set(STEREON_INSTALL_MODULESDIR ${CMAKE_INSTALL_LIBDIR})
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Src/models/
    DESTINATION ${STEREON_INSTALL_MODULESDIR}/Stereon/models)
install(TARGETS hostkit stereon_openvr openvr_headers EXPORT StereonTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/stereon FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/hostkit/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/stereon/hostkit FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/openvr/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

install(EXPORT StereonTargets NAMESPACE Stereon:: DESTINATION ${STEREON_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/StereonConfig.cmake.in
    ${CMAKE_BINARY_DIR}/cmake/StereonConfig.cmake
    INSTALL_DESTINATION ${STEREON_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/cmake/StereonConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_BINARY_DIR}/cmake/StereonConfig.cmake
    ${CMAKE_BINARY_DIR}/cmake/StereonConfigVersion.cmake
    DESTINATION ${STEREON_INSTALL_CMAKEDIR})

configure_file(${CMAKE_CURRENT_LIST_DIR}/stereon.pc.in ${CMAKE_BINARY_DIR}/cmake/stereon.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/cmake/stereon.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
