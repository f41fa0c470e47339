#!/usr/bin/env bash
# Builds the libFuzzer harnesses of tests/fuzz with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer) into build/fuzz, makes their seed corpora from ../shared/realdata
# (where it is there) and the project's own generators, and runs every harness under CTest.
#   scripts/fuzz.sh [SECONDS]   each harness runs that long (default 5; the test command's run);
#                               scripts/fuzz.sh 600 for a longer campaign
# A crash, a leak-free hang past the timeout or a sanitizer finding fails its harness; the input
# is kept in build/fuzz/artifacts/, what the runs found new in build/fuzz/corpus/.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
seconds="${1:-5}"
dir="$here/build/fuzz"
release="$here/build/release"
realdata="$here/../shared/realdata"

CC=clang CXX=clang++ cmake -S "$here" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTROVA_FUZZ=ON \
  -DKESTROVA_FUZZ_SECONDS="$seconds" >/dev/null
cmake --build "$dir" -j"$(nproc)" >/dev/null

# Seeds: real traces where they are, generated ones always (the sample system of the Release
# build's own generator, and a few hand-made values).
seeds="$dir/seeds"
rm -rf "$seeds"
mkdir -p "$seeds"/{index_scan,mru,utf8_column,text_file,cookie,ini,registry_path,history_header,cli_escape,partitions,hive_log,shim_cache}
sample="$(mktemp -d)"
trap 'rm -rf "$sample"' EXIT
"$release/bin/kestrova-mksample" "$sample" >/dev/null
n=0
seed() { n=$((n + 1)); cp "$2" "$seeds/$1/seed-$n"; }
while IFS= read -r -d '' f; do seed index_scan "$f"; { printf '\0\0\x80\0\0\0\0\0'; cat "$f"; } > "$seeds/history_header/seed-$n"; done \
  < <(find "$sample" -iname index.dat -print0)
while IFS= read -r -d '' f; do seed cookie "$f"; done < <(find "$sample" -iname '*.txt' -path '*ookies*' -print0)
while IFS= read -r -d '' f; do seed text_file "$f"; done < <(find "$sample" -iname global_history.dat -print0)
cp "$release/bin/kr.ini" "$seeds/ini/delivered" 2>/dev/null || printf '[general]\nReportFolder=\nlastcheckupdate=2026-11-01\nCheckInterval=7\n' > "$seeds/ini/delivered"
printf '[source]\r\nRoot=/mnt/windows\r\nUser=alice\r\n[general]\r\nlastcheckupdate=21 November 2026\r\n' > "$seeds/ini/crlf"
printf 'HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU' > "$seeds/registry_path/hkcu"
printf 'HKLM\\SYSTEM\\CurrentControlSet\\Enum\\USBSTOR' > "$seeds/registry_path/hklm"
printf 'http://www.example.com/caf\xc3\xa9 \xe6\x97\xa5\xff\xfe' > "$seeds/utf8_column/mixed"
printf 'a\tb\\c\nd\0e,"f"\xe9' > "$seeds/cli_escape/specials"
printf '\0C\0:\0\\\0U\0s\0e\0r\0s\0\0\0' > "$seeds/mru/en-utf16"
printf '\1\x82\xa0\x82\xa2\0\0' > "$seeds/mru/jan-sjis"
# ShimCache values: a Windows 7 32-bit header with one entry, a Windows 10 header with one entry.
python3 - "$seeds/shim_cache" <<'PY'
import struct, sys
out = sys.argv[1]
path = 'C:\\Tools\\run.exe'.encode('utf-16-le')
seven = struct.pack('<II', 0xbadc0fee, 1) + bytes(120) + struct.pack('<HHIQIIII', len(path), len(path) + 2, 160, 132223104000000000, 2, 0, 0, 0) + path
open(out + '/seven', 'wb').write(seven)
entry = struct.pack('<H', len(path)) + path + struct.pack('<QI', 132223104000000000, 0)
ten = struct.pack('<I', 0x34) + bytes(0x30) + b'10ts' + struct.pack('<II', 0, len(entry)) + entry
open(out + '/ten', 'wb').write(ten)
PY
printf '\2\x14\0\x1f\x50\xe0\x4f\xd0\x20\xea\x3a\x69\x10\xa2\xd8\x08\x00\x2b\x30\x30\x9d\0\0' > "$seeds/mru/asia-item"
# Partition tables: the first 64 KiB of real disks, and tables written here.
python3 - "$seeds/partitions" <<'PY'
import struct, sys
out = sys.argv[1]
def mbr(entries):
    b = bytearray(512)
    for i, (t, start, count) in enumerate(entries):
        struct.pack_into('<B3xII', b, 446 + 16 * i + 4, t, start, count)
    b[510:512] = b'\x55\xaa'
    return b
disk = mbr([(0x07, 1, 20), (0x0f, 24, 40)]) + bytes(512 * 23) + mbr([(0x83, 1, 8), (0x05, 16, 16)]) + bytes(512 * 40)
open(out + '/mbr-extended', 'wb').write(disk)
gpt = mbr([(0xee, 1, 100)]) + b'EFI PART' + bytes(64) + struct.pack('<QII', 2, 4, 128) + bytes(512 - 88) + bytes(512 * 4)
open(out + '/gpt', 'wb').write(gpt)
ntfs = bytearray(1024); ntfs[3:11] = b'NTFS    '; ntfs[510:512] = b'\x55\xaa'
open(out + '/bare-ntfs', 'wb').write(ntfs)
PY
if [ -d "$realdata" ]; then
  for f in "$realdata"/images/tsk_volume_system.raw "$realdata"/images/ext2.splitraw.000; do
    [ -f "$f" ] && head -c 65536 "$f" > "$seeds/partitions/real-$((n++))"
  done
  for f in "$realdata"/History.IE5-index.dat "$realdata"/Content.IE5-index.dat; do
    [ -f "$f" ] && seed index_scan "$f" && { printf '\0\x80\0\0\0\0\0\0'; cat "$f"; } > "$seeds/history_header/real-$n"
  done
  for f in "$realdata"/chrome-History-v01 "$realdata"/firefox-places.sqlite; do [ -f "$f" ] && head -c 65536 "$f" > "$seeds/utf8_column/real-$((n++))"; done
  for f in "$realdata"/shell/*.lnk; do [ -f "$f" ] && seed mru "$f"; done
  [ -f "$realdata/logs/setupapi.dev.log" ] && head -c 65536 "$realdata/logs/setupapi.dev.log" > "$seeds/text_file/setupapi"
  [ -f "$realdata/browsers/firefox39-profile/profiles.ini" ] && seed ini "$realdata/browsers/firefox39-profile/profiles.ini"
  # The real dirty hive with its first log: its 4-byte size, the hive, the log (the first 256 KiB).
  if [ -f "$realdata/registry/transactions_NTUSER.DAT" ]; then
    python3 - "$realdata/registry" "$seeds/hive_log/real" <<'PY'
import struct, sys
d = sys.argv[1]
primary = open(d + '/transactions_NTUSER.DAT', 'rb').read()
log = open(d + '/transactions_ntuser.dat.log1', 'rb').read()[:262144]
open(sys.argv[2], 'wb').write(struct.pack('<I', len(primary)) + primary + log)
PY
  fi
else
  echo "fuzz: ../shared/realdata not found; seeds are the generated ones only"
fi

cd "$dir"
ctest --output-on-failure --no-tests=error -j"$(nproc)"
