#!/bin/sh
# Names and options of userlib-new: names.sh <userlib-new>
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
  [ "$status" -eq "$wanted" ] || fail "'$*' exits with $status: $(cat said)"
  grep -qF -- "$text" said || fail "'$*' prints '$(cat said)', not '$text'"
}

expect_nothing_written() {
  [ "$(find . ! -name said ! -name .)" = '' ] || fail "$(find . ! -name said ! -name .) is written"
}

expect 2 'the name is missing'
expect 2 'the name is missing' --cxx
expect 2 'the name is empty' ''
expect 2 "unknown option '--c'" --c
expect 2 "must have one name only, not 'a' and 'b'" a b
expect 1 "'a/b': must be a name without '/'" a/b
expect 1 "'.': must begin with a letter" .
expect 1 "'2nd': must begin with a letter" 2nd
expect 1 "'_a': must begin with a letter" _a
expect 1 "'a-b': must be made of letters, digits and '_'" a-b
expect 1 "'a b': must be made of" 'a b'
expect 1 "'grün': must be made of" 'grün'
expect 1 "'elevenchars': must have at most 10 characters, like every trace module; this has 11" elevenchars
expect 1 "'test': must not be the name of a target of Make or CMake" test
expect 1 "'int': must not be a keyword of C or C++" int
expect 0 'usage: userlib-new NAME [--cxx]' --help
expect 0 'userlib-new of userlib ' --version
expect_nothing_written

expect 0 'tencharact is written' tencharact
expect 1 "'tencharact' already exists" tencharact
expect 1 "'tencharact' already exists" tencharact --cxx
[ "$(find tencharact -type f | sort | xargs)" = "tencharact/CMakeLists.txt tencharact/Makefile tencharact/README.md \
tencharact/check.sh tencharact/tencharact.c tencharact/tencharact.init tencharact/tencharact.service" ] ||
  fail "$(find tencharact -type f | sort | xargs) is written"
[ -x tencharact/check.sh ] && [ -x tencharact/tencharact.init ] || fail 'a script is not executable'
expect 0 'Y is written' --cxx Y
[ -f Y/Y.cpp ] && [ ! -e Y/Y.c ] || fail '--cxx writes no C++'
# shellcheck disable=SC2016  # the backquotes of Markdown
grep -q '`Y\.cpp`' Y/README.md || fail "README.md names $(grep 'All of it' Y/README.md)"
ln -s nowhere dangling
expect 1 "'dangling' already exists" dangling
! grep -ri sampled tencharact Y || fail "the template's name is left"

# A tool without its templates leaves nothing behind.
cp "$tool" moved
status=0
./moved a >said 2>&1 || status=$?
[ "$status" -eq 1 ] && grep -q 'the templates are not in' said || fail "without templates it prints $(cat said)"
[ ! -e a ] || fail 'a is left behind'
