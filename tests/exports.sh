#!/bin/sh
# exports.sh LIBRARY HEADER: the library exports exactly the names that the header declares, and needs no vector library.
set -eu
declared=$(tr '\n' ' ' <"$2" | sed 's/ZMCJ_API/\n&/g' | sed -n 's/^ZMCJ_API [^(]*[ *]\(zmc[A-Za-z0-9_]*\)(.*/\1/p' | sort)
exported=$(nm -D --defined-only "$1" | sed -n 's/.* [A-Z] \([a-zA-Z_][A-Za-z0-9_]*\)@.*/\1/p' | grep -v '^ZMCJ_4$' | sort)
if [ "$declared" != "$exported" ]; then
  echo "declared in the header ('<') and exported by the library ('>') differ:"
  printf '%s\n' "$declared" >/tmp/zmcj-declared.$$
  printf '%s\n' "$exported" | diff /tmp/zmcj-declared.$$ - || true
  rm -f /tmp/zmcj-declared.$$
  exit 1
fi
if readelf -d "$1" | grep -i 'NEEDED.*hwy'; then
  echo "the library must not need Highway's library"
  exit 1
fi
echo "$(printf '%s\n' "$exported" | wc -l) names exported, each declared"
