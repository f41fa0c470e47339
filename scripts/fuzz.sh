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
mkdir -p "$seeds"/{index_scan,mru,utf8_column,text_file,cookie,ini,registry_path,history_header,cli_escape,partitions,hive_log,shim_cache} \
         "$seeds"/{destlist,custom_destinations,shell_item_naming,webcache_names,usb_setupapi,userassist,timeline,image_protocol,plain_file_vfs,image_reader,evtx,usn_records,mft_entry,task_files,zip_collection}
sample="$(mktemp -d)"
trap 'rm -rf "$sample"' EXIT
"$release/bin/kestrova-mksample" "$sample" >/dev/null
n=0
seed() { n=$((n + 1)); cp "$2" "$seeds/$1/seed-$n"; }
while IFS= read -r -d '' f; do seed index_scan "$f"; { printf '\0\0\x80\0\0\0\0\0'; cat "$f"; } > "$seeds/history_header/seed-$n"; done \
  < <(find "$sample" -iname index.dat -print0)
while IFS= read -r -d '' f; do seed cookie "$f"; done < <(find "$sample" -iname '*.txt' -path '*ookies*' -print0)
# Collections: a few of the sample's files as Info-ZIP zips them (deflated, extended times), and as
# Velociraptor names them (URL-encoded, stored).
(cd "$sample" && zip -q -r "$seeds/zip_collection/sample.zip" Windows/System32/config/SOFTWARE Users/alice/NTUSER.DAT -x '*.LOG*' 2>/dev/null) || true
(cd "$sample" && mkdir -p velo/uploads/auto/C%3A/Users/alice && cp Users/alice/NTUSER.DAT velo/uploads/auto/C%3A/Users/alice/ \
  && cd velo && zip -q -0 -r "$seeds/zip_collection/velo.zip" uploads 2>/dev/null) || true
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
# The Windows activity decoders: DestList streams of both versions, shell items libfwsi leaves
# unnamed, UserAssist values, WebCache names, timeline records.
python3 - "$seeds" <<'PY'
import struct, sys
out = sys.argv[1]
def w(name, data): open(out + '/' + name, 'wb').write(data)
path = 'C:\\Users\\bob\\report.docx'.encode('utf-16-le')
v1 = struct.pack('<IIII', 1, 1, 0, 0) + bytes(16)
v1 += bytes(88) + struct.pack('<IIfQi', 3, 0, 2.0, 131669000000000000, -1)[:-4] + struct.pack('<i', -1) + struct.pack('<H', len(path) // 2) + path
w('destlist/v1', v1)
v3 = struct.pack('<IIII', 3, 1, 0, 0) + bytes(16) + bytes(88) + struct.pack('<IIQi', 7, 0, 131669000000000000, 1) + struct.pack('<I', 5) + bytes(8) + struct.pack('<H', len(path) // 2) + path + bytes(4)
w('destlist/v3', v3)
lnk = bytes.fromhex('4c0000000114020000000000c000000000000046') + bytes(60)
w('custom_destinations/tasks', struct.pack('<III', 2, 1, 0) + struct.pack('<II', 2, 1) + bytes(16) + lnk + bytes.fromhex('abfbbfba'))
w('custom_destinations/named', struct.pack('<III', 2, 2, 0) + struct.pack('<IH', 0, 4) + 'Work'.encode('utf-16-le') + struct.pack('<I', 0) + bytes.fromhex('abfbbfba') + struct.pack('<II', 1, 2) + bytes.fromhex('abfbbfba'))
w('shell_item_naming/drive', b'\x2e' + struct.pack('<HBB', 30, 0x2e, 0) + bytes(2) + struct.pack('<I', 0xF5A6B710) + bytes(2) + b'/D:\\' + bytes(13))
name = 'Dropbox'.encode('utf-16-le') + b'\0\0'
beef = struct.pack('<HHIII', 46 + len(name) + 2, 9, 0xBEEF0004, 0x4C7A1234, 0x4C7A1234) + bytes(30) + name + struct.pack('<H', 0)
w('shell_item_naming/delegate', b'\x74' + struct.pack('<HBBH', 0, 0x74, 0, 0) + b'CFSF' + struct.pack('<HBBIIH', 0, 0x31, 0, 0, 0x4C7A1234, 0x10) + b'DROPBOX\0' + bytes(32) + beef)
guid = bytes.fromhex('5316dd3a32ebb04cbbd7dfa0abb5acca')
w('shell_item_naming/known', b'\x2e' + struct.pack('<HBB', 20, 0x2e, 0) + guid)
sps = b'1SPS' + bytes.fromhex('30f125b7ef471a10a5f102608c9eebac') + struct.pack('<IIBHHI', 17 + 10, 10, 0, 0x1F, 0, 5) + 'Home'.encode('utf-16-le') + b'\0\0'
w('shell_item_naming/property-store', b'\x00' + struct.pack('<HBB', 0, 0, 0) + bytes(10) + sps)
w('userassist/seven', b'HRZR_PGYFRFFVBA\0' + struct.pack('<IIII', 0, 7, 9, 60000) + bytes(44) + struct.pack('<Q', 131669000000000000) + bytes(4))
w('userassist/xp', b'P:\\Jvaqbjf\\abgrcnq.rkr\0' + struct.pack('<IIQ', 1, 12, 131669000000000000))
w('webcache_names/history', b'\x00History\0Visited: bob@https://www.example.org/a?b=c')
w('webcache_names/cookies', b'\x02Cookies\0Cookie:bob@example.org/shop/')
w('webcache_names/odd', b'\x01MSHist012026110220261109\0@@::@/')
for i in range(3):
    rec = b''
    for k in range(6):
        rec += bytes([k * 3 + i, 12]) + struct.pack('<q', 1793520000000000 + k * 1000003 * (i + 1)) * 8 + b'example.org '
    w('timeline/records-%d' % i, rec)
w('image_protocol/empty-summary', bytes(64))
w('image_protocol/frame', struct.pack('<I', 12) + bytes(12) + struct.pack('<I', 0xFFFFFFF0))
PY
if command -v sqlite3 >/dev/null; then
  db="$(mktemp)"
  rm -f "$db"
  sqlite3 "$db" "CREATE TABLE urls(id INTEGER PRIMARY KEY, url TEXT); INSERT INTO urls(url) VALUES('https://example.org/');"
  # One run over the whole database, which lies at offset 0 of the image.
  size=$(stat -c %s "$db")
  python3 -c "import struct,sys; sys.stdout.buffer.write(bytes([0]) + struct.pack('<IH', 0, $size // 64))" > "$seeds/plain_file_vfs/one-run"
  cat "$db" >> "$seeds/plain_file_vfs/one-run"
  rm -f "$db"
fi
# A small NTFS volume, bare and behind an MBR (mkntfs, where it is installed).
if mkntfs_bin="$(command -v mkntfs || command -v /usr/sbin/mkntfs || command -v /sbin/mkntfs)"; then
  vol="$(mktemp)"
  truncate -s 2M "$vol"
  if "$mkntfs_bin" -F -q -L Windows "$vol" >/dev/null 2>&1; then
    cp "$vol" "$seeds/image_reader/bare-ntfs"
    python3 - "$vol" "$seeds/image_reader/mbr-ntfs" <<'PY'
import struct, sys
vol = open(sys.argv[1], 'rb').read()
mbr = bytearray(512)
struct.pack_into('<B3xII', mbr, 446 + 4, 0x07, 2048, len(vol) // 512)
mbr[510:512] = b'\x55\xaa'
open(sys.argv[2], 'wb').write(bytes(mbr) + bytes(2048 * 512 - 512) + vol)
PY
  fi
  rm -f "$vol"
fi
cp "$seeds"/partitions/* "$seeds/image_reader/" 2>/dev/null || true

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
  [ -f "$realdata/logs/setupapi.dev.log" ] && { printf '\x88\xff'; head -c 65536 "$realdata/logs/setupapi.dev.log"; } > "$seeds/usb_setupapi/real"
  [ -f "$realdata/shell/5afe4de1b92fc382.customDestinations-ms" ] && seed custom_destinations "$realdata/shell/5afe4de1b92fc382.customDestinations-ms"
  [ -f "$realdata/shell/1b4dd67f29cb1962.automaticDestinations-ms" ] && seed destlist "$realdata/shell/1b4dd67f29cb1962.automaticDestinations-ms"
  [ -f "$realdata/filesystem/plaso-UsnJrnl.raw" ] && seed usn_records "$realdata/filesystem/plaso-UsnJrnl.raw"
  [ -f "$realdata/tasks/wintask.job" ] && seed task_files "$realdata/tasks/wintask.job"
  [ -f "$realdata/tasks/win10-aptsimulatorvm/GameOver" ] && seed task_files "$realdata/tasks/win10-aptsimulatorvm/GameOver"
  [ -f "$realdata/filesystem/nist-dfr-16/\$MFT" ] && head -c 65536 "$realdata/filesystem/nist-dfr-16/\$MFT" > "$seeds/mft_entry/nist"
  # Event logs: the file header and first chunk of each real log.
  for log in "$realdata"/eventlogs/win10-rathbunvm/*.evtx "$realdata"/eventlogs/evtx-samples/*CAPI2*.evtx; do
    [ -f "$log" ] && head -c 69632 "$log" > "$seeds/evtx/$(basename "$log" .evtx | tr -c 'A-Za-z0-9\n' _)"
  done
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
