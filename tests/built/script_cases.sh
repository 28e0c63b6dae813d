# shellcheck shell=sh disable=SC2034  # status is for the scripts that include this
# Shared by the tests of scripts that fail when a figure has grown. They run each case with expect and exit with $status.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

# expect <exit status> <output> <case> <command...>
expect() {
  wanted=$1 text=$2 case=$3 result=0
  shift 3
  "$@" >"$work/output" 2>&1 || result=$?
  if [ "$result" -ne "$wanted" ] || ! grep -q -e "$text" "$work/output"; then
    echo "$case: exit status $result, not $wanted, or not '$text':"
    cat "$work/output"
    status=1
  else
    echo "$case: $text"
  fi
}
