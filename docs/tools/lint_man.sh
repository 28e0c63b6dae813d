#!/bin/sh
# Lets mandoc look at man pages; whatever it complains about is an error. Pages of the project that others refer to must be
# there, those of other packages need not be. Pages that only lead to another one are left out.
#
#   lint_man.sh <mandoc> <tree of man pages>
set -eu
mandoc=$1 MANPATH=$2
export MANPATH

pages=$(grep -L '^\.so ' "$MANPATH"/man*/*)
# Names of pages have no blanks.
# shellcheck disable=SC2086
complaints=$("$mandoc" -T lint -W style $pages 2>/dev/null |
  grep -Ev 'referenced manual not found: Xr ([^nup]|n[^u]|nu[^v]|u[^s]|p[^h])' || true)
[ -z "$complaints" ] || { echo "$complaints"; exit 1; }
echo "$pages" | wc -l
