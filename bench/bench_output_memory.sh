#!/bin/bash
# Resident memory of a headless vesk whose test printed a lot of output, against
# the same program after a run that printed nothing. The goal: holding N bytes of
# output costs at most 1.2 x (N + the idle size).
#
#   bench/bench_output_memory.sh [BUILD_DIR] [MEGABYTES]
#
# The output limit is raised above the output, so that everything is kept.
set -euo pipefail
build=${1:-build}
mb=${2:-50}
program=$(cd "$build" && pwd)/vesk
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/menu"

# Lines of 100 bytes, like a chatty test's log.
line=$(printf '%099d' 0 | tr 0 x)
python3 - "$work/out.txt" "$mb" "$line" <<'PY'
import sys
path, mb, line = sys.argv[1], int(sys.argv[2]), sys.argv[3] + "\n"
with open(path, "w") as f:
    f.write(line * (mb * 1024 * 1024 // len(line)))
PY
# Each test leaves a mark when it ends: the measurement must not use wait_text or
# dump, whose own copies of a long text would be measured too.
printf '#!/bin/sh\n[ "$1" = "--help" ] && exit 1\ncat %s\ntouch %s\n' "$work/out.txt" "$work/ended.big" > "$work/menu/big"
printf '#!/bin/sh\n[ "$1" = "--help" ] && exit 1\ntouch %s\n' "$work/ended.quiet" > "$work/menu/quiet"
chmod +x "$work/menu/big" "$work/menu/quiet"
bytes=$(stat -c %s "$work/out.txt")

# Runs the test $1 once in a live program and prints its VmRSS in kB after the run.
measure() {
    local test=$1
    mkfifo "$work/in.$test"
    VESK_OUTPUT_LIMIT=$((bytes + 1024 * 1024)) "$program" --ozgi-video=headless --ozgi-script=- \
        --dir="$work/menu" --serial-id=LOCAL_DEVICE < "$work/in.$test" > "$work/dump.$test" &
    local pid=$!
    exec 3> "$work/in.$test"
    printf 'tap_text %s\ntap_text Execute test\n' "$test" >&3
    # Timers run only during a wait: one at a time until the test has ended, then
    # one more for the ticks that read the rest and show the result.
    while [ ! -e "$work/ended.$test" ]; do
        echo 'wait 400' >&3
        sleep 0.5
    done
    echo 'wait 1500' >&3
    sleep 3
    awk '/^VmRSS:/ {print $2}' "/proc/$pid/status"
    echo quit >&3
    exec 3>&-
    wait "$pid"
}

idle_kb=$(measure quiet)
big_kb=$(measure big)
out_kb=$((bytes / 1024))
python3 - "$idle_kb" "$big_kb" "$out_kb" <<'PY'
import sys
idle, big, out = map(int, sys.argv[1:])
goal = 1.2 * (out + idle)
print(f"output {out} kB, idle RSS {idle} kB, RSS with the output {big} kB")
print(f"ratio RSS / (output + idle) = {big / (out + idle):.3f} (goal <= 1.2, i.e. <= {goal:.0f} kB)")
PY
