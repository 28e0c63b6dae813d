#!/bin/sh
# Fails if a service has more than 300 lines: size.sh <examples/service>
set -eu
for file in "$1/c/sampled.c" "$1/cxx/sampled.cpp"; do
  lines=$(wc -l <"$file")
  echo "$file: $lines lines"
  [ "$lines" -le 300 ] || { echo "must have at most 300" && exit 1; }
done
