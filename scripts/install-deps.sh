#!/usr/bin/env bash
# Installs every Debian 12 package the project needs to build, test and run.
# Idempotent: packages already present are left as they are.
set -euo pipefail

packages=(
    # toolchain
    cmake ninja-build g++ pkg-config git clang-format
    # clang checks the OpenVR record layouts for the Windows x64 target; with its sanitizer and
    # libFuzzer runtimes and LLVM's symbolizer it builds and runs the fuzz targets
    clang libclang-rt-14-dev llvm-14
    # MinGW-w64 compiles the Windows-only sources (syntax only) so that they cannot rot
    g++-mingw-w64-x86-64-posix
    # Boost: shared_ptr, function, bind, thread, chrono, date_time, interprocess
    libboost-dev libboost-thread-dev libboost-date-time-dev libboost-system-dev libboost-chrono-dev
    # OpenGL through EGL on Mesa (llvmpipe without a display)
    libglew-dev libegl-dev libegl-mesa0 libgl1-mesa-dri libgl-dev libgles-dev
    # OpenCL: headers, ICD loader and PoCL as the CPU device
    ocl-icd-opencl-dev opencl-headers pocl-opencl-icd
    # tests, JSON, PNG
    libgtest-dev libgmock-dev nlohmann-json3-dev libpng-dev
    # FFmpeg for the demo host
    libavformat-dev libavcodec-dev libavutil-dev libswscale-dev
    # libavfilter: the benchmark runs FFmpeg's v360 reprojection as the peer it compares with
    libavfilter-dev
    # an X server of its own (Xvfb) for the GLX context path, and GLX on Mesa
    xvfb xauth libx11-dev libglx-dev libglx-mesa0
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    echo "install-deps: all ${#packages[@]} packages are installed"
    exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
    SUDO="sudo"
fi
echo "install-deps: installing ${missing[*]}"
$SUDO apt-get update
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
