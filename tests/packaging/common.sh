# Sourced by the scripts beside it.

fail() {
    echo "$*" >&2
    exit 1
}

# plays HOUSE LOG ARGUMENT ...: lets the house play a script; what it prints goes to the file LOG, and
# is shown when it fails.
plays() {
    "$1" "${@:3}" >"$2" || {
        cat "$2"
        fail "the house has failed"
    }
    grep -c 'as expected' "$2" | sed 's/^/   expectations met: /'
}
