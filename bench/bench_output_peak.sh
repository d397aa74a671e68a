#!/bin/bash
# Peak resident memory of vesk and of vesk-cli while a test writes without
# bounds, against the peak of the same program running a test that writes
# nothing. The bound: peak <= idle + 2 x VESK_OUTPUT_LIMIT + 8 MiB, whatever the
# writer.
#
#   bench/bench_output_peak.sh [BUILD_DIR] [YES_SECONDS] [LIMITS...]
#
# Writers: `yes` for YES_SECONDS (default 60), 10 GB of 100-byte lines as fast
# as `head` passes them, one 300 MB line without a newline, and a --help that
# never ends (a test whose help is yes). LIMITS default to the default limit
# (16777216) and 1 MiB. The peak is the maximum resident set size that
# /usr/bin/time -v reports for the whole run. PEAK_PROGRAMS (panel cli_run) and
# PEAK_WRITERS (yes fast10g oneline endless_help) pick a part of the cases.
set -euo pipefail
build=${1:-build}
seconds=${2:-60}
shift $(($# > 2 ? 2 : $#))
limits=("$@")
((${#limits[@]})) || limits=(16777216 1048576)
vesk=$(cd "$build" && pwd)/vesk
cli=$(cd "$build" && pwd)/vesk-cli
work=$(mktemp -d /tmp/output-peak-XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/menu"

line=$(printf '%099d' 0)
test_script() {  # name, body (run for anything but --help), help body
    printf '#!/bin/sh\nif [ "$1" = "--help" ]; then %s; fi\n%s\ntouch %s/ended.%s\n' "$3" "$2" "$work" "$1" > "$work/menu/$1"
    chmod +x "$work/menu/$1"
}
test_script quiet 'true' 'exit 1'
test_script yes "timeout $seconds yes" 'exit 1'
test_script fast10g "yes $line | head -c 10000000000" 'exit 1'
test_script oneline "head -c 300000000 /dev/zero | tr '\\\\0' x" 'exit 1'
test_script endless_help 'true' 'echo Usage:; echo Arguments:; exec yes'

peak_kb() { awk -F': ' '/Maximum resident set size/ {print $2}' "$1"; }

# The panel: opens the test, runs it (except for the help case, whose page only
# reads the help), waits until its mark appears, then quits.
panel() {  # test, limit -> peak kB
    local test=$1 limit=$2 fifo=$work/in.$1.$2
    rm -f "$work/ended.$test"
    mkfifo "$fifo"
    VESK_OUTPUT_LIMIT=$limit /usr/bin/time -v -o "$work/time.panel" "$vesk" --ozgi-video=headless \
        --ozgi-script=- --dir="$work/menu" --serial-id=LOCAL_DEVICE < "$fifo" > /dev/null &
    local pid=$!
    exec 3> "$fifo"
    printf 'tap_text %s\n' "$test" >&3
    if [ "$test" = endless_help ]; then
        # Opening the page reads the help until it is too long and interrupts it.
        printf 'wait 500\n' >&3
        sleep 3
    else
        printf 'tap_text Execute test\n' >&3
        while [ ! -e "$work/ended.$test" ]; do
            echo 'wait 400' >&3
            sleep 0.5
        done
        echo 'wait 1500' >&3
        sleep 2.5
    fi
    echo quit >&3
    exec 3>&-
    wait "$pid" || true
    rm -f "$fifo"
    peak_kb "$work/time.panel"
}

cli_run() {  # test, limit -> peak kB
    local test=$1 limit=$2
    VESK_OUTPUT_LIMIT=$limit /usr/bin/time -v -o "$work/time.cli" "$cli" run --dir="$work/menu" \
        --help-timeout=3 "$test" > /dev/null 2>&1 || true
    peak_kb "$work/time.cli"
}

printf '%-8s %-12s %-13s %10s %10s %10s  %s\n' program limit writer idle_kB peak_kB bound_kB verdict
for limit in "${limits[@]}"; do
    for program in ${PEAK_PROGRAMS:-panel cli_run}; do
        idle=$($program quiet "$limit")
        for test in ${PEAK_WRITERS:-yes fast10g oneline endless_help}; do
            if [ "$program" = cli_run ] && [ "$test" = endless_help ]; then
                # vesk-cli reads a help only to run the test: check stands for it.
                peak=$(VESK_OUTPUT_LIMIT=$limit /usr/bin/time -v -o "$work/time.cli" "$cli" check \
                    --dir="$work/menu" --help-timeout=3 > /dev/null 2>&1 || true; peak_kb "$work/time.cli")
            else
                peak=$($program "$test" "$limit")
            fi
            bound=$((idle + 2 * limit / 1024 + 8192))
            verdict=ok
            ((peak <= bound)) || verdict=OVER
            printf '%-8s %-12s %-13s %10d %10d %10d  %s\n' "${program%_run}" "$limit" "$test" "$idle" "$peak" "$bound" "$verdict"
        done
    done
done
