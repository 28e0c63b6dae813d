#!/bin/sh
# Goes on in the namespaces that check.sh makes: lays an overlay on top of the machine's files and goes on in there, with
# processes of its own; then looks what is different from before.
set -eu

here=$1 packages=$2 work=$3
root=$work/root

mount --make-rprivate /
mount -t tmpfs -o mode=755 tmpfs "$work"
mkdir "$work/upper" "$work/scratch" "$root"
mount -t overlay -o "lowerdir=/,upperdir=$work/upper,workdir=$work/scratch" overlay "$root"
mount --rbind /dev "$root/dev"
for directory in run tmp; do
  mount -t tmpfs -o mode=1777 tmpfs "$root/$directory"
done
mkdir "$root/tmp/packages"
find "$packages" -maxdepth 1 -name '*.deb' ! -name '*-dbgsym_*' -exec cp {} "$root/tmp/packages" \;
cp -R "$here/../consumer" "$here/inside.sh" "$root/tmp"
ip link set lo up

unshare --pid --fork --kill-child --mount-proc="$root/proc" chroot "$root" /tmp/inside.sh

# What the package manager writes about itself may stay; where it tidied up before, there may be less.
(cd "$work/upper" && find . -mindepth 1) | sed 's/^\.//' | while read -r path; do
  case $path in
    /var/lib/dpkg/* | /var/log/* | /var/cache/* | /etc/ld.so.cache | /etc/mailcap | /var/lib/systemd/deb-systemd-helper-*) ;;
    *) [ -d "$work/upper$path" ] && [ -d "$path" ] || echo "$path" ;;
  esac
done >"$work/left"
# mount and the package manager have files of their own in /run.
find "$root/run" -mindepth 1 ! -path '*/run/mount*' ! -path '*/run/systemd*' | sed "s,^$root,," >>"$work/left"
if [ -s "$work/left" ]; then
  echo 'packages: purged, but this is left behind or not as it was:' >&2
  cat "$work/left" >&2
  exit 1
fi
echo 'Nothing is left behind.'
