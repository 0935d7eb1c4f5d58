// The names of temporary files.
#pragma once

namespace platform {

// Whether a text is what such names end in: the number of a process, "-" and a count.
template<class Char>
bool isTemporaryEnd(const Char* text) {
    const auto skipNumber = [&text] {
        const Char* const begin = text;
        while (*text >= Char{'0'} && *text <= Char{'9'}) {
            ++text;
        }
        return text != begin;
    };
    return skipNumber() && *text++ == Char{'-'} && skipNumber() && *text == 0;
}

} // namespace platform
