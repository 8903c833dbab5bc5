# The panels: the host's painted surfaces, the fixed-image and video window kinds, and the manager
# that draws them.
target_sources(stereon_internal PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/Panel.cpp
    ${CMAKE_CURRENT_LIST_DIR}/PanelBase.cpp
    ${CMAKE_CURRENT_LIST_DIR}/PanelGraphics.cpp
    ${CMAKE_CURRENT_LIST_DIR}/StaticPanel.cpp
    ${CMAKE_CURRENT_LIST_DIR}/VRPanelManager.cpp
    ${CMAKE_CURRENT_LIST_DIR}/VRQuadImpl.cpp
    ${CMAKE_CURRENT_LIST_DIR}/VideoFramePanel.cpp)
