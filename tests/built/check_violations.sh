#!/bin/sh
# Finds the contract checks of the library that no table of violations reaches.
#
#   check_violations.sh <test program> <file with the checks that nothing can violate> <source file>...
#
# Runs the suites whose name has "Contracts" in it, which note down each report that they see, and compares with the
# checks in the sources. EMULATOR in the environment is what has to stand in front of the program, if anything. A check that no caller can make fail stands in the file as "<source file>: <the check as it is
# written>", after a comment with the reason; an entry for a check that does fail is a mistake too.
set -eu
export LC_ALL=C

program=$1 exceptions=$2
shift 2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# shellcheck disable=SC2086  # words
USERLIB_WITNESSES=$work/witnesses ${EMULATOR-} "$program" --gtest_brief=1 --gtest_filter='*Contracts*'

# A check may go on over several lines; compilers disagree on which of them is its number.
awk -v exceptions="$exceptions" -v witnesses="$work/witnesses" '
  function base(path) { sub(/.*\//, "", path); return path }
  function finish() {
    ++checks
    entry = base(FILENAME) ": " check
    reached = 0
    for (n = first; n <= FNR; ++n) if ((family " " n) in seen) reached = 1
    if (!reached && entry in excepted) used[entry] = 1
    else if (!reached) fail(FILENAME ":" first ": never violated: " check)
    check = ""
  }
  function fail(complaint) { print complaint; failed = 1 }
  BEGIN {
    while ((getline line < witnesses) > 0) seen[line] = 1
    while ((getline line < exceptions) > 0) if (line !~ /^#/ && line != "") excepted[line] = 1
  }
  /kFamily\[\] = "/ { family = $0; sub(/.* = "/, "", family); sub(/".*/, "", family) }
  check == "" && /^ *NUV_(REQUIRE|ENSURE|CHECK|NOT_NULL|RESOURCE)(_OBJECT|_TEXT)?\(/ { first = FNR; check = " " }
  check != "" {
    line = $0
    sub(/^ +/, "", line)
    check = check == " " ? line : check " " line
    if (line ~ /;$/) finish()
  }
  END {
    for (entry in excepted) if (!(entry in used)) fail(exceptions ": no such check, or violated after all: " entry)
    print checks " checks"
    exit failed || checks == 0
  }
' "$@"
