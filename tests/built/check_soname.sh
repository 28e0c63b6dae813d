#!/bin/sh
# Checks the name of the file that holds a shared object and the name under which programs ask for it.
#
#   check_soname.sh <readelf> <shared object> <file name> <soname>
set -eu

readelf=$1 library=$2 file_name=$3 soname=$4

found=$("$readelf" --wide --dynamic "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\].*/\1/p')
echo "file $(basename "$library"), soname $found"
[ -f "$library" ] && [ "$(basename "$library")" = "$file_name" ] && [ "$found" = "$soname" ]
