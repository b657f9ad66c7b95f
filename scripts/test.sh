#!/usr/bin/env bash
# The whole check: installs what is missing, builds, checks format and lint, runs all tests.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$root/scripts/setup.sh"
Step configure Configure
Step build Build
Step format "$root/scripts/format.sh" --check
Step lint "$root/scripts/lint.sh"
Step wine-prefix MakeTestPrefixes

# CTest's own report is this script's last output.
log=$logs/tests.log
RunTests "$@" 2>&1 | tee "$log" || Die "step 'tests' failed, its log is $log"
