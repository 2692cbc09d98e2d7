#!/usr/bin/env bash
# Builds and runs the whole test suite three times: x86-64, i386 (-m32) and
# x86-64 under AddressSanitizer + UndefinedBehaviorSanitizer.
# usage: scripts/test.sh [release|m32|sanitize ...]   (default: all three)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release m32 sanitize)
for preset in "${presets[@]}"; do
  echo "=== $preset ==="
  cmake --workflow --preset "$preset"
done
