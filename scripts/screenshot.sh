#!/usr/bin/env bash
# Renders the main window on the sample system into docs/main-window.png (no display needed).
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/install-deps.sh"
dir="$("$here/scripts/build.sh" Release | tail -n 1)"
QT_QPA_PLATFORM=offscreen "$dir/bin/kestrova-screenshot" "$here/docs/main-window.png" "${1:-b4}"
echo "$here/docs/main-window.png"
