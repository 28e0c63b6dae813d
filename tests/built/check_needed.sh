#!/bin/sh
# Checks which shared objects a program or library asks for.
#
#   check_needed.sh <readelf> <file> "<required>" "<allowed>"
#
# Names are given without ".so" and what follows it, several of them separated by blanks. The C library with its parts
# is always allowed. Prints one line for each name that is missing or should not be there.
set -eu

readelf=$1 file=$2 required=$3 allowed=$4

needed=$("$readelf" --wide --dynamic "$file" | sed -n 's/.*(NEEDED).*\[\([^].]*\)[].].*/\1/p')
status=0
for name in $needed; do
  case " $required $allowed libc libm ld " in
    *" $name "*) continue ;;
  esac
  case $name in
    ld-* | ld64) continue ;; # the dynamic loader, under the name of the architecture
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
