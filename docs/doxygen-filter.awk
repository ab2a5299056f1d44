#!/usr/bin/awk -f
# Tells Doxygen what a reader of a header sees: the text at its head is about the class, namespace or
# type that it is named for, and a comment is about all declarations up to the next comment or empty
# line. Lines keep their numbers.

{ line[NR] = $0 }

# A group is what Doxygen takes the first comment of for all of its members.
function close_group() {
    if (declarations > 1) {
        line[start - 1] = line[start - 1] " /**@{*/"
        line[last] = line[last] " /**@}*/"
    }
    start = 0
    declarations = 0
}

END {
    name = FILENAME
    gsub(/.*\/|\.h$/, "", name)
    for (i = 1; i <= NR; ++i) {
        if (line[i] ~ "^(class|struct|namespace|enum class) " name "( .*)?[{]$") {
            kind = line[i]
            sub(/ .*/, "", kind)
        }
        if (line[i] ~ /^ *\/\/\/ /) {
            if (declarations > 0) close_group()
            if (!start) start = i
        } else if (line[i] ~ /^ *$|[{]$|^ *[}]|^ *(public|private):$/) {
            close_group()
        } else if (start && line[i] ~ /[;}]( *\/\/.*)?$/) {
            ++declarations
            last = i
        }
    }
    print "/// @" kind " " name
    for (i = 1; i <= NR; ++i) {
        if (line[i] !~ /^#pragma once/) print line[i]
    }
}
