#!/usr/bin/env bash
# The whole check: installs what is missing, builds, checks format and lint, runs all tests.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$root/scripts/setup.sh"
Step configure Configure
Step build Build
Step format "$root/scripts/format.sh" --check
Step lint "$root/scripts/lint.sh"
Step wine-prefix "$root/scripts/wine.sh" --prefix tests --make

# CTest's own report is this script's last output. All tests share one desktop.
log=$logs/tests.log
cd "$root"
"$root/scripts/wine.sh" --prefix tests --session ctest --preset mingw "$@" </dev/null 2>&1 | tee "$log" ||
  Die "step 'tests' failed, its log is $log"
