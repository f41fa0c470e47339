#!/usr/bin/env bash
# The whole test suite on a fresh Debian 12 machine: install, build, run every test under CTest.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/install-deps.sh"
dir="$("$here/scripts/build.sh" Release | tail -n 1)"
cd "$dir"
# GUI tests run without a display; the test main pins TZ and locale itself.
export QT_QPA_PLATFORM=offscreen
ctest --output-on-failure --no-tests=error -j"$(nproc)"
