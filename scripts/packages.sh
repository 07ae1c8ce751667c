# shellcheck shell=sh
# Sourced by the scripts beside it: need_packages PACKAGE... installs the Debian packages that are missing, as
# root or through sudo; without either it says what to install and ends the script.

# What every configuration of the build looks for, and what the tests use beside.
# shellcheck disable=SC2034  # for the scripts that source this
build_packages='cmake ninja-build g++ pkg-config libcli11-dev libfmt-dev libicu-dev libssl-dev nlohmann-json3-dev'
# shellcheck disable=SC2034
test_packages='libgtest-dev strace mandoc locales'
# For the preset release-small.
# shellcheck disable=SC2034
small_packages='clang libc++-dev musl-dev'
# shellcheck disable=SC2034
arm_packages='g++-aarch64-linux-gnu googletest qemu-user'
# shellcheck disable=SC2034
emulator_packages='bochs bochs-term vgabios'

need_packages() {
  missing=
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing="$missing $package"
  done
  [ -n "$missing" ] || return 0
  echo "Installing Debian packages:$missing"
  if [ "$(id -u)" = 0 ]; then
    as_root=
  elif command -v sudo >/dev/null; then
    as_root=sudo
  else
    echo "Not root, and there is no sudo. As root, run:  apt-get install$missing" >&2
    exit 1
  fi
  # shellcheck disable=SC2086  # a list of words
  if ! { $as_root apt-get update -qq &&
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null; }; then
    echo "Could not install:$missing" >&2
    exit 1
  fi
}
