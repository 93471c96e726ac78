# shellcheck shell=bash
# Sourced by scripts/bench --runtime: what libplcruntime costs, in docs/runtime.md.

# shellcheck source=bench/growth_tables.sh
. "$plc_root/bench/growth_tables.sh"

runtime_table() {
    local variables scans who values kept
    row variables 'bare loop, a scan' 'library, a scan' 'bare loop, every value new' 'library, every value new' \
        'library, per variable' 'bare loop, bytes kept' 'library, bytes kept' 'library, per variable'
    row ---: ---: ---: ---: ---: ---: ---: ---: ---:
    for variables in 100 1000 10000; do
        scans=$((100000 / variables))
        local -A cost=() held=()
        for who in loop library; do
            for values in still moving; do
                cost[$who,$values]=$(difference "$scans" count_runtime "$who" "$values" "$variables")
            done
            read -r _ kept _ < <("$programs/count_runtime" memory "$who" "$variables")
            held[$who]=$kept
        done
        row "$(grouped "$variables")" "$(grouped "${cost[loop,still]}")" "$(grouped "${cost[library,still]}")" \
            "$(grouped "${cost[loop,moving]}")" "$(grouped "${cost[library,moving]}")" \
            "$(grouped $((cost[library,moving] / variables)))" "$(grouped "${held[loop]}")" "$(grouped "${held[library]}")" \
            "$(grouped $((held[library] / variables)))"
    done
}

screens_table() {
    local cost
    row 'variables of a screen' 'a change of screen' 'per variable'
    row ---: ---: ---:
    for variables in 50 500 5000; do
        cost=$(difference 20 count_runtime screens "$variables")
        row "$(grouped "$variables")" "$(grouped "$cost")" "$(grouped $((cost / variables)))"
    done
}

# write_runtime_table FILE: makes the tables and puts each between its two marks in FILE, which has to have them.
write_runtime_table() {
    write_tables "$1" --runtime runtime screens
}
