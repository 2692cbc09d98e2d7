#!/usr/bin/env bash
# Builds the library and runs the demos: tpxinfo (what the library found at
# load time) and tpxfind (template matching end to end).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target tpxinfo tpxfind
./build/release/examples/tpxinfo
echo
./build/release/examples/tpxfind
