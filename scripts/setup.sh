#!/usr/bin/env bash
# Brings the machine to where the tree can be configured: installs what packages are missing, builds the libraries that
# Debian has no Windows package of (once per machine, in a cache outside the tree) and links all of them into build/deps.
# Does nothing, quickly, when all is there.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$root/scripts/dependencies.sh"

InstallPackages() {
  local package missing=()
  while IFS= read -r package; do
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
  done < <(grep -v '^#' "$root/scripts/packages.txt")
  ((${#missing[@]} > 0)) || return 0
  printf 'missing: %s\n' "${missing[*]}"
  AsRoot env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 update
  AsRoot env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 install -y --no-install-recommends \
    "${missing[@]}"
}

Step packages InstallPackages
Step icu ProvideDependency icu ICU_SOURCE
Step uriparser ProvideDependency uriparser URIPARSER_SOURCE
Step headers LinkHeaders
