#!/usr/bin/env bash
# Runs a Windows program in a Wine prefix of the build tree, never in the user's own:
#
#   wine.sh [--prefix NAME] PROGRAM [ARGUMENT...]   build/wine/NAME, "default" without the option; made when missing
#   wine.sh [--prefix NAME] --make                  only makes the prefix
#   wine.sh [--prefix NAME] --session COMMAND...    runs a command with a display of its own, for many programs to share,
#                                                   and then ends what still runs in the prefix; can be nested
#
# Programs see the prefix's folder in QUARRY_WINEPREFIX.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

name=default
if [[ ${1:-} == --prefix ]]; then
  name=${2:?--prefix needs a name}
  shift 2
fi
(($# > 0)) || Die "usage: wine.sh [--prefix NAME] (--make | --session COMMAND... | PROGRAM [ARGUMENT...])"

prefixes=$build/wine
# CTest gives each test one of its lanes, a prefix on a display of its own.
if [[ ${CTEST_RESOURCE_GROUP_0_LANES:-} =~ ^id:([a-z0-9]+), ]]; then
  name=${BASH_REMATCH[1]}
  display=QUARRY_DISPLAY_$name
  [[ -n ${!display:-} ]] || Die "CTest runs this test in the lane $name, but not in a session of that prefix"
  IFS=' ' read -r DISPLAY XAUTHORITY <<<"${!display}"
  export DISPLAY XAUTHORITY
fi
export WINEPREFIX=$prefixes/$name
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
export QUARRY_WINEPREFIX=$WINEPREFIX

# DetachFromHome PREFIX: Wine links the user's folders (Desktop, Documents...) into the prefix; programs must not write there.
DetachFromHome() {
  local link
  while IFS= read -r -d '' link; do
    rm "$link"
    mkdir "$link"
  done < <(find "$1/drive_c/users" -type l -print0)
}

# MakePrefix: made under another name first, so that an interrupted creation is not taken for a good one.
MakePrefix() {
  local work
  work=$(mktemp -d "$prefixes/.$name.XXXXXX")
  # shellcheck disable=SC2064  # "work" is gone when the trap runs
  trap "WINEPREFIX='$work' wineserver -k || true; rm -rf '$work'" EXIT
  WINEPREFIX=$work wine wineboot --init
  WINEPREFIX=$work wineserver -w
  DetachFromHome "$work"
  mv -T "$work" "$WINEPREFIX"
}

ProvidePrefix() {
  [[ ! -d $WINEPREFIX ]] || return 0
  mkdir -p "$prefixes"
  (
    flock 9
    [[ -d $WINEPREFIX ]] || RunLogged "$logs/wine-$name.log" MakePrefix
  ) 9>"$prefixes/.lock" || Die "cannot make the Wine prefix $WINEPREFIX, the log is $logs/wine-$name.log"
}

StopPrefix() {
  [[ ! -d $WINEPREFIX ]] || wineserver -k || true
}

# Session COMMAND...: the prefix's desktop belongs to the display it was started on, so it has to end before that does.
Session() {
  if [[ ${QUARRY_SESSION:-} != "$name" ]]; then
    QUARRY_SESSION=$name exec xvfb-run -a "${BASH_SOURCE[0]}" --prefix "$name" --session "$@"
  fi
  export "QUARRY_DISPLAY_$name=$DISPLAY $XAUTHORITY"
  trap StopPrefix EXIT
  "$@"
}

if [[ $1 == --session ]]; then
  Session "${@:2}"
  exit
fi
[[ $1 != --make || ! -d $WINEPREFIX ]] || exit 0
if [[ -z ${DISPLAY:-} ]]; then
  Session "${BASH_SOURCE[0]}" --prefix "$name" "$@"
  exit
fi
ProvidePrefix
[[ $1 != --make ]] || exit 0
exec wine "$@"
