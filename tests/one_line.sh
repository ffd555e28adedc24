#!/bin/sh
# The whole library builds with one compiler line, the one that the README gives.
set -eu
cd "$(dirname "$0")/.."
line=$(sed -n 's/^ *\(c++ -std=c++20 .*-o libzmcj.so\)$/\1/p' README.md | head -n 1)
test -n "$line"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
eval "$(printf '%s' "$line" | sed "s#-o libzmcj.so#-o $work/libzmcj.so#")"
sh tests/exports.sh "$work/libzmcj.so" include/zmcj.h
