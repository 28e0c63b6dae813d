#!/bin/sh
# Installs the Debian packages that scripts/package has built, uses them, purges them, and looks for what they leave.
#
#   check.sh [<directory with the packages>]
#
# Nothing happens to the machine: all of it happens in namespaces of its own, on top of the machine's files, where what
# is written goes into memory. Needs root for that, or sudo.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
packages=${1-$here/../../build/package}

fail() {
  echo "packages: $*" >&2
  exit 1
}

[ $# -le 1 ] || fail "unexpected word '$2'; the only one is a directory with packages"
for name in libuserlib1 libuserlib-dev userlib-doc phoned; do
  ls "$packages/${name}_"*.deb >/dev/null 2>&1 || fail "there is no $name in '$packages': scripts/package builds it"
  ! dpkg-query -W "$name" >/dev/null 2>&1 || fail "$name is installed on this machine, so its files cannot be told apart"
done
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || fail "needs root, or sudo, to install packages in a namespace of its own"
  exec sudo "$0" "$@"
fi

work=$(mktemp -d)
trap 'rmdir "$work"' EXIT
timeout --kill-after=10 300 unshare --mount --net --ipc "$here/isolate.sh" "$here" "$packages" "$work"
