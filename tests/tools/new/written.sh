#!/bin/sh
# Writes a service with the installed tool, builds it against the installed library, and runs its test:
#
#   written.sh <prefix> c|cxx make|cmake|strict
#
# "strict" only builds it, with all warnings as errors.
set -eu
prefix=$1 language=$2 build=$3
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name userlib.pc)")
LD_LIBRARY_PATH=$(dirname "$(find "$prefix" -name 'libuserlib.*' | head -n 1)")
export PKG_CONFIG_PATH LD_LIBRARY_PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

option=
[ "$language" = c ] || option=--cxx
# shellcheck disable=SC2086  # a word or none
"$prefix/bin/userlib-new" hello $option
cd hello
strict='-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Werror -O2'
case $build in
  make) make CC="$CC" CXX="$CXX" check ;;
  cmake)
    "$CMAKE" -B build -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX"
    "$CMAKE" --build build
    ctest --test-dir build --output-on-failure
    DESTDIR=$work/stage "$CMAKE" --install build
    find "$work/stage" -name hello -type f | grep -q sbin
    ;;
  strict) make CC="$CC" CXX="$CXX" CFLAGS="$strict -Wno-unused-parameter" CXXFLAGS="$strict" ;;
esac
if [ "$build" = make ]; then
  make DESTDIR="$work/stage" prefix=/opt install
  [ -x "$work/stage/opt/sbin/hello" ]
  make clean
  [ ! -e hello ]
  PKG_CONFIG_PATH='' PKG_CONFIG_LIBDIR=/nowhere make 2>said && exit 1
  grep -q 'finds no userlib: install libuserlib-dev, or set PKG_CONFIG_PATH' said
fi
# systemd checks that the unit's program exists, so name one that does.
if command -v systemd-analyze >/dev/null; then
  sed 's,/usr/local/sbin/hello,/bin/true,' hello.service >"$work/hello.service"
  systemd-analyze verify --man=no "$work/hello.service"
fi
