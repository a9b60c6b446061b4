#!/usr/bin/env bash
# Checks that each shared library exports only its documented C API (names with the
# library's prefix) and carries a versioned SONAME.
#   check_exports.sh NM READELF LIBRARY:PREFIX...
set -euo pipefail
nm_tool="$1"; readelf_tool="$2"; shift 2
status=0
for entry in "$@"; do
  library="${entry%%:*}"
  prefix="${entry##*:}"
  soname=$("$readelf_tool" -d "$library" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
  if [[ ! "$soname" =~ \.so\.[0-9]+$ ]]; then
    echo "$library: SONAME '$soname' has no version"
    status=1
  fi
  stray=$("$nm_tool" -D --defined-only "$library" | awk '{print $NF}' | sed 's/@.*//' \
    | grep -v -E "^${prefix}" | grep -v -E '^[a-z_]+_[0-9]+$' || true)
  if [ -n "$stray" ]; then
    echo "$library exports names outside ${prefix}*:"
    echo "$stray"
    status=1
  fi
  count=$("$nm_tool" -D --defined-only "$library" | awk '{print $NF}' | sed 's/@.*//' | grep -c -E "^${prefix}" || true)
  echo "$library ($soname): $count exported ${prefix}* symbols"
done
exit $status
