#!/bin/sh
# Runs the example of a language and compares what it prints. Ends with 77 where the tools of the language are missing.
#
#   run.sh python|rust <shared object> <records.json>
#
# PYTHON and RUSTC in the environment are the interpreter and the compiler, if there are any.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

case $1 in
  python)
    [ -n "${PYTHON-}" ] || { echo "skipped: there is no python3"; exit 77; }
    "$PYTHON" "$here/reactor.py" "$2" "$3" >"$work/printed"
    printf '%s\n' '5 bytes through watch 7: hello' 'time is over' >"$work/wanted"
    ;;
  rust)
    [ -n "${RUSTC-}" ] || { echo "skipped: there is no rustc"; exit 77; }
    folder=$(dirname "$2")
    # What a user's rustup has to fetch first is not there, either.
    "$RUSTC" --version >/dev/null 2>&1 || { echo "skipped: '$RUSTC' does not run"; exit 77; }
    "$RUSTC" --edition 2021 -L "$folder" -C "link-arg=-Wl,-rpath,$folder" -o "$work/reactor" "$here/reactor.rs"
    "$work/reactor" "$3" >"$work/printed"
    printf '%s\n' '5 bytes through watch 7: hello' >"$work/wanted"
    ;;
  *)
    echo "run.sh: unknown language '$1': must be python or rust" >&2
    exit 2
    ;;
esac
diff -u "$work/wanted" "$work/printed"
cat "$work/printed"
