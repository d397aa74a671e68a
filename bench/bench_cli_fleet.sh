#!/bin/bash
# Wall time of "vesk-cli run --all" on 4 emulated adb devices against 1, with
# the adb stand-in of tests/support playing the devices (each "device" runs its
# tests on this machine). The goal: 4 devices take at most 1.3 x the time of one.
#
#   bench/bench_cli_fleet.sh [BUILD_DIR] [TESTS] [TEST_SECONDS]
#
# TESTS tests (default 100) in 10 sub-menus; each sleeps TEST_SECONDS (default
# 0.2) like a test that waits on hardware, and answers --help with one
# argument. TEST_SECONDS 0 measures the program's own cost per test instead: then
# every "device" competes for this machine's cores, which real devices do not.
set -euo pipefail
build=${1:-build}
tests=${2:-100}
test_seconds=${3:-0.2}
program=$(cd "$build" && pwd)/vesk-cli
stub_dir=$(cd "$(dirname "$0")/../tests/support" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for ((i = 0; i < tests; ++i)); do
    dir="$work/menu/m$((i % 10))"
    mkdir -p "$dir"
    printf '#!/bin/sh\nif [ "$1" = "--help" ]; then printf "Usage: t\\nArguments:\\n--n <1-9>: Default=4, n\\n"; exit 0; fi\nsleep %s\n' \
        "$test_seconds" > "$dir/t$i"
    chmod +x "$dir/t$i"
done

run() {
    local serials=$1
    local start end
    start=$(date +%s.%N)
    PATH="$stub_dir:$PATH" ADB_STUB_DEVICES="EMU1 EMU2 EMU3 EMU4" \
        "$program" run --all --device=adb --serial-id="$serials" --dir="$work/menu" \
        --json="$work/runs.json" >"$work/out.txt" 2>"$work/err.txt" || true
    end=$(date +%s.%N)
    awk -v a="$start" -v b="$end" 'BEGIN { printf "%.2f", b - a }' 
}

one=$(run EMU1)
four=$(run EMU1,EMU2,EMU3,EMU4)
passed=$(grep -c '"result":"PASS"' "$work/runs.json" || true)
echo "tests: $tests x ${test_seconds}s; passed runs: $passed of $((tests * 5))"
echo "1 device:  ${one} s"
echo "4 devices: ${four} s"
echo "ratio:     $(awk -v a="$one" -v b="$four" 'BEGIN { printf "%.2f", b / a }')"
