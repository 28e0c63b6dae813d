#!/bin/sh
# Tests that scripts/footprint --check fails for a library that has grown too much, and only for that.
#
#   footprint_budget.sh <source folder> <shared object>
set -eu

source=$1 library=$2
# shellcheck source=tests/built/script_cases.sh
. "$(dirname "$0")/script_cases.sh"

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

# expect_footprint <exit status> <output> <case>
expect_footprint() {
  expect "$1" "$2" "$3" "$source/scripts/footprint" --check --page "$work/page.md" --library "$library"
}

loaded=100
write_page 100 'vax, gcc 1'
expect_footprint 77 'skipped: page.md has no row for this machine' 'a machine without a row'

row=$(sed -n 's/.*no row for this machine (\(.*\)), but for.*/\1/p' "$work/output")
write_page 100 "$row"
"$source/scripts/footprint" --check --page "$work/page.md" --library "$library" >"$work/output" || true
loaded=$(sed -n 's/.*the library takes \([0-9]*\) bytes.*/\1/p' "$work/output")

write_page 100 "$row"
expect_footprint 0 "the library takes $loaded bytes, page.md says $loaded" 'the figures of the page'
write_page 96 "$row"
expect_footprint 0 '+4\.[12] %' 'a little growth'
write_page 120 "$row"
expect_footprint 0 '-16\.[67] %' 'a smaller library'
write_page 95 "$row"
expect_footprint 1 'scripts/footprint --update' 'more than 5 percent'
exit "$status"
