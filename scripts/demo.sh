#!/usr/bin/env bash
# Shows the library at work: installs what is missing, builds, fills the Start menu of a Wine prefix with shortcuts to the
# programs that are really in it and lists the applications that quarryctl finds there.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# One Xvfb for all the programs below; the prefix's desktop ends with it.
if [[ -z ${QUARRY_DEMO_DISPLAY:-} ]]; then
  "$root/scripts/setup.sh"
  Step configure Configure
  Step build Build quarry quarryctl linkMaker
  Step wine-prefix "$root/scripts/wine.sh" --prefix demo --make
  trap '"$root/scripts/wine.sh" --prefix demo --stop' EXIT
  QUARRY_DEMO_DISPLAY=1 xvfb-run -a "${BASH_SOURCE[0]}" "$@"
  exit
fi

# Demo COMMAND...: one program in the demo's prefix.
Demo() {
  "$root/scripts/wine.sh" --prefix demo "$@"
}

Step start-menu Demo "$build/bin/fixtures/linkMaker.exe" --start-menu
Demo "$build/bin/quarryctl.exe" scan
