#!/usr/bin/env bash
# Installs the Debian 12 packages Kestrova builds, tests and runs with.
# Idempotent: packages already present are not touched, and apt is not asked at all then.
set -euo pipefail

packages=(
  cmake g++ make pkg-config git
  qt6-base-dev libgl-dev           # QtCore/Gui/Widgets/Network/Test
  libhivex-dev libhivex-bin        # registry hives (hivexsh is the independent reference)
  libmsiecf-dev libbfio-dev libmsiecf-utils   # MSIE cache files; -dev needs libbfio-dev beside it
  libsqlite3-dev sqlite3
  libewf-dev libvhdi-dev libvmdk-dev libqcow-dev   # disk image containers (EWF, VHD/VHDX, VMDK, QCOW2)
  libfsntfs-dev libvshadow-dev libvshadow-utils   # NTFS inside an image; its shadow copies (vshadowinfo: the reference)
  libesedb-dev libesedb-utils libxlsxwriter-dev   # ESE: WebCacheV01.dat, SRUDB.dat (esedbexport: the reference); spreadsheet export
  libfwsi-dev liblnk-dev libolecf-dev libscca-dev   # shell items, shortcuts, Jump Lists, Prefetch
  libzip-dev zip                   # triage collections in a ZIP, read in place; zip writes the test fixtures
  libdeflate-dev                   # a ZIP member or an EWF chunk inflated in one call, at several times zlib's speed
  zlib1g-dev                       # zlib's interface, which the image reader gives libewf through libdeflate (zlib: the tests' reference)
  libevt-dev libevtx-utils   # NT event logs (.evt); evtxexport, the .evtx reader's reference in the tests
  sleuthkit                        # mactime, which the timeline's body files are checked with
  ntfs-3g qemu-utils ewf-tools     # image fixtures at test time: mkntfs/ntfs-3g, qemu-img, ewfacquire
  libgtest-dev
  clang libclang-rt-14-dev         # libFuzzer harnesses (scripts/fuzz.sh), with ASan and UBSan
  python3                          # writes a few of the fuzzing seeds
  xvfb xauth                       # a real display for screenshots and the GUI under CI
  xdg-utils                        # xdg-open, the desktop's "open" action
  dpkg-dev lintian                 # the .deb: dpkg-shlibdeps finds its dependencies, lintian checks it
  poppler-utils                    # pdfinfo, which the case report's PDF is checked with
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  echo "Installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
fi
