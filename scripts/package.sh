#!/usr/bin/env bash
# Makes the package for host developers, with Clang, and tests it:
#
#   package.sh [--sign CERTIFICATE]
#
#   build/clang/package/quarry-VERSION-win64.zip           DLL, tool, headers, import libraries, documents, examples
#   build/clang/package/quarry-VERSION-win64-symbols.zip   what Windows debuggers need for a crash dump
#
# each with its SHA-256 sum beside it. CERTIFICATE is a PKCS #12 file, which signs DLL and tool; its password, if it has
# one, is in QUARRY_CERTIFICATE_PASSWORD. Unsigned, the same commit gives the same bytes in any folder.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# What only the package needs.
packages=(clang-16 doxygen lld-16 llvm-16 openssl osslsigncode)

if (($# == 2)) && [[ $1 == --sign ]]; then
  QUARRY_CERTIFICATE=$(realpath "$2")
  [[ -r $QUARRY_CERTIFICATE ]] || Die "cannot read $2"
  export QUARRY_CERTIFICATE
elif (($# > 0)); then
  Die "usage: package.sh [--sign CERTIFICATE]"
fi

InstallPackages() {
  local package missing=()
  for package in "${packages[@]}"; do
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
  done
  ((${#missing[@]} > 0)) || return 0
  AsRoot env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 update
  AsRoot env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 install -y --no-install-recommends \
    "${missing[@]}"
}

# The time of all that is packed; archives hold it as local time.
SOURCE_DATE_EPOCH=$(git -C "$root" log -1 --format=%ct)
export SOURCE_DATE_EPOCH TZ=UTC

ConfigurePackage() {
  (cd "$root" && cmake --preset clang -DQUARRY_RELEASE=ON)
}
BuildPackage() {
  (cd "$root" && cmake --build --preset clang --target quarry quarryctl importLibraries)
}
Pack() {
  rm -rf "$build"/clang/package/*.zip*
  (cd "$build/clang" && cpack)
}

"$root/scripts/setup.sh"
Step tools InstallPackages
Step configure ConfigurePackage
Step build BuildPackage
Step pack Pack
Step wine-prefix "$root/scripts/wine.sh" --prefix tests --make
Step package-test "$root/scripts/wine.sh" --prefix tests --session "$root/tests/package/packageTest.py" \
  "$build/clang" --whole
sha256sum "$build"/clang/package/*.zip
