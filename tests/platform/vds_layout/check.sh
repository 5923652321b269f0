#!/bin/sh
# Compiles the static_asserts that <expectations program> writes against mingw-w64's <vds.h>.
# Exits 77 (skipped) when the cross compiler is not installed.
# usage: check.sh <expectations program> <scratch folder>
set -eu
cxx=""
for candidate in x86_64-w64-mingw32-g++-posix x86_64-w64-mingw32-g++; do
  if command -v "$candidate" >/dev/null 2>&1; then
    cxx=$candidate
    break
  fi
done
if [ -z "$cxx" ]; then
  echo "x86_64-w64-mingw32-g++ is not installed (Debian: g++-mingw-w64-x86-64-posix): skipped"
  exit 77
fi
mkdir -p "$2"
"$1" >"$2/vds_layout_check.cc"
"$cxx" -std=c++17 -fsyntax-only "$2/vds_layout_check.cc"
echo "VDS structures agree with mingw-w64's <vds.h>"
