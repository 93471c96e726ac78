# shellcheck shell=bash
# Sourced by scripts/bench --growth: the tables of how cost grows, in docs/performance.md.

# growth OPERATION SIZE TIMES: instructions of one operation.
growth() {
    difference "$3" count_growth "$1" "$2"
}

# quotient DIVIDEND DIVISOR: with one digit behind the point.
quotient() {
    awk -v dividend="$1" -v divisor="$2" 'BEGIN { printf "%.1f", dividend / divisor }'
}

# 1234567 as 1,234,567.
grouped() {
    sed ':again; s/\([0-9]\)\([0-9]\{3\}\)\(,\|\.\|$\)/\1,\2\3/; t again' <<<"$1"
}

# row CELL...: a row of a table.
row() {
    local line='|' cell
    for cell in "$@"; do
        line+=" $cell |"
    done
    printf '%s\n' "$line"
}

variables_table() {
    local variables times requests held most cost
    # What a request needs: its record and the pointer to it in the list.
    local record=80
    row variables requests 'fewest possible' 'instructions of a rebuild' 'per variable and log2(variables)' 'bytes kept' \
        'of them records' 'most at a time' 'per variable'
    row ---: ---: ---: ---: ---: ---: ---: ---: ---:
    for variables in 10 100 1000 10000 100000; do
        times=$((variables >= 10000 ? 1 : 20000 / variables))
        read -r _ requests _ held _ most < <("$programs/count_growth" memory "$variables")
        cost=$(growth rebuild "$variables" "$times")
        row "$(grouped "$variables")" "$(grouped "$requests")" "$(grouped $(((variables + 49) / 50)))" "$(grouped "$cost")" \
            "$(awk -v cost="$cost" -v n="$variables" 'BEGIN { printf "%.1f", cost / n / log(n) * log(2) }')" \
            "$(grouped "$held")" "$(grouped $((requests * record)))" "$(grouped "$most")" \
            "$(quotient "$most" "$variables")"
    done
}

stations_table() {
    local stations rebuild all one
    row stations variables 'requests, the fewest possible' 'instructions of a rebuild' 'per variable' 'cyclic read' \
        'cyclic read, all others switched off' 'per station passed over'
    row ---: ---: ---: ---: ---: ---: ---: ---:
    for stations in 1 2 8 32 64 128 247; do
        rebuild=$(growth rebuild-station "$stations" 20)
        all=$(growth read "$stations" 500)
        one=$(growth read-off "$stations" 500)
        row "$stations" "$(grouped $((20 * stations)))" "$(grouped $((4 * stations)))" "$(grouped "$rebuild")" \
            "$(grouped $((rebuild / 20 / stations)))" "$(grouped "$all")" "$(grouped "$one")" \
            "$([ "$stations" -eq 1 ] || quotient $((one - all)) $((stations - 1)))"
    done
}

pending_table() {
    local pending write replace fail each split first_write='' first_replace=0 first_fail=0 first_each=0 first_split=0
    row pending 'a write with its echo' 'for each further' 'a value replaces the newest' 'for each further' \
        'filling the list, and a failure takes half along' 'for each further' \
        'so many registers written one a request, twice' 'for each further' 'a one-shot read split into so many' \
        'for each further'
    row ---: ---: ---: ---: ---: ---: ---: ---: ---: ---: ---:
    for pending in 1 4 16 64 256 1024; do
        # The list takes no more than 1,024, the new one included.
        write=$(growth write $((pending - (pending == 1024))) 500)
        replace=$(growth replace "$pending" 500)
        fail=$(growth fail "$pending" 10)
        each=$(growth each "$pending" 10)
        split=$(growth split "$pending" 10)
        if [ -z "$first_write" ]; then
            first_write=$write first_replace=$replace first_fail=$fail first_each=$each first_split=$split
            row 1 "$(grouped "$write")" '' "$(grouped "$replace")" '' "$(grouped "$fail")" '' "$(grouped "$each")" '' \
                "$(grouped "$split")" ''
            continue
        fi
        row "$(grouped "$pending")" "$(grouped "$write")" "$(quotient $((write - first_write)) $((pending - 1)))" \
            "$(grouped "$replace")" "$(quotient $((replace - first_replace)) $((pending - 1)))" \
            "$(grouped "$fail")" "$(quotient $((fail - first_fail)) $((pending - 1)))" \
            "$(grouped "$each")" "$(quotient $((each - first_each)) $((pending - 1)))" \
            "$(grouped "$split")" "$(quotient $((split - first_split)) $((pending - 1)))"
    done
}

blocks_table() {
    local block requests rebuild read
    row 'registers in a block' 'requests for 1,000 side by side' 'fewest possible' 'bytes on the line' \
        'instructions of a rebuild' 'cyclic read of a block' 'per register'
    row ---: ---: ---: ---: ---: ---: ---:
    for block in 1 2 5 10 20 50 100; do
        requests=$(((1000 + block - 1) / block)) # count_growth fails where the driver makes another number
        rebuild=$(growth rebuild-block "$block" 5)
        read=$(growth read-block "$block" 500)
        row "$block" "$(grouped "$requests")" "$(grouped "$requests")" "$(grouped $((requests * 13 + 2000)))" \
            "$(grouped "$rebuild")" "$(grouped "$read")" "$(quotient "$read" "$block")"
    done
}

# write_tables FILE OPTION TABLE...: makes each table by TABLE_table and puts it between its two marks in FILE, which has to
# have them all and names the option of scripts/bench.
write_tables() {
    local file=$1 option=$2 table
    shift 2
    for table in "$@"; do
        grep -qxF "<!-- $table: made by scripts/bench $option -->" "$file" || die "$file has no mark of the table '$table'"
        # No condition, in which a failure inside would go unnoticed.
        "${table}_table" >"$scratch/$table"
        cat "$scratch/$table"
        printf '\n'
    done
    awk -v folder="$scratch" -v option="$option" '
        /^<!-- [a-z]+: made by scripts\/bench --[a-z]+ -->$/ && $(NF - 1) == option {
            print; table = folder "/" substr($2, 1, length($2) - 1)
            while ((getline line < table) > 0) print line
            skipping = 1; next
        }
        /^<!-- end -->$/ { skipping = 0 }
        !skipping { print }' "$file" >"$scratch/document"
    cp "$scratch/document" "$file"
}

write_growth_tables() {
    write_tables "$1" --growth variables stations pending blocks
}
