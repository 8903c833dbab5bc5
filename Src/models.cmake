# The controllers' render models: the model that is drawn and the cache that loads it through
# OpenVR.
target_sources(stereon_internal PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/Model.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ModelCache.cpp)

# The library draws the Windows Mixed Reality controllers from model files of its own, which it
# looks for in <modules>/Stereon/models: the directory of the host's modules, which is where the
# built library lies (and the host stand-in beside it). Copied there whenever the library's
# objects are built, so that tests and tools find them; installed beside the library by
# StereonInstall.cmake.
set(STEREON_MODEL_FILES
    winmr/left/controller-left.obj
    winmr/left/controller-left.mtl
    winmr/left/controller-left.png
    winmr/right/controller-right.obj
    winmr/right/controller-right.mtl
    winmr/right/controller-right.png)
list(TRANSFORM STEREON_MODEL_FILES PREPEND ${CMAKE_CURRENT_LIST_DIR}/models/)
if(WIN32)
    get_target_property(stereon_modules_dir stereon RUNTIME_OUTPUT_DIRECTORY)
else()
    get_target_property(stereon_modules_dir stereon LIBRARY_OUTPUT_DIRECTORY)
endif()
get_property(stereon_multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(stereon_multi_config)
    string(APPEND stereon_modules_dir "/$<CONFIG>")
endif()
add_custom_command(
    OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/model_files.stamp
    COMMAND ${CMAKE_COMMAND} -E copy_directory ${CMAKE_CURRENT_LIST_DIR}/models
            ${stereon_modules_dir}/Stereon/models
    COMMAND ${CMAKE_COMMAND} -E touch ${CMAKE_CURRENT_BINARY_DIR}/model_files.stamp
    DEPENDS ${STEREON_MODEL_FILES}
    COMMENT "Copying the controller model files beside the library"
    VERBATIM)
add_custom_target(stereon_model_files DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/model_files.stamp)
add_dependencies(stereon_internal stereon_model_files)
