#!/usr/bin/env bash
# The two-minute check while one works: builds, checks format, lints the files that have changed and runs the tests that
# their code is in. scripts/test.sh is the whole check.
#
#   check.sh [COMMIT]   changed since COMMIT; without it, since the branch left main

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# AffectedTests: the names of the test programs that a changed file was compiled into, or into a program or DLL that they
# use, by the graph of the build.
AffectedTests() {
  local objects=$build/check/objects program
  mkdir -p "$build/check"
  awk -F '\t' 'FNR == NR { changed[$0]; next } $2 in changed { print $1 }' \
    <(ChangedFiles "$base") <(OwnDependencies) | sort -u >"$objects"
  for program in "$build"/bin/tests/*.exe; do
    program=${program#"$build/"}
    ! ninja -C "$build" -t inputs "$program" | grep -qxFf "$objects" || basename "$program" .exe
  done
}

cd "$root"
base=${1:-$(git merge-base HEAD main)}
"$root/scripts/setup.sh" wine lint
Step configure Configure
Step build Build
Step format "$root/scripts/format.sh" --check
Step lint "$root/scripts/lint.sh" --since "$base"

mapfile -t tests < <(AffectedTests)
if ((${#tests[@]} == 0)); then
  echo 'no test has changed code in it'
  exit
fi
Step wine-prefix MakeTestPrefixes
RunTests --tests-regex "^($(IFS='|' && echo "${tests[*]}"))\$"
