#!/usr/bin/env bash
# Installs what is missing, builds the libFuzzer targets (clang, in build-fuzz/) and runs each
# over its starting inputs for a while.
#   scripts/fuzz.sh [seconds-per-target] [target...]
# Default: 600 seconds each, every target with starting inputs in tests/fuzz/corpus/ (target
# <name> is build-fuzz/bin/<name>_fuzz). The starting inputs are only read: what the fuzzer finds
# worth keeping goes to a work directory outside the repository, $STEREON_FUZZ_WORK or
# ${TMPDIR:-/tmp}/stereon-fuzz, one folder a target (corpus/, artifacts/ and the run's log), kept
# so that a later run goes on from there. A crash, a leak, undefined behaviour or a broken
# invariant stops the script with a failure and leaves the input in artifacts/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-600}
shift || true
case "$seconds" in
    '' | *[!0-9]* | 0)
        echo "usage: $0 [seconds-per-target] [target...]" >&2
        exit 2
        ;;
esac

"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$root/build-fuzz" -G Ninja -DSTEREON_FUZZ=ON \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
cmake --build "$root/build-fuzz" -j "${STEREON_JOBS:-2}"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for dir in "$root"/tests/fuzz/corpus/*/; do
        targets+=("$(basename "$dir")")
    done
fi

# Readable stacks in the reports.
if [ -z "${ASAN_SYMBOLIZER_PATH:-}" ]; then
    for symbolizer in llvm-symbolizer llvm-symbolizer-14 /usr/lib/llvm-14/bin/llvm-symbolizer; do
        if command -v "$symbolizer" >/dev/null; then
            export ASAN_SYMBOLIZER_PATH=$(command -v "$symbolizer")
            break
        fi
    done
fi
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
# As in scripts/test.sh: clang 14's __tls_get_addr interceptor can hand the leak check a bogus
# dynamic TLS range that kills its tracer.
export ASAN_OPTIONS=${ASAN_OPTIONS:-intercept_tls_get_addr=0}

work=${STEREON_FUZZ_WORK:-${TMPDIR:-/tmp}/stereon-fuzz}
for target in "${targets[@]}"; do
    binary="$root/build-fuzz/bin/${target}_fuzz"
    seeds="$root/tests/fuzz/corpus/$target"
    if [ ! -x "$binary" ] || [ ! -d "$seeds" ]; then
        echo "fuzz.sh: no target $target (wanted $binary and $seeds)" >&2
        exit 2
    fi
    mkdir -p "$work/$target/corpus" "$work/$target/artifacts"
    echo "fuzz.sh: $target for ${seconds}s, new inputs in $work/$target/corpus"
    # The first folder receives new inputs; the seeds are read only. One input taking over ten
    # seconds counts as a hang.
    status=0
    "$binary" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="$work/$target/artifacts/" "$work/$target/corpus" "$seeds" \
        >"$work/$target/log" 2>&1 || status=$?
    grep -E '^(#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units|stat::peak_rss_mb|Done )' \
        "$work/$target/log" || true
    if [ $status -ne 0 ]; then
        tail -n 60 "$work/$target/log" >&2
        echo "fuzz.sh: $target failed (status $status); log $work/$target/log," \
            "input in $work/$target/artifacts/" >&2
        exit 1
    fi
done
