# shellcheck shell=bash
# What the scripts of this folder share. To be sourced; needs bash.

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build
logs=$build/logs
# What takes long to make and does not depend on the clone.
# shellcheck disable=SC2034  # for those who source this
cache=${XDG_CACHE_HOME:-$HOME/.cache}/quarry
# Programs under Wine print UTF-8 only in such a locale, and messages of tools stay comparable.
export LC_ALL=C.UTF-8
mkdir -p "$logs"

# Die TEXT...: ends the script with a message.
Die() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# RunLogged LOG COMMAND...: the command with its output in LOG and errexit in force inside it.
RunLogged() {
  local log=$1
  shift
  (set -e; "$@") >"$log" 2>&1 </dev/null
}

# Step NAME COMMAND...: runs one step with its output in build/logs/NAME.log, prints one line about it and ends the
# script with the tail of the log when it fails.
Step() {
  local name=$1 log=$logs/$1.log started=$SECONDS status
  shift
  printf '%-12s ' "$name"
  # Not in an "if": bash ignores errexit inside a function that is called in a condition.
  set +e
  RunLogged "$log" "$@"
  status=$?
  set -e
  if ((status != 0)); then
    printf 'FAILED (status %d, %d s)\n' "$status" "$((SECONDS - started))"
    tail -n 40 "$log"
    Die "step '$name' failed, its log is $log"
  fi
  printf 'ok (%d s)\n' "$((SECONDS - started))"
}

# AsRoot COMMAND...: runs a command as root.
AsRoot() {
  if ((EUID == 0)); then "$@"; else sudo -- "$@"; fi
}

# Configure: configures the build tree; Build TARGET...: builds these targets or everything.
Configure() {
  (cd "$root" && cmake --preset mingw)
}
Build() {
  local targets=()
  (($# == 0)) || targets=(--target "$@")
  (cd "$root" && cmake --build --preset mingw "${targets[@]}")
}

# MakeTestPrefixes: the prefixes of the lanes in which tests run side by side; RunTests [OPTION...]: CTest in a session
# of each.
MakeTestPrefixes() {
  "$root/scripts/wine.sh" --prefix tests --make
  "$root/scripts/wine.sh" --prefix tests2 --make
}
RunTests() {
  (cd "$root" && scripts/wine.sh --prefix tests --session scripts/wine.sh --prefix tests2 --session \
    ctest --preset mingw --resource-spec-file "$root/cmake/lanes.json" --parallel 2 "$@" </dev/null)
}

# ChangedFiles BASE: the repository's files that are not as in that commit, or new, one per line.
ChangedFiles() {
  (cd "$root" && { git diff --name-only "$1" && git ls-files --others --exclude-standard; } | sort -u)
}

# OwnDependencies: of the build as it is, lines of object and own file that it was compiled from, separated by a tab.
OwnDependencies() {
  ninja -C "$build" -t deps | awk -v root="$root/" -v build="$build/" '
    /^[^ ]/ { object = $1; sub(/:$/, "", object) }
    /^ / {
      sub(/^ +/, "")
      sub(/^\.\.\//, root)  # a compiler cache can make paths relative to the build folder
      if (index($0, root) == 1 && index($0, build) != 1) print object "\t" substr($0, length(root) + 1)
    }'
}

# OwnFiles PATTERN...: the repository's own files, tracked or new, that match the patterns, one per line.
OwnFiles() {
  (cd "$root" && git ls-files --cached --others --exclude-standard --deduplicate -- "$@" |
    while IFS= read -r file; do [[ ! -e $file ]] || printf '%s\n' "$file"; done)
}
