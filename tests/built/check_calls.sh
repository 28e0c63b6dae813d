#!/bin/sh
# Looks for calls that have no place in sources that see text from outside: copies that nothing bounds, and conversions
# that take any text for a number and overflow as they like. snprintf(), the helpers of text.h and std::from_chars() are
# there instead.
#
#     check_calls.sh DIRECTORY...
set -eu

forbidden='strcpy|stpcpy|strcat|sprintf|vsprintf|gets|atoi|atol|atoll|atof'

files=$(find "$@" -name '*.cpp' -o -name '*.c' -o -name '*.h')
[ -n "$files" ] || { echo "no sources in $*"; exit 1; }

status=0
for file in $files; do
  # What is said about them in comments is no call.
  if sed -e 's,//.*,,' -e 's,^ *\*.*,,' "$file" | grep -nE "(^|[^A-Za-z0-9_])($forbidden)[[:space:]]*\(" >&2; then
    echo "$file: calls what nothing bounds"
    status=1
  fi
done
exit $status
