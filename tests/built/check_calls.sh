#!/bin/sh
# Finds calls that are unsafe with untrusted text: unbounded copies, and conversions that accept any text as a number
# and may overflow. Use snprintf(), the helpers of text.h and std::from_chars() instead.
#
#     check_calls.sh DIRECTORY...
set -eu

forbidden='strcpy|stpcpy|strcat|sprintf|vsprintf|gets|atoi|atol|atoll|atof'

files=$(find "$@" -name '*.cpp' -o -name '*.c' -o -name '*.h')
[ -n "$files" ] || { echo "no sources in $*"; exit 1; }

status=0
for file in $files; do
  # Ignores comments.
  if sed -e 's,//.*,,' -e 's,^ *\*.*,,' "$file" | grep -nE "(^|[^A-Za-z0-9_])($forbidden)[[:space:]]*\(" >&2; then
    echo "$file: unbounded call"
    status=1
  fi
done
exit $status
