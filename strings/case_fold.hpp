// Internal: locale-independent simple case folding used by the case-insensitive comparisons.
#pragma once

namespace orvik::text {

// Lower-case partner of a letter of the Latin (Basic, Latin-1, Extended-A), Greek or Cyrillic
// alphabets; every other character is returned unchanged.
wchar_t FoldCaseSlow(wchar_t c);

inline wchar_t FoldCase(wchar_t c) {
    if (c < 0x80) return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c;
    return FoldCaseSlow(c);
}

inline char FoldCase(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

} // namespace orvik::text
