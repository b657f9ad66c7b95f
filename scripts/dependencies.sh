# shellcheck shell=bash
# The libraries that are built from Debian's source packages. Sourced by setup.sh after common.sh.

: "${root:?}" "${build:?}" "${cache:?}"

deps=$build/deps
toolchain=$root/cmake/toolchain-mingw64.cmake

# RecipeKey NAME: what a built library depends on, for the name of its cache folder.
RecipeKey() {
  local compiler hash
  compiler=$(x86_64-w64-mingw32-g++-posix -dumpfullversion)
  hash=$(cd "$root/cmake" && find "dependencies/$1" "$(basename "$toolchain")" -type f -print0 | sort -z |
    xargs -0 sha256sum | sha256sum | cut -c1-12)
  printf '%s-%s' "$compiler" "$hash"
}

# Mirrors: the package repositories that this machine is set up with, one per line.
Mirrors() {
  apt-get update --print-uris | sed -nE "s#^'([^']+)/dists/.*#\1#p" | sort -u
}

# FetchSource NAME FOLDER: unpacks the source that the recipe names into FOLDER/source. The recipe names it by its place
# in the pool, which all releases of a repository share, and its checksum: it is the same source on every machine.
FetchSource() {
  local name=$1 folder=$2 checksum place mirror
  read -r checksum place <"$root/cmake/dependencies/$name/source.sha256"
  mkdir -p "$folder/source"
  while IFS= read -r mirror; do
    # With apt's own proxies and certificates. It leaves no file whose checksum is another.
    if /usr/lib/apt/apt-helper -o APT::Sandbox::User=root download-file "$mirror/pool/$place" "$folder/tar" \
      "SHA256:$checksum"; then
      tar -xf "$folder/tar" -C "$folder/source" --strip-components 1
      return
    fi
  done < <(Mirrors)
  Die "no package repository of this machine has pool/$place with the checksum of cmake/dependencies/$name/source.sha256"
}

# ProvideDependency NAME VARIABLE: links build/deps/NAME to the built library in the cache and builds it there when it is
# missing. VARIABLE is how its recipe wants to be told the folder of the sources.
ProvideDependency() {
  local name=$1 variable=$2 work found
  found=$cache/$name-$(RecipeKey "$name")
  mkdir -p "$cache" "$deps"
  if [[ ! -d $found ]]; then
    # Beside its final place: the rename that publishes it must not cross file systems.
    work=$(mktemp -d "$cache/.$name.XXXXXX")
    # shellcheck disable=SC2064  # "work" is gone when the trap runs
    trap "rm -rf '$work'" EXIT
    FetchSource "$name" "$work/fetch"
    cmake -G Ninja -S "$root/cmake/dependencies/$name" -B "$work/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
      -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$work/install" "-D$variable=$work/fetch/source"
    cmake --build "$work/build"
    cmake --install "$work/build"
    # Another clone may have been quicker; then its result serves as well.
    mv -T "$work/install" "$found" || [[ -d $found ]]
  fi
  printf 'using %s\n' "$found"
  ln -sfnT "$found" "$deps/$name"
}

# LinkHeaders: one folder with just the header-only libraries, because /usr/include must not be on a cross compiler's path.
LinkHeaders() {
  local name
  mkdir -p "$deps/headers"
  for name in boost nlohmann CLI; do
    [[ -d /usr/include/$name ]] || Die "no /usr/include/$name"
    ln -sfnT "/usr/include/$name" "$deps/headers/$name"
  done
}
