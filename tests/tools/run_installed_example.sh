#!/usr/bin/env bash
# run_installed_example.sh BUILD: installs into a temporary prefix, then configures, builds and runs the example host as
# an outside project, and checks what it prints.
set -euo pipefail
source_dir=$PWD
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$1" --prefix "$prefix/installed" >/dev/null
cmake -S "$source_dir/examples" -B "$prefix/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_PREFIX_PATH="$prefix/installed" >/dev/null
cmake --build "$prefix/build"
library_path=$(dirname "$(find "$prefix/installed" -name 'libCommonNOX.so' | head -1)")
LD_LIBRARY_PATH=$library_path "$prefix/build/readings" | tee "$prefix/readings"
# Fifty periods of a 100 pC pulse each: the weighted charge has risen most of the way.
[ "$(wc -l <"$prefix/readings")" = 50 ]
tail -1 "$prefix/readings" | grep -x '49: 59.93 pC'
LD_LIBRARY_PATH=$library_path "$prefix/installed/bin/nox" --version | grep -E '^nox [0-9]+\.[0-9]+\.[0-9]+$'
