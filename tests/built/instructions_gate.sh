#!/bin/sh
# Tests that scripts/instructions --check fails for operations with more instructions, and only for them.
#
#   instructions_gate.sh <source folder> <shared object> <static library> <program that is counted>
set -eu

command -v valgrind >/dev/null || {
  echo "skipped: valgrind is missing: 'scripts/setup --ci' installs it"
  exit 77
}
source=$1 library=$2 archive=$3 program=$4
# shellcheck source=tests/built/script_cases.sh
. "$(dirname "$0")/script_cases.sh"
figures=$work/figures.toml

# expect_instructions <exit status> <output> <case> <argument...>
expect_instructions() {
  wanted=$1 text=$2 case=$3
  shift 3
  expect "$wanted" "$text" "$case" "$source/scripts/instructions" --figures "$figures" --program "$program" "$@"
}

# Scales the figures for the package to a percentage.
scale() {
  awk -v percent="$1" '$1 == "package" { $3 = $3 * percent / 100 } 1' "$work/kept.toml" >"$figures"
}

# Builds the same library with an artificial delay in NUV_Frame_reduceFront().
build_slower_library() {
  mkdir "$work/slower"
  (
    cd "$work/slower"
    ar x "$archive"
    objcopy --redefine-sym NUV_Frame_reduceFront=plain_reduceFront nuv_frame.cpp.o
    cat >slower.c <<END
#include "nuv_frame.h"
void plain_reduceFront(Frame* a_this, uint32_t a_offset);
void NUV_Frame_reduceFront(Frame* a_this, uint32_t a_offset) {
  for (volatile int i = 0; i < 4; ++i)
    ;
  plain_reduceFront(a_this, a_offset);
}
END
    cc -O2 -fPIC -shared -I "$source/userlib/include" -Wl,-soname,libuserlib.so.1 \
      -Wl,--version-script="$source/userlib/userlib.map" -o libuserlib.so.1 slower.c ./*.o -lssl -lcrypto
  )
}

expect_instructions 77 'skipped: no figures are stored for' 'a compiler without figures' --check --library "$library" frame
expect_instructions 0 'header and trailer off a frame' 'figures are stored' --update --library "$library" frame index_pool
cp "$figures" "$work/kept.toml"
expect_instructions 0 'no operation takes over 3 % more' 'the stored figures' --check --library "$library" frame index_pool
expect_instructions 1 'message_add: no figure is stored for package' 'a new question' --check --library "$library" message_add
scale 98
expect_instructions 0 'no operation takes over 3 % more' 'a little more' --check --library "$library" frame
scale 120
expect_instructions 0 'no operation takes over 3 % more' 'less than before' --check --library "$library" frame
scale 95
expect_instructions 1 'frame: header and trailer .* (package) takes [0-9.]* instructions, [0-9.]* before: +[45]\.' \
  'more than 3 percent' --check --library "$library" frame
grep -q 'scripts/instructions --update' "$work/output" || {
  echo "the output does not say how to accept an intended change"
  status=1
}

scale 100
build_slower_library
expect_instructions 1 'frame: header and trailer .* before: +' 'a slower library' \
  --check --library "$work/slower/libuserlib.so.1" frame index_pool
if grep -q '^instructions: index_pool:' "$work/output"; then
  echo "reports the index pool, which has not changed"
  status=1
fi

echo 'frame = ' >"$figures"
expect_instructions 1 'not valid TOML' 'invalid figures' --check --library "$library" frame
expect_instructions 1 "unknown question 'frames': must be one of event " 'a question that does not exist' --check frames
exit "$status"
