#!/bin/sh
# Process 1 on the overlay: makes the overlay its root, and becomes systemd. It has no access beyond the namespaces,
# such as to the clock, kernel modules and kernel settings.
set -eu

cd "$1"
mount --bind proc/sys proc/sys
mount -o remount,bind,ro proc/sys
pivot_root . packages/old
umount --lazy /packages/old
exec env -i container=other PATH=/usr/sbin:/usr/bin:/sbin:/bin \
  setpriv --bounding-set=-sys_module,-sys_time,-sys_boot,-sys_rawio,-syslog \
  /lib/systemd/systemd --system --unit=booted.target --show-status=no
