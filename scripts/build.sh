#!/usr/bin/env bash
# Configures and builds one build type into build/<type>. Usage: scripts/build.sh [Release|Debug]
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
type="${1:-Release}"
dir="$here/build/$(echo "$type" | tr '[:upper:]' '[:lower:]')"
cmake -S "$here" -B "$dir" -DCMAKE_BUILD_TYPE="$type" >/dev/null
cmake --build "$dir" -j"$(nproc)"
echo "$dir"
