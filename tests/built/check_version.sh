#!/bin/sh
# Checks that all places that name the library's version agree.
#
#   check_version.sh <source tree> <version of the build>
#
# Prints one line for each wrong place.
set -eu

tree=$1 version=$2
major=${version%%.*}
minor=${version#*.}
minor=${minor%%.*}
patch=${version##*.}
disagreeing=0

compare() {
  [ "$2" = "$3" ] && return
  echo "$1: '$2', not '$3'"
  disagreeing=$((disagreeing + 1))
}

constant() {
  sed -n "s/^#define NUV_USERLIB_VERSION_$1 \([0-9]*\).*/\1/p" "$tree/userlib/include/nuv_assert.h"
}

compare 'nuv_assert.h' "$(constant MAJOR).$(constant MINOR).$(constant PATCH)" "$major.$minor.$patch"
# An "Unreleased" section may come first.
compare 'CHANGELOG.md, first heading of a version' \
  "$(sed -n 's/^## //p' "$tree/CHANGELOG.md" | sed '1{/^Unreleased$/d}' | head -n 1)" "$version"
compare 'packaging/debian/changelog' \
  "$(sed -n '1s/^userlib (\(.*\)-[^-]*) .*/\1/p' "$tree/packaging/debian/changelog")" "$version"
# Examples name the newest minor version.
for file in README.md packaging/debian/control; do
  compare "$file, find_package" "$(sed -n 's/.*find_package(userlib \([0-9.]*\) CONFIG.*/\1/p' "$tree/$file")" \
    "$major.$minor"
done
# Only minor versions that add symbols have a node, so the newest may have none.
node=$(sed -n 's/^USERLIB_\([0-9.]*\) {$/\1/p' "$tree/userlib/userlib.map" | sort -V | tail -n 1)
compare 'userlib.map, major version of the newest node' "${node%.*}" "$major"
[ "${node#*.}" -le "$minor" ] || [ "${node%.*}" -lt "$major" ] || compare 'userlib.map, newest node' "$node" "$major.$minor"

[ "$disagreeing" -eq 0 ] || {
  echo "$disagreeing places disagree with $version in CMakeLists.txt"
  exit 1
}
echo "$version everywhere"
