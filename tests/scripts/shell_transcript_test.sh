#!/bin/sh
# The demo's shell section reads as a session: each command after the prompt, then its output,
# then the next prompt; a refused command does not end the session.
set -u
transcript=$1
vdsctl=$2
out=$(printf 'list controllers\nselect controller 0\nbogus\nselect drive 3\nexit\n' |
  "$transcript" "$vdsctl" --simulate 2>&1)
rc=$?
expected='VDSCTL> list controllers
  Ctlr ###
VDSCTL> select controller 0
Controller 0 is now the selected controller.
VDSCTL> bogus
Unknown command '"'"'bogus'"'"'.
VDSCTL> select drive 3
Drive 3 is now the selected drive.
VDSCTL> exit'
# The lines that start a command or its output, in order (tables reduced to their heading).
got=$(echo "$out" | grep -E '^(VDSCTL> |  Ctlr ###|Controller 0 is|Unknown|Drive 3 is)' |
  sed 's/^\(  Ctlr ###\).*/\1/')
if [ "$rc" -ne 0 ] || [ "$got" != "$expected" ]; then
  echo "exit status $rc; transcript:"
  echo "$out"
  exit 1
fi
