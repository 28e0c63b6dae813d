#!/bin/sh
# systemd starts this after phoned's unit. Writes its output to booted.log, and the result to status.
cd /packages || exit
exec >booted.log 2>&1

console=/run/phoned/console
patience=20
. ./steps.sh

fail() {
  echo "packages: $*"
  journalctl --unit phoned --no-pager | tail -n 20
  echo 1 >status
  exit 1
}

plan_is_refused() {
  journalctl --unit phoned --no-pager --output cat | grep "map file .* 'a' cannot be dialled"
}

is_another_process() {
  now=$(systemctl show --property MainPID --value phoned)
  [ "$now" -ne 0 ] && [ "$now" -ne "$phoned" ] && systemctl --quiet is-active phoned
}

printf '\n-- The unit under systemd --\n'
expect active systemctl is-active phoned
phoned=$(systemctl show --property MainPID --value phoned)
expect phoned cat "/proc/$phoned/comm"
expect "$phoned" cat /run/phoned/phoned.pid
[ "$(stat --format=%u "/proc/$phoned")" -ge 61184 ] || fail 'the user is not a dynamic user of systemd'
grep -E '^(NoNewPrivs|CapBnd|Seccomp):' "/proc/$phoned/status"
expect 2 sed -n 's/^Seccomp:\t//p' "/proc/$phoned/status"
expect 0000000000000000 sed -n 's/^CapBnd:\t//p' "/proc/$phoned/status"

# Everything in phoned works: datagrams, the console, a shell command, the masks.
expect '3 ready' phonectl offhook 3
expect '3 complete 110 110' phonectl dial 3 110
expect '3 idle' phonectl onhook 3
expect "$(printf 'hello\nstatus 0')" phonectl console "$console" run 'echo hello | cat'
phonectl console "$console" run 'touch /etc/touched' | grep 'Read-only file system' || fail 'phoned can write to /etc'
phonectl console "$console" tr save /var/lib/phoned/phoned.ini
[ -s /var/lib/phoned/phoned.ini ] || fail 'the masks are not saved'

echo 999 >>/etc/phoned/dialplan
systemctl reload phoned || fail 'the unit does not reload'
await plan_has_999
kill -KILL "$phoned"
await is_another_process
expect '4 ready' phonectl offhook 4
systemctl restart phoned || fail 'the unit does not restart'
expect '5 ready' phonectl offhook 5
systemctl stop phoned || fail 'the unit does not stop'
[ ! -e /run/phoned ] || fail 'the run directory is left behind'
[ -s /var/lib/phoned/phoned.ini ] || fail 'the masks are lost'

# With an invalid plan, starting the service fails.
echo 1a >/etc/phoned/dialplan
! systemctl start phoned 2>/dev/null || fail 'phoned starts without a dial plan'
await plan_is_refused
systemctl stop phoned

dpkg --purge phoned >purge.log 2>&1 || fail "$(cat purge.log)"
for path in /etc/phoned /run/phoned /var/lib/phoned /var/lib/private/phoned \
  /etc/systemd/system/multi-user.target.wants/phoned.service; do
  ! ls -d "$path" 2>/dev/null || fail "$path is left behind"
done
echo 'Purged without remains.'
echo 0 >status
