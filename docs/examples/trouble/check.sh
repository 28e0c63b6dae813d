#!/bin/sh
# Tries what the page about troubleshooting says: check.sh WORD PROGRAM
#
# EMULATOR in the environment is what has to stand in front of the program, if anything.
set -eu
# shellcheck disable=SC3045  # every sh of a Debian knows it
ulimit -c 0
program=$2
page=$(dirname "$0")/../../troubleshooting.md
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "check.sh: $*" >&2
  exit 1
}

# Runs the program with these words; what it says is in "said", its status in $status.
run() {
  status=0
  # shellcheck disable=SC2086  # words
  ${EMULATOR-} "$program" "$@" >"$work/said" 2>&1 || status=$?
}

report='NUV_IndexPool_occupied( a_this, a_index) == 1'

case $1 in
  status)
    run
    [ "$status" -eq 255 ] || fail "the default handler ends with $status"
    [ ! -s "$work/said" ] || fail "it says $(cat "$work/said")"
    ;;
  console)
    [ ! -e /etc/quiet ] || { echo 'skipped: there is /etc/quiet' && exit 77; }
    run console
    [ "$status" -eq 255 ] && grep -qF ":require failed:$report" "$work/said" || fail "says $(cat "$work/said")"
    ;;
  abort)
    run abort
    [ "$status" -eq 134 ] || fail "a handler that aborts ends with $status"
    grep -qF "broken contract of class 1 in nuv_indexpool:" "$work/said" || fail "it says $(cat "$work/said")"
    ;;
  gdb)
    # The command is the page's, with this program.
    command=$(sed -n 's/^    \(gdb .*NUV_Assert_failed.*\) \.\/daemon$/\1/p' "$page")
    [ -n "$command" ] || fail 'the page has no such command'
    eval "$command \"$program\"" >"$work/said" 2>&1 || true
    grep -q 'NUV_IndexPool_release' "$work/said" && grep -q '^#.* main ' "$work/said" || fail "$(cat "$work/said")"
    ;;
  needle)
    command=$(sed -n 's/^    \(openssl x509 .*\) -in acs\.pem$/\1/p' "$page")
    [ -n "$command" ] || fail 'the page has no such command'
    cd "$work"
    for name in /CN=acs.example.net/C=DE '/CN=acs.example.net/O=Foo, Bar/OU=Baz/L=Here/ST=There/C=DE' \
      '/CN=Foo, "Bar"/O=a, b "c" \\ d' '/CN=Jürgen, Söhne'; do
      openssl req -x509 -utf8 -newkey rsa:2048 -nodes -keyout key.pem -out acs.pem -days 1 -subj "$name" 2>/dev/null
      needle=$(eval "$command -in acs.pem" | sed 's/^subject=//')
      run acs.pem "$needle"
      echo "$needle: $(cat said)"
      [ "$(cat said)" = 0 ] || fail "the library does not take '$needle' for '$name'"
    done
    ;;
  *) fail "unknown word '$1'" ;;
esac
