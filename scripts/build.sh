#!/usr/bin/env bash
# Configures and builds one flavour of the project.
#   scripts/build.sh            normal build in build/
#   scripts/build.sh asan       AddressSanitizer + UndefinedBehaviorSanitizer in build-asan/
#   scripts/build.sh tsan       ThreadSanitizer in build-tsan/
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
flavour=${1:-normal}
case "$flavour" in
    normal) dir=build; san="" ;;
    asan) dir=build-asan; san=address ;;
    tsan) dir=build-tsan; san=thread ;;
    *) echo "usage: $0 [normal|asan|tsan]" >&2; exit 2 ;;
esac
jobs=${STEREON_JOBS:-2}
cmake -S "$root" -B "$root/$dir" -G Ninja -DSTEREON_SANITIZER="$san"
cmake --build "$root/$dir" -j "$jobs"
