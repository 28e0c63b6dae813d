#!/bin/sh
# Checks the file name and the soname of a shared object.
#
#   check_soname.sh <readelf> <shared object> <file name> <soname>
set -eu

readelf=$1 library=$2 file_name=$3 soname=$4

found=$("$readelf" --wide --dynamic "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\].*/\1/p')
echo "file $(basename "$library"), soname $found"
[ -f "$library" ] && [ "$(basename "$library")" = "$file_name" ] && [ "$found" = "$soname" ]
