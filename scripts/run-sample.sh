#!/usr/bin/env bash
# Installs, builds in Release and runs Kestrova on the built-in sample Windows system:
# the window where a display is available, otherwise every category through the command line.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/install-deps.sh"
dir="$("$here/scripts/build.sh" Release | tail -n 1)"
bin="$dir/bin"
if { [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; } && [ -x "$bin/kestrova" ]; then
  exec "$bin/kestrova"
fi
"$bin/kestrova-cli" info
exec "$bin/kestrova-cli" rows $("$bin/kestrova-cli" categories --keys)
