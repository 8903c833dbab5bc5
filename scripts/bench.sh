#!/usr/bin/env bash
# Installs what is missing, builds stereon-bench (RelWithDebInfo) and runs it; arguments go to
# the benchmark, e.g.
#   scripts/bench.sh --quick
#   scripts/bench.sh --reps 15 --json bench.json
# BUILD_DIR picks the build directory (default build-bench); JOBS the build parallelism.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${BUILD_DIR:-$root/build-bench}"
"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target stereon-bench -j "${JOBS:-2}"
export EGL_PLATFORM="${EGL_PLATFORM:-surfaceless}"
if commit="$(git -C "$root" rev-parse --short HEAD 2>/dev/null)"; then
    if [ -n "$(git -C "$root" status --porcelain 2>/dev/null)" ]; then
        commit="$commit+changes"
    fi
    export STEREON_BENCH_COMMIT="$commit"
fi
exec "$build/bin/stereon-bench" "$@"
