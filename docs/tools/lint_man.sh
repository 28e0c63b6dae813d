#!/bin/sh
# Checks man pages with mandoc; all its messages are errors. Referenced pages must exist if they are the project's, but
# not those of other packages. Pages that only link to another one are skipped.
#
#   lint_man.sh <mandoc> <tree of man pages>
set -eu
[ $# -eq 2 ] || { echo "usage: lint_man.sh <mandoc> <tree of man pages>" >&2; exit 2; }
mandoc=$1 MANPATH=$2
export MANPATH

pages=$(grep -L '^\.so ' "$MANPATH"/man*/*)
# shellcheck disable=SC2086  # names of pages have no blanks
complaints=$("$mandoc" -T lint -W style $pages 2>/dev/null |
  grep -Ev 'referenced manual not found: Xr ([^nup]|n[^u]|nu[^v]|u[^s]|p[^h])' || true)
[ -z "$complaints" ] || { echo "$complaints"; exit 1; }
echo "$pages" | wc -l
