#!/bin/sh
# Runs the init script with the shell and the start-stop-daemon of busybox: init_script.sh <busybox> <script> <program>
set -eu
busybox=$1 script=$2
PROGRAM=$(realpath "$3")
work=$(mktemp -d)
DIRECTORY=$work/run INI_FILE=$work/masks.ini PORT=$((30000 + $$ % 2000))
export PROGRAM DIRECTORY INI_FILE PORT
mkdir "$work/bin"
for name in sh start-stop-daemon cat mkdir sleep; do ln -s "$busybox" "$work/bin/$name"; done
trap 'kill "$(cat "$DIRECTORY/sampled.pid")" 2>/dev/null || true; rm -rf "$work"' EXIT

fail() {
  echo "init_script.sh: $*" >&2
  exit 1
}

init() {
  PATH=$work/bin "$work/bin/sh" "$script" "$@"
}

init start >"$work/said" 2>&1 || fail "does not start: $(cat "$work/said")"
first=$(cat "$DIRECTORY/sampled.pid")
init status | grep -q '^sampled: 0 samples' || fail 'does not print its state'
init start >"$work/said" 2>&1 || true
[ "$(cat "$DIRECTORY/sampled.pid")" = "$first" ] || fail 'starts twice'
"$PROGRAM" -a "$DIRECTORY" 'tr change sampled 48' >/dev/null
"$PROGRAM" -a "$DIRECTORY" 'tr save' >/dev/null
"$PROGRAM" -a "$DIRECTORY" 'tr changeall 0' >/dev/null
init reload
tries=0
until "$PROGRAM" -a "$DIRECTORY" 'tr show' | grep -q 'sampled .*: 48 '; do
  tries=$((tries + 1))
  [ "$tries" -le 100 ] || fail 'does not reload'
  sleep 0.1
done
init restart >"$work/said" 2>&1 || fail "does not restart: $(cat "$work/said")"
[ "$(cat "$DIRECTORY/sampled.pid")" != "$first" ] || fail 'has the same pid after a restart'
init stop
[ ! -e "$DIRECTORY/sampled.pid" ] || fail 'does not stop'
init stop || fail 'cannot be stopped twice'
status=0
init status >"$work/said" || status=$?
[ "$status" -eq 3 ] && grep -q 'does not run' "$work/said" || fail "the status of a stopped service is $status"
