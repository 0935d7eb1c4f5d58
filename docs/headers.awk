# Prints what Doxygen reads instead of a public header. The headers have plain comments for readers in an
# editor; one comment may describe several declarations. This filter makes it a documentation comment of
# every declaration down to the next empty line, and escapes commands in it. Private sections are left
# out: Doxygen would show only links to their classes.
function escaped(text,    parts, count, i, result) {
    if (text ~ /^ *\*     /) { # an indented example stays as it is
        return text
    }
    gsub(/&/, "\\&amp;", text)
    gsub(/</, "\\&lt;", text)
    gsub(/>/, "\\&gt;", text)
    # Between double quotes nothing is a command.
    count = split(text, parts, "\"")
    for (i = 1; i <= count; i++) {
        if (i % 2 == 1) {
            gsub(/[\\@#]/, "\\\\&", parts[i])
        }
        result = result (i > 1 ? "\"" : "") parts[i]
    }
    return result
}

function braces(text) {
    return gsub(/{/, "{", text) - gsub(/}/, "}", text)
}

function declares(text) {
    return text !~ /^ *(}|#|\/\/|public:|private:|protected:)/
}

BEGIN { ended = 1 }

match($0, /^ *private:$/) {
    isPrivate = 1
    indent = substr($0, 1, RLENGTH - length("private:"))
}
isPrivate && ($0 == indent "};" || $0 == indent "public:" || $0 == indent "protected:") {
    isPrivate = 0
}
isPrivate { next }

# A comment that begins a line; the first one is the file's.
!inside && match($0, /^ *\/\*/) {
    inside = 1
    comment = substr($0, 1, RLENGTH) "*" (NR == 1 ? " @file\n *" : "")
    $0 = substr($0, RLENGTH + 1)
}

inside {
    comment = comment escaped($0) "\n"
    if ($0 ~ /\*\/ *$/) {
        inside = depth = 0
        printf "%s", comment
        printed = 1
    }
    next
}

/^ *$/ {
    comment = ""
    print
    next
}

{
    if (comment != "" && !printed && ended && declares($0)) {
        printf "%s", comment
    }
    printed = 0
    depth += braces($0)
    ended = depth == 0 && $0 ~ /[;}] *(\/\/.*|\/\*.*)?$/
    print
}
