#!/bin/sh
# Tests that scripts/abi accepts the library, and rejects interfaces that differ from it.
#
#   check.sh <source folder> <library with debug information>
set -eu

source=$1 library=$2
interface=$source/tests/built/abi/userlib-1.x86_64.abi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

fail() {
  echo "$*"
  cat "$work/output"
  status=1
}

# compare <name of the case> <sed program that changes the stored interface> <expected message>
compare() {
  sed "$2" "$interface" >"$work/kept"
  if cmp -s "$work/kept" "$interface"; then
    : >"$work/output"
    fail "$1: the interface does not differ"
  elif "$source/scripts/abi" --library "$library" --kept "$work/kept" >"$work/output" 2>&1; then
    fail "$1: not noticed"
  elif ! grep -q "$3" "$work/output" || ! grep -q 'scripts/abi --update' "$work/output"; then
    fail "$1: not reported"
  else
    echo "$1: noticed"
  fi
}

result=0
"$source/scripts/abi" --library "$library" >"$work/output" 2>&1 || result=$?
if [ "$result" -eq 77 ]; then
  cat "$work/output"
  exit 77
elif [ "$result" -ne 0 ]; then
  fail 'the library does not have the stored interface'
fi

compare 'a removed function' 's/NUV_Pipe_write\>/NUV_Pipe_gone/g' "\[D\] 'function .*NUV_Pipe_gone"
compare 'a new function' \
  "/elf-symbol name='NUV_Pipe_write'/d; /<function-decl name='NUV_Pipe_write'/,/<.function-decl>/d" \
  "\[A\] 'function .*NUV_Pipe_write"
compare 'a larger record' "/class-decl name='Pipe'/s/size-in-bits='96'/size-in-bits='64'/" \
  'type size changed from 64 to 96'
compare 'a removed argument' "/<function-decl name='NUV_Pipe_readFd'/,/<.function-decl>/{/<parameter/d}" \
  "\[C\] 'function .*NUV_Pipe_readFd"
exit "$status"
