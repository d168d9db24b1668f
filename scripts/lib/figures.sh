# shellcheck shell=sh
# figures.sh - the table of what benchmarks have measured; sourced, sh.

# figures_table FILE: its lines "FIGURE<tab>what<tab>to reach<tab>measured<tab>verdict", in columns
figures_table() {
    { printf 'FIGURE\tfigure\tto reach\tmeasured\tverdict\n'; grep '^FIGURE' "$1"; } |
        awk -F '\t' '{
            for (i = 2; i <= 5; i++) { cell[NR, i] = $i; if (length($i) > width[i]) width[i] = length($i) }
        } END {
            for (row = 1; row <= NR; row++) {
                for (i = 2; i <= 4; i++) printf "%-*s  ", width[i], cell[row, i]
                print cell[row, 5]
            }
        }'
}
