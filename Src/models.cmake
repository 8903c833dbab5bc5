# The controllers' render models: the model that is drawn and the cache that loads it through
# OpenVR.
target_sources(stereon_internal PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/Model.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ModelCache.cpp)
