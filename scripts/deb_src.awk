# Turns apt's sources of binary packages into sources of source packages. It prints only entries whose
# address is in the first file (one per line), with only the type changed.
# The other files are one-line lists, or "Field: value" stanzas when read in paragraphs (RS=).

function plain(uri) { sub("/+$", "", uri); return uri }

# Whether one of the words after the first, from a line such as "Types: deb deb-src", is `wanted`.
function has_word(line, wanted,    word, count, i) {
    count = split(line, word)
    for (i = 2; i <= count; ++i) if (word[i] == wanted) return 1
    return 0
}

function has_archive(line,    word, count, i) {
    count = split(line, word)
    for (i = 2; i <= count; ++i) if (plain(word[i]) in archives) return 1
    return 0
}

NR == FNR { archives[plain($0)] = 1; next }

# deb [options] address suite components
RS != "" && /^[ \t]*deb[ \t]/ {
    entry = $0
    sub(/^[ \t]*deb[ \t]+/, "", entry)
    sub(/^\[[^]]*\][ \t]*/, "", entry)
    split(entry, field)
    if (plain(field[1]) in archives) { sub(/deb/, "deb-src"); print }
}

RS == "" {
    binary = ours = 0
    enabled = 1
    count = split($0, line, "\n")
    for (i = 1; i <= count; ++i) {
        name = tolower(line[i])
        if (name ~ /^types:/) { binary = has_word(line[i], "deb"); line[i] = "Types: deb-src" }
        if (name ~ /^uris:/) ours = has_archive(line[i])
        if (name ~ /^enabled:[ \t]*(no|false|0|off|without|disable)[ \t]*$/) enabled = 0
    }
    if (binary && ours && enabled) {
        for (i = 1; i <= count; ++i) print line[i]
        print ""
    }
}
