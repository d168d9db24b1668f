# shellcheck shell=bash
# zone.sh - a time zone that suits rules of internet time; sourced, bash.

# choose_time_zone: exports TZ. The machine's own zone does not suit on a Sunday, for which there are no rules, or when the
# day ends soon.
choose_time_zone() {
    local zone day hour
    for zone in '' UTC0 '<back>12' '<ahead>-12' '<back>24'; do
        read -r day hour < <([ -z "$zone" ] || export TZ=$zone; printf '%(%u %-H)T\n' -1)
        ((day == 7 || hour >= 22)) || break
    done
    [ -z "$zone" ] || export TZ=$zone
}
