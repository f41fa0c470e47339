#!/usr/bin/env bash
# Configures and builds one build type into build/<type>. Usage: scripts/build.sh [Release|Debug|Sanitize]
# Sanitize is a debug build with AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
type="${1:-Release}"
dir="$here/build/$(echo "$type" | tr '[:upper:]' '[:lower:]')"
extra=()
if [ "$type" = "Sanitize" ]; then
  type=Debug
  extra=(-DKESTROVA_SANITIZE=ON)
fi
cmake -S "$here" -B "$dir" -DCMAKE_BUILD_TYPE="$type" "${extra[@]}" >/dev/null
cmake --build "$dir" -j"$(nproc)"
echo "$dir"
