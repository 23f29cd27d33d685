// Internal: the ASCII text form of a stack.
//
//   one text line per row, ending in "\n";
//   within a line, for each column in turn the values of every layer (layer 0 first);
//   values separated by one blank;
//   integers in decimal, f32 and f64 as "%.16g", c64 and c128 as "(%.16g, %.16g)" (real,
//   imaginary), "string" elements as their UTF-8 text (a null element as nothing).
//
// A value is a run of non-blank characters, or a parenthesised group that may hold blanks.
#pragma once

#include <cstddef>

namespace orvik::gda {

// Finds the next value in [p, end): sets *first and *last and returns true, or false when only
// blanks remain. A "(" group ends after its ")" (or at the end of the text).
template <class Char>
bool NextAsciiValue(const Char *p, const Char *end, const Char **first, const Char **last) {
    auto blank = [](Char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (p < end && blank(*p)) ++p;
    if (p == end) return false;
    *first = p;
    if (*p == '(') {
        while (p < end && *p != ')') ++p;
        if (p < end) ++p;
    } else {
        while (p < end && !blank(*p)) ++p;
    }
    *last = p;
    return true;
}

} // namespace orvik::gda
