#!/usr/bin/env bash
# run_preset_tests.sh PRESET: builds a sanitizer preset and runs its tests of concurrency and decoding.
set -euo pipefail
cmake --preset "$1" >/dev/null
cmake --build --preset "$1" >/dev/null
exec ctest --preset "$1" -L 'concurrency|decoding' -j "$(nproc)" --no-tests=error
