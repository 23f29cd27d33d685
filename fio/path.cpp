// Wide names <-> UTF-8 system paths.
#include "fio/path.hpp"

#include <algorithm>

#include "core/utf8.hpp"

namespace orvik::fio {

std::wstring NormalizedName(const wchar_t *name) {
    std::wstring out = name ? name : L"";
    std::replace(out.begin(), out.end(), L'\\', L'/');
    return out;
}

bool ToSystemPath(const wchar_t *name, std::string &path) {
    path.clear();
    return text::WideToUtf8(NormalizedName(name), path).ok;
}

std::wstring FromSystemPath(const std::string &path) { return text::Utf8ToWideLossy(path); }

} // namespace orvik::fio
