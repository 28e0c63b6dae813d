#!/bin/sh
# Compares the declarations of the public headers with the exports of the shared object, in both directions.
#
#   check_symbols.sh <shared object> <version node> <readelf> <umbrella header> <C compiler> [<compiler option>...]
#
# Every function and variable that a header declares must be marked NUV_API and be exported under the version node, and
# nothing else may be exported. Prints one line for each wrong symbol.
set -eu
export LC_ALL=C

library=$1 node=$2 readelf=$3 header=$4
shift 4

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# One "<name> <marked or unmarked>" for each declaration outside system headers.
"$@" -E "$header" >"$work/preprocessed"
awk '
  # The text without its __attribute__((...)).
  function without_attributes(text,    start, i, depth, c) {
    while ((start = index(text, "__attribute__")) > 0) {
      depth = 0
      for (i = start + length("__attribute__"); i <= length(text); ++i) {
        c = substr(text, i, 1)
        if (c == "(") ++depth
        if (c == ")" && --depth == 0) break
      }
      text = substr(text, 1, start - 1) " " substr(text, i + 1)
    }
    return text
  }
  function declaration(text,    name, mark) {
    mark = text ~ /visibility *\( *"default" *\)/ ? "marked" : "unmarked"
    text = without_attributes(text)
    sub(/^[ \t]+/, "", text)
    if (text ~ /^(typedef|static)[^A-Za-z0-9_]/) return
    if (match(text, /[A-Za-z_][A-Za-z0-9_]*[ \t]*\(/)) {
      name = substr(text, RSTART, RLENGTH - 1)
    } else if (text ~ /^extern[^A-Za-z0-9_]/) {
      sub(/\[.*/, "", text)
      match(text, /[A-Za-z_][A-Za-z0-9_]*[ \t]*$/)
      name = substr(text, RSTART)
    } else {
      return
    }
    gsub(/[ \t]/, "", name)
    print name, mark
  }
  /^#/ { is_system = $0 ~ /^# [0-9]+ ".*"( [12])? 3/; next }
  is_system { next }
  {
    line = $0
    for (i = 1; i <= length(line); ++i) {
      c = substr(line, i, 1)
      if (c == "{") ++depth
      else if (c == "}") {
        # A function body ends its declaration without a semicolon; after a record, the declaration continues.
        if (--depth == 0 && statement ~ /^[ \t]*static[ \t].*\)/) statement = ""
      }
      else if (depth > 0) continue
      else if (c == ";") { declaration(statement); statement = "" }
      else statement = statement c
    }
    statement = statement " "
  }
' "$work/preprocessed" | sort -u >"$work/declarations"
cut -d ' ' -f 1 "$work/declarations" | sort -u >"$work/declared"

# The symbols for the dynamic linker, without the name of the version itself.
"$readelf" --wide --dyn-syms "$library" >"$work/dynamic"
awk -v node="$node" '$1 ~ /^[0-9]+:$/ && NF >= 8 && $7 != "UND" && $5 != "LOCAL" {
  name = $8
  sub(/@.*/, "", name)
  if (name != node) print name, ($8 == name "@@" node ? "versioned" : "unversioned")
}' "$work/dynamic" | sort -u >"$work/exports"
cut -d ' ' -f 1 "$work/exports" | sort -u >"$work/exported"

{
  comm -23 "$work/declared" "$work/exported" | sed 's/^/declared but not exported: /'
  comm -13 "$work/declared" "$work/exported" | sed 's/^/exported but not declared: /'
  sed -n 's/ unmarked$//p' "$work/declarations" | sed 's/^/not marked NUV_API: /'
  sed -n 's/ unversioned$//p' "$work/exports" | sed "s/^/not exported as $node: /"
} >"$work/complaints"

cat "$work/complaints"
count=$(wc -l <"$work/declared")
echo "$((count)) symbols declared"
[ "$count" -gt 0 ] && [ ! -s "$work/complaints" ]
