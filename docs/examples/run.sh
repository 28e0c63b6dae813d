#!/bin/sh
# Runs an example and compares what it prints with <path>.out, or, if there is a <path>.first, the beginning of what it
# prints with that: such a program never ends by itself. <path>.in, if there is one, is its standard input.
#
#   run.sh <program> <path without suffix>
#
# EMULATOR in the environment is what has to stand in front of the program, if anything.
set -eu
# shellcheck disable=SC3045  # every sh of a Debian knows it
ulimit -c 0

input=/dev/null
[ ! -f "$2.in" ] || input=$2.in
printed=$(mktemp)
trap 'rm -f "$printed"' EXIT

if [ -f "$2.first" ]; then
  # The program ends when it has more to say than head wants to hear.
  # shellcheck disable=SC2086  # words
  ${EMULATOR-} "$1" <"$input" 2>&1 | head -n "$(wc -l <"$2.first")" >"$printed"
  diff -u "$2.first" "$printed"
  exit
fi

status=0
# shellcheck disable=SC2086  # words
${EMULATOR-} "$1" <"$input" >"$printed" || status=$?
diff -u "$2.out" "$printed"
[ "$status" -eq 0 ] || { echo "exit status $status"; exit 1; }
