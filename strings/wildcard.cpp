// Wildcard matching. Greedy scan that remembers only the last "*": when a later literal part
// fails, that star absorbs one more character and the scan resumes. Earlier stars never need
// revisiting, because whatever the last star can absorb an earlier one could have too.
#include "strings/wildcard.hpp"

#include "strings/case_fold.hpp"

namespace orvik::text {
namespace {

template <bool Loose> bool Match(std::wstring_view p, std::wstring_view t) {
    constexpr std::size_t kNone = std::wstring_view::npos;
    std::size_t pi = 0, ti = 0;
    std::size_t starP = kNone, starT = 0;
    while (ti < t.size()) {
        if (pi < p.size()) {
            const wchar_t pc = p[pi];
            if (pc == L'*') {
                starP = pi++;
                starT = ti;
                continue;
            }
            const bool same = Loose ? FoldCase(pc) == FoldCase(t[ti]) : pc == t[ti];
            if (pc == L'?' || same) {
                ++pi;
                ++ti;
                continue;
            }
        }
        if (starP == kNone) return false;
        pi = starP + 1;
        ti = ++starT;
    }
    while (pi < p.size() && p[pi] == L'*') ++pi;
    return pi == p.size();
}

} // namespace

bool WildcardMatch(std::wstring_view pattern, std::wstring_view text, bool loose) {
    return loose ? Match<true>(pattern, text) : Match<false>(pattern, text);
}

} // namespace orvik::text
