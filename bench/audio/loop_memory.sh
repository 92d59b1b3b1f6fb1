#!/usr/bin/env bash
# Loops a whole 60-minute track and a 1-second range of it for 20 s each and compares the resident
# memory the play adds. Target: the 60-minute loop adds no more than the 1-second one plus 20 MB.
# Usage: bench/audio/loop_memory.sh [BUILD_DIR]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../timing.sh"
probe="$(built bench/audio/loop_probe "${1:-}")"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
ffmpeg -nostdin -v error -y -f lavfi -i "sine=frequency=220:sample_rate=44100:duration=3600" -ac 2 -c:a flac "$work/hour.flac"
echo "60-minute loop: $("$probe" "$work/hour.flac" "${SECONDS_EACH:-20}" 0 1)"
echo "1-second loop:  $("$probe" "$work/hour.flac" "${SECONDS_EACH:-20}" 0.5 0.500278)"
