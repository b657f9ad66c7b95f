#!/usr/bin/env bash
# Shows the library at work: installs what is missing, builds, fills the Start menu of a Wine prefix with shortcuts to the
# programs that are really in it, lists the applications that quarryctl finds there and writes them to a page with icons.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# Demo COMMAND...: one program in the demo's prefix.
Demo() {
  "$root/scripts/wine.sh" --prefix demo "$@"
}

if [[ -z ${QUARRY_SESSION:-} ]]; then
  "$root/scripts/setup.sh" wine
  Step configure Configure
  Step build Build quarry quarryctl linkMaker
  Step wine-prefix Demo --make
  Demo --session "${BASH_SOURCE[0]}"
  exit
fi

Step start-menu Demo "$build/bin/linkMaker.exe" --start-menu
Demo "$build/bin/quarryctl.exe" scan
cd "$build"
Demo bin/quarryctl.exe scan --html demo.html
echo "The same with icons, for a browser: $build/demo.html"
