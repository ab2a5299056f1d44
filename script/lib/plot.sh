# Sourced by script/bench: what docs/performance.md shows of a run.

# draw_pictures JSON FOLDER: needs the rows of dispatch, footprint (with mosquitto) and scale.
draw_pictures() {
    local json=$1 folder=$2 limit kib cpu
    data=$(mktemp -d)
    trap 'rm -r "$data"' EXIT
    pick 'row("dispatch"; "largest").series[]' >"$data/commands"
    pick 'row("dispatch"; "largest").yardstick_series[]' >"$data/thread"
    pick '[.[] | select(.subject == "scale" and (.figure | contains(", each of ")))]
        | group_by(.figure | split(" ") | last | tonumber)[]
        | [(.[0].figure | split(" ") | last), .[].value.median] | join(" ")' >"$data/daemons"
    limit=$(pick 'row("dispatch"; "largest").goal | split(" ") | last')
    kib=$(pick 'row("footprint"; "proportional memory").yardstick.median')
    cpu=$(pick 'row("footprint"; "CPU while idle").yardstick.median')

    mkdir -p "$folder"
    gnuplot -e "data = '$data'; folder = '$folder'" \
        -e "limit = $limit; broker_kib = $kib; broker_cpu = $cpu" bench/plots.gp
    describe latency "Command latency and its limit" "$(sort -g "$data/commands" | awk \
        '{ ms[NR] = $1 } END { printf "Half of %d commands take at most %.0f ms, the slowest takes " \
            "%.0f ms; the limit is '"$limit"' ms.", NR, ms[int((NR + 1) / 2)], ms[NR] }')"
    describe daemons "Memory and CPU of the daemons and of one mosquitto" "$(awk \
        -v kib="$kib" -v cpu="$cpu" '
        { printf "Daemons: %d; memory: %.1f MiB; CPU: %.2f percent of one processor. ",
              $1, $1 * $2 / 1024, $1 * $3 / 600 }
        END { printf "One idle mosquitto: %.1f MiB, %.2f percent.", kib / 1024, cpu / 600 }
        ' "$data/daemons")"
}

# update_page JSON PAGE: replaces what is between the comments "summary" or "table" and "end".
update_page() {
    local part
    for part in summary table; do
        jq -r --arg part "$part" -f bench/page.jq "$1" >"$data/$part"
        sed -i -e "/^<!-- $part/,/^<!-- end/{//!d}" -e "/^<!-- $part/r $data/$part" "$2"
    done
    echo "$2"
}

# pick FILTER: what jq finds in the JSON; row(subject; figure) is a row of the table.
pick() {
    jq -er "def row(\$s; \$f): .[] | select(.subject == \$s and .figure == \$f); $1" "$json" ||
        die "$json lacks rows of dispatch, footprint with mosquitto, or scale"
}

# describe PICTURE TITLE TEXT: says to a reader who does not see the picture what it shows.
describe() {
    local file=$folder/performance-$1.svg
    sed -i -e 's|^<svg *$|<svg role="img"|' -e "s|<title>Gnuplot</title>|<title>$2</title>|" \
        -e "s|<desc>Produced by .*|<desc>$3</desc>|" "$file"
    echo "$file"
}
