#!/usr/bin/env bash
# Writes the HTML report of the built-in sample system with kestrova-cli and renders it as a real
# browser shows it (headless Chromium) into docs/report.png. Needs no display.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/install-deps.sh"
"$here/scripts/ensure-chromium.sh"
dir="$("$here/scripts/build.sh" Release | tail -n 1)"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
"$dir/bin/kestrova-cli" report "$out/Report_for_KESTROVA-SAMPLE.htm" --groups ie,windows,firefox,chrome,index
# The report is UTF-16 with a byte-order mark, which the browser honours over the page's
# declared charset, as it always did.
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1100,1500 \
  --screenshot="$here/docs/report.png" "file://$out/Report_for_KESTROVA-SAMPLE.htm" 2>/dev/null
echo "$here/docs/report.png"
