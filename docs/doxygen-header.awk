# What Doxygen reads in place of a header, so that the header itself stays plain text: its first comment is the
# file's, a comment before declarations is that of all of them up to the next blank line, one behind a member is the
# member's. Names in comments become links, but for those in indented examples.
BEGIN {
    RS = ""
    FS = OFS = "\n"
    ORS = "\n\n"
}

function linked(text)
{
    gsub(/(orka|ORKA)_[A-Za-z0-9_]*[A-Za-z0-9]([^.A-Za-z0-9_]|\.[^h]|\.?$)/, "#&", text)
    return text
}

function read(line, behind)
{
    if (line ~ /^ \*     /)
        return line
    if (line ~ /^\/?( )?\*/)
        return linked(line)
    behind = index(line, " /* ")
    return behind ? substr(line, 1, behind) "/**< " linked(substr(line, behind + 4)) : line
}

{
    declarations = 0
    for (i = 1; i <= NF; i++) {
        declarations += $i ~ /^[a-z]/
        $i = read($i)
    }
}

NR == 1 { sub(/^\/\*/, "/** @file") }
NR > 1 && declarations { sub(/^\/\*/, "/**") }
# Each a group of its own, one function or several: so they stay in the order in which they are declared.
NR > 1 && declarations && /^\/\*/ && !/\ntypedef struct [a-z_]+ {/ { $0 = "/** @{ */\n" $0 "\n/** @} */" }

{ print }
