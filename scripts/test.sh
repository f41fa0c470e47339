#!/usr/bin/env bash
# The whole test suite on a fresh Debian 12 machine: install, build, run every test under CTest,
# then build the .deb and check it, then build and run it all again with AddressSanitizer and
# UndefinedBehaviorSanitizer, then run
# every fuzzing harness for a few seconds (scripts/fuzz.sh; longer runs on request). Any failure,
# or any sanitizer finding, fails the command.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/install-deps.sh"
# GUI tests run without a display; the test mains pin TZ and locale themselves.
export QT_QPA_PLATFORM=offscreen

dir="$("$here/scripts/build.sh" Release | tail -n 1)"
(cd "$dir" && ctest --output-on-failure --no-tests=error -j"$(nproc)")
# The package, built from that release: its contents and dependencies checked, lintian-clean of
# errors (installing it into a clean Debian 12 root is scripts/check-deb.sh, which needs root).
"$here/scripts/package-deb.sh" >/dev/null

dir="$("$here/scripts/build.sh" Sanitize | tail -n 1)"
export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1"
export LSAN_OPTIONS="suppressions=$here/scripts/lsan-qt.supp:print_suppressions=0"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
(cd "$dir" && ctest --output-on-failure --no-tests=error -j"$(nproc)")

# The decoders of evidence bytes under libFuzzer, a few seconds each.
"$here/scripts/fuzz.sh" 5
