# Sourced by scripts/sanitize and scripts/fuzz: the sanitized build trees (no benches) and the
# sanitizers' run-time options.

sanitizers_root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

# The tree of a kind: address (AddressSanitizer and UndefinedBehaviorSanitizer; the fuzz targets
# build there too, so one tree serves both) or thread (ThreadSanitizer, the audio tests only).
sanitized_tree() {
  case "$1" in
    address) echo "${LENTO_ASAN_DIR:-$sanitizers_root/build-asan}" ;;
    thread) echo "${LENTO_TSAN_DIR:-$sanitizers_root/build-tsan}" ;;
    *) echo "unknown sanitizer kind: $1 (address or thread)" >&2; return 2 ;;
  esac
}

configure_sanitized_tree() {
  local kind="$1" build
  build="$(sanitized_tree "$kind")"
  local options=(-G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLENTO_BUILD_BENCH=OFF)
  case "$kind" in
    # clang 14, which libFuzzer needs.
    address) options+=(-DCMAKE_CXX_COMPILER=clang++-14 -DLENTO_SANITIZE=address,undefined -DLENTO_FUZZ=ON) ;;
    # g++: clang 14's ThreadSanitizer stops on an internal check as soon as QProcess starts a
    # program (the tests run ffmpeg and lento that way); GCC 12's runs them.
    thread) options+=(-DCMAKE_CXX_COMPILER=g++ -DLENTO_SANITIZE=thread -DLENTO_TEST_FOLDERS=audio) ;;
  esac
  cmake -S "$sanitizers_root" -B "$build" "${options[@]}" >/dev/null
}

# Two jobs at most: the machines have two cores.
sanitized_jobs() {
  local n
  n="$(nproc)"
  echo $((n < 2 ? n : 2))
}

suppressions="$sanitizers_root/tests/sanitizers"
export ASAN_OPTIONS="detect_leaks=1:check_initialization_order=1"
export LSAN_OPTIONS="suppressions=$suppressions/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
# Qt, SDL, PulseAudio and GLib are not built with ThreadSanitizer: what they do through the
# allocator and libc among their own threads, synchronised in ways it can not see, is not checked;
# every access of our own code is. A test that started a program (QProcess forks) may start
# threads afterwards; the child only execs.
export TSAN_OPTIONS="suppressions=$suppressions/tsan.supp:ignore_noninstrumented_modules=1:second_deadlock_stack=1:die_after_fork=0"
if [ -x /usr/lib/llvm-14/bin/llvm-symbolizer ]; then
  export ASAN_SYMBOLIZER_PATH=/usr/lib/llvm-14/bin/llvm-symbolizer
  export LLVM_SYMBOLIZER_PATH=/usr/lib/llvm-14/bin/llvm-symbolizer
fi
