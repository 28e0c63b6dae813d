#!/bin/sh
# Checks that a shared object runs nothing when it is loaded or unloaded.
#
#   check_initialisers.sh <readelf> <file>
#
# Prints one line for each entry that makes the dynamic linker run something.
set -eu

readelf=$1 file=$2

"$readelf" --wide --dynamic "$file" | awk '
  $2 ~ /^\((SONAME|NEEDED|STRTAB)\)$/ { ++known }
  $2 ~ /^\((INIT|FINI|INIT_ARRAY|FINI_ARRAY|PREINIT_ARRAY)\)$/ { print "runs at load time: " $2; bad = 1 }
  END {
    if (known == 0) print "not a shared object"
    exit bad || known == 0
  }
'
