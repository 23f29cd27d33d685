// Simple one-to-one case folding for the alphabets the toolkit's names are written in.
#include "strings/case_fold.hpp"

namespace orvik::text {

wchar_t FoldCaseSlow(wchar_t c) {
    const unsigned u = static_cast<unsigned>(c);
    if (u >= 0xC0 && u <= 0xDE && u != 0xD7) return static_cast<wchar_t>(u + 0x20);
    if (u >= 0x100 && u <= 0x17F) {
        // Pairs are (even upper, odd lower) except 0x139..0x148 and 0x179..0x17E, where the
        // upper case letter is the odd one; 0x130, 0x131, 0x138, 0x149 and 0x17F have no
        // one-to-one partner and 0x178 pairs with U+00FF.
        if (u == 0x130 || u == 0x131 || u == 0x138 || u == 0x149 || u == 0x17F) return c;
        if (u == 0x178) return static_cast<wchar_t>(0xFF);
        const bool oddUpper = (u >= 0x139 && u <= 0x148) || (u >= 0x179 && u <= 0x17E);
        if (oddUpper) return (u & 1u) ? static_cast<wchar_t>(u + 1) : c;
        return (u & 1u) ? c : static_cast<wchar_t>(u + 1);
    }
    if (u >= 0x391 && u <= 0x3A9 && u != 0x3A2) return static_cast<wchar_t>(u + 0x20);
    if (u >= 0x410 && u <= 0x42F) return static_cast<wchar_t>(u + 0x20);
    if (u >= 0x400 && u <= 0x40F) return static_cast<wchar_t>(u + 0x50);
    return c;
}

} // namespace orvik::text
