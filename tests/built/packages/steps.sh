# Shared by the checks inside, which define fail(), and $patience, the seconds to wait for anything.

# Runs a command and compares its output.
expect() {
  wanted=$1
  shift
  printed=$("$@" 2>&1) || fail "'$*' exits with $?: $printed"
  [ "$printed" = "$wanted" ] || fail "'$*' prints '$printed', not '$wanted'"
  echo "$printed"
}

# Waits until a command succeeds.
await() {
  tries=0
  until "$@"; do
    tries=$((tries + 1))
    [ "$tries" -le $((patience * 10)) ] || fail "timed out waiting for: $*"
    sleep 0.1
  done
}

plan_has_999() {
  phonectl console "$console" map | grep -q 999
}
