# What the checks inside share. They define fail() themselves, and in $patience how many seconds to wait for anything.

# Runs a command and compares what it prints.
expect() {
  wanted=$1
  shift
  printed=$("$@" 2>&1) || fail "'$*' ends with $?: $printed"
  [ "$printed" = "$wanted" ] || fail "'$*' prints '$printed', not '$wanted'"
  echo "$printed"
}

# Waits until a command succeeds.
await() {
  tries=0
  until "$@"; do
    tries=$((tries + 1))
    [ "$tries" -le $((patience * 10)) ] || fail "waited in vain for: $*"
    sleep 0.1
  done
}

plan_has_999() {
  phonectl console "$console" map | grep -q 999
}
