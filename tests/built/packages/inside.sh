#!/bin/sh
# Runs inside the namespaces: installs the packages, starts phoned as its unit does, uses it, builds against the
# library, and purges all.
set -eu
cd /tmp

unit=/lib/systemd/system/phoned.service
user=61234 # an unused id, as systemd would choose
console=/run/phoned/console
pid_file=/run/phoned/phoned.pid
patience=10
. ./steps.sh

heading() {
  printf '\n-- %s --\n' "$*"
}

fail() {
  echo "packages: $*" >&2
  exit 1
}

is_gone() {
  [ ! -e "$1" ]
}

pid_file_names_phoned() {
  [ "$(cat "/proc/$(cat "$pid_file")/comm" 2>/dev/null)" = phoned ]
}

unit_value() {
  sed -n "s/^$1=//p" "$unit"
}

# Does what systemd does for the unit as far as possible: makes its directories, makes the rest of the file system
# read-only, and runs the command line as an unprivileged user.
start_unit() {
  mkdir -p "/run/$(unit_value RuntimeDirectory)" "/var/lib/$(unit_value StateDirectory)"
  chown "$user:$user" "/run/$(unit_value RuntimeDirectory)" "/var/lib/$(unit_value StateDirectory)"
  # shellcheck disable=SC2016  # for the shell inside
  eval "unshare --mount sh -c '
    mount --bind /var/lib/phoned /var/lib/phoned && mount -o remount,bind,ro / &&
      umask 077 && exec \"\$@\"' start \
    setpriv --reuid=$user --regid=$user --clear-groups --no-new-privs --bounding-set=-all --inh-caps=-all \
    $(unit_value ExecStart)"
}

heading 'Install'
DEBIAN_FRONTEND=noninteractive dpkg --install packages/*.deb >install.log 2>&1 || fail "$(cat install.log)"
names=$(for package in packages/*.deb; do dpkg-deb --field "$package" Package; done)
# shellcheck disable=SC2086  # words
dpkg-query --show --showformat '${Package} ${Version} ${db:Status-Status}\n' $names
expect ' /etc/phoned/dialplan' sh -c "dpkg-query --show --showformat '\${Conffiles}' phoned | sed 's/ [0-9a-f]*\$//'"
[ -L /etc/systemd/system/multi-user.target.wants/phoned.service ] || fail 'the unit is not enabled'

for page in 3/nuv_frame.3 3/NUV_Frame_swap.3 5/userlib-ini.5 7/userlib.7 8/phoned.8 8/phonectl.8; do
  [ -e "/usr/share/man/man$page.gz" ] || fail "the manual page $page is missing"
done

heading 'Documentation'
PYTHONDONTWRITEBYTECODE=1 python3 tools/check_links.py pages /usr/share/doc/userlib-doc || fail 'a link is broken'
[ -s /usr/share/doc/userlib-doc/html/index.html ] || fail 'the HTML reference is missing'

heading 'The unit'
systemd-analyze verify --man=no "$unit" >verify.log 2>&1 || fail "$(cat verify.log)"
! grep phoned verify.log || fail 'systemd-analyze complains about the unit'
systemd-analyze security --offline=true --no-pager --threshold=20 "$unit" | tail -n 1

heading 'Start'
# As under systemd, the parent of the programs is process 1, from which a daemon of userlib does not detach.
[ $$ -eq 1 ] || fail 'must be process 1'
[ "$(unit_value Type)" = forking ] || fail 'the type of the unit must be forking'
start_unit
[ "$(unit_value PIDFile)" = "$pid_file" ] || fail "the unit's pid file is $(unit_value PIDFile)"
# The parent has exited, and the daemon replaces the parent's pid.
await pid_file_names_phoned
phoned=$(cat "$pid_file")
expect "$user" stat --format=%u "/proc/$phoned"
second=0
start_unit 2>refusal || second=$?
[ "$second" -eq 1 ] || fail "a second instance exits with $second"
sed "s/process $phoned/process N/" refusal

heading 'Use'
expect '3 ready' phonectl offhook 3
expect '3 more 11' phonectl dial 3 11
expect '3 complete 110 110' phonectl dial 3 0
expect '3 decided 110' phonectl console "$console" lines
expect '3 idle' phonectl onhook 3
phonectl console "$console" tr save /var/lib/phoned/phoned.ini
[ "$(stat --format=%u /var/lib/phoned/phoned.ini)" = "$user" ] || fail 'the masks are not saved'
phonectl console "$console" tr save /etc/phoned/phoned.ini || true
[ ! -e /etc/phoned/phoned.ini ] || fail 'phoned can write to /etc'

heading 'Reload'
echo 999 >>/etc/phoned/dialplan
kill -HUP "$phoned"
await plan_has_999
phonectl console "$console" map | tail -n 1

heading 'Stop'
kill -TERM "$phoned"
await is_gone "$pid_file"
is_gone "$console" || fail 'the console is left behind'
await is_gone "/proc/$phoned"

heading 'Build against the packages'
# shellcheck disable=SC2046  # words
{
  cc -std=c99 -Wall -Werror -DCONSUMER_CERT consumer/c_daemon.c -o c_shared $(pkg-config --cflags --libs userlib)
  c++ -std=c++20 -Wall -Werror consumer/cpp_daemon.cpp -o cpp_shared $(pkg-config --cflags --libs userlib)
  cc -std=c99 -static -DCONSUMER_CERT consumer/c_daemon.c -o c_static $(pkg-config --static --cflags --libs userlib) \
    2>warnings || fail "$(cat warnings)"
}
for daemon in c_shared cpp_shared c_static; do
  ./$daemon >output || fail "$daemon exits with $?"
  tail -n 1 output
done
cmake -G Ninja -S consumer -B with_cmake >cmake.log 2>&1 || fail "$(cat cmake.log)"
cmake --build with_cmake >cmake.log 2>&1 || fail "$(cat cmake.log)"
for daemon in with_cmake/*_daemon_*; do
  "$daemon" >output || fail "$daemon exits with $?"
done
cc -std=c99 /usr/share/doc/libuserlib-dev/examples/first_daemon.c -o first_daemon -luserlib
./first_daemon 2>&1 | grep -q 'must be the number of a free UDP port' || fail 'first_daemon fails'

heading 'A new service'
for option in '' --cxx; do
  rm -rf hello
  # shellcheck disable=SC2086  # a word or none
  (userlib-new hello $option && make -C hello check) >service.log 2>&1 || fail "$(cat service.log)"
  grep -c '^ok' service.log
done

heading 'Remove, and purge'
dpkg --remove phoned >remove.log 2>&1 || fail "$(cat remove.log)"
grep -q 999 /etc/phoned/dialplan || fail "the operator's dial plan is lost"
# shellcheck disable=SC2086  # words
dpkg --purge $names >purge.log 2>&1 || fail "$(cat purge.log)"
! grep -i warning purge.log || fail 'dpkg prints warnings'
for name in $names; do
  ! dpkg-query -W "$name" 2>/dev/null | grep . || fail "dpkg still knows $name"
done
rmdir /run/phoned # as systemd does when the unit stops
