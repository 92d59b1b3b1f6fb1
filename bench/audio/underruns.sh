#!/usr/bin/env bash
# Plays a loop at speed 0.5 and +100 cents through the render thread into a clock-paced output for
# 10 minutes while another process keeps a core busy, and prints the ring's underruns (target 0)
# and the render thread's slowest block.
# Usage: bench/audio/underruns.sh [BUILD_DIR] (MINUTES=10 by default)
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../timing.sh"
probe="$(built bench/audio/loop_probe "${1:-}")"
work="$(mktemp -d)"
busy=""
trap 'rm -rf "$work"; [[ -n "$busy" ]] && kill "$busy" 2>/dev/null || true' EXIT
ffmpeg -nostdin -v error -y -f lavfi \
  -i "aevalsrc='0.3*sin(2*PI*220*t)+0.2*sin(2*PI*330*t)|0.3*sin(2*PI*277*t)':s=44100:d=120" "$work/two-minutes.wav"
(while :; do :; done) &
busy=$!
echo "$(( ${MINUTES:-10} )) minutes at 0.5, +100 cents, one core busy: $("$probe" "$work/two-minutes.wav" $(( ${MINUTES:-10} * 60 )) 0 1 0.5 100)"
