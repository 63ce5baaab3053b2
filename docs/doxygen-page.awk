# What Doxygen reads in place of a page: it is named after its file, links to headers are those to their pages, and
# headings that the page itself links to have a name, under which they can be found.
BEGIN {
    while ((getline line < ARGV[1]) > 0) {
        for (; match(line, /\]\(#[^)]*\)/); line = substr(line, RSTART + RLENGTH))
            wanted[substr(line, RSTART + 3, RLENGTH - 4)]
    }
}

FNR == 1 {
    name = FILENAME
    gsub(/^.*\/|\.md$/, "", name)
    if (name ~ /^[a-z]+$/)
        $0 = $0 " {#" name "}"
}

/^##/ {
    heading = tolower($0)
    gsub(/^#+ |[^a-z0-9 -]/, "", heading)
    gsub(/ /, "-", heading)
    if (heading in wanted)
        $0 = $0 " {#" name "-" heading "}"
}

/\]\(\.\.\/include\// { gsub(/\[|\]\(\.\.\/include\/[a-z_]+\.h\)/, "") }

{ gsub(/\]\(#/, "](#" name "-") }

{ print }
