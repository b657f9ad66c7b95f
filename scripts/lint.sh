#!/usr/bin/env bash
# Checks the tree's own C++ files with clang-tidy, its scripts with shellcheck, and that no source needs one compiler.
# Needs a finished build. A file is checked again only when it, a header of it, its flags or the tools have changed: what
# passed is remembered by a hash of all that, for all clones of this user.
#
#   lint.sh                  everything
#   lint.sh --since COMMIT   the files that are not as in that commit; a header by the first file that includes it
#   lint.sh --file FILE KEY  one file; KEY is any name

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

passed=$cache/lint
mkdir -p "$passed" "$build/lint"
cd "$root"

# CrossFlags: clang's view of the cross compiler's headers, one flag per line.
CrossFlags() {
  local gcc clang folder
  gcc=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")
  clang=$(echo "$(dirname "$(readlink -f "$(command -v clang-tidy)")")"/../lib/clang/*/include)
  printf -- '--extra-arg=%s\n' --target=x86_64-w64-windows-gnu -nostdinc -nostdinc++
  for folder in "$gcc"/include/c++{,/x86_64-w64-mingw32,/backward} "$clang" /usr/x86_64-w64-mingw32/include; do
    [[ -d $folder ]] || Die "no folder $folder"
    printf -- '--extra-arg=-isystem%s\n' "$folder"
  done
}

# CommonKey: what every file's result depends on.
CommonKey() {
  local configurations
  mapfile -t configurations < <(OwnFiles .clang-tidy '*/.clang-tidy')
  printf '%s\n' "${flags[@]}"
  clang-tidy --version
  x86_64-w64-mingw32-g++-posix --version
  readlink "$build"/deps/*
  sha256sum "${configurations[@]}"
}

# CompiledFiles: the tree's own files of the build, as lines of source, object and command, separated by tabs.
CompiledFiles() {
  awk -v root="$root/" -v build="$build/" '
    function Value(line) { sub(/^[^:]*: "/, "", line); sub(/",?$/, "", line); return line }
    /^  "command":/ { command = Value($0) }
    /^  "file":/ { file = Value($0) }
    /^}/ {
      object = command
      sub(/.* -o /, "", object)
      sub(/ .*/, "", object)
      if (file ~ /\.(cpp|c)$/ && index(file, root) == 1 && index(file, build) != 1) {
        print substr(file, length(root) + 1) "\t" object "\t" command
      }
    }' "$build/compile_commands.json"
}

# LintFile FILE KEY: one file's check. Its findings come out in one piece because several run at a time.
LintFile() {
  local file=$1 key=$2 errors=$build/lint/$2.err findings
  local more=()
  # A C file has no use for the flags about C++ headers.
  [[ $file != *.c ]] || more=(--extra-arg=-Qunused-arguments)
  if findings=$(clang-tidy --quiet -p "$build" "${flags[@]}" "${more[@]}" "$file" 2>"$errors"); then
    touch "$passed/$key"
    rm "$errors"
    return
  fi
  printf '%s: clang-tidy\n%s\n' "$file" "$findings"
  # Where it did not get as far as findings, the reason is among the errors.
  [[ -n $findings ]] || cat "$errors"
  return 1
}

# ObjectsSince COMMIT: for each file that is not as in that commit, one object that was compiled from it.
ObjectsSince() {
  awk -F '\t' 'FNR == NR { changed[$0]; next } $2 in changed && !seen[$2]++ { print $1 }' \
    <(ChangedFiles "$1") <(OwnDependencies)
}

# TidyChangedFiles [COMMIT]: all files, or those that have changed since then.
TidyChangedFiles() {
  local common file object command key checked
  common=$(CommonKey | sha256sum)
  declare -A wanted=()
  if (($# > 0)); then
    while IFS= read -r object; do wanted[$object]=1; done < <(ObjectsSince "$1")
  fi
  declare -A dependencies=()
  while IFS=$'\t' read -r object file; do
    dependencies[$object]+=$file$'\n'
  done < <(OwnDependencies)
  while IFS=$'\t' read -r file object command; do
    (($# == 0)) || [[ -n ${wanted[$object]:-} ]] || continue
    [[ -n ${dependencies[$object]:-} ]] || Die "$object is not built: build before linting"
    key=$({ printf '%s\n' "$common" "${command//"$root"/.}" &&
      xargs -d '\n' sha256sum <<<"${dependencies[$object]%$'\n'}"; } | sha256sum | cut -d' ' -f1)
    # A touch keeps what is in use from being swept out.
    if [[ -f $passed/$key ]]; then touch "$passed/$key"; else printf '%s\0%s\0' "$file" "$key"; fi
  done < <(CompiledFiles) >"$build/lint/changed"
  find "$passed" -type f -mtime +60 -delete
  checked=$(tr -dc '\0' <"$build/lint/changed" | wc -c)
  printf 'clang-tidy: %d files changed\n' "$((checked / 2))"
  xargs -0 -r -n 2 -P "$(nproc)" "${BASH_SOURCE[0]}" --file <"$build/lint/changed"
}

# FindOneCompilersCode: what only one compiler understands belongs into cmake/.
FindOneCompilersCode() {
  local files
  mapfile -t files < <(OwnFiles '*.cpp' '*.h' '*.hpp' '*.c')
  if grep -nE '__attribute__|__builtin_|#[[:space:]]*pragma[[:space:]]+GCC' "${files[@]}"; then
    echo 'the lines above are for one compiler only'
    return 1
  fi
}

CheckScripts() {
  local files
  mapfile -t files < <(OwnFiles '*.sh' .ci/run)
  shellcheck -x "${files[@]}"
}

mapfile -t flags < <(CrossFlags)
if [[ ${1:-} == --file ]]; then
  LintFile "$2" "$3"
  exit
fi

since=()
if [[ ${1:-} == --since ]]; then since=("${2:?--since needs a commit}"); fi

status=0
FindOneCompilersCode || status=1
CheckScripts || status=1
TidyChangedFiles "${since[@]}" || status=1
exit "$status"
