#!/bin/bash
# Runs the service and looks at what it promises:
#
#   check.sh [PROGRAM [CASE ...]]     all cases, unless some are named
#   check.sh list                     the names of the cases
#
# EMULATOR in the environment stands in front of a program that was built for another processor.
# shellcheck disable=SC2317  # the cases are called by their names
set -u

fail() {
  echo "  $*" >&2
  exit 1
}

# Asks again and again, until the answer is yes.
await() {
  for _ in {1..200}; do
    "$@" && return
    sleep 0.05
  done
  fail "never came true: $*"
}

# The next port is tried if somebody has this one already.
start() {
  for _ in {1..10}; do
    # The pid file comes when its process has left, a moment later.
    service run "$port" masks.ini >>said 2>&1 && await test -s run/sampled.pid && return
    grep -q 'UDP port must be free' said || fail "does not start: $(cat said)"
    port=$((port + 1))
  done
  fail "does not find a free port: $(cat said)"
}

start_in_foreground() {
  service -f run "$port" masks.ini >said 2>&1 &
  await says state samples
}

service() { ${EMULATOR-} "$program" "$@"; }
ask() { service -a run "$1"; }
pid() { cat run/sampled.pid; }
has_ended() { ! kill -0 "$1" 2>/dev/null; }
says() { ask "$1" 2>/dev/null | grep -q -- "$2"; }
expect() { says "$1" "$2" || fail "'$1' is answered with '$(ask "$1")', not with '$2'"; }

end() {
  local process
  process=$(pid)
  kill -TERM "$process"
  await has_ended "$process"
}

# The answer to a datagram; nothing if there is none within so many seconds.
ask_port() {
  exec 9<>"/dev/udp/127.0.0.1/$port"
  printf '%s' "${1-?}" >&9
  timeout "${2-10}" head -n 1 <&9
  exec 9>&-
}

expect_refusal() {
  local status=0
  service "${@:2}" >refusal 2>&1 || status=$?
  [ "$status" -eq 1 ] || fail "'${*:2}' ends with $status"
  grep -q -- "$1" refusal || fail "'${*:2}' says '$(cat refusal)', not '$1'"
}

case_start_and_end() {
  start
  kill -0 "$(pid)" || fail "the pid file holds '$(pid)'"
  [ "$(readlink "/proc/$(pid)/cwd")" = "$PWD/run" ] || fail "works in $(readlink "/proc/$(pid)/cwd")"
  [ "$(cut -d ' ' -f 6 "/proc/$(pid)/stat")" != "$(cut -d ' ' -f 6 "/proc/$$/stat")" ] || fail "is in our session"
  [ "$(readlink "/proc/$(pid)/fd/1")" = /dev/null ] || fail "still has our standard output"
  end
  [ "$(cd run && echo *)" = "sampled.fifo sampled.lock" ] || fail "leaves $(cd run && echo *)"
}

case_second_start() {
  start
  expect_refusal "runs already, as process $(pid) " run "$port" masks.ini
  expect_refusal "runs already, as process $(pid) " "$PWD/run" 1 masks.ini
  expect state '0 samples'
}

case_five_starts_at_once() {
  local started=0 process
  start && end
  for process in 1 2 3 4 5; do
    service run "$port" masks.ini >"said.$process" 2>&1 && echo >"started.$process" &
  done
  wait
  started=$(find . -name 'started.*' | wc -l)
  [ "$started" -eq 1 ] || fail "$started have started"
  expect state '0 samples'
}

case_start_after_a_kill() {
  local stranger=$$
  start
  kill -KILL "$(pid)"
  await has_ended "$(pid)"
  start
  expect state '0 samples'
  end
  printf '%s' "$stranger" >run/sampled.pid # the number is another process's by now
  start
  [ "$(pid)" != "$stranger" ] || fail "the old pid file is left"
}

case_closed_descriptors() {
  local number
  service -f run "$port" masks.ini <&- >&- 2>&- &
  await says state '0 samples'
  for number in 0 1 2; do
    [ "$(readlink "/proc/$(pid)/fd/$number")" = /dev/null ] ||
      fail "descriptor $number is $(readlink "/proc/$(pid)/fd/$number")"
  done
  [ "$(ask_port)" = "sampled: 0 samples, last 0, mean 0" ] || fail "the port says '$(ask_port)'"
}

case_errors() {
  expect_refusal "'65536'" run 65536 masks.ini
  expect_refusal "'7x'" run 7x masks.ini
  expect_refusal "'nowhere': No such file" nowhere 7007 masks.ini
  local long=$PWD/run/12345678901234567890123456789012345678901234567890123456789012345678901234567890
  mkdir "$long"
  expect_refusal "'$long': File" "$long" 7007 masks.ini
  echo no FIFO >run/sampled.fifo
  expect_refusal "'sampled.fifo'" run "$port" masks.ini
  expect_refusal "nobody answers at 'sampled.console'" -a run state
  service >refusal 2>&1 && fail "starts without being told where"
  grep -q usage refusal || fail "no usage is told"
}

