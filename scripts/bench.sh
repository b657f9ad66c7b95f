#!/usr/bin/env bash
# What one more item costs on the library's paths, in calls, time and memory, beside two floors:
#
#   bench.sh [ROUNDS]     the table goes to the standard output and to build/bench.md, its numbers to build/bench.json
#
# The program and Wine's server share one processor, where the system lets them: times that cross from one to another
# depend on where each happens to run.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

rounds=${1:-15}
[[ $rounds =~ ^[1-9][0-9]*$ ]] || Die "usage: bench.sh [ROUNDS]"
"$root/scripts/setup.sh" build wine
Step configure Configure
Step build Build bench

pin=()
core=$(taskset --cpu-list --pid $$ 2>/dev/null | grep -oE '[0-9]+$') && pin=(taskset --cpu-list "$core")
json=$(realpath --relative-to="$PWD" "$build")/bench.json
"${pin[@]}" "$root/scripts/wine.sh" --prefix bench "$build/bin/bench/bench.exe" "$json" "$rounds" | tr -d '\r' |
  tee "$build/bench.md"
