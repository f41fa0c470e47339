#!/usr/bin/env bash
# Builds the .deb from the Release build (CPack; dependencies found by dpkg-shlibdeps from Debian
# 12's own libraries), checks that it holds what an installed Kestrova needs and that lintian
# finds no error in it, and prints its path last.
#   scripts/package-deb.sh
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
# Only what the package installs is built: the programs, the sample system, kr.ini, the man pages.
dir="$here/build/release"
cmake -S "$here" -B "$dir" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$dir" -j"$(nproc)" --target kestrova kestrova-cli kestrova-evt-reader kestrova-image-reader kestrova_package_files kestrova_sample_system kestrova_delivered_ini
(cd "$dir" && cpack -G DEB >/dev/null)
deb="$(ls -t "$dir"/kestrova_*.deb | head -n 1)"

contents="$(dpkg-deb -c "$deb" | awk '{print $6}')"
for wanted in ./usr/bin/kestrova ./usr/bin/kestrova-cli ./usr/libexec/kestrova/kestrova-evt-reader ./usr/libexec/kestrova/kestrova-image-reader ./usr/share/kestrova/kr.ini ./usr/share/kestrova/sample/ \
              ./usr/share/applications/kestrova.desktop ./usr/share/icons/hicolor/scalable/apps/kestrova.svg \
              ./usr/share/mime/packages/kestrova.xml \
              ./usr/share/man/man1/kestrova.1.gz ./usr/share/man/man1/kestrova-cli.1.gz \
              ./usr/share/bash-completion/completions/kestrova-cli ./usr/share/doc/kestrova/copyright \
              ./usr/share/doc/kestrova/changelog.gz; do
  if ! grep -qxF "$wanted" <<<"$contents"; then
    echo "package-deb: $deb lacks $wanted" >&2
    exit 1
  fi
done
depends="$(dpkg-deb -f "$deb" Depends)"
for lib in libqt6widgets6 libsqlite3-0 libhivex0 libmsiecf1 libfsntfs1 libevt1 xdg-utils; do
  if ! grep -q "$lib" <<<"$depends"; then
    echo "package-deb: $deb does not depend on $lib (Depends: $depends)" >&2
    exit 1
  fi
done
if ! dpkg-deb -f "$deb" Recommends | grep -q bash-completion; then
  echo "package-deb: $deb does not recommend bash-completion" >&2
  exit 1
fi
if command -v lintian >/dev/null; then
  lintian --fail-on error "$deb" >&2
fi
echo "$deb"
