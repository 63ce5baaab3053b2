# What Doxygen reads in place of a page: it is named after its file, and links to headers are those to their pages.
FNR == 1 {
    name = FILENAME
    gsub(/^.*\/|\.md$/, "", name)
    if (name ~ /^[a-z]+$/)
        $0 = $0 " {#" name "}"
}

/\]\(\.\.\/include\// { gsub(/\[|\]\(\.\.\/include\/[a-z_]+\.h\)/, "") }

{ print }
