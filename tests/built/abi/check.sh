#!/bin/sh
# Checks that scripts/abi is content with a library, and with none of the interfaces that differ from it.
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

# compare <name of the case> <program for sed that makes the kept interface> <what is complained of>
compare() {
  sed "$2" "$interface" >"$work/kept"
  if cmp -s "$work/kept" "$interface"; then
    : >"$work/output"
    fail "$1: the interface does not differ"
  elif "$source/scripts/abi" --library "$library" --kept "$work/kept" >"$work/output" 2>&1; then
    fail "$1: not noticed"
  elif ! grep -q "$3" "$work/output" || ! grep -q 'scripts/abi --update' "$work/output"; then
    fail "$1: not said"
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
  fail 'the library has not the interface that is kept'
fi

compare 'a function that is gone' 's/NUV_Pipe_write\>/NUV_Pipe_gone/g' "\[D\] 'function .*NUV_Pipe_gone"
compare 'a function that is new' \
  "/elf-symbol name='NUV_Pipe_write'/d; /<function-decl name='NUV_Pipe_write'/,/<.function-decl>/d" \
  "\[A\] 'function .*NUV_Pipe_write"
compare 'a record that has grown' "/class-decl name='Pipe'/s/size-in-bits='96'/size-in-bits='64'/" \
  'type size changed from 64 to 96'
compare 'an argument that is gone' "/<function-decl name='NUV_Pipe_readFd'/,/<.function-decl>/{/<parameter/d}" \
  "\[C\] 'function .*NUV_Pipe_readFd"
exit "$status"
