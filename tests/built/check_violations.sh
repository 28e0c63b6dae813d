#!/bin/sh
# Finds contract checks of the library that no table of violations covers.
#
#   check_violations.sh <test program> <file with the checks that nothing can violate> <source file>...
#
# Runs the suites with "Contracts" in their names, which record each report, and compares with the checks in the
# sources. EMULATOR in the environment is the emulator for the program, if it needs one. The file lists the checks that
# no caller can violate as "<source file>: <check as written>", after a comment with the reason; it must not list
# others.
set -eu
export LC_ALL=C

program=$1 exceptions=$2
shift 2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# shellcheck disable=SC2086  # words
USERLIB_WITNESSES=$work/witnesses ${EMULATOR-} "$program" --gtest_brief=1 --gtest_filter='*Contracts*'

# A check may span several lines; compilers disagree on its line number.
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
