# Sourced by script/test: reports which lines of src/ the tests run, including the daemon in the
# end-to-end tests.

needs=(--coverage)
targets=("${uninstalled[@]}")
selection=(--exclude-regex "$installed")

# Removes the counts of earlier runs, which may be of other sources.
prepare() { find build/coverage -name '*.gcda' -delete 2>/dev/null || true; }

# Branches that only an exception takes are not counted: the compiler adds one to nearly every call.
# A selection of the tests has no minimum.
judge() {
    local out=build/coverage/report result=0 least=$(($# == 0 ? 90 : 0))
    mkdir -p "$out"
    gcovr --root . --filter src/ --exclude-throw-branches --exclude-unreachable-branches \
        --fail-under-line "$least" --csv "$out/files.csv" --txt "$out/missing.txt" \
        --html-details "$out/index.html" build/coverage || result=$?
    say "Lines that ran, and branches without those of exceptions"
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
    echo "$out/missing.txt lists the lines that did not run; $out/index.html marks them."
    return $result
}
