# Installs the build into a fresh prefix, configures and builds examples/minimal-host against it
# with find_package(Stereon), checks the pkg-config file, and runs the host against the
# simulated runtime.
foreach(var BUILD_DIR EXAMPLE_DIR WORK_DIR SIMVR_ROOT GENERATOR)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "${var} is not set")
    endif()
endforeach()

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
    set(run_output "${out}" PARENT_SCOPE)
endfunction()

# A host of a sanitizer build of the library is built with the same sanitizer.
set(sanitize "")
if(SANITIZER STREQUAL "address")
    set(sanitize -fsanitize=address,undefined)
elseif(SANITIZER STREQUAL "thread")
    set(sanitize -fsanitize=thread)
endif()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# What the host's build below does not already need: headers it does not include, and data.
foreach(file
        include/stereon/IHMDManager.h
        include/stereon/IHMDListener.h
        include/stereon/IVRQuad.h
        include/stereon/IControllerManager.h
        include/stereon/IControllerListener.h
        include/stereon/IControllerFeedback.h
        include/stnvr/vr_client.h
        lib/Stereon/models/winmr/left/controller-left.obj
        lib/Stereon/models/winmr/right/controller-right.obj)
    if(NOT EXISTS ${prefix}/${file})
        message(FATAL_ERROR "the install lacks ${file}")
    endif()
endforeach()
foreach(library stereon hostkit stereon_openvr)
    file(GLOB found ${prefix}/lib/lib${library}.so*)
    if(NOT found)
        message(FATAL_ERROR "the install lacks lib${library}.so")
    endif()
endforeach()

# The installed package, not the build tree, is what the host finds.
run(${CMAKE_COMMAND} -S ${EXAMPLE_DIR} -B ${WORK_DIR}/host -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
    "-DCMAKE_CXX_FLAGS=${sanitize}" "-DCMAKE_EXE_LINKER_FLAGS=${sanitize}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/host -j 2)

# pkg-config gives flags that compile a host too.
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
run(pkg-config --cflags --libs stereon)
string(STRIP "${run_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ -std=c++17 -Wall -Wextra -Werror ${sanitize} ${EXAMPLE_DIR}/main.cpp ${flags}
    -o ${WORK_DIR}/minimal-host-pkgconfig)

# The host built against the install plays into the simulated runtime.
file(MAKE_DIRECTORY ${WORK_DIR}/vr/config ${WORK_DIR}/vr/log)
set(ENV{VR_OVERRIDE} ${SIMVR_ROOT})
set(ENV{VR_CONFIG_PATH} ${WORK_DIR}/vr/config)
set(ENV{VR_LOG_PATH} ${WORK_DIR}/vr/log)
set(ENV{EGL_PLATFORM} surfaceless)
set(ENV{LP_NUM_THREADS} 1)
run(${WORK_DIR}/host/minimal-host 10)
if(NOT run_output MATCHES "took 10 of 10 frames" OR
   NOT run_output MATCHES "meets panel pixel 128,31")
    message(FATAL_ERROR "unexpected output of the host: ${run_output}")
endif()
run(${WORK_DIR}/minimal-host-pkgconfig 3)
file(REMOVE_RECURSE ${WORK_DIR})
