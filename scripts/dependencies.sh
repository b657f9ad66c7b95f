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

# WriteSourceLists FOLDER FILTER: the machine's own package sources, turned into lists of source packages and passed
# through a sed script.
WriteSourceLists() {
  local folder=$1 filter=$2 file
  mkdir -p "$folder"
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
    [[ -s $file ]] || continue
    sed -E -e 's/^Types:.*/Types: deb-src/' -e '/^deb-src[[:space:]]/d' -e 's/^deb([[:space:]])/deb-src\1/' \
      -e "$filter" "$file" >"$folder/$(basename "$file")"
  done
}

# FetchFromLists NAME FOLDER FILTER: puts the original tar of a source package into FOLDER/tar. Changes nothing of the
# machine's package state: lists and cache are its own.
FetchFromLists() {
  local name=$1 folder=$2
  rm -rf "$folder"
  mkdir -p "$folder"/{lists/partial,cache/archives/partial,tar}
  WriteSourceLists "$folder/sources" "$3"
  local options=(-o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$folder/sources"
    -o "Dir::State::lists=$folder/lists" -o "Dir::Cache=$folder/cache" -o APT::Sandbox::User=root)
  # A source of other software may have no source packages: what counts is whether the tar comes.
  apt-get "${options[@]}" update || true
  (cd "$folder/tar" && apt-get "${options[@]}" source --download-only --tar-only "$name")
}

# FetchSource NAME FOLDER: unpacks the source of a package into FOLDER/source. Not every mirror of a release still has
# each tar, so the next release's is the second choice.
FetchSource() {
  local name=$1 folder=$2 codename
  codename=$(. /etc/os-release && printf '%s' "$VERSION_CODENAME")
  FetchFromLists "$name" "$folder" '' ||
    FetchFromLists "$name" "$folder" "s/\\b$codename\\b/trixie/g" || return 1
  mkdir "$folder/source"
  tar -xf "$folder"/tar/*.orig.tar.* -C "$folder/source" --strip-components 1
}

# ProvideDependency NAME VARIABLE: links build/deps/NAME to the built library in the cache and builds it there when it is
# missing. VARIABLE is how its recipe wants to be told the folder of the sources.
ProvideDependency() {
  local name=$1 variable=$2 key work found version
  key=$(RecipeKey "$name")
  mkdir -p "$cache" "$deps"
  # The release is known only after the fetch, so any release that this recipe has built will do.
  found=$(find "$cache" -maxdepth 1 -type d -name "$name-*-$key" | sort -V | tail -n 1)
  if [[ -z $found ]]; then
    # Beside its final place: the rename that publishes it must not cross file systems.
    work=$(mktemp -d "$cache/.$name.XXXXXX")
    # shellcheck disable=SC2064  # "work" is gone when the trap runs
    trap "rm -rf '$work'" EXIT
    FetchSource "$name" "$work/fetch"
    version=$(basename "$work"/fetch/tar/*.orig.tar.*)
    version=${version#*_}
    version=${version%.orig.tar.*}
    cmake -G Ninja -S "$root/cmake/dependencies/$name" -B "$work/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
      -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$work/install" "-D$variable=$work/fetch/source"
    cmake --build "$work/build"
    cmake --install "$work/build"
    found=$cache/$name-$version-$key
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
