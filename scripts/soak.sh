#!/usr/bin/env bash
# The long soak: 1000 lives of the library, then a 10-minute storm of frames from two host
# threads while clients come and go and the library restarts. Prints what the process held
# before and after each phase; exits 1 when something grew past its bound. Takes the headset
# lock: run it alone, not beside the tests or the benchmarks.
#   scripts/soak.sh [stereon-soak arguments]   (defaults: --cycles 1000 --storm-seconds 600)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" normal
export EGL_PLATFORM=surfaceless
export LP_NUM_THREADS=${LP_NUM_THREADS:-1}
exec "$root/build/bin/stereon-soak" "$@"
