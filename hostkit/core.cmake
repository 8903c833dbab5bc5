# The host stand-in's core: threads, messaging, debug, config, file support, utilities, class
# references, the application type.
target_sources(hostkit PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/src/core/classref.cpp
    ${CMAKE_CURRENT_LIST_DIR}/src/core/config.cpp
    ${CMAKE_CURRENT_LIST_DIR}/src/core/debug.cpp
    ${CMAKE_CURRENT_LIST_DIR}/src/core/filesupport.cpp
    ${CMAKE_CURRENT_LIST_DIR}/src/core/hostapp.cpp
    ${CMAKE_CURRENT_LIST_DIR}/src/core/messaging.cpp
    ${CMAKE_CURRENT_LIST_DIR}/src/core/threads.cpp
    ${CMAKE_CURRENT_LIST_DIR}/src/core/utility.cpp)
