# Sourced by the scripts here: `need NAME...` installs the Debian packages that are missing.
need() {
  missing=""
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
  done
  [ -n "$missing" ] || return 0
  as_root=""
  [ "$(id -u)" = 0 ] || as_root=sudo
  echo "installing:$missing"
  export DEBIAN_FRONTEND=noninteractive
  $as_root apt-get update -qq
  # shellcheck disable=SC2086
  $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

build_packages="g++ cmake ninja-build pkg-config libhwy-dev libspng-dev libcli11-dev"
peer_packages="libjpeg62-turbo-dev libopenjp2-7-dev"
test_packages="libgtest-dev googletest libbenchmark-dev libopenjp2-tools libjpeg-turbo-progs clang-format clang-tidy binutils"
