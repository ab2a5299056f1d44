#!/usr/bin/awk -f
# Gives Doxygen a header as its reader understands it: the text at the top describes the class,
# namespace or type that the file is named after, else the file itself; a comment holds for all
# declarations up to the next comment or empty line; a backslash is a character. Lines keep their
# numbers. With `-v check=1` every file and namespace has a description: Doxygen does not look into
# one that has none.

{ line[NR] = $0 }

# A group: Doxygen uses the first comment for all of its members.
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
    subject = "file"
    for (i = 1; i <= NR; ++i) {
        if (line[i] ~ "^(class|struct|namespace|enum class) " name "( .*)?[{]$") {
            subject = line[i]
            sub(/ .*/, "", subject)
            subject = subject " " scope name
        } else if (line[i] ~ /^(inline )?namespace [A-Za-z0-9_:]+ [{]$/) {
            scope = $0 = line[i]
            scope = $(NF - 1) "::"
            if (check) line[i] = "/** Described. */ " line[i]
        }
        if (line[i] ~ /^ *\/\/\/ /) {
            gsub(/\\/, "\\\\&", line[i])
            if (declarations > 0) close_group()
            if (!start) start = i
        } else if (line[i] ~ /^ *$|[{]$|^ *[}]|^ *(public|private):$/) {
            close_group()
        } else if (start && line[i] ~ /[;}]( *\/\/.*)?$/) {
            ++declarations
            last = i
        }
    }
    print "/// @" subject
    for (i = 1; i <= NR; ++i) {
        if (line[i] !~ /^#pragma once/) print line[i]
    }
    if (check && subject != "file") print "/** @file\nDescribed. */"
}
