#!/bin/sh
# Draws the figures of this folder from phoned.log once more, and fails when one has come out differently; with --update
# it keeps what has come out.
#
#     figures.sh USERLIB-FLOW [--update]
set -eu
case $1 in
  */*) flow=$(cd "$(dirname "$1")" && pwd)/$(basename "$1") ;;
  *) flow=$1 ;;
esac
cd "$(dirname "$0")"
export TZ=UTC
status=0

# The log tells no year: what was drawn this year has to be right in the next one.
draw() {
  $EMULATOR "$flow" "$@" phoned.log | sed '/^from /d'
}

# The picture, and the options that make it.
figure() {
  if [ "$mode" = --update ]; then
    draw "$@" >"$name"
  elif ! draw "$@" | cmp -s - "$name"; then
    echo "$name is not what userlib-flow $* phoned.log draws: look at the difference, and run $0 with --update"
    status=1
  fi
}

mode=${2-}
EMULATOR=${EMULATOR-}
name=call.txt figure --call 3 --type info,tracemf --width 92
name=call.svg figure --call 3 --type info,tracemf --svg
name=short.svg figure --call 4 --type tracemf --svg
name=call.mermaid figure --call 4 --mermaid
name=stats.txt figure --stats
exit $status