case_port() {
  start
  [ "$(ask_port '?')" = "sampled: 0 samples, last 0, mean 0" ] || fail "the port says '$(ask_port)'"
  [ -z "$(ask_port 'sampled: 0 samples, last 0, mean 0' 0.5)" ] || fail "an answer is answered"
}

case_fifo() {
  start
  echo 42 >run/sampled.fifo # a writer who comes and goes
  await says state '1 samples, last 42'
  printf '1' >run/sampled.fifo
  printf '0\n20\n' >run/sampled.fifo # a line in two pieces, and the next one with it
  await says state '3 samples, last 20, mean 24'
  printf '%s\n' x -1 '5 ' 1234567890 12345678901234567890 7 >run/sampled.fifo
  await says state '4 samples, last 7,'
  [ "$(cat run/sampled.fifo & sleep 0.2; kill $!)" = "" ] || fail "the FIFO holds what nobody has taken"
}

waits() { sed -n 's/^voluntary_ctxt_switches://p' "/proc/$(pid)/status"; }

# A FIFO whose writer has gone, or a socket that nobody accepts from, would keep the loop turning.
case_rests() {
  start
  echo 42 >run/sampled.fifo
  await says state '1 samples'
  local before after
  before=$(waits)
  sleep 1
  after=$(waits)
  [ $((after - before)) -le 5 ] || fail "has waited $((after - before)) times within a second"
}

case_console() {
  start
  expect help '^state$'
  expect 'tr show' 'sampled .*level : 113'
  expect 'state' '0 samples'
  expect 'nonsense' 'command not found'
  expect 'run' 'error: .*one command'
}

case_masks() {
  start
  expect 'tr change sampled 1023' 'changed to 1023'
  expect 'tr save' 'saved in file masks.ini'
  grep -q '"sampled";1023' run/masks.ini || fail "the init file is $(cat run/masks.ini)"
  end
  start
  expect 'tr show' 'sampled .*level : 1023'
  sed -i 's/"sampled";1023/"sampled";48/' run/masks.ini
  kill -HUP "$(pid)"
  await says 'tr show' 'sampled .*level : 48 '
}

# Into a file or a pipe, too.
case_lines_come_at_once() {
  start_in_foreground
  ask 'tr change sampled 1023' >/dev/null
  ask 'tr console' >/dev/null
  if [ ! -e /etc/quiet ]; then
    echo 42 >run/sampled.fifo
    await grep -q 'trace:sampled   sample 42' said
  fi
  kill -INT "$(pid)"
  wait $! || fail "ends with $?"
}

# Whether so many commands are running, and whether none of those that are too long is left.
runs() { [ "$(wc -w <"/proc/$(pid)/task/$(pid)/children")" -eq "$1" ]; }
nobody_sleeps() { ! cat /proc/[0-9]*/cmdline 2>/dev/null | tr '\0' ' ' | grep -q 'sleep 33[34]'; }

# A command that ends as soon as it is let.
gated_command='run "until [ -e gate ]; do sleep 0.1; done; echo late"'

case_command() {
  start
  expect 'run "echo one; echo two >&2; exit 3"' 'status 3'
  ask "$gated_command" >answer &
  await runs 1
  [ -n "$(ask_port)" ] || fail "the port does not answer while a command runs"
  expect state '0 samples'
  [ ! -s answer ] || fail "the command has ended before"
  touch run/gate
  wait
  [ "$(xargs <answer)" = "late status 0" ] || fail "the command is answered with $(cat answer)"
}

case_command_beyond_its_limit() {
  start
  ask 'run "exec sleep 333"' >answer &
  ask 'run "sleep 334 & echo left"' >other &
  wait # both end
  grep -q 'status 1, or ended by the time limit' answer || fail "the answer is $(cat answer)"
  await nobody_sleeps
  expect 'run "echo still there"' 'still there'
}

case_too_many_commands() {
  local i
  start
  for i in 1 2 3 4; do ask "$gated_command" >"answer.$i" & done
  await runs 4
  expect 'run date' 'error: too many'
  touch run/gate
  wait
  for i in 1 2 3 4; do grep -q late "answer.$i" || fail "command $i is answered with $(cat "answer.$i")"; done
  expect 'run "echo again"' again
}

case_end_during_a_command() {
  start
  ask "$gated_command" >answer &
  await runs 1
  end
  [ ! -s answer ] || fail "waits for the command"
  start # the lock is free at once
  expect state '0 samples'
}

cases=$(compgen -A function case_ | sed s/case_//)
if [ "${1-}" = list ]; then
  echo "$cases"
  exit
fi
program=$(realpath "${1-./sampled}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
port=$((10000 + $$ % 20000))
status=0
# shellcheck disable=SC2086  # words
[ $# -gt 1 ] || set -- "$program" $cases
for name in "${@:2}"; do
  [ "$(type -t "case_$name")" = function ] || fail "there is no case '$name': must be one of" "$cases"
  mkdir -p "$work/$name/run"
  if (
    cd "$work/$name" || exit
    trap 'kill -KILL $(pid 2>/dev/null) $(jobs -p) 2>/dev/null' EXIT
    "case_$name"
  ); then
    echo "ok      $name"
  else
    echo "FAILED  $name"
    status=1
  fi
done
exit "$status"
