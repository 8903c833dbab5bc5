# The scene: matrices, the headset manager and classification, and what each eye sees.
target_sources(stereon_internal PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/HeadsetClassification.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Matrix4.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Scene.cpp
    ${CMAKE_CURRENT_LIST_DIR}/TheaterMode.cpp)
