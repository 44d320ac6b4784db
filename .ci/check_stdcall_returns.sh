#!/usr/bin/env bash
# Checks the 32-bit Windows DLL's calling convention where a caller meets
# it: every export listed in EXPORTS (a "Name bytes [linux|ext]" list) must
# be the start of the function _name@bytes, and each of that function's
# returns must pop exactly those argument bytes ("ret $bytes"; a plain
# "ret" for none). A __stdcall caller that pushes other than what the
# callee pops would corrupt its stack.
# usage: check_stdcall_returns.sh DLL EXPORTS [OBJDUMP]
set -euo pipefail
dll=$1
exports=$2
objdump=${3:-i686-w64-mingw32-objdump}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$objdump" -p "$dll" >"$work/headers"
"$objdump" -d --no-show-raw-insn "$dll" >"$work/code"
grep -v '^#' "$exports" | awk 'NF >= 2 && $3 != "linux" { print $1, $2 }' >"$work/list"

awk -v headers="$work/headers" -v code="$work/code" '
function hex(text,   i, c, value) {
  value = 0
  text = tolower(text)
  sub(/^0x/, "", text)
  for (i = 1; i <= length(text); i++) {
    c = index("0123456789abcdef", substr(text, i, 1)) - 1
    value = value * 16 + c
  }
  return value
}
BEGIN {
  # The export table: ordinal index -> RVA, name -> ordinal index.
  while ((getline line < headers) > 0) {
    if (line ~ /^ImageBase/) { split(line, f, /[ \t]+/); base = hex(f[2]) }
    if (line ~ /^Export Address Table/) section = "addresses"
    else if (line ~ /^\[Ordinal\/Name Pointer\] Table/) section = "names"
    else if (line !~ /^\t\[/) section = ""
    if (section == "addresses" && line ~ /Export RVA/) {
      match(line, /\[ *[0-9]+\]/); index_text = substr(line, RSTART + 1, RLENGTH - 2); gsub(/ /, "", index_text)
      address = line; sub(/ Export RVA.*$/, "", address); sub(/^.* /, "", address)
      rva[index_text + 0] = hex(address)
    }
    if (section == "names" && line ~ /^\t\[/) {
      match(line, /\[ *[0-9]+\]/); index_text = substr(line, RSTART + 1, RLENGTH - 2); gsub(/ /, "", index_text)
      name = line; sub(/^\t\[ *[0-9]+\] /, "", name)
      ordinal_of[name] = index_text + 0
    }
  }
  # The code: each labelled function with its returns.
  while ((getline line < code) > 0) {
    if (line ~ /^[0-9a-f]+ <[^>]+>:$/) {
      split(line, f, / /); current = hex(f[1])
      label = f[2]; gsub(/^<|>:$/, "", label); label_at[current] = label
      # A function'"'"'s cold part (its catch handlers) returns for it.
      owner = label; sub(/\.cold(\.[0-9]+)?$/, "", owner)
      continue
    }
    if (line ~ /^ *[0-9a-f]+:\t(ret|retn)/) {
      operand = line; sub(/^ *[0-9a-f]+:\t(ret|retn) */, "", operand)
      popped = operand == "" ? 0 : hex(substr(operand, 2))
      returns[owner] = returns[owner] " " popped
    }
  }
}
{
  name = $1; bytes = $2; plain = name
  if (plain ~ /^_.*@[0-9]+$/) { sub(/^_/, "", plain); sub(/@[0-9]+$/, "", plain) }
  if (!(name in ordinal_of)) { print "missing export " name; bad++; next }
  at = base + rva[ordinal_of[name]]
  want = "_" plain "@" bytes
  if (label_at[at] != want) { printf "%s: points at <%s>, not <%s>\n", name, label_at[at], want; bad++; next }
  if (returns[want] == "") { printf "%s: <%s> has no ret of its own\n", name, want; bad++; next }
  n = split(returns[want], pops, " ")
  for (i = 1; i <= n; i++) if (pops[i] != bytes) { printf "%s: ret %s, expected %s\n", name, pops[i], bytes; bad++; next }
  checked++
}
END {
  if (bad) { printf "%d of %d exports fail the stdcall check\n", bad, bad + checked; exit 1 }
  printf "%d exports: every ret pops its stdcall argument bytes\n", checked
}' "$work/list"
