#!/usr/bin/env bash
# Installs headless Chromium, which the screenshot scripts render the reports with, where it is
# missing (it is not needed to build or test, so install-deps.sh leaves it out).
set -euo pipefail
if ! command -v chromium >/dev/null 2>&1; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq chromium >/dev/null
fi
