#!/bin/sh
# The README's simulator example, from the top of the tree with the shipped tidegate.conf: the
# simulator starts and names its ports.
set -u
sim=$1
out=$(mktemp)
trap 'rm -f "$out"' EXIT
"$sim" --conf tidegate.conf --listen 127.0.0.1:0 --admin 127.0.0.1:0 >"$out" 2>&1 &
pid=$!
tries=0
while [ "$(grep -c . "$out")" -lt 2 ] && kill -0 "$pid" 2>/dev/null && [ "$tries" -lt 200 ]; do
  sleep 0.1
  tries=$((tries + 1))
done
kill "$pid" 2>/dev/null
wait "$pid"
grep -q "^listening on 127\.0\.0\.1:[1-9][0-9]*$" "$out" && grep -q "^admin on port [1-9]" "$out" ||
  { echo "tidegate-sim did not start:"; cat "$out"; exit 1; }
