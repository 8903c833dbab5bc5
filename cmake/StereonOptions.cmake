# Compiler settings shared by every target of the project.

if(STEREON_SANITIZER STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
elseif(STEREON_SANITIZER STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT STEREON_SANITIZER STREQUAL "")
    message(FATAL_ERROR "STEREON_SANITIZER must be empty, 'address' or 'thread'")
endif()

# Our own code builds with warnings as errors; third-party headers come in as system headers.
function(stereon_strict_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Werror -Wno-unused-parameter)
endfunction()

# The simulated headset runtime and the CUDA and OpenCL driver stand-ins are Linux libraries, and
# so is everything that plays into them: the demo host, the soak, the benchmarks and the system
# tests. Elsewhere the library, the host stand-in, the OpenVR client and the unit tests build.
if(UNIX AND NOT APPLE)
    set(STEREON_STAND_INS ON)
else()
    set(STEREON_STAND_INS OFF)
    message(STATUS "Not on Linux: the simulated runtime, the driver stand-ins, the demo host, the "
                   "benchmarks and the system tests are not built")
endif()

# stereon_require(<package> "<Debian packages>" [find_package arguments...]): find_package that,
# when the package is missing, stops the configure naming what to install.
macro(stereon_require package debian)
    find_package(${package} ${ARGN} QUIET)
    if(NOT ${package}_FOUND)
        message(FATAL_ERROR "${package} was not found: install the Debian package(s) ${debian} "
                            "(scripts/install-deps.sh installs all the project needs).")
    endif()
endmacro()

stereon_require(Threads "libc6-dev")
stereon_require(Boost "libboost-dev libboost-thread-dev libboost-date-time-dev \
libboost-system-dev libboost-chrono-dev" 1.74 COMPONENTS thread date_time system chrono)
stereon_require(PkgConfig "pkg-config")
