#!/bin/sh
# Tests that scripts/footprint --check fails for a library that has grown too much, and only for that.
#
#   footprint_budget.sh <source folder> <shared object>
set -eu

source=$1 library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

# Writes a page with a row for a library of the given percentage of this one's size.
write_page() {
  cat >"$work/page.md" <<END
<!-- footprint: library -->
| | text | rodata | data | bss | names | unwind | loaded |
|---|---:|---:|---:|---:|---:|---:|---:|
| $2 | 1 | 2 | 3 | 4 | 5 | 6 | $((loaded * $1 / 100)) |
<!-- end -->
END
}

# expect <exit status> <output> <case>
expect() {
  result=0
  "$source/scripts/footprint" --check --page "$work/page.md" --library "$library" >"$work/output" || result=$?
  if [ "$result" -ne "$1" ] || ! grep -q -e "$2" "$work/output"; then
    echo "$3: exit status $result, not $1, or not '$2':"
    cat "$work/output"
    status=1
  else
    echo "$3: $2"
  fi
}

loaded=100
write_page 100 'vax, gcc 1'
expect 77 'skipped: page.md has no row for this machine' 'a machine without a row'

row=$(sed -n 's/.*no row for this machine (\(.*\)), but for.*/\1/p' "$work/output")
write_page 100 "$row"
"$source/scripts/footprint" --check --page "$work/page.md" --library "$library" >"$work/output" || true
loaded=$(sed -n 's/.*the library takes \([0-9]*\) bytes.*/\1/p' "$work/output")

write_page 100 "$row"
expect 0 "the library takes $loaded bytes, page.md says $loaded" 'the figures of the page'
write_page 96 "$row"
expect 0 '+4\.[12] %' 'a little growth'
write_page 120 "$row"
expect 0 '-16\.[67] %' 'a smaller library'
write_page 95 "$row"
expect 1 'scripts/footprint --update' 'more than 5 percent'
exit "$status"
