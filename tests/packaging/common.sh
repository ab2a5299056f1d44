# Sourced by the scripts in this folder.

fail() {
    echo "$*" >&2
    exit 1
}

# run_scene HOUSE LOG ARGUMENT ...: runs a script in the house. The output goes to the file LOG and is
# printed if the script fails.
run_scene() {
    "$1" "${@:3}" >"$2" || {
        cat "$2"
        fail "the script failed"
    }
    grep '^commands: ' "$2" | sed 's/^/   /'  # the account
}
