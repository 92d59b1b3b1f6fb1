#!/usr/bin/env bash
# Installs everything Lento needs to build, test and run. Safe to run twice.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev libqt6svg6 libgl-dev
  libavformat-dev libavcodec-dev libswresample-dev libavutil-dev
  libsndfile1-dev librubberband-dev rubberband-cli libsdl2-dev libfftw3-dev
  libsqlite3-dev libtag1-dev libchromaprint-dev # acoustic fingerprints that keep a moved track's loops and settings
  libgtest-dev libgmock-dev libbenchmark-dev
  ffmpeg sox libsox-fmt-mp3 xvfb xauth x11-utils xdotool imagemagick pulseaudio pulseaudio-utils
  python3 time dbus-daemon # a private session bus for the media-player test
  fluidsynth fluid-soundfont-gm # rendering MIDI songs with known chords for the chord tests
  desktop-file-utils xdg-utils shared-mime-info # checking the installed desktop entry and MIME entry
  clang-14 libclang-rt-14-dev llvm-14 # sanitizers and libFuzzer; llvm-symbolizer for their reports
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
