#!/usr/bin/env bash
# The long runs, two hours or more:
#
#   - what tests do over and over, as often as a host does in weeks (scripts/test.sh runs it in short)
#   - every test program with a guarded heap, where an access beyond a block or to a freed one faults at once
#   - every test program in a build that stops where C++ leaves the behaviour undefined
#
# As root it raises the number of mappings that a process may have, for the guarded heap, and mounts a file system of 40 KB
# to fill; both are undone at the end. Ends with one line per run, and fails when one has failed.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

longRuns=(appsTest launchTest hostDayTest iconsTest faultsTest fuzzTest stressTest)
sanitized=$build/sanitize
smallDisk=$build/smallDisk

BuildSanitized() {
  (cd "$root" && cmake --preset sanitize && cmake --build --preset sanitize)
}

Undo() {
  umount "$smallDisk" 2>/dev/null || true
  sysctl -q -w "vm.max_map_count=$mappings" 2>/dev/null || true
}

status=0
results=()

# Run NAME PROGRAM [VARIABLE=VALUE...]: one test program in this environment.
Run() {
  local name=$1 program=$2 started=$SECONDS outcome=passed
  shift 2
  printf '%s: its log is %s\n' "$name" "$logs/soak-$name.log"
  RunLogged "$logs/soak-$name.log" env "$@" "$root/scripts/wine.sh" --prefix soak "$program" || outcome=FAILED
  [[ $outcome == passed ]] || status=1
  results+=("$name $outcome ($((SECONDS - started)) s)")
}

if [[ -z ${QUARRY_SESSION:-} ]]; then
  "$root/scripts/setup.sh" build wine
  Step configure Configure
  Step build Build
  Step sanitized BuildSanitized
  Step wine-prefix "$root/scripts/wine.sh" --prefix soak --make
  "$root/scripts/wine.sh" --prefix soak --session "${BASH_SOURCE[0]}"
  exit
fi

mappings=$(sysctl -n vm.max_map_count)
trap Undo EXIT
mkdir -p "$smallDisk"
if ((EUID == 0)); then
  sysctl -q -w vm.max_map_count=4194304 || true
  mount -t tmpfs -o size=40k tmpfs "$smallDisk" && export QUARRY_SMALL_DISK="Z:${smallDisk//\//\\}"
fi

for test in "${longRuns[@]}"; do Run "$test" "$build/bin/tests/$test.exe" QUARRY_SOAK=1; done
for program in "$build"/bin/tests/*.exe; do
  Run "guarded-$(basename "$program" .exe)" "$program" QUARRY_GUARDED_HEAP=1
done
for program in "$sanitized"/bin/tests/*.exe; do Run "sanitized-$(basename "$program" .exe)" "$program" QUARRY_SOAK=; done
printf '%s\n' "${results[@]}"
((status == 0))
