#!/usr/bin/env bash
# The long runs: every test that does something over and over does it as often as a host does in weeks. Takes an hour or
# more; scripts/test.sh runs the same tests in short. Ends with one line per run, and fails when one has failed.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

runs=(appsTest launchTest hostDayTest faultsTest fuzzTest stressTest)

if [[ -z ${QUARRY_SESSION:-} ]]; then
  "$root/scripts/setup.sh" wine
  Step configure Configure
  Step build Build "${runs[@]}"
  Step wine-prefix "$root/scripts/wine.sh" --prefix soak --make
  exec "$root/scripts/wine.sh" --prefix soak --session "${BASH_SOURCE[0]}"
fi

export QUARRY_SOAK=1
status=0
results=()
for run in "${runs[@]}"; do
  printf '%s: run %d of %d, its log is %s\n' "$run" "$((${#results[@]} + 1))" "${#runs[@]}" "$logs/soak-$run.log"
  started=$SECONDS
  outcome=passed
  RunLogged "$logs/soak-$run.log" "$root/scripts/wine.sh" --prefix soak "$build/bin/tests/$run.exe" || outcome=FAILED
  [[ $outcome == passed ]] || status=1
  results+=("$run $outcome ($((SECONDS - started)) s)")
done
printf '%s\n' "${results[@]}"
exit "$status"
