#!/bin/sh
# scripts/deps run by a user who is not root, on a machine without sudo, with packages missing:
# it names the apt-get line to run as root and exits 1, without trying apt-get itself.
set -u
deps=$1
bin=$(mktemp -d)
trap 'rm -rf "$bin"' EXIT
printf '#!/bin/sh\necho 1000\n' >"$bin/id"
printf '#!/bin/sh\nexit 1\n' >"$bin/dpkg-query"
printf '#!/bin/sh\necho "apt-get ran" >&2\nexit 99\n' >"$bin/apt-get"
chmod +x "$bin/id" "$bin/dpkg-query" "$bin/apt-get"
ln -s "$(command -v grep)" "$bin/grep"
out=$(PATH=$bin /bin/sh "$deps" 2>&1)
rc=$?
fail() {
  echo "$1"
  echo "--- output:"
  echo "$out"
  exit 1
}
[ "$rc" -eq 1 ] || fail "exit status $rc, expected 1"
echo "$out" | grep -q "sudo is not installed" || fail "no word of the missing sudo"
echo "$out" | grep -q "^  apt-get update && apt-get install -y cmake ninja-build g++ clang-16 " ||
  fail "no apt-get install line"
echo "$out" | grep -q "apt-get ran" && fail "apt-get was run"
exit 0
