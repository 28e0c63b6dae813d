#!/bin/sh
# Checks that a shared object has nothing that runs when it is loaded or unloaded.
#
#   check_initialisers.sh <readelf> <file>
#
# Prints one line for each entry by which the dynamic linker would find something to run.
set -eu

readelf=$1 file=$2

"$readelf" --wide --dynamic "$file" | awk '
  $2 ~ /^\((SONAME|NEEDED|STRTAB)\)$/ { ++known }
  $2 ~ /^\((INIT|FINI|INIT_ARRAY|FINI_ARRAY|PREINIT_ARRAY)\)$/ { print "runs when it is loaded: " $2; bad = 1 }
  END {
    if (known == 0) print "this is no shared object"
    exit bad || known == 0
  }
'
