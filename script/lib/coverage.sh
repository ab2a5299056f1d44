# Sourced by script/test: which lines of src/ the tests run, the daemon's own in the end-to-end tests
# among them.

needs=(--coverage)
targets=("${uninstalled[@]}")
selection=(--exclude-regex "$installed")

# What earlier runs counted, perhaps of other sources.
prepare() { find build/coverage -name '*.gcda' -delete 2>/dev/null || true; }

# A branch that only an exception takes is not counted: the compiler makes one of nearly every call.
# Of a selection of the tests nothing is asked.
judge() {
    local out=build/coverage/report result=0 least=$(($# == 0 ? 90 : 0))
    mkdir -p "$out"
    gcovr --root . --filter src/ --exclude-throw-branches --exclude-unreachable-branches \
        --fail-under-line "$least" --csv "$out/files.csv" --txt "$out/missing.txt" \
        --html-details "$out/index.html" build/coverage || result=$?
    say "Lines that ran, and branches but those of exceptions alone"
    awk -F, '
        function row(name, lines, ran, branches, taken) {
            printf "%-46s %5d of %5d  %5.1f %%   %5d of %5d  %5.1f %%\n", name,
                ran, lines, lines ? 100 * ran / lines : 100,
                taken, branches, branches ? 100 * taken / branches : 100
        }
        NR > 1 {
            row($1, $2, $3, $5, $6)
            lines += $2; ran += $3; branches += $5; taken += $6
        }
        END { row("all of src/", lines, ran, branches, taken) }' "$out/files.csv"
    echo "The others are listed in $out/missing.txt and marked in $out/index.html."
    return $result
}
