#!/bin/sh
# Runs phoned with a real system log daemon, both in private mount and process namespaces. This script is the first
# process of these, so everything ends with it.
#
#     system_log.sh DIRECTORY RSYSLOGD PHONED OPTION...
#
# Prints phoned's process id and its output, and exits after phoned, once its last line is in DIRECTORY/log. The same
# lines are in DIRECTORY/traditional, DIRECTORY/iso and DIRECTORY/protocol, in the formats of rsyslog.
set -eu
directory=$1
rsyslogd=$2
shift 2

mkdir "$directory/dev"
for device in null zero random urandom; do
  : >"$directory/dev/$device"
  mount --bind "/dev/$device" "$directory/dev/$device"
done
mount --rbind "$directory/dev" /dev

cat >"$directory/rsyslog.conf" <<END
global(workDirectory="$directory")
module(load="imuxsock" SysSock.Name="/dev/log" SysSock.RateLimit.Interval="0")
template(name="line" type="string" string="%syslogfacility-text%.%syslogseverity-text% %syslogtag%%msg%\n")
action(type="omfile" file="$directory/traditional" template="RSYSLOG_TraditionalFileFormat")
action(type="omfile" file="$directory/iso" template="RSYSLOG_FileFormat")
action(type="omfile" file="$directory/protocol" template="RSYSLOG_SyslogProtocol23Format")
action(type="omfile" file="$directory/log" template="line")
END
# The socket has room for all lines of a test, so that none is lost on a busy machine. Its room is what the network namespace
# allows in which it is made: usually ten lines.
# shellcheck disable=SC2016  # expanded by the inner shell
unshare --net sh -c 'echo 1000 >/proc/sys/net/unix/max_dgram_qlen && exec "$@"' sh \
  "$rsyslogd" -n -f "$directory/rsyslog.conf" -i "$directory/rsyslogd.pid" >&2 &

# Waits up to ten seconds.
await() {
  tries=0
  until "$@"; do
    tries=$((tries + 1))
    [ "$tries" -le 100 ] || exit 1
    sleep 0.1
  done
}

await test -S /dev/log
"$@" &
echo "phoned's id is $!."
wait $!
await grep -q farewell "$directory/log"
