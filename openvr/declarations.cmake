# OpenVR ABI declarations of our own (header only), shared by the client and the simulated runtime.
add_library(openvr_headers INTERFACE)
target_include_directories(openvr_headers INTERFACE
    $<BUILD_INTERFACE:${CMAKE_CURRENT_LIST_DIR}/include>
    $<INSTALL_INTERFACE:include>)
target_compile_features(openvr_headers INTERFACE cxx_std_17)
