#!/usr/bin/env bash
# Brings the machine to where the tree can be configured: installs what packages are missing, builds the libraries that
# Debian has no Windows package of (once per machine, in a cache outside the tree) and links all of them into build/deps.
# Does nothing, quickly, when all is there.
#
#   setup.sh                                            all packages but those that only scripts/package.sh needs
#   setup.sh [wine] [lint] [browser] [test] [package]   those of the build and of these groups of packages.txt

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$root/scripts/dependencies.sh"

groups=("$@")
((${#groups[@]} > 0)) || groups=(wine lint browser test)

InstallPackages() {
  local package missing=()
  while IFS= read -r package; do
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
  done < <(for group in build "${groups[@]}"; do sed -n "s/^$group: //p" "$root/scripts/packages.txt"; done | tr ' ' '\n')
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
