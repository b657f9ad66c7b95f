#!/usr/bin/env bash
# Makes the package for host developers, with Clang, and tests it:
#
#   package.sh [--sign CERTIFICATE | --twice]
#
#   build/clang/package/quarry-VERSION-win64.zip           DLL, tool, headers, import libraries, documents, examples
#   build/clang/package/quarry-VERSION-win64-symbols.zip   what Windows debuggers need for a crash dump
#
# each with its SHA-256 sum beside it. CERTIFICATE is a PKCS #12 file, which signs DLL and tool; its password, if it has
# one, is in QUARRY_CERTIFICATE_PASSWORD. Unsigned, the same commit gives the same bytes in any folder: with --twice it is
# made once more from a clone elsewhere, and compared.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

if (($# == 2)) && [[ $1 == --sign ]]; then
  QUARRY_CERTIFICATE=$(realpath "$2")
  [[ -r $QUARRY_CERTIFICATE ]] || Die "cannot read $2"
  export QUARRY_CERTIFICATE
elif (($# > 0)) && [[ $* != --twice ]]; then
  Die "usage: package.sh [--sign CERTIFICATE | --twice]"
fi

# The time of all that is packed; archives hold it as local time.
SOURCE_DATE_EPOCH=$(git -C "$root" log -1 --format=%ct)
export SOURCE_DATE_EPOCH TZ=UTC
# A compiler cache that changes paths would change what the symbols say.
unset CCACHE_BASEDIR

# These take the root of the tree.
ConfigurePackage() {
  (cd "$1" && cmake --preset clang -DQUARRY_RELEASE=ON)
}
BuildPackage() {
  (cd "$1" && cmake --build --preset clang --target quarry quarryctl importLibraries reference)
}
Pack() {
  rm -rf "$1"/build/clang/package/*.zip*
  (cd "$1/build/clang" && cpack)
}

# Sums FOLDER: of the archives there, without the folder's name.
Sums() {
  (cd "$1" && sha256sum ./*.zip)
}

# From a clone in a folder with another name: what is not in the commit does not count.
PackElsewhere() {
  local clone
  clone=$(mktemp -d "${TMPDIR:-/tmp}/quarry package.XXXXXX")
  # shellcheck disable=SC2064  # "clone" is gone when the trap runs
  trap "rm -rf '$clone'" EXIT
  git clone --quiet "$root" "$clone/clone"
  "$clone/clone/scripts/setup.sh" package
  ConfigurePackage "$clone/clone"
  BuildPackage "$clone/clone"
  Pack "$clone/clone"
  diff <(Sums "$build/clang/package") <(Sums "$clone/clone/build/clang/package")
}

"$root/scripts/setup.sh" wine package
Step configure ConfigurePackage "$root"
Step build BuildPackage "$root"
Step pack Pack "$root"
Step wine-prefix "$root/scripts/wine.sh" --prefix tests --make
Step package-test "$root/scripts/wine.sh" --prefix tests --session "$root/tests/package/packageTest.py" \
  "$build/clang" --whole
[[ ${1:-} != --twice ]] || Step same-bytes PackElsewhere
Sums "$build/clang/package"
