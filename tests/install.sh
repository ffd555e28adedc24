#!/bin/sh
# install.sh PREFIX: the installed package serves CMake's find_package and pkg-config, and the README's example runs.
set -eu
prefix=$(cd "$1" && pwd)
root=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
awk '/^```c$/{on=1;next} /^```$/{on=0} on' "$root/README.md" >"$work/example.c"
test -s "$work/example.c"
cat >"$work/CMakeLists.txt" <<'CM'
cmake_minimum_required(VERSION 3.25)
project(example C)
find_package(zmcj 4 REQUIRED)
add_executable(example example.c)
target_link_libraries(example PRIVATE zmcj::zmcj)
CM
cmake -S "$work" -B "$work/b" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/b" >/dev/null
"$work/b/example"
export PKG_CONFIG_PATH="$(dirname "$(find "$prefix" -name zmcj.pc)")"
# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -Werror -o "$work/by_pkgconfig" "$work/example.c" $(pkg-config --cflags --libs zmcj)
LD_LIBRARY_PATH="$(dirname "$(find "$prefix" -name libzmcj.so)")" "$work/by_pkgconfig" >/dev/null
echo "find_package and pkg-config: fine"
