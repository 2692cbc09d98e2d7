#!/usr/bin/env bash
# Builds the library and runs the demo, tpxinfo.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target tpxinfo
./build/release/examples/tpxinfo
