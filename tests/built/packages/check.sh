#!/bin/sh
# Installs the Debian packages from scripts/package, uses them, purges them, and checks that nothing is left.
#
#   check.sh [<directory with the packages>]
#
# Does not change the machine: runs in namespaces of its own, on an overlay that keeps changes in memory. Needs root for
# that, or sudo.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
packages=${1-$here/../../../build/package}
cgroups=/sys/fs/cgroup

fail() {
  echo "packages: $*" >&2
  exit 1
}

[ $# -le 1 ] || fail "unexpected argument '$2': must be only a directory with packages"
for name in libuserlib1 libuserlib-dev userlib-doc phoned; do
  ls "$packages/${name}_"*.deb >/dev/null 2>&1 || fail "'$packages' has no $name: scripts/package builds it"
  ! dpkg-query -W "$name" >/dev/null 2>&1 || fail "$name is installed on this machine, so its files cannot be told apart"
done
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || fail "needs root, or sudo, to install packages in a namespace of its own"
  exec sudo "$0" "$@"
fi

work=$(mktemp -d)
group=
clean_up() {
  rmdir "$work"
  # The last processes of systemd may still be exiting.
  tries=0
  until [ -z "$group" ] || find "$group" -depth -type d -exec rmdir {} + 2>/dev/null || [ "$tries" -ge 100 ]; do
    tries=$((tries + 1))
    sleep 0.1
  done
}
trap clean_up EXIT

in_namespaces() {
  timeout --signal=KILL 600 unshare --mount --net --ipc --uts "$@"
}

in_namespaces "$here/isolate.sh" use "$packages" "$work"

# systemd needs a control group of its own.
if [ "$(stat --file-system --format=%T "$cgroups" 2>/dev/null)" = cgroup2fs ]; then
  group=$cgroups/userlib-packages-$$
elif [ -d "$cgroups/systemd" ]; then
  group=$cgroups/systemd/userlib-packages-$$
fi
if [ -z "$group" ] || ! mkdir "$group" 2>/dev/null; then
  group=
  printf '\nSkipped: the unit under systemd, which needs a control group.\n'
  exit 0
fi
(
  echo 0 >"$group/cgroup.procs"
  in_namespaces --cgroup "$here/isolate.sh" boot "$packages" "$work"
)
