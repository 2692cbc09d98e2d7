#!/usr/bin/env bash
# Installs the Debian packages the builds and tests need, if any is missing.
# Idempotent: does nothing (and needs no network) when all are present.
# usage: scripts/deps.sh          everything the three test builds need
#        scripts/deps.sh build    only the compiler and build tools (the demos)
set -euo pipefail

build=(cmake ninja-build g++ pkgconf)
packages=(
  "${build[@]}"
  g++-multilib                       # the -m32 build
  qemu-user                          # i386 tests where the kernel cannot run them; processor models
  googletest libgtest-dev            # tests (the 32-bit build compiles GoogleTest from source)
  libbenchmark-dev                   # benchmarks
  libopencv-dev                      # test oracle and benchmark peer
  libfftw3-dev                       # benchmark peer of the FFT engine
  libeigen3-dev                      # oracle of the matrix tests, benchmark peer
)
[ "${1:-}" = build ] && packages=("${build[@]}")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
