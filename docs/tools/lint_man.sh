#!/bin/sh
# Lets mandoc look at man pages; whatever it complains about is an error. Pages of the project that others refer to must be
# there, those of other packages need not be.
#
#   lint_man.sh <mandoc> <tree of man pages> <page>...
set -eu
mandoc=$1 MANPATH=$2
export MANPATH
shift 2

complaints=$("$mandoc" -T lint -W style "$@" 2>/dev/null |
  grep -Ev 'referenced manual not found: Xr ([^nup]|n[^u]|nu[^v]|u[^s]|p[^h])' || true)
[ -z "$complaints" ] || { echo "$complaints"; exit 1; }
[ $# -gt 0 ]
echo "$# pages"
