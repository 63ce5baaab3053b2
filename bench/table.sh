# For the scripts beside it: the rows of the one table that run.sh prints at the end, a line each, in the file that
# ORKA_BENCH_TABLE names; there is no table without it. ratio_table.h writes such lines too.

# row WHAT FIGURE GOAL VERDICT: GOAL and VERDICT are - where there is none
row() {
    [ -z "${ORKA_BENCH_TABLE:-}" ] || printf '%s|%s|%s|%s\n' "$@" >>"$ORKA_BENCH_TABLE"
}

# verdict FIGURE no_more_than|at_least GOAL: met or MISSED
verdict() {
    awk -v figure="$1" -v way="$2" -v goal="$3" 'BEGIN {
        print (way == "at_least" ? figure >= goal : figure <= goal) ? "met" : "MISSED"
    }'
}
