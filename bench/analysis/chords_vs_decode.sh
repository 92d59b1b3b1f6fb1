#!/usr/bin/env bash
# Times each chord estimator (`lento --chords --method precise|basic`) on a 5-minute stereo MP3
# against plain FFmpeg decoding of the same file (target: at most 1.5x), per minute of audio, and
# measures the peak RSS of analysing a 60-minute file (target: under 400 MB).
# Usage: bench/analysis/chords_vs_decode.sh [BUILD_DIR]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
source "$root/bench/timing.sh"
build="${1:-${LENTO_BUILD_DIR:-$root/build}}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

lento="$build/src/app/lento"
probe="$build/bench/analysis/chords_probe"
if [[ -x "$lento" ]] && grep -aq -- '--chords' "$lento"; then
  runner=("$lento" --chords)
elif [[ -x "$probe" ]]; then
  runner=("$probe")
else
  echo "build lento or chords_probe first (cmake --build $build --target chords_probe)" >&2
  exit 1
fi
echo "estimator: ${runner[*]}"

# A chord that moves every two seconds through four roots, slightly different on the two channels.
tone='st(0,261.63*pow(2,mod(floor(t/2),4)*5/12));0.1*sin(2*PI*ld(0)*t)+0.1*sin(2*PI*ld(0)*1.2599*t)+0.1*sin(2*PI*ld(0)*1.4983*t)'
source="$work/five-minutes.wav"
ffmpeg -nostdin -v error -y -f lavfi -i "aevalsrc='${tone}+0.02*sin(2*PI*110*t)|${tone}':s=44100:d=300" "$source"

five="$work/five-minutes.mp3"
ffmpeg -nostdin -v error -y -i "$source" -c:a libmp3lame -b:a 192k "$five"
decode=$(best_of 3 ffmpeg -nostdin -v error -i "$five" -f null -)
perminute() { awk -v s="$1" 'BEGIN{printf "%.3f", s/5}'; }
echo "5-minute stereo mp3: ffmpeg decode ${decode} s ($(perminute "$decode") s a minute)"
methods=(default)
[[ "${runner[0]}" == "$lento" ]] && methods=(precise basic)
for method in "${methods[@]}"; do
  args=()
  [[ "$method" != default ]] && args=(--method "$method")
  estimate=$(best_of 3 "${runner[@]}" "$five" "${args[@]}")
  echo "  chords ($method): ${estimate} s ($(perminute "$estimate") s a minute), ratio to decode $(ratio "$estimate" "$decode") (target <= 1.5)"
done
if [[ -x "$probe" ]]; then
  echo "split (chords_probe):"
  "$probe" "$five" 2>/dev/null | sed 's/^/  /'
fi

hour="$work/sixty-minutes.flac"
ffmpeg -nostdin -v error -y -stream_loop 11 -i "$source" -c:a flac "$hour"
for method in "${methods[@]}"; do
  args=()
  [[ "$method" != default ]] && args=(--method "$method")
  rss_kb=$(/usr/bin/time -v "${runner[@]}" "$hour" "${args[@]}" 2>&1 >/dev/null | awk -F': ' '/Maximum resident set size/{print $2}')
  echo "60-minute stereo flac, $method: peak RSS $((rss_kb / 1024)) MB (target < 400 MB; basic: the sample store alone is 212 MB; precise: the log-frequency spectra are about 80 MB)"
done
