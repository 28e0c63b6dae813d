#!/bin/sh
# Runs in the namespaces that check.sh makes, on an overlay over the machine's files:
#
#   isolate.sh use <packages> <work>    uses the packages, and checks that nothing is left
#   isolate.sh boot <packages> <work>   starts systemd, which starts phoned's unit
set -eu

mode=$1 packages=$2 work=$3
here=$(dirname "$0")
root=$work/root

mount --make-rprivate /
mount -t tmpfs -o mode=755 tmpfs "$work"
mkdir "$work/upper" "$work/scratch" "$root"
mount -t overlay -o "lowerdir=/,upperdir=$work/upper,workdir=$work/scratch" overlay "$root"
for directory in run tmp; do
  mount -t tmpfs -o mode=1777 tmpfs "$root/$directory"
done
mkdir "$root/tmp/packages"
find "$packages" -maxdepth 1 -name '*.deb' ! -name '*-dbgsym_*' -exec cp {} "$root/tmp/packages" \;
ip link set lo up

use_packages() {
  mount --rbind /dev "$root/dev"
  cp -R "$here/../consumer" "$here/inside.sh" "$here/steps.sh" "$here/../../../docs/tools" "$root/tmp"
  unshare --pid --fork --kill-child --mount-proc="$root/proc" chroot "$root" /tmp/inside.sh

  # The package manager's own files may stay.
  (cd "$work/upper" && find . -mindepth 1) | sed 's/^\.//' | while read -r path; do
    case $path in
      /var/lib/dpkg/* | /var/lib/systemd/deb-systemd-helper-* | /var/log/* | /var/cache/* | /etc/ld.so.cache) ;;
      *) [ -d "$work/upper$path" ] && [ -d "$path" ] || echo "$path" ;;
    esac
  done >"$work/left"
  # mount and the package manager have files in /run.
  find "$root/run" -mindepth 1 ! -path '*/run/mount*' ! -path '*/run/systemd*' | sed "s,^$root,," >>"$work/left"
  if [ -s "$work/left" ]; then
    echo 'packages: purged, but this is left behind or not as it was:' >&2
    cat "$work/left" >&2
    exit 1
  fi
  echo 'Nothing is left behind.'
}

boot_systemd() {
  # Of the machine's devices there are only those that do nothing, and of its settings none that could be changed.
  mount -t tmpfs -o mode=755 tmpfs "$root/dev"
  for device in null zero full random urandom tty; do
    touch "$root/dev/$device"
    mount --bind "/dev/$device" "$root/dev/$device"
  done
  mkdir "$root/dev/pts" "$root/dev/shm"
  mount -t devpts -o newinstance,ptmxmode=666 devpts "$root/dev/pts"
  ln -s pts/ptmx "$root/dev/ptmx"
  mount -t sysfs -o ro sysfs "$root/sys"
  if [ "$(stat --file-system --format=%T /sys/fs/cgroup)" = cgroup2fs ]; then
    mount -t cgroup2 cgroup2 "$root/sys/fs/cgroup"
  else
    mount -t tmpfs tmpfs "$root/sys/fs/cgroup"
    mkdir "$root/sys/fs/cgroup/systemd"
    mount -t cgroup -o none,name=systemd cgroup "$root/sys/fs/cgroup/systemd"
  fi
  : >"$root/etc/fstab"
  DEBIAN_FRONTEND=noninteractive chroot "$root" sh -c 'dpkg --install /tmp/packages/*.deb' >"$work/dpkg.log" 2>&1 || {
    cat "$work/dpkg.log" >&2
    exit 1
  }

  # systemd starts phoned, and then the checks.
  mkdir "$root/packages" "$root/packages/old"
  cp "$here/booted.sh" "$here/boot.sh" "$here/steps.sh" "$root/packages"
  printf '%s\n' '[Unit]' 'Wants=phoned.service' 'After=phoned.service' \
    '[Service]' 'Type=oneshot' 'ExecStart=/packages/booted.sh' >"$root/etc/systemd/system/booted.service"
  printf '%s\n' '[Unit]' 'Wants=booted.service' >"$root/etc/systemd/system/booted.target"
  unshare --pid --mount --fork --kill-child --mount-proc="$root/proc" "$root/packages/boot.sh" "$root" \
    >"$work/boot.log" 2>&1 &
  systemd=$!
  tries=0
  until [ -e "$root/packages/status" ]; do
    tries=$((tries + 1))
    if [ "$tries" -gt 120 ] || ! kill -0 "$systemd"; then
      cat "$work/boot.log" "$root/packages/booted.log" >&2 || true
      echo 'packages: systemd does not finish' >&2
      exit 1
    fi
    sleep 1
  done
  cat "$root/packages/booted.log"
  # unshare ignores other signals; all of its processes end with it.
  kill -KILL "$systemd"
  wait "$systemd" 2>/dev/null || true
  [ "$(cat "$root/packages/status")" = 0 ]
}

case $mode in
  use) use_packages ;;
  boot) boot_systemd ;;
esac
