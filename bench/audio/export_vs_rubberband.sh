#!/usr/bin/env bash
# Exports a 5-minute stereo track at speed 0.5 and +100 cents with `lento --export` and renders the
# same with the rubberband command line's R3 engine (--fine) in one run: offline, as our export
# renders, and for reference in real-time mode. Target: lento at most 1.0x the offline run.
# Also prints the bare real-time stretcher's speed from audio_bench.
# Usage: bench/audio/export_vs_rubberband.sh [BUILD_DIR]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
source "$root/bench/timing.sh"
build="${1:-${LENTO_BUILD_DIR:-$root/build}}"
lento="$build/src/app/lento"
[[ -x "$lento" ]] || { echo "build lento first (scripts/build)" >&2; exit 1; }
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

source="$work/five-minutes.wav"
ffmpeg -nostdin -v error -y -f lavfi \
  -i "aevalsrc='0.3*sin(2*PI*220*t)+0.2*sin(2*PI*330*t)*sin(2*PI*0.5*t)|0.3*sin(2*PI*277*t)':s=44100:d=300" "$source"

ours=$(best_of "${RUNS:-1}" "$lento" --export "$source" -o "$work/lento.wav" --speed 0.5 --cents 100)
offline=$(best_of "${RUNS:-1}" rubberband -3 -t 2 -p 1 "$source" "$work/rb-offline.wav")
realtime=$(best_of "${RUNS:-1}" rubberband -3 -R -t 2 -p 1 "$source" "$work/rb-realtime.wav")
xrt() { awk -v t="$1" 'BEGIN{printf "%.1f", 600/t}'; }
echo "5-minute stereo track, speed 0.5, +100 cents (600 s of output):"
echo "  lento --export               ${ours} s  ($(xrt "$ours")x real time)"
echo "  rubberband --fine, offline   ${offline} s  ($(xrt "$offline")x real time)  lento/this = $(ratio "$ours" "$offline") (target <= 1.0)"
echo "  rubberband --fine, real time ${realtime} s  ($(xrt "$realtime")x real time)  lento/this = $(ratio "$ours" "$realtime")"
if [[ -x "$build/bench/audio/audio_bench" ]]; then
  echo "bare real-time stretcher (audio_bench, 10 s of output a run):"
  "$build/bench/audio/audio_bench" --benchmark_format=console 2>/dev/null | grep BM_ | sed 's/^/  /'
fi
