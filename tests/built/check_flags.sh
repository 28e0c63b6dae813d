#!/bin/sh
# Checks that every source is compiled with warnings about formats as errors.
#
#     check_flags.sh COMPILE_COMMANDS
set -eu

commands=$(grep '"command":' "$1")
missing=$(echo "$commands" | grep -v -e ' -Wformat=2 .*-Werror=format-security ' || true)
weakened=$(echo "$commands" | grep -e ' -Wno-format ' -e ' -Wno-format-security ' -e ' -Wno-error=format' \
  -e ' -Wno-format-nonliteral ' -e ' -Wformat=[01] ' || true)
if [ -n "$missing$weakened" ]; then
  echo "formats are not checked: $missing$weakened"
  exit 1
fi
