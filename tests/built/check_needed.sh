#!/bin/sh
# Checks the shared objects that a program or library needs.
#
#   check_needed.sh <readelf> <file> "<required>" "<allowed>"
#
# Names have no ".so" suffix, and are separated by blanks. The C library and its parts are always allowed. Prints one
# line for each missing or unexpected name.
set -eu

readelf=$1 file=$2 required=$3 allowed=$4

needed=$("$readelf" --wide --dynamic "$file" | sed -n 's/.*(NEEDED).*\[\([^].]*\)[].].*/\1/p')
status=0
for name in $needed; do
  case " $required $allowed libc libm ld " in
    *" $name "*) continue ;;
  esac
  case $name in
    ld-* | ld64) continue ;; # the dynamic loader; its name depends on the architecture
  esac
  echo "needed but not allowed: $name"
  status=1
done
for name in $required; do
  case " $(echo $needed) " in
    *" $name "*) ;;
    *)
      echo "not needed: $name"
      status=1
      ;;
  esac
done
echo "needs:" $needed
exit "$status"
