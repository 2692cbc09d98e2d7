#!/usr/bin/env bash
# Builds and runs the whole test suite three times: x86-64, i386 (-m32) and
# x86-64 under AddressSanitizer + UndefinedBehaviorSanitizer; then the
# concurrency test under ThreadSanitizer.
# usage: scripts/test.sh [release|m32|sanitize|tsan ...]   (default: all four)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release m32 sanitize tsan)
for preset in "${presets[@]}"; do
  echo "=== $preset ==="
  cmake --workflow --preset "$preset"
done
