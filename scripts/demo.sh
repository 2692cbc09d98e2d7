#!/usr/bin/env bash
# Builds the library and runs the demos: tpxinfo (what the library found at
# load time) and tpxfind (template matching end to end). Needs only a
# compiler and the build tools, which it installs when missing.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh build
cmake --preset demo >/dev/null
cmake --build --preset demo
./build/demo/examples/tpxinfo
echo
./build/demo/examples/tpxfind
