#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" normal
exec "$root/build/bin/stereon-play" "$@"
