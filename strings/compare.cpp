// Exported comparisons: case-insensitive equality and wildcard matching.
#include <cstring>
#include <cwchar>

#include <orvik/ostr.h>

#include "strings/case_fold.hpp"
#include "strings/wildcard.hpp"

namespace {

template <class C> Omsc_Boolean EqualIgnoringCase(const C *a, const C *b) {
    if (a == b) return OMSC_TRUE;
    if (!a || !b) return OMSC_FALSE;
    for (;; ++a, ++b) {
        if (orvik::text::FoldCase(*a) != orvik::text::FoldCase(*b)) return OMSC_FALSE;
        if (!*a) return OMSC_TRUE;
    }
}

Omsc_Boolean Wildcard(const wchar_t *pattern, const wchar_t *text, bool loose) {
    if (!pattern || !text) return OMSC_FALSE;
    return orvik::text::WildcardMatch(pattern, text, loose) ? OMSC_TRUE : OMSC_FALSE;
}

} // namespace

extern "C" {

ORVIK_API Omsc_Boolean ostr_Eqic(const wchar_t *a, const wchar_t *b) ORVIK_NOEXCEPT {
    return EqualIgnoringCase(a, b);
}

// Narrow text is UTF-8; only ASCII letters are folded.
ORVIK_API Omsc_Boolean ostr_EqicA(const char *a, const char *b) ORVIK_NOEXCEPT {
    return EqualIgnoringCase(a, b);
}

ORVIK_API Omsc_Boolean ostr_WildcardMatch(const wchar_t *pattern, const wchar_t *text)
    ORVIK_NOEXCEPT {
    return Wildcard(pattern, text, false);
}

ORVIK_API Omsc_Boolean ostr_WildcardMatchLoose(const wchar_t *pattern, const wchar_t *text)
    ORVIK_NOEXCEPT {
    return Wildcard(pattern, text, true);
}

} // extern "C"
