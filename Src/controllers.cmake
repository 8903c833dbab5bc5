# The controllers: one object per tracked controller, haptic feedback, and the event interpreters
# that turn each headset family's input into hands, buttons and pointer poses.
target_sources(stereon_internal PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/ControllerFeedback.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ControllerManager.cpp
    ${CMAKE_CURRENT_LIST_DIR}/EventInterpreterRift.cpp
    ${CMAKE_CURRENT_LIST_DIR}/EventInterpreterVive.cpp
    ${CMAKE_CURRENT_LIST_DIR}/EventInterpreterWinMR.cpp
    ${CMAKE_CURRENT_LIST_DIR}/HapticPulses.cpp
    ${CMAKE_CURRENT_LIST_DIR}/IEventInterpreter.cpp)
