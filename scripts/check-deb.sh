#!/usr/bin/env bash
# Installs the built package into a clean Debian 12 root and runs it there: a root made with
# debootstrap (minbase: nothing of Kestrova's dependencies in it), `apt-get install ./kestrova_*.deb`
# fetching exactly what the package names, then the command line on the delivered sample and on
# a folder given with --root, and the window offscreen. Needs root and a Debian mirror
# (KESTROVA_MIRROR, default deb.debian.org). The root is kept in build/check-deb-root for the
# next run (removed with --fresh).
#   scripts/check-deb.sh [--fresh] [PACKAGE.deb]
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
fresh=0
deb=""
for arg in "$@"; do
  case "$arg" in
    --fresh) fresh=1 ;;
    *) deb="$arg" ;;
  esac
done
[ -n "$deb" ] || deb="$("$here/scripts/package-deb.sh" | tail -n 1)"
mirror="${KESTROVA_MIRROR:-http://deb.debian.org/debian}"
root="$here/build/check-deb-root"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
command -v debootstrap >/dev/null || { $sudo apt-get install -y -qq debootstrap >/dev/null; }

cleanup() {
  for m in proc dev/pts dev sys; do $sudo umount "$root/$m" 2>/dev/null || true; done
}
trap cleanup EXIT
if [ "$fresh" = 1 ] || [ ! -x "$root/usr/bin/apt-get" ]; then
  $sudo rm -rf "$root"
  echo "check-deb: making a clean Debian 12 root in $root" >&2
  $sudo debootstrap --variant=minbase bookworm "$root" "$mirror" >/dev/null
fi
# A kept root starts over from what debootstrap made: the previous install is purged.
$sudo chroot "$root" sh -c 'dpkg -s kestrova >/dev/null 2>&1 && apt-get purge -y -qq kestrova >/dev/null && apt-get autoremove -y -qq >/dev/null || true'
for m in proc sys dev dev/pts; do $sudo mount --bind "/$m" "$root/$m"; done
$sudo cp "$deb" "$root/tmp/"
name="$(basename "$deb")"
$sudo chroot "$root" sh -c "apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq /tmp/$name >/dev/null"

run() { $sudo chroot "$root" env HOME=/root XDG_CONFIG_HOME=/root/.config QT_QPA_PLATFORM=offscreen "$@"; }
echo "check-deb: kestrova-cli --version" >&2
run kestrova-cli --version
echo "check-deb: kestrova-cli info (the delivered sample)" >&2
run kestrova-cli info | head -n 5
echo "check-deb: kestrova-cli --root DIR info" >&2
run sh -c 'rm -rf /tmp/volume && cp -r /usr/share/kestrova/sample /tmp/volume && kestrova-cli --root /tmp/volume info | head -n 3'
echo "check-deb: the settings copied to the user's configuration" >&2
run test -f /root/.config/kestrova/kr.ini
echo "check-deb: man pages and completion" >&2
run sh -c 'test -s /usr/share/man/man1/kestrova-cli.1.gz && test -s /usr/share/bash-completion/completions/kestrova-cli'
echo "check-deb: the window, offscreen, for three seconds" >&2
status=0
run timeout 3 kestrova || status=$?
if [ "$status" -ne 124 ]; then
  echo "check-deb: the window ended with $status before it was closed" >&2
  exit 1
fi
echo "check-deb: $name installs and runs in a clean Debian 12 root" >&2
