# Shared by the comparison scripts: `best_of N COMMAND...` prints the shortest wall-clock time of N
# runs of COMMAND, in seconds; `ratio A B` prints A/B to two places.
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
