#!/usr/bin/env bash
# Runs a command inside a session fit for system tests on a machine without display or sound card:
# a PulseAudio null sink as the default output and, when there is no display, Xvfb.
# Usage: scripts/test-session.sh COMMAND [ARGS...]
set -euo pipefail

runtime="${XDG_RUNTIME_DIR:-/tmp/lento-runtime-$(id -u)}"
mkdir -p "$runtime" && chmod 700 "$runtime"
export XDG_RUNTIME_DIR="$runtime"

start_null_sink() {
  command -v pulseaudio >/dev/null || return 0
  pactl info >/dev/null 2>&1 && return 0
  local config="$runtime/lento-null-sink.pa"
  cat > "$config" <<'PA'
load-module module-native-protocol-unix
load-module module-null-sink sink_name=nullsink rate=44100 channels=2 format=float32le
set-default-sink nullsink
PA
  pulseaudio -n -F "$config" --exit-idle-time=-1 --daemonize=yes --log-target=syslog 2>/dev/null || return 0
  for _ in $(seq 50); do pactl info >/dev/null 2>&1 && break; sleep 0.1; done
  # Left alone the null sink renders far ahead and new streams stall; a low-latency reader keeps it honest.
  pactl suspend-sink nullsink 1 || true
  (parec -d nullsink.monitor --latency-msec=20 >/dev/null 2>&1 &)
  pactl suspend-sink nullsink 0 || true
}

start_null_sink
if [ -z "${DISPLAY:-}" ] && command -v xvfb-run >/dev/null; then
  exec xvfb-run -a -s "-screen 0 1280x800x24" "$@"
fi
exec "$@"
