#!/bin/sh
# Checks the undefined symbols of an object file: functions of the library, and functions that compilers insert for
# copying, hardening, missing instructions and byte order.
#
#   check_undefined.sh <nm> <object file>
#
# Prints one line for each unexpected name.
set -eu

nm=$1 object=$2

"$nm" -u "$object" | awk '
  { name = $NF }
  name ~ /^(NUV_|is_null$|nuv_)/ { ++count; next }
  name ~ /^(mem(cpy|set|move|cmp)|strlen|htons|__stack_chk_(fail|guard)|_GLOBAL_OFFSET_TABLE_)$/ { next }
  name ~ /^__(mem(cpy|set|move)_chk)$/ { next }
  name ~ /^__gcov_/ { next }
  # A 32-bit processor divides 64-bit numbers step by step; MIPS finds its data by a symbol that the linker makes.
  name ~ /^(__u?(div|mod)di3|__aeabi_u?ldivmod|_gp_disp)$/ { next }
  { print "asks for " name; bad = 1 }
  END {
    print count " functions of the library"
    exit count == 0 || bad
  }
'
