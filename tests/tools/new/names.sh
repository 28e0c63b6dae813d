#!/bin/sh
# What userlib-new says to names and options: names.sh <userlib-new>
set -eu
tool=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
  echo "names.sh: $*" >&2
  exit 1
}

# expect STATUS TEXT ARGUMENT...
expect() {
  wanted=$1 text=$2
  shift 2
  status=0
  "$tool" "$@" >said 2>&1 || status=$?
  [ "$status" -eq "$wanted" ] || fail "'$*' ends with $status: $(cat said)"
  grep -qF -- "$text" said || fail "'$*' says '$(cat said)', not '$text'"
}

expect_nothing_written() {
  [ "$(find . ! -name said ! -name .)" = '' ] || fail "$(find . ! -name said ! -name .) is written"
}

expect 2 'there is no name'
expect 2 'there is no name' --cxx
expect 2 'the name is empty' ''
expect 2 "unknown option '--c'" --c
expect 2 "one name is enough, 'b' is another" a b
expect 1 "'a/b': must be a name without '/'" a/b
expect 1 "'.': must begin with a letter" .
expect 1 "'2nd': must begin with a letter" 2nd
expect 1 "'_a': must begin with a letter" _a
expect 1 "'a-b': must be made of letters, digits and '_'" a-b
expect 1 "'a b': must be made of" 'a b'
expect 1 "'grün': must be made of" 'grün'
expect 1 "'elevenchars': must have at most 10 characters, as the name of a module of traces; this has 11" elevenchars
expect 1 "'test': is what Make or CMake call something else" test
expect 1 "'int': is a word of C or C++" int
expect 0 'usage: userlib-new NAME [--cxx]' --help
expect 0 'userlib-new of userlib ' --version
expect_nothing_written

expect 0 'tencharact is written' tencharact
expect 1 "'tencharact' is there already" tencharact
expect 1 "'tencharact' is there already" tencharact --cxx
[ "$(find tencharact -type f | sort | xargs)" = "tencharact/CMakeLists.txt tencharact/Makefile tencharact/README.md \
tencharact/check.sh tencharact/tencharact.c tencharact/tencharact.init tencharact/tencharact.service" ] ||
  fail "$(find tencharact -type f | sort | xargs) is written"
[ -x tencharact/check.sh ] && [ -x tencharact/tencharact.init ] || fail 'a script is no program'
expect 0 'Y is written' --cxx Y
[ -f Y/Y.cpp ] && [ ! -e Y/Y.c ] || fail 'there is no C++'
# shellcheck disable=SC2016  # the backquotes of Markdown
grep -q '`Y\.cpp`' Y/README.md || fail "README.md is about $(grep 'All of it' Y/README.md)"
ln -s nowhere dangling
expect 1 "'dangling' is there already" dangling
! grep -ri sampled tencharact Y || fail 'the name of the template is left'

# A tool without its templates leaves nothing behind.
cp "$tool" moved
status=0
./moved a >said 2>&1 || status=$?
[ "$status" -eq 1 ] && grep -q 'the templates are not in' said || fail "a tool alone says $(cat said)"
[ ! -e a ] || fail 'a is left behind'
