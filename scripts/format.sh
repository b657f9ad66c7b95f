#!/usr/bin/env bash
# Formats the tree's own C++ files; with --check, only fails when one is not formatted.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

options=(-i)
case ${1:-} in
  '') ;;
  --check) options=(--dry-run --Werror) ;;
  *) Die "usage: format.sh [--check]" ;;
esac

cd "$root"
mapfile -t files < <(OwnFiles '*.cpp' '*.h' '*.hpp' '*.c')
((${#files[@]} > 0)) || Die "no files to format"
clang-format --style=file --fallback-style=none "${options[@]}" "${files[@]}"
