#!/bin/sh
# Runs an example and compares what it prints with <path>.out; <path>.in, if there is one, is its standard input.
#
#   run.sh <program> <path without suffix>
set -eu
ulimit -c 0

input=/dev/null
[ ! -f "$2.in" ] || input=$2.in
printed=$(mktemp)
trap 'rm -f "$printed"' EXIT

status=0
"$1" <"$input" >"$printed" || status=$?
diff -u "$2.out" "$printed"
[ "$status" -eq 0 ] || { echo "exit status $status"; exit 1; }
