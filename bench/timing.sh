# Shared by the comparison scripts: `best_of N COMMAND...` prints the shortest wall-clock time of N
# runs of COMMAND, in seconds; `ratio A B` prints A/B to two places; `built PATH [BUILD_DIR]` prints
# a program's path in the build tree, or stops the script when it is not built.
best_of() {
  local runs="$1" best=""
  shift
  for _ in $(seq "$runs"); do
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    end=$(date +%s.%N)
    best=$(echo "$start $end ${best:-1e9}" | awk '{d=$2-$1; print (d<$3)?d:$3}')
  done
  echo "$best"
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN{printf "%.2f", a/b}'; }

built() {
  local root build
  root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
  build="${2:-${LENTO_BUILD_DIR:-$root/build}}"
  [[ -x "$build/$1" ]] || { echo "build $(basename "$1") first (scripts/build)" >&2; exit 1; }
  echo "$build/$1"
}
