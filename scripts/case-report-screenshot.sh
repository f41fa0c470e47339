#!/usr/bin/env bash
# Writes the case report of the built-in sample system and renders it for the README: the HTML
# page as a real browser shows it (headless Chromium) into docs/case-report.png, and the first page
# of the PDF the window exports (pdftoppm) into docs/case-report-pdf.png. Needs no display.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/install-deps.sh"
"$here/scripts/ensure-chromium.sh"
dir="$("$here/scripts/build.sh" Release | tail -n 1)"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
# The examiner's case files of the sample go to the temporary folder, not the user's own.
export XDG_DATA_HOME="$out/data"
"$dir/bin/kestrova-cli" summary --format html -o "$out/case.html"
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1100,1500 \
  --screenshot="$here/docs/case-report.png" "file://$out/case.html" 2>/dev/null
QT_QPA_PLATFORM=offscreen "$dir/bin/kestrova-screenshot" "$out/case.pdf"
pdftoppm -png -r 60 -f 1 -l 1 -singlefile "$out/case.pdf" "$here/docs/case-report-pdf"
echo "$here/docs/case-report.png $here/docs/case-report-pdf.png"
