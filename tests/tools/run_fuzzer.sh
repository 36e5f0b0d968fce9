#!/usr/bin/env bash
# run_fuzzer.sh TARGET SECONDS: builds a fuzz target and runs it from its corpus; new inputs are not kept.
set -euo pipefail
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "fuzz_$1" >/dev/null
found=$(mktemp -d)
trap 'rm -rf "$found"' EXIT
# Qt asks for memory by counts that it then finds wanting; a refusal is what it expects.
export ASAN_OPTIONS=allocator_may_return_null=1
"build/fuzz/bin/fuzz_$1" -max_total_time="$2" -rss_limit_mb=2048 -artifact_prefix="$found/" -print_final_stats=1 \
  "$found" "fuzz/corpus/$1" 2>&1 | tail -12
