#!/bin/sh
# A service that fits on a few pages, whatever is added to it: size.sh <examples/service>
set -eu
for file in "$1/c/sampled.c" "$1/cxx/sampled.cpp"; do
  lines=$(wc -l <"$file")
  echo "$file: $lines lines"
  [ "$lines" -le 300 ] || { echo "must have at most 300" && exit 1; }
done
