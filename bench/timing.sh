# Shared by the benchmarks (sourced): runs named commands in alternating rounds and prints
# per job Melvane against each reference, with the median of the per-round ratios.
#
# A command is registered with `add NAME 'COMMAND LINE' OUTPUT-FOLDER [in]`: the folder is
# emptied before each run; with `in`, the command runs inside it. Times are wall seconds; a
# ratio is the reference's time divided by Melvane's in the same round, so 1.0 or more means
# Melvane is at least as fast. A job's goal is met against its best reference: the one whose
# median ratio is lowest (the fastest way a user with a shell has).
# The caller defines die().

declare -A cmd dir inside times cpus rss

add() {
  cmd[$1]=$2
  dir[$1]=$3
  inside[$1]=${4:-}
}

# One run of a named command: its wall time joins its list; the largest peak memory is kept.
run_one() {
  local name=$1 t m u s here=.
  rm -rf "${dir[$name]}" && mkdir -p "${dir[$name]}"
  [[ -n ${inside[$name]} ]] && here=${dir[$name]}
  if ! (cd "$here" && /usr/bin/time -f "%e %M %U %S" -o "$OLDPWD/time.txt" \
    bash -c "${cmd[$name]}" >"$OLDPWD/run.log" 2>&1); then
    cat run.log >&2
    die "failed: ${cmd[$name]}"
  fi
  read -r t m u s <time.txt
  times[$name]="${times[$name]:-} $t"
  cpus[$name]="${cpus[$name]:-} $(awk -v u="$u" -v s="$s" 'BEGIN { printf "%.2f", u + s }')"
  ((m > ${rss[$name]:-0})) && rss[$name]=$m
  return 0
}

forget_runs() {
  unset times cpus rss
  declare -gA times cpus rss
}

median() {
  tr ' ' '\n' | grep -v '^$' | sort -g |
    awk '{ v[NR] = $1 } END { if (NR == 0) print 0; else if (NR % 2) print v[(NR + 1) / 2]; else printf "%.3f\n", (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}

# The median over rounds of reference time / Melvane time.
median_ratio() {
  local ref=$1 mel=$2
  paste <(tr ' ' '\n' <<<"${times[$ref]}" | grep -v '^$') \
    <(tr ' ' '\n' <<<"${times[$mel]}" | grep -v '^$') |
    awk '{ if ($2 > 0) print $1 / $2 }' | median
}

rows=()
verdicts=()
all_met=1
peak_rss=0
# row JOB GOAL MELVANE REF-LABEL REF [REF-LABEL REF ...]: one line per reference, the goal
# judged against the lowest ratio.
row() {
  local job=$1 name=$1 goal=$2 mel=$3 worst="" ratio label
  shift 3
  ((rss[$mel] > peak_rss)) && peak_rss=${rss[$mel]}
  while [[ $# -ge 2 ]]; do
    label=$1
    ratio=$(median_ratio "$2" "$mel")
    if [[ -z $worst ]] || awk -v a="$ratio" -v b="$worst" 'BEGIN { exit !(a < b) }'; then
      worst=$ratio
    fi
    rows+=("$(printf '%-22s %-34s %8.2f %8.2f %6.2f %6s %8.2f %8.2f %7s' "$job" "$label" \
      "$(median <<<"${times[$2]}")" "$(median <<<"${times[$mel]}")" "$ratio" ">=$goal" \
      "$(median <<<"${cpus[$2]}")" "$(median <<<"${cpus[$mel]}")" "$((rss[$mel] / 1024))")")
    job=""
    shift 2
  done
  if awk -v a="$worst" -v g="$goal" 'BEGIN { exit !(a >= g) }'; then
    verdicts+=("$(printf '%-22s %.2f against the best reference (goal >= %s): met' "$name" "$worst" "$goal")")
  else
    all_met=0
    verdicts+=("$(printf '%-22s %.2f against the best reference (goal >= %s): NOT met' "$name" "$worst" "$goal")")
  fi
}

# The table, the verdicts and the machine's state. Arguments: goal for peak memory in MB.
report() {
  local goal_rss_mb=$1 peak_mb
  echo "load average before / after timing: $load_before / $load_after; $(nproc) CPU(s)"
  if awk -v a="$load_before" -v b="$load_after" -v n="$(nproc)" 'BEGIN { exit !(a > n / 2 || b > n / 2 + 1) }'; then
    echo "note: other work was running on this machine; wall times and ratios are noisy"
  fi
  echo
  echo "Medians over the rounds: wall and CPU seconds, ratio = reference / Melvane per round."
  printf '%-22s %-34s %8s %8s %6s %6s %8s %8s %7s\n' "job" "reference" "ref wall" "mel wall" \
    "ratio" "goal" "ref CPU" "mel CPU" "mel MB"
  printf '%s\n' "${rows[@]}"
  echo
  printf '%s\n' "${verdicts[@]}"
  peak_mb=$((peak_rss / 1024))
  echo "Melvane peak memory: $peak_mb MB (goal <= $goal_rss_mb MB: $([[ $peak_mb -le $goal_rss_mb ]] && echo met || echo "NOT met"))"
}
