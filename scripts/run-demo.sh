#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" normal
if [ -x "$root/build/bin/stereon-play" ]; then
    exec "$root/build/bin/stereon-play" "$@"
fi
echo "Built the project in build/. The demo host (stereon-play) does not exist yet:"
echo "there is nothing to play. Run scripts/test.sh to run the tests."
