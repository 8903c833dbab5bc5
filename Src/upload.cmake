# The video frame upload: the hand-over record between the uploading host thread and the render
# thread, the checks a frame passes first, the two upload roads and the host staging buffer of
# the read-back.
target_sources(stereon_internal PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/FrameChecks.cpp
    ${CMAKE_CURRENT_LIST_DIR}/HostStagingBuffer.cpp
    ${CMAKE_CURRENT_LIST_DIR}/UploadSynchronizer.cpp
    ${CMAKE_CURRENT_LIST_DIR}/VideoFrameUploader.cpp)
